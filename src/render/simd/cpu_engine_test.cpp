// What is this engine's own about memory. What all engines have in common is tested over each.

#include <cmath>

#include "render/simd/cpu_engine_fixture.h"

namespace Vantra::Render::Simd {
namespace {

// Textures share and wait behind the scenes; each has to look as if it were alone.
TEST_F(CpuEngineTest, AnySequenceOfWritesAndCopiesGivesWhatSeparateTexturesWouldHold) {
  constexpr int kWidth = 23;
  constexpr int kHeight = 11;
  constexpr std::size_t kCount = 5;
  std::mt19937 random(1);
  const auto below = [&random](int end) {
    return static_cast<int>(random() % static_cast<unsigned>(end));
  };
  TexturePtr textures[kCount];
  Pixels expected[kCount];
  for (std::size_t i = 0; i < kCount; ++i) {
    expected[i] = RandomPixels(kWidth * kHeight, static_cast<unsigned>(i));
    textures[i] = Make(kWidth, kHeight, expected[i]);
  }
  const Rect whole = textures[0]->Bounds();
  for (int step = 0; step < 5000; ++step) {
    const std::size_t at = random() % kCount;
    const std::size_t other = (at + 1 + random() % (kCount - 1)) % kCount;
    Texture& texture = *textures[at];
    Rect rect = whole;
    if (below(3) != 0) {
      rect.left = below(kWidth);
      rect.top = below(kHeight);
      rect.right = rect.left + 1 + below(kWidth - rect.left);
      rect.bottom = rect.top + 1 + below(kHeight - rect.top);
    }
    const int x = rect.left / 2;
    const int y = rect.top / 2;
    const auto value = static_cast<std::uint32_t>(random());
    const auto change = [&](const Rect& part, auto changed) {
      expected[at] = Changed(expected[at], kWidth, part, changed);
    };
    const auto other_at = [&, from = expected[other]](int column, int row) {
      return from[static_cast<std::size_t>(row * kWidth + column)];
    };
    const int kind = below(7);
    switch (kind) {
      case 0:
        Upload(texture, rect, Pixels(kWidth * kHeight, value));
        change(rect, [=](auto...) { return value; });
        break;
      case 1:
        ASSERT_EQ(engine_->Clear(texture, {0, 1, 0, static_cast<float>(step % 2)}), Status::kOk);
        change(whole, [=](auto...) { return step % 2 ? 0xFF00FF00 : 0x0000FF00; });
        break;
      case 2:
        ASSERT_EQ(Draw(kFill, texture, rect, nullptr, value), Status::kOk);
        change(rect, [=](auto...) { return value; });
        break;
      case 3:
        ASSERT_EQ(Draw(kComplement, texture, rect, nullptr, 0, Blend::kXor), Status::kOk);
        change(rect, [](std::uint32_t pixel, int, int) { return ~pixel; });
        break;
      case 4:
        ASSERT_EQ(Draw(kOwn, texture, rect, textures[other].get()), Status::kOk);
        change(rect, [&](std::uint32_t, int column, int row) { return other_at(column, row); });
        break;
      case 5:
        ASSERT_EQ(engine_->Copy(texture, x, y, *textures[other], rect), Status::kOk);
        change({x, y, x + rect.Width(), y + rect.Height()},
               [&](std::uint32_t, int column, int row) {
                 return other_at(column - x + rect.left, row - y + rect.top);
               });
        break;
      default:
        ASSERT_EQ(Copy(texture, *textures[other]), Status::kOk);
        expected[at] = expected[other];
        break;
    }
    const std::size_t looked_at = below(2) ? at : other;
    ASSERT_EQ(Read(*textures[looked_at]), expected[looked_at])
        << "step " << step << " of kind " << kind;
  }
  for (std::size_t i = 0; i < kCount; ++i) EXPECT_EQ(Read(*textures[i]), expected[i]);
}

TEST_F(CpuEngineTest, ReadingATextureTakesNoMemoryOfItsOwn) {
  const TexturePtr source = Make(64, 64, Pixels(64 * 64, 1));
  const TexturePtr first = Make(64, 64, Usage::kReadback);
  const TexturePtr second = Make(64, 64, Usage::kReadback);
  ASSERT_EQ(Copy(*first, *source), Status::kOk);
  ASSERT_EQ(Copy(*second, *source), Status::kOk);
  EXPECT_EQ(Map(*first), Map(*second));
}

TEST_F(CpuEngineTest, MappedPixelsStayWhateverBecomesOfTheirSourceAndOfTheEngine) {
  const Pixels pixels = RandomPixels(300 * 200, 4);
  TexturePtr source = Make(300, 200, pixels);
  const TexturePtr readback = Make(300, 200, Usage::kReadback);
  ASSERT_EQ(Copy(*readback, *source), Status::kOk);
  const std::byte* const data = Map(*readback);
  const std::size_t pitch = pitch_;
  const auto check = [&](const char* after) {
    EXPECT_EQ(Rows(*readback, data, pitch), pixels) << "after " << after;
  };
  ASSERT_EQ(Draw(kFill, *source, {1, 1, 299, 199}, nullptr, 5), Status::kOk);
  check("a pass");
  Upload(*source, source->Bounds(), Pixels(300 * 200, 6));
  ASSERT_EQ(engine_->Clear(*source, {0, 0, 0, 0}), Status::kOk);
  ASSERT_EQ(Draw(kComplement, *source, source->Bounds(), nullptr, 0, Blend::kXor), Status::kOk);
  check("several writes");
  // As when the reader of a frame has another drawn and reads that, too.
  ASSERT_EQ(Copy(*readback, *source), Status::kOk);
  Map(*readback);
  engine_->Unmap(*readback);
  source.reset();
  const TexturePtr next = Make(300, 200, Pixels(300 * 200, 7));
  check("its end");
  engine_->InjectLoss(0);
  EXPECT_EQ(engine_->Flush(), Status::kDeviceLost);
  engine_.reset();
  check("the engine's end");
}

TEST_F(CpuEngineTest, AClearWaitsAndIsSeenByAllThatReadOrWritesPartOfIt) {
  const TexturePtr cleared = Make(30, 10, Pixels(300, 1));
  const TexturePtr copy = Make(30, 10);
  ASSERT_EQ(engine_->Clear(*cleared, {0, 1, 0, 1}), Status::kOk);
  ASSERT_EQ(Copy(*copy, *cleared), Status::kOk);
  const Rect part{0, 3, 12, 10};
  ASSERT_EQ(Draw(kFill, *cleared, part, nullptr, 3), Status::kOk);
  const Pixels green(300, 0xFF00FF00);
  EXPECT_EQ(Read(*cleared), Changed(green, 30, part, [](auto...) { return 3; }));
  EXPECT_EQ(Read(*copy), green);
  const TexturePtr target = Make(30, 10);
  ASSERT_EQ(engine_->Clear(*cleared, {1, 0, 0, 0}), Status::kOk);
  ASSERT_EQ(Draw(kOwn, *target, target->Bounds(), cleared.get()), Status::kOk);
  EXPECT_EQ(Read(*target), Pixels(300, 0x000000FF));

  // Each format's own bytes, of values that are clamped and rounded.
  const struct {
    Format format;
    std::array<float, 4> color;
    std::uint64_t pixel;
  } cases[] = {
      {Format::kBgra8, {0.25f, -3, 2, 0.5f}, 0x804000FF},
      {Format::kRgba8, {0.25f, NAN, 2, 0.5f}, 0x80FF0040},
      {Format::kR8, {0.25f, 1, 1, 1}, 0x40},
      {Format::kRg8, {0.25f, 0.75f, 1, 1}, 0xBF40},
      {Format::kRgba16Float, {0.5f, 1.0f / 3, 1e-6f, 7}, 0x3C00'0011'3555'3800},
      {Format::kRgba16Float, {0.99999f, 0x1p-14f, 0, 0x1.001p-2f}, 0x3400'0000'0400'3C00},
  };
  for (const auto& [format, color, pixel] : cases) {
    const TexturePtr texture = Make(5, 3, Usage::kDevice, format);
    const TexturePtr readback = Make(5, 3, Usage::kReadback, format);
    ASSERT_EQ(engine_->Clear(*texture, color), Status::kOk);
    ASSERT_EQ(Copy(*readback, *texture), Status::kOk);
    const std::byte* const data = Map(*readback);
    const std::size_t bytes = BytesPerPixel(format);
    for (std::size_t x = 0; x < 5; ++x) {
      std::uint64_t found = 0;
      std::memcpy(&found, data + 2 * pitch_ + x * bytes, bytes);
      EXPECT_EQ(found, pixel) << "format " << static_cast<int>(format);
    }
  }
}

TEST_F(CpuEngineTest, AFrameLikeTheLastTakesNoMemoryAndIsOneSubmission) {
  constexpr int kSide = 700;
  const Pixels pixels = RandomPixels(kSide * kSide, 8);
  const TexturePtr input = Make(kSide, kSide);
  const TexturePtr target = Make(kSide, kSide);
  const TexturePtr readback = Make(kSide, kSide, Usage::kReadback);
  const auto frame = [&] {
    const TexturePtr passing = Make(kSide, kSide / 2);
    Upload(*input, input->Bounds(), pixels);
    EXPECT_EQ(engine_->Clear(*target, {0, 0, 0, 1}), Status::kOk);
    EXPECT_EQ(Draw(kOwn, *target, target->Bounds(), input.get()), Status::kOk);
    EXPECT_EQ(Draw(kFill, *passing, passing->Bounds(), nullptr, 1), Status::kOk);
    EXPECT_EQ(Draw(kFill, *target, {1, 1, 9, 9}, nullptr, 2), Status::kOk);
    EXPECT_EQ(Copy(*readback, *target), Status::kOk);
    const std::byte* const data = Map(*readback);
    EXPECT_EQ(std::memcmp(data + 20 * pitch_, &pixels[20 * kSide], kSide * 4), 0);
    engine_->Unmap(*readback);
  };
  frame();
  frame();
  const std::uint64_t blocks = BlocksMade(*engine_);
  const std::uint64_t submissions = engine_->SubmissionCount();
  for (int i = 0; i < 10; ++i) frame();
  EXPECT_EQ(BlocksMade(*engine_), blocks);
  EXPECT_EQ(engine_->SubmissionCount(), submissions + 10);
  ASSERT_EQ(engine_->Flush(), Status::kOk);
  EXPECT_EQ(engine_->SubmissionCount(), submissions + 10) << "nothing came since";
}

TEST_F(CpuEngineTest, TexturesAndBuffersOfAnySizeAreMadeOrRefused) {
  constexpr std::uint32_t kLimit = 16384;
  EXPECT_EQ(engine_->MaximumTextureSize(), kLimit);
  EXPECT_EQ(CpuDeviceInfo().maximum_texture_size, kLimit);
  Make(kLimit, 1);
  Make(1, kLimit);
  TexturePtr texture;
  EXPECT_EQ(engine_->CreateTexture({kLimit + 1, 1}, &texture), Status::kInvalidArgument);
  EXPECT_EQ(engine_->CreateTexture({kLimit, kLimit, Format::kRgba16Float}, &texture),
            Status::kOutOfMemory);
  std::unique_ptr<Buffer> buffer;
  EXPECT_EQ(engine_->CreateBuffer({0xFFFFFFFC}, &buffer), Status::kInvalidArgument);
  EXPECT_EQ(buffer, nullptr);
}

TEST_F(CpuEngineTest, WordsOfComputeProgramsAreKeptForTheirReaderWhenTheyAreWrittenAnew) {
  constexpr std::uint32_t kWords = 100 * kGroupWidth * 20 * kGroupHeight;
  const auto make = [this](Usage usage) {
    std::unique_ptr<Buffer> buffer;
    EXPECT_EQ(engine_->CreateBuffer({kWords * 4 + 20, usage}, &buffer), Status::kOk);
    return buffer;
  };
  const auto output = make(Usage::kDevice);
  const auto readback = make(Usage::kReadback);
  std::unique_ptr<ComputeProgram> program;
  ASSERT_EQ(engine_->CreateComputeProgram(Bytes(ComputeModule(kCount)), &program), Status::kOk);
  const auto count = [&](std::uint32_t first, std::uint32_t groups_y) {
    Computation computation;
    computation.program = program.get();
    computation.groups_x = 100;
    computation.groups_y = groups_y;
    computation.constants = Bytes(first);
    computation.output = output.get();
    EXPECT_EQ(engine_->Dispatch(computation), Status::kOk);
  };
  const auto map = [&] {
    Mapping mapping;
    EXPECT_EQ(engine_->CopyBuffer(*readback, *output), Status::kOk);
    EXPECT_EQ(engine_->Map(*readback, &mapping), Status::kOk);
    EXPECT_EQ(mapping.pitch, kWords * 4 + 20);
    return std::span(reinterpret_cast<const std::uint32_t*>(mapping.data), kWords);
  };
  const auto expect = [&](std::span<const std::uint32_t> words, std::uint32_t half_first) {
    for (std::uint32_t i = 0; i < kWords; ++i) {
      ASSERT_EQ(words[i], (i < kWords / 2 ? half_first : 5) + i);
    }
  };
  count(5, 20);
  const auto first = map();
  expect(first, 5);
  count(1000, 10);
  expect(first, 5);
  expect(map(), 1000);
}

}  // namespace
}  // namespace Vantra::Render::Simd
