// Passes: what programs see, what becomes of their results, and clears.

#include <functional>
#include <limits>

#include "render/engine_fixture.h"

TEST_PROGRAM(fill)
TEST_PROGRAM(layout)
TEST_PROGRAM(own)
TEST_PROGRAM(position)
TEST_PROGRAM(registers)
TEST_PROGRAM(sample)
TEST_PROGRAM(sample_register1)
TEST_PROGRAM(words)

namespace Vantra::Render {
namespace {

class EngineProgramTest : public EngineFixture {};
INSTANTIATE_ENGINE_TESTS(EngineProgramTest);

TEST_P(EngineProgramTest, ProgramsSeeTheirPositionInAnImageOfAnyOriginAndExtent) {
  const ProgramPtr program = Load(SPIRV(position));
  const TexturePtr target = Make(23, 17);
  ASSERT_EQ(engine_->Clear(*target, {0, 0, 0, 0}), Status::kOk);
  Pass pass = WholePass(*program, *target);
  pass.rect = {2, 3, 20, 16};
  pass.origin_x = 100;
  pass.origin_y = -1;
  pass.extent_x = 200;
  pass.extent_y = 50;
  ASSERT_EQ(engine_->Draw(pass), Status::kOk);
  Picture expected(23, 17);
  for (int y = 3; y < 16; ++y) {
    for (int x = 2; x < 20; ++x) {
      expected.At(x, y) = {static_cast<std::uint8_t>(x + 100), static_cast<std::uint8_t>(y - 1),
                           Quantize((x + 100.5) / 200), Quantize((y - 0.5) / 50)};
    }
  }
  ExpectNear(Read(*target), expected, 0);
}

TEST_P(EngineProgramTest, OwnReadsThePixelAtTheSamePlaceWhateverTheFormats) {
  const ProgramPtr program = Load(SPIRV(own));
  const Picture picture = RandomPicture(31, 13, 8);
  const TexturePtr input = Make(picture, Format::kBgra8);
  const TexturePtr target = Make(31, 13, Format::kRgba8);
  Pass pass = WholePass(*program, *target);
  pass.bindings[0].texture = input.get();
  ASSERT_EQ(engine_->Draw(pass), Status::kOk);
  Picture swapped = picture;
  for (Pixel& pixel : swapped.pixels) std::swap(pixel[0], pixel[2]);
  EXPECT_EQ(Read(*target), swapped);

  // An origin moves the place in the input.
  pass.rect = {0, 0, 11, 6};
  pass.origin_x = 20;
  pass.origin_y = 7;
  ASSERT_EQ(engine_->Draw(pass), Status::kOk);
  for (int y = 0; y < 6; ++y) {
    for (int x = 0; x < 11; ++x) {
      const Pixel pixel = picture.At(x + 20, y + 7);
      swapped.At(x, y) = {pixel[2], pixel[1], pixel[0], pixel[3]};
    }
  }
  EXPECT_EQ(Read(*target), swapped);
}

TEST_P(EngineProgramTest, PassesChangeTheirRectangleAloneWhereverItBeginsAndHoweverWideItIs) {
  const ProgramPtr program = Load(SPIRV(own));
  const Picture picture = RandomPicture(90, 3, 18);
  const Picture before = RandomPicture(150, 3, 19);
  const TexturePtr input = Make(picture);
  for (const int left : {0, 1, 15, 16, 31, 33}) {
    for (const int width : {1, 15, 16, 17, 31, 32, 33, 64, 65, 100}) {
      const TexturePtr target = Make(before);
      Pass pass = WholePass(*program, *target);
      pass.bindings[0].texture = input.get();
      pass.rect = {left, 1, left + width, 3};
      pass.origin_x = -5;
      ASSERT_EQ(engine_->Draw(pass), Status::kOk);
      Picture expected = before;
      for (int y = 1; y < 3; ++y) {
        for (int x = left; x < left + width; ++x) {
          // A place is cut off to a texel.
          const int from = (2 * x - 9) / 2;
          expected.At(x, y) = from >= 0 && from < 90 ? picture.At(from, y) : Pixel{};
        }
      }
      EXPECT_EQ(Read(*target), expected) << width << " columns from " << left << " on";
    }
  }
}

TEST_P(EngineProgramTest, ConstantsArriveToTheByteAndAreZeroBeyondThoseGiven) {
  Start(Buffers::kSmall);
  const ProgramPtr program = Load(SPIRV(words));
  const TexturePtr target = Make(32, 32);
  const Picture full = RandomPicture(32, 32, 9);
  for (const std::size_t bytes : {kMaximumConstantBytes, std::size_t{4095}, std::size_t{1001},
                                  std::size_t{16}, std::size_t{1}, std::size_t{0}}) {
    Pass pass = WholePass(*program, *target);
    // Fill the whole ring: bytes of earlier passes must not shine through.
    pass.constants = std::as_bytes(std::span(full.pixels));
    for (int i = 0; i < 70; ++i) {
      ASSERT_EQ(engine_->Draw(pass), Status::kOk);
    }
    pass.constants = pass.constants.first(bytes);
    ASSERT_EQ(engine_->Draw(pass), Status::kOk);
    Picture expected(32, 32);
    std::memcpy(expected.pixels.data(), full.pixels.data(), bytes);
    EXPECT_EQ(Read(*target), expected) << bytes << " bytes";
  }

  const std::array<float, 8> values = {11, 22, 33, 44, 55, 66, 77, 88};
  const ProgramPtr layout = Load(SPIRV(layout));
  const TexturePtr row = Make(8, 1);
  Pass pass = WholePass(*layout, *row);
  pass.constants = Bytes(values);
  ASSERT_EQ(engine_->Draw(pass), Status::kOk);
  const Picture seen = Read(*row);
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(seen.At(i, 0)[0], static_cast<std::uint8_t>(11 * (i + 1)));
  }
}

int Extended(int index, int size, Extend extend) {
  if (extend == Extend::kClamp) return std::clamp(index, 0, size - 1);
  const int period = extend == Extend::kWrap ? size : 2 * size;
  const int wrapped = (index % period + period) % period;
  return wrapped < size ? wrapped : period - 1 - wrapped;
}

std::array<double, 4> Sampled(const Picture& picture, const Sampler& sampler, double u, double v) {
  const auto texel = [&](int x, int y) -> const Pixel& {
    return picture.At(Extended(x, picture.width, sampler.extend_x),
                      Extended(y, picture.height, sampler.extend_y));
  };
  double x = u * picture.width;
  double y = v * picture.height;
  std::array<double, 4> result = {};
  if (sampler.filter == Filter::kNearest) {
    const Pixel& pixel = texel(static_cast<int>(std::floor(x)), static_cast<int>(std::floor(y)));
    for (std::size_t c = 0; c < 4; ++c) result[c] = pixel[c] / 255.0;
    return result;
  }
  x -= 0.5;
  y -= 0.5;
  const int left = static_cast<int>(std::floor(x));
  const int top = static_cast<int>(std::floor(y));
  for (int dy = 0; dy < 2; ++dy) {
    for (int dx = 0; dx < 2; ++dx) {
      const double weight = (dx ? x - left : 1 - (x - left)) * (dy ? y - top : 1 - (y - top));
      const Pixel& pixel = texel(left + dx, top + dy);
      for (std::size_t c = 0; c < 4; ++c) result[c] += weight * pixel[c] / 255.0;
    }
  }
  return result;
}

TEST_P(EngineProgramTest, SamplersFilterAndExtendAsPlainArithmeticDoes) {
  const ProgramPtr programs[] = {Load(SPIRV(sample)), Load(SPIRV(sample_register1))};
  const Picture picture = RandomPicture(8, 4, 10);
  const TexturePtr input = Make(picture);
  const TexturePtr target = Make(64, 32);
  // From two widths before the image to two after it; samples miss the borders between texels.
  const std::array<float, 4> place = {5.0f, 5.0f, -2.0f + 1.0f / 256, -2.0f + 1.0f / 256};
  for (const Filter filter : {Filter::kNearest, Filter::kLinear}) {
    for (const auto& [across, down] : {std::pair{Extend::kClamp, Extend::kClamp},
                                       {Extend::kWrap, Extend::kMirror},
                                       {Extend::kMirror, Extend::kClamp},
                                       {Extend::kClamp, Extend::kWrap}}) {
      for (std::size_t index = 0; index < 2; ++index) {
        Pass pass = WholePass(*programs[index], *target);
        // The other registers hold another sampler, which must not matter.
        for (Binding& binding : pass.bindings) {
          binding.sampler.filter = filter == Filter::kLinear ? Filter::kNearest : Filter::kLinear;
        }
        pass.bindings[index] = {input.get(), {filter, across, down}};
        pass.constants = Bytes(place);
        ASSERT_EQ(engine_->Draw(pass), Status::kOk);
        Picture expected(64, 32);
        for (int y = 0; y < 32; ++y) {
          for (int x = 0; x < 64; ++x) {
            const auto value = Sampled(picture, pass.bindings[index].sampler,
                                       (x + 0.5) / 64 * 5 + double{place[2]},
                                       (y + 0.5) / 32 * 5 + double{place[3]});
            for (std::size_t c = 0; c < 4; ++c) expected.At(x, y)[c] = Quantize(value[c]);
          }
        }
        // Devices hold the weights of a filter in 8 bits, and floats may take the other way at the
        // middle between two steps.
        const int filtered = IsCpu() ? 1 : 2;
        ExpectNear(Read(*target), expected, filter == Filter::kLinear ? filtered : 0);
      }
    }
  }
}

TEST_P(EngineProgramTest, RegistersWithoutATextureReadAsTransparentBlack) {
  const ProgramPtr program = Load(SPIRV(registers));
  Picture white(4, 4);
  for (Pixel& pixel : white.pixels) pixel = {255, 255, 255, 255};
  const TexturePtr input = Make(white);
  const TexturePtr target = Make(9, 9);
  for (std::size_t bound = 0; bound <= kRegisterCount; ++bound) {
    Pass pass = WholePass(*program, *target);
    for (std::size_t i = 0; i < bound; ++i) pass.bindings[i].texture = input.get();
    ASSERT_EQ(engine_->Draw(pass), Status::kOk);
    Picture expected(9, 9);
    for (Pixel& pixel : expected.pixels) {
      pixel.fill(static_cast<std::uint8_t>(255 - 85 * bound));
    }
    EXPECT_EQ(Read(*target), expected) << bound << " bound";
  }
}

TEST_P(EngineProgramTest, ResultsAreClampedAndRoundedToTheNearestAndNanIsZero) {
  const ProgramPtr program = Load(SPIRV(fill));
  const TexturePtr target = Make(3, 3);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float infinity = std::numeric_limits<float>::infinity();
  const std::pair<std::array<float, 4>, Pixel> cases[] = {
      {{-1.0f, 2.0f, -infinity, infinity}, {0, 255, 0, 255}},
      {{nan, -nan, 0.5f, nan}, {0, 0, 128, 0}},
      {{100.4f / 255, 100.6f / 255, 0.4f / 255, 254.6f / 255}, {100, 101, 0, 255}},
  };
  for (const auto& [color, expected] : cases) {
    Pass pass = WholePass(*program, *target);
    pass.constants = Bytes(color);
    ASSERT_EQ(engine_->Draw(pass), Status::kOk);
    EXPECT_EQ(Read(*target).At(1, 1), expected);
  }
  for (const auto& [color, expected] : cases) {
    ASSERT_EQ(engine_->Clear(*target, color), Status::kOk);
    EXPECT_EQ(Read(*target).At(1, 1), expected) << "cleared";
  }

  // A blended NaN counts as 0 before it meets the destination: it lets through, and adds nothing.
  const std::array<float, 4> unordered = {nan, 0.2f, nan, nan};
  ASSERT_EQ(engine_->Clear(*target, {0.4f, 0.4f, 0.4f, 1.0f}), Status::kOk);
  Pass pass = WholePass(*program, *target);
  pass.constants = Bytes(unordered);
  pass.blend = Blend::kSourceOver;
  ASSERT_EQ(engine_->Draw(pass), Status::kOk);
  EXPECT_EQ(Read(*target).At(1, 1), (Pixel{102, 153, 102, 255}));
}

TEST_P(EngineProgramTest, SourceOverAddsWhatTheSourceLetsThrough) {
  const ProgramPtr program = Load(SPIRV(own));
  const Picture below = RandomPicture(32, 32, 11);
  Picture above = RandomPicture(32, 32, 12);
  for (Pixel& pixel : above.pixels) {
    for (std::size_t c = 0; c < 3; ++c) pixel[c] = std::min(pixel[c], pixel[3]);
  }
  const TexturePtr input = Make(above);
  const TexturePtr target = Make(below);
  Pass pass = WholePass(*program, *target);
  pass.bindings[0].texture = input.get();
  pass.blend = Blend::kSourceOver;
  ASSERT_EQ(engine_->Draw(pass), Status::kOk);
  pass.rect = {8, 8, 24, 16};  // a second time, over the result of the first
  ASSERT_EQ(engine_->Draw(pass), Status::kOk);
  Picture expected = below;
  const auto blend = [&](int x, int y) {
    const Pixel& source = above.At(x, y);
    for (std::size_t c = 0; c < 4; ++c) {
      std::uint8_t& channel = expected.At(x, y)[c];
      channel = Quantize((source[c] + (255 - source[3]) / 255.0 * channel) / 255.0);
    }
  };
  for (int y = 0; y < 32; ++y) {
    for (int x = 0; x < 32; ++x) {
      blend(x, y);
      if (x >= 8 && x < 24 && y >= 8 && y < 16) blend(x, y);
    }
  }
  // Devices may blend stored bytes in fixed point, once for each of the two passes.
  ExpectNear(Read(*target), expected, IsCpu() ? 0 : 2);
}

TEST_P(EngineProgramTest, EachBlendFollowsItsEquation) {
  using Equation = std::function<double(double s, double sa, double d, double da)>;
  const std::pair<Blend, Equation> cases[] = {
      {Blend::kReplace, [](double s, double, double, double) { return s; }},
      {Blend::kSourceOver, [](auto s, auto sa, auto d, auto) { return s + (1 - sa) * d; }},
      {Blend::kDestinationOver, [](auto s, auto, auto d, auto da) { return (1 - da) * s + d; }},
      {Blend::kSourceIn, [](auto s, auto, auto, auto da) { return da * s; }},
      {Blend::kDestinationIn, [](auto, auto sa, auto d, auto) { return sa * d; }},
      {Blend::kSourceOut, [](auto s, auto, auto, auto da) { return (1 - da) * s; }},
      {Blend::kDestinationOut, [](auto, auto sa, auto d, auto) { return (1 - sa) * d; }},
      {Blend::kSourceAtop, [](auto s, auto sa, auto d, auto da) { return da * s + (1 - sa) * d; }},
      {Blend::kDestinationAtop,
       [](auto s, auto sa, auto d, auto da) { return (1 - da) * s + sa * d; }},
      {Blend::kXor, [](auto s, auto sa, auto d, auto da) { return (1 - da) * s + (1 - sa) * d; }},
      {Blend::kPlus, [](auto s, auto, auto d, auto) { return s + d; }},
      {Blend::kMaskInvert, [](auto s, auto, auto d, auto) { return (1 - d) * s + (1 - s) * d; }},
      {Blend::kMinimum, [](auto s, auto, auto d, auto) { return std::min(s, d); }},
      {Blend::kMaximum, [](auto s, auto, auto d, auto) { return std::max(s, d); }},
  };
  static_assert(std::size(cases) == kBlendCount);
  const ProgramPtr program = Load(SPIRV(own));
  const Picture below = RandomPicture(16, 16, 21);
  const Picture above = RandomPicture(16, 16, 22);
  const TexturePtr input = Make(above);
  for (const auto& [blend, equation] : cases) {
    const TexturePtr target = Make(below);
    Pass pass = WholePass(*program, *target);
    pass.bindings[0].texture = input.get();
    pass.blend = blend;
    ASSERT_EQ(engine_->Draw(pass), Status::kOk);
    Picture expected(16, 16);
    for (std::size_t i = 0; i < expected.pixels.size(); ++i) {
      const Pixel& s = above.pixels[i];
      const Pixel& d = below.pixels[i];
      for (std::size_t c = 0; c < 4; ++c) {
        expected.pixels[i][c] =
            Quantize(equation(s[c] / 255.0, s[3] / 255.0, d[c] / 255.0, d[3] / 255.0));
      }
    }
    SCOPED_TRACE(static_cast<int>(blend));
    // Devices may blend stored bytes in fixed point.
    ExpectNear(Read(*target), expected, IsCpu() ? 0 : 1);
  }
}

TEST_P(EngineProgramTest, ClearsTakeTheirPlaceInTheOrderOfAllOtherUses) {
  const ProgramPtr fill = Load(SPIRV(fill));
  const ProgramPtr own = Load(SPIRV(own));
  const Picture picture = RandomPicture(12, 10, 13);
  const Pixel gray = {51, 102, 153, 204};
  const std::array<float, 4> clear = {0.2f, 0.4f, 0.6f, 0.8f};
  const std::array<float, 4> red = {1.0f, 0.0f, 0.0f, 1.0f};
  const auto expected = [&](const Rect& rect, const std::function<Pixel(int, int)>& inside) {
    Picture result(12, 10);
    for (int y = 0; y < 10; ++y) {
      for (int x = 0; x < 12; ++x) {
        const bool in = x >= rect.left && x < rect.right && y >= rect.top && y < rect.bottom;
        result.At(x, y) = in ? inside(x, y) : gray;
      }
    }
    return result;
  };
  const Rect part{2, 1, 9, 7};
  const auto from_picture = [&](int x, int y) { return picture.At(x, y); };
  const auto is_red = [](int, int) { return Pixel{255, 0, 0, 255}; };
  const TexturePtr target = Make(picture);
  const TexturePtr other = Make(picture);
  Pass draw = WholePass(*fill, *target);
  draw.constants = Bytes(red);

  ASSERT_EQ(engine_->Clear(*target, clear), Status::kOk);
  EXPECT_EQ(Read(*target), expected({}, from_picture)) << "copied";
  draw.rect = part;
  ASSERT_EQ(engine_->Clear(*target, clear), Status::kOk);
  ASSERT_EQ(engine_->Draw(draw), Status::kOk);
  EXPECT_EQ(Read(*target), expected(part, is_red)) << "drawn over in part";
  ASSERT_EQ(engine_->Draw(draw), Status::kOk);
  ASSERT_EQ(engine_->Clear(*target, clear), Status::kOk);
  ASSERT_EQ(engine_->Draw(draw), Status::kOk);
  ASSERT_EQ(engine_->Clear(*target, clear), Status::kOk);
  EXPECT_EQ(Read(*target), expected({}, is_red)) << "after a pass";
  ASSERT_EQ(engine_->Clear(*target, clear), Status::kOk);
  ASSERT_EQ(engine_->Upload(*target, part, &picture.At(part.left, part.top), 12 * sizeof(Pixel)),
            Status::kOk);
  EXPECT_EQ(Read(*target), expected(part, from_picture)) << "uploaded to in part";
  ASSERT_EQ(engine_->Clear(*target, clear), Status::kOk);
  Upload(*target, picture);
  EXPECT_EQ(Read(*target), picture) << "replaced by an upload";
  ASSERT_EQ(engine_->Clear(*target, clear), Status::kOk);
  ASSERT_EQ(engine_->Copy(*target, part.left, part.top, *other, part), Status::kOk);
  EXPECT_EQ(Read(*target), expected(part, from_picture)) << "copied to in part";
  ASSERT_EQ(engine_->Clear(*target, clear), Status::kOk);
  draw.rect = target->Bounds();
  ASSERT_EQ(engine_->Draw(draw), Status::kOk);
  EXPECT_EQ(Read(*target), expected(target->Bounds(), is_red)) << "replaced by a pass";
  ASSERT_EQ(engine_->Draw(draw), Status::kOk);
  ASSERT_EQ(engine_->Clear(*target, clear), Status::kOk);
  draw.rect = part;
  ASSERT_EQ(engine_->Draw(draw), Status::kOk);
  EXPECT_EQ(Read(*target), expected(part, is_red)) << "between two passes";
  draw.rect = target->Bounds();

  // A blended pass over everything still needs what lies below.
  ASSERT_EQ(engine_->Clear(*target, clear), Status::kOk);
  const std::array<float, 4> nothing = {};
  draw.constants = Bytes(nothing);
  draw.blend = Blend::kSourceOver;
  ASSERT_EQ(engine_->Draw(draw), Status::kOk);
  EXPECT_EQ(Read(*target), expected({}, is_red)) << "blended over";

  // As an input, twice in one pass, while another target is drawn to.
  Pass read = WholePass(*own, *other);
  read.bindings[0].texture = target.get();
  read.bindings[1].texture = target.get();
  ASSERT_EQ(engine_->Draw(read), Status::kOk);
  ASSERT_EQ(engine_->Clear(*target, red), Status::kOk);
  read.rect = part;
  ASSERT_EQ(engine_->Draw(read), Status::kOk);
  EXPECT_EQ(Read(*other), expected(part, is_red)) << "read";
}

}  // namespace
}  // namespace Vantra::Render
