#include "render/vulkan/vulkan_engine.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <random>

#include "render/vulkan/vulkan_engine_internal.h"
#include "render/vulkan/vulkan_instance.h"

// The programs of testdata/, embedded at build time.
#define TEST_PROGRAM(name)                          \
  extern "C" const std::byte vantrix_test_##name[]; \
  extern "C" const std::byte vantrix_test_##name##_end[];
#define SPIRV(name) std::span<const std::byte>(vantrix_test_##name, vantrix_test_##name##_end)
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

using Pixel = std::array<std::uint8_t, 4>;  // in memory order
using TexturePtr = std::unique_ptr<Texture>;
using ProgramPtr = std::unique_ptr<Program>;

struct Picture {
  int width = 0;
  int height = 0;
  std::vector<Pixel> pixels;

  Picture(int w, int h) : width(w), height(h), pixels(static_cast<std::size_t>(w * h)) {}
  Pixel& At(int x, int y) { return pixels[static_cast<std::size_t>(y * width + x)]; }
  const Pixel& At(int x, int y) const { return pixels[static_cast<std::size_t>(y * width + x)]; }
  friend bool operator==(const Picture&, const Picture&) = default;
};

Picture RandomPicture(int width, int height, unsigned seed) {
  Picture picture(width, height);
  std::mt19937 random(seed);
  for (Pixel& pixel : picture.pixels) {
    for (std::uint8_t& channel : pixel) channel = static_cast<std::uint8_t>(random());
  }
  return picture;
}

std::uint8_t Quantize(double value) {
  return static_cast<std::uint8_t>(std::floor(std::clamp(value, 0.0, 1.0) * 255 + 0.5));
}

// Compares within `tolerance` steps and names the first pixel that differs by more.
void ExpectNear(const Picture& actual, const Picture& expected, int tolerance) {
  ASSERT_EQ(actual.width, expected.width);
  ASSERT_EQ(actual.height, expected.height);
  for (int y = 0; y < actual.height; ++y) {
    for (int x = 0; x < actual.width; ++x) {
      for (std::size_t c = 0; c < 4; ++c) {
        ASSERT_NEAR(int{actual.At(x, y)[c]}, int{expected.At(x, y)[c]}, tolerance)
            << "channel " << c << " of (" << x << ", " << y << ")";
      }
    }
  }
}

template <typename Constants>
std::span<const std::byte> Bytes(const Constants& constants) {
  return std::as_bytes(std::span(&constants, 1));
}

class VulkanEngineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(Vulkan::ValidationInstalled()) << "The tests need the validation layer.";
    messages_ = ValidationMessageCount();
    Start({});
  }
  void TearDown() override {
    engine_.reset();
    EXPECT_EQ(ValidationMessageCount(), messages_) << "The validation layer has complaints.";
  }

  void Start(VulkanOptions options) {
    options.validation = true;
    std::string error;
    engine_ = CreateVulkanEngine(0, options, &error);
    ASSERT_NE(engine_, nullptr) << error;
  }

  TexturePtr Make(int width, int height, Format format = Format::kRgba8,
                  Usage usage = Usage::kDevice) {
    TexturePtr texture;
    EXPECT_EQ(engine_->CreateTexture({static_cast<std::uint32_t>(width),
                                      static_cast<std::uint32_t>(height), format, usage},
                                     &texture),
              Status::kOk);
    return texture;
  }
  TexturePtr Make(const Picture& picture, Format format = Format::kRgba8) {
    TexturePtr texture = Make(picture.width, picture.height, format);
    Upload(*texture, picture);
    return texture;
  }
  ProgramPtr Load(std::span<const std::byte> spirv) {
    ProgramPtr program;
    EXPECT_EQ(engine_->CreateProgram(spirv, &program), Status::kOk);
    return program;
  }
  void Upload(Texture& texture, const Picture& picture) {
    ASSERT_EQ(engine_->Upload(texture, texture.Bounds(), picture.pixels.data(),
                              static_cast<std::size_t>(picture.width) * sizeof(Pixel)),
              Status::kOk);
  }
  Picture Mapped(Texture& readback) {
    Picture picture(readback.Bounds().right, readback.Bounds().bottom);
    Mapping mapping;
    EXPECT_EQ(engine_->Map(readback, &mapping), Status::kOk);
    if (!mapping.data) return picture;
    for (int y = 0; y < picture.height; ++y) {
      std::memcpy(&picture.At(0, y), mapping.data + static_cast<std::size_t>(y) * mapping.pitch,
                  static_cast<std::size_t>(picture.width) * sizeof(Pixel));
    }
    engine_->Unmap(readback);
    return picture;
  }
  Picture Read(const Texture& texture) {
    const Rect bounds = texture.Bounds();
    const TexturePtr readback =
        Make(bounds.right, bounds.bottom, texture.Desc().format, Usage::kReadback);
    EXPECT_EQ(engine_->Copy(*readback, 0, 0, texture, bounds), Status::kOk);
    return Mapped(*readback);
  }
  // A pass over the whole target whose extent is the target's size.
  static Pass WholePass(const Program& program, Texture& target) {
    Pass pass;
    pass.program = &program;
    pass.target = &target;
    pass.rect = target.Bounds();
    pass.extent_x = static_cast<float>(target.Desc().width);
    pass.extent_y = static_cast<float>(target.Desc().height);
    return pass;
  }

  std::unique_ptr<Engine> engine_;
  std::uint64_t messages_ = 0;
};

// Uploads, copies, maps.

TEST_F(VulkanEngineTest, PixelsComeBackUnchangedInBothFormatsAndOddSizes) {
  for (const Format format : {Format::kBgra8, Format::kRgba8}) {
    for (const auto& [width, height] : {std::pair{1, 1}, {7, 5}, {33, 129}, {257, 3}}) {
      const Picture picture = RandomPicture(width, height, static_cast<unsigned>(width));
      EXPECT_EQ(Read(*Make(picture, format)), picture) << width << " x " << height;
    }
  }
}

TEST_F(VulkanEngineTest, RectanglesLandAtTheirPlaceAndLeaveTheRest) {
  const Picture base = RandomPicture(37, 23, 1);
  const Picture patch = RandomPicture(19, 11, 2);
  const TexturePtr texture = Make(base);
  // The patch's middle part: rows are further apart than the rectangle is wide.
  const Rect rect{5, 3, 5 + 8, 3 + 6};
  ASSERT_EQ(engine_->Upload(*texture, rect, &patch.At(2, 1), 19 * sizeof(Pixel)), Status::kOk);
  const TexturePtr second = Make(RandomPicture(40, 30, 3));
  ASSERT_EQ(engine_->Copy(*second, 30, 21, *texture, {4, 2, 14, 11}), Status::kOk);

  Picture expected = base;
  for (int y = 0; y < 6; ++y) {
    for (int x = 0; x < 8; ++x) expected.At(5 + x, 3 + y) = patch.At(2 + x, 1 + y);
  }
  EXPECT_EQ(Read(*texture), expected);
  Picture composed = RandomPicture(40, 30, 3);
  for (int y = 0; y < 9; ++y) {
    for (int x = 0; x < 10; ++x) composed.At(30 + x, 21 + y) = expected.At(4 + x, 2 + y);
  }
  EXPECT_EQ(Read(*second), composed);
}

TEST_F(VulkanEngineTest, CopiesToOneReadbackTextureRunInOrder) {
  const Picture first = RandomPicture(21, 9, 4);
  const Picture second = RandomPicture(21, 9, 5);
  const TexturePtr a = Make(first);
  const TexturePtr b = Make(second);
  const TexturePtr readback = Make(21, 9, Format::kRgba8, Usage::kReadback);
  ASSERT_EQ(engine_->Copy(*readback, 0, 0, *a, a->Bounds()), Status::kOk);
  ASSERT_EQ(engine_->Copy(*readback, 3, 2, *b, {10, 1, 16, 8}), Status::kOk);
  Picture expected = first;
  for (int y = 0; y < 7; ++y) {
    for (int x = 0; x < 6; ++x) expected.At(3 + x, 2 + y) = second.At(10 + x, 1 + y);
  }
  EXPECT_EQ(Mapped(*readback), expected);
  ASSERT_EQ(engine_->Flush(), Status::kOk);
  ASSERT_EQ(engine_->Copy(*readback, 0, 0, *b, b->Bounds()), Status::kOk);
  EXPECT_EQ(Mapped(*readback), second);
}

TEST_F(VulkanEngineTest, UploadsLargerThanTheRingKeepEveryByteAndItsDataIsFreeAtOnce) {
  VulkanOptions options;
  options.ring_bytes = 1;  // the smallest that the engine can work with
  Start(options);
  const TexturePtr texture = Make(509, 601);  // over a megabyte
  Picture picture = RandomPicture(509, 601, 6);
  const Picture expected = picture;
  Upload(*texture, picture);
  std::fill(picture.pixels.begin(), picture.pixels.end(), Pixel{});
  EXPECT_EQ(Read(*texture), expected);

  const int widest = static_cast<int>(engine_->MaximumTextureSize());
  const Picture row = RandomPicture(widest, 3, 7);
  EXPECT_EQ(Read(*Make(row)), row);

  // Constants take the ring around many times between two flushes.
  const ProgramPtr fill = Load(SPIRV(fill));
  const TexturePtr target = Make(16, 16);
  Picture steps(16, 16);
  for (int i = 0; i < 512; ++i) {
    const std::array<float, 4> color = {static_cast<float>(i % 256) / 255.0f, 0.0f, 0.0f, 1.0f};
    Pass pass = WholePass(*fill, *target);
    pass.rect = {i % 16, i / 16 % 16, i % 16 + 1, i / 16 % 16 + 1};
    pass.constants = Bytes(color);
    ASSERT_EQ(engine_->Draw(pass), Status::kOk);
    steps.At(i % 16, i / 16 % 16) = {static_cast<std::uint8_t>(i), 0, 0, 255};
  }
  EXPECT_EQ(Read(*target), steps);
}

// Programs.

TEST_F(VulkanEngineTest, ProgramsSeeTheirPositionInAnImageOfAnyOriginAndExtent) {
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

TEST_F(VulkanEngineTest, OwnReadsThePixelAtTheSamePlaceWhateverTheFormats) {
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

TEST_F(VulkanEngineTest, ConstantsArriveToTheByteAndAreZeroBeyondThoseGiven) {
  const ProgramPtr program = Load(SPIRV(words));
  const TexturePtr target = Make(32, 32);
  Picture full = RandomPicture(32, 32, 9);
  // Descending sizes: bytes of an earlier pass must not shine through.
  for (const std::size_t bytes : {kMaximumConstantBytes, std::size_t{4095}, std::size_t{1001},
                                  std::size_t{16}, std::size_t{1}, std::size_t{0}}) {
    Pass pass = WholePass(*program, *target);
    pass.constants = std::as_bytes(std::span(full.pixels)).first(bytes);
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

TEST_F(VulkanEngineTest, SamplersFilterAndExtendAsPlainArithmeticDoes) {
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
        // Devices hold the weights of a filter in 8 bits.
        ExpectNear(Read(*target), expected, filter == Filter::kLinear ? 2 : 0);
      }
    }
  }
}

TEST_F(VulkanEngineTest, RegistersWithoutATextureReadAsTransparentBlack) {
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

// Results, blending, clears.

TEST_F(VulkanEngineTest, ResultsAreClampedAndRoundedToTheNearestAndNanIsZero) {
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
}

TEST_F(VulkanEngineTest, SourceOverAddsWhatTheSourceLetsThrough) {
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
  ExpectNear(Read(*target), expected, 2);
}

TEST_F(VulkanEngineTest, ClearsTakeTheirPlaceInTheOrderOfAllOtherUses) {
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

// Life and loss.

TEST_F(VulkanEngineTest, TexturesAndProgramsMayEndWhileTheirWorkIsUnderWay) {
  const Picture picture = RandomPicture(64, 64, 14);
  const TexturePtr target = Make(64, 64);
  for (int i = 0; i < 200; ++i) {
    const ProgramPtr program = Load(SPIRV(own));
    const TexturePtr input = Make(i == 199 ? picture : RandomPicture(64, 64, 100));
    Pass pass = WholePass(*program, *target);
    pass.bindings[0].texture = input.get();
    ASSERT_EQ(engine_->Draw(pass), Status::kOk);
    if (i % 3 == 0) {
      ASSERT_EQ(engine_->Flush(), Status::kOk);
    }
  }
  EXPECT_EQ(Read(*target), picture);
}

TEST_F(VulkanEngineTest, TexturesAndProgramsOutliveTheirEngine) {
  const ProgramPtr program = Load(SPIRV(own));
  const TexturePtr input = Make(RandomPicture(16, 16, 15));
  const TexturePtr target = Make(16, 16);
  const TexturePtr readback = Make(16, 16, Format::kRgba8, Usage::kReadback);
  const TexturePtr large = Make(3000, 2000);  // memory of its own
  Pass pass = WholePass(*program, *target);
  pass.bindings[0].texture = input.get();
  ASSERT_EQ(engine_->Draw(pass), Status::kOk);
  ASSERT_EQ(engine_->Flush(), Status::kOk);
  ASSERT_EQ(engine_->Draw(pass), Status::kOk);  // never submitted
  ASSERT_EQ(engine_->Copy(*readback, 0, 0, *target, target->Bounds()), Status::kOk);
  ASSERT_EQ(engine_->Clear(*large, {1, 1, 1, 1}), Status::kOk);
  engine_.reset();
}

TEST_F(VulkanEngineTest, SeveralEnginesWorkSideBySide) {
  std::string error;
  VulkanOptions options;
  options.validation = true;
  auto second = CreateVulkanEngine(0, options, &error);
  ASSERT_NE(second, nullptr) << error;
  const Picture picture = RandomPicture(20, 20, 16);
  const TexturePtr texture = Make(picture);
  std::swap(engine_, second);
  EXPECT_EQ(Read(*Make(picture)), picture);
  std::swap(engine_, second);
  EXPECT_EQ(Read(*texture), picture);
}

TEST_F(VulkanEngineTest, ASteadyStateMakesNothingNewAndSubmitsOnceAFrame) {
  const ProgramPtr own = Load(SPIRV(own));
  const ProgramPtr fill = Load(SPIRV(fill));
  const Picture picture = RandomPicture(50, 40, 17);
  const TexturePtr input = Make(50, 40);
  const TexturePtr middle = Make(50, 40);
  const TexturePtr target = Make(50, 40);
  const TexturePtr readback = Make(50, 40, Format::kRgba8, Usage::kReadback);
  const std::array<float, 4> veil = {0.25f, 0.25f, 0.25f, 0.5f};
  const auto frame = [&] {
    Upload(*input, picture);
    Pass pass = WholePass(*own, *middle);
    pass.bindings[0].texture = input.get();
    ASSERT_EQ(engine_->Draw(pass), Status::kOk);
    pass.target = target.get();
    pass.bindings[0].texture = middle.get();
    ASSERT_EQ(engine_->Draw(pass), Status::kOk);
    Pass cover = WholePass(*fill, *target);
    cover.constants = Bytes(veil);
    cover.rect = {10, 10, 20, 20};
    cover.blend = Blend::kSourceOver;
    ASSERT_EQ(engine_->Draw(cover), Status::kOk);
    ASSERT_EQ(engine_->Copy(*readback, 0, 0, *target, target->Bounds()), Status::kOk);
  };
  frame();
  const Picture first = Mapped(*readback);
  const std::uint64_t objects = Vulkan::ObjectsCreated(*engine_);
  const std::uint64_t submissions = engine_->SubmissionCount();
  for (int i = 0; i < 300; ++i) {
    frame();
    if (i % 2 == 0) {
      Mapping mapping;
      ASSERT_EQ(engine_->Map(*readback, &mapping), Status::kOk);
      engine_->Unmap(*readback);
    } else {
      ASSERT_EQ(engine_->Flush(), Status::kOk);
    }
  }
  EXPECT_EQ(Mapped(*readback), first);
  EXPECT_EQ(Vulkan::ObjectsCreated(*engine_), objects);
  EXPECT_EQ(engine_->SubmissionCount(), submissions + 300);

  // Nor does it grow where textures come and go.
  const auto passing = [&] {
    const TexturePtr temporary = Make(picture);
    Pass pass = WholePass(*own, *target);
    pass.bindings[0].texture = temporary.get();
    ASSERT_EQ(engine_->Draw(pass), Status::kOk);
    ASSERT_EQ(engine_->Flush(), Status::kOk);
  };
  for (int i = 0; i < 20; ++i) passing();
  const std::uint64_t before = Vulkan::ObjectsCreated(*engine_);
  for (int i = 0; i < 300; ++i) passing();
  EXPECT_LE(Vulkan::ObjectsCreated(*engine_) - before, 300u * 2) << "an image and its view each";
}

TEST_F(VulkanEngineTest, LossAtAnyCallIsReportedFromThenOnAndEverythingStillEnds) {
  const Picture picture = RandomPicture(24, 24, 18);
  // One frame; the first status that is not `kOk`, if any.
  const auto frame = [&picture](Engine& engine) {
    ProgramPtr program;
    TexturePtr input;
    TexturePtr target;
    TexturePtr readback;
    Mapping mapping;
    const auto run = [&]() -> Status {
      const std::function<Status()> steps[] = {
          [&] { return engine.CreateProgram(SPIRV(own), &program); },
          [&] {
            return engine.CreateTexture({24, 24}, &input);
          },
          [&] {
            return engine.CreateTexture({24, 24}, &target);
          },
          [&] {
            return engine.CreateTexture({24, 24, Format::kBgra8, Usage::kReadback}, &readback);
          },
          [&] {
            return engine.Upload(*input, input->Bounds(), picture.pixels.data(),
                                 24 * sizeof(Pixel));
          },
          [&] {
            return engine.Clear(*target, {0, 0, 0, 1});
          },
          [&] {
            Pass pass = WholePass(*program, *target);
            pass.rect.right = 12;
            pass.bindings[0].texture = input.get();
            return engine.Draw(pass);
          },
          [&] { return engine.Flush(); },
          [&] { return engine.Copy(*readback, 0, 0, *target, target->Bounds()); },
          [&] { return engine.Map(*readback, &mapping); },
      };
      for (const auto& step : steps) {
        if (const Status status = step(); status != Status::kOk) return status;
      }
      return Status::kOk;
    };
    const Status status = run();
    if (status != Status::kOk) {
      EXPECT_EQ(engine.Flush(), status);
      EXPECT_EQ(engine.Lost(), status == Status::kDeviceLost);
    }
    return status;
  };
  ASSERT_EQ(frame(*engine_), Status::kOk);
  const std::uint64_t calls = engine_->CallCount();
  for (std::uint64_t at = 0; at < calls; ++at) {
    Start({});
    ASSERT_EQ(frame(*engine_), Status::kOk);
    engine_->InjectLoss(at);
    EXPECT_EQ(frame(*engine_), Status::kDeviceLost) << "at call " << at;
  }
}

TEST_F(VulkanEngineTest, TexturesReachTheSizeThatTheEngineStatesAndNoFurther) {
  const std::uint32_t limit = engine_->MaximumTextureSize();
  EXPECT_EQ(limit, ListVulkanDevices().devices.at(0).maximum_texture_size);
  TexturePtr texture;
  EXPECT_EQ(engine_->CreateTexture({limit, 1}, &texture), Status::kOk);
  EXPECT_EQ(engine_->CreateTexture({1, limit}, &texture), Status::kOk);
  EXPECT_EQ(engine_->CreateTexture({limit + 1, 1}, &texture), Status::kInvalidArgument);
  EXPECT_EQ(texture, nullptr);
}

}  // namespace
}  // namespace Vantra::Render
