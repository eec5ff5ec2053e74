// Compute programs, buffers, and the formats of video planes.

#include <functional>

#include "render/engine_fixture.h"

TEST_PROGRAM(fill)
TEST_PROGRAM(grid)
TEST_PROGRAM(own)

namespace Vantra::Render {
namespace {

using BufferPtr = std::unique_ptr<Buffer>;
using Words = std::vector<std::uint32_t>;

constexpr int kWidth = 2 * kGroupWidth;
constexpr int kHeight = 3 * kGroupHeight;
constexpr std::uint32_t kBytes = kWidth * kHeight * 4;

struct Constants {
  std::uint32_t width = kWidth;
  std::uint32_t height = kHeight;
  std::uint32_t mask = 0;
};

class EngineComputeTest : public EngineFixture {
 protected:
  BufferPtr MakeBuffer(Usage usage = Usage::kDevice) {
    BufferPtr buffer;
    EXPECT_EQ(engine_->CreateBuffer({kBytes, usage}, &buffer), Status::kOk);
    return buffer;
  }
  std::unique_ptr<ComputeProgram> LoadGrid() {
    std::unique_ptr<ComputeProgram> program;
    EXPECT_EQ(engine_->CreateComputeProgram(SPIRV(grid), &program), Status::kOk);
    return program;
  }
  // Over the whole grid.
  static Computation Compute(const ComputeProgram& program,
                             const std::array<const Texture*, kRegisterCount>& textures,
                             const Constants& constants, Buffer& output) {
    return {.program = &program,
            .groups_x = kWidth / kGroupWidth,
            .groups_y = kHeight / kGroupHeight,
            .textures = textures,
            .constants = Bytes(constants),
            .output = &output};
  }
  Words Mapped(Buffer& readback) {
    Words words(kBytes / 4);
    Mapping mapping;
    EXPECT_EQ(engine_->Map(readback, &mapping), Status::kOk);
    EXPECT_EQ(mapping.pitch, kBytes);
    if (mapping.data) std::memcpy(words.data(), mapping.data, kBytes);
    engine_->Unmap(readback);
    return words;
  }
  static Words Expected(const Picture* first, const Picture* second, const Picture* third,
                        std::uint32_t mask) {
    Words words;
    const auto byte = [](const Picture* picture, int x, int y, std::size_t channel) {
      return picture ? std::uint32_t{picture->At(x, y)[channel]} : 0u;
    };
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        words.push_back((byte(first, x, y, 0) | byte(second, x, y, 1) << 8 |
                         byte(third, x, y, 2) << 16 | byte(third, x, y, 3) << 24) ^
                        mask);
      }
    }
    return words;
  }
};

INSTANTIATE_ENGINE_TESTS(EngineComputeTest);

TEST_P(EngineComputeTest, EveryPlaceOfTheGridGetsItsWordFromAllTexturesAndConstants) {
  const auto program = LoadGrid();
  const Picture first = RandomPicture(kWidth, kHeight, 1);
  const Picture second = RandomPicture(kWidth, kHeight, 2);
  const Picture third = RandomPicture(kWidth, kHeight, 3);
  const TexturePtr textures[] = {Make(first), Make(second), Make(third)};
  const BufferPtr output = MakeBuffer();
  const BufferPtr copy = MakeBuffer();
  const BufferPtr readback = MakeBuffer(Usage::kReadback);
  Constants constants;
  Computation computation = Compute(
      *program, {textures[0].get(), textures[1].get(), textures[2].get()}, constants, *output);
  // Twice over the same buffers without a pause: each use waits for the one before.
  for (const std::uint32_t mask : {0x12345678u, 0xFFFF0000u}) {
    constants.mask = mask;
    ASSERT_EQ(engine_->Dispatch(computation), Status::kOk);
    ASSERT_EQ(engine_->CopyBuffer(*copy, *output), Status::kOk);
    ASSERT_EQ(engine_->CopyBuffer(*readback, *copy), Status::kOk);
  }
  EXPECT_EQ(Mapped(*readback), Expected(&first, &second, &third, 0xFFFF0000u));

  // A texture that a pass drew, one that waits for its clear, and none.
  const ProgramPtr own = Load(SPIRV(own));
  const TexturePtr drawn = Make(kWidth, kHeight);
  Pass pass = WholePass(*own, *drawn);
  pass.bindings[0].texture = textures[2].get();
  ASSERT_EQ(engine_->Draw(pass), Status::kOk);
  ASSERT_EQ(engine_->Clear(*textures[1], {0, 1, 0, 0}), Status::kOk);
  Picture green(kWidth, kHeight);
  std::fill(green.pixels.begin(), green.pixels.end(), Pixel{0, 255, 0, 0});
  computation.textures = {nullptr, textures[1].get(), drawn.get()};
  ASSERT_EQ(engine_->Dispatch(computation), Status::kOk);
  ASSERT_EQ(engine_->CopyBuffer(*readback, *output), Status::kOk);
  EXPECT_EQ(Mapped(*readback), Expected(nullptr, &green, &third, 0xFFFF0000u));
}

TEST_P(EngineComputeTest, FormatsOfOneAndTwoChannelsKeepTheirBytesAndReadTheRestAsZero) {
  for (const Format format : {Format::kR8, Format::kRg8}) {
    const std::uint32_t channels = BytesPerPixel(format);
    Picture picture = RandomPicture(kWidth, kHeight, channels);
    std::vector<std::uint8_t> bytes;
    for (Pixel& pixel : picture.pixels) {
      for (std::size_t c = 0; c < channels; ++c) bytes.push_back(pixel[c]);
      if (channels == 1) pixel[1] = 0;
      pixel[2] = 0;
      pixel[3] = 255;
    }
    const TexturePtr texture = Make(kWidth, kHeight, format);
    ASSERT_EQ(
        engine_->Upload(*texture, texture->Bounds(), bytes.data(), std::size_t{kWidth} * channels),
        Status::kOk);

    const auto program = LoadGrid();
    const BufferPtr output = MakeBuffer();
    const BufferPtr words = MakeBuffer(Usage::kReadback);
    const Constants constants;
    ASSERT_EQ(engine_->Dispatch(Compute(*program, {texture.get(), texture.get(), texture.get()},
                                        constants, *output)),
              Status::kOk);
    ASSERT_EQ(engine_->CopyBuffer(*words, *output), Status::kOk);
    EXPECT_EQ(Mapped(*words), Expected(&picture, &picture, &picture, 0));

    // A part at an odd place, there and back.
    const TexturePtr readback = Make(kWidth, kHeight, format, Usage::kReadback);
    const Rect part{3, 5, 34, 12};
    ASSERT_EQ(engine_->Copy(*readback, 1, 2, *texture, part), Status::kOk);
    Mapping mapping;
    ASSERT_EQ(engine_->Map(*readback, &mapping), Status::kOk);
    for (int y = 0; y < part.Height(); ++y) {
      const std::byte* row =
          mapping.data + static_cast<std::size_t>(y + 2) * mapping.pitch + channels;
      const std::uint8_t* expected =
          &bytes[(static_cast<std::size_t>(y + part.top) * kWidth + 3) * channels];
      ASSERT_EQ(std::memcmp(row, expected, static_cast<std::size_t>(part.Width()) * channels), 0);
    }
    engine_->Unmap(*readback);
  }
}

TEST_P(EngineComputeTest, AFrameLikeTheLastMakesNothingNewAndObjectsMayEndBeforeTheirWork) {
  const auto program = LoadGrid();
  const Picture picture = RandomPicture(kWidth, kHeight, 4);
  const TexturePtr texture = Make(kWidth, kHeight);
  const BufferPtr output = MakeBuffer();
  const BufferPtr readback = MakeBuffer(Usage::kReadback);
  const Constants constants;
  const auto frame = [&](Buffer& buffer) {
    Upload(*texture, picture);
    ASSERT_EQ(engine_->Dispatch(Compute(*program, {texture.get(), texture.get(), texture.get()},
                                        constants, buffer)),
              Status::kOk);
    ASSERT_EQ(engine_->CopyBuffer(*readback, buffer), Status::kOk);
  };
  frame(*output);
  const Words first = Mapped(*readback);
  const std::uint64_t objects = ObjectsMade();
  for (int i = 0; i < 50; ++i) {
    frame(*output);
    EXPECT_EQ(Mapped(*readback), first);
  }
  EXPECT_EQ(ObjectsMade(), objects);
  for (int i = 0; i < 50; ++i) frame(*MakeBuffer());
  EXPECT_EQ(Mapped(*readback), first);

  frame(*output);
  engine_.reset();
}

TEST_P(EngineComputeTest, WhatCannotBeRunOnMemoryOfTheHostIsRefusedAndWritesNothing) {
  const auto program = LoadGrid();
  const Words source(16, 1);
  Words result(16, 2);
  HostComputation whole;
  whole.program = program.get();
  whole.planes[0] = {reinterpret_cast<const std::byte*>(source.data()), 16, 16, 4};
  whole.output = reinterpret_cast<std::byte*>(result.data());
  whole.output_pitch = 16;
  whole.width = whole.height = 4;
  // A program that no engine has a shorter way for.
  EXPECT_EQ(engine_->DispatchOnHost(whole), Status::kUnsupported);
  const auto after = [&](const auto& change) {
    HostComputation changed = whole;
    change(changed);
    return engine_->DispatchOnHost(changed);
  };
  const Status refused = Status::kInvalidArgument;
  EXPECT_EQ(after([](HostComputation& c) { c.program = nullptr; }), refused);
  EXPECT_EQ(after([](HostComputation& c) { c.output = nullptr; }), refused);
  EXPECT_EQ(after([](HostComputation& c) { c.width = 0; }), refused);
  EXPECT_EQ(after([](HostComputation& c) { c.height = -1; }), refused);
  EXPECT_EQ(after([](HostComputation& c) { c.output_pitch = 15; }), refused);
  EXPECT_EQ(after([](HostComputation& c) { c.planes[0].pitch = 15; }), refused);
  EXPECT_EQ(after([](HostComputation& c) { c.planes[0].data = nullptr; }), refused);
  EXPECT_EQ(after([](HostComputation& c) { c.planes[2].rows = -1; }), refused);
  EXPECT_EQ(result, Words(16, 2));
  engine_->InjectLoss(0);
  EXPECT_EQ(engine_->DispatchOnHost(whole), Status::kDeviceLost);
}

TEST_P(EngineComputeTest, APixelProgramIsNoComputeProgram) {
  std::unique_ptr<ComputeProgram> program;
  EXPECT_EQ(engine_->CreateComputeProgram(SPIRV(fill), &program), Status::kInvalidArgument);
  EXPECT_EQ(program, nullptr);
}

}  // namespace
}  // namespace Vantra::Render
