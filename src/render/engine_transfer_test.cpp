// Uploads, copies and maps; life, loss and the steady state.

#include <functional>

#include "render/engine_fixture.h"

TEST_PROGRAM(fill)
TEST_PROGRAM(own)

namespace Vantra::Render {
namespace {

class EngineTransferTest : public EngineFixture {};
INSTANTIATE_ENGINE_TESTS(EngineTransferTest);

TEST_P(EngineTransferTest, PixelsComeBackUnchangedInBothFormatsAndOddSizes) {
  for (const Format format : {Format::kBgra8, Format::kRgba8}) {
    for (const auto& [width, height] : {std::pair{1, 1}, {7, 5}, {33, 129}, {257, 3}}) {
      const Picture picture = RandomPicture(width, height, static_cast<unsigned>(width));
      EXPECT_EQ(Read(*Make(picture, format)), picture) << width << " x " << height;
    }
  }
}

TEST_P(EngineTransferTest, RectanglesLandAtTheirPlaceAndLeaveTheRest) {
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

TEST_P(EngineTransferTest, CopiesToOneReadbackTextureRunInOrder) {
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

TEST_P(EngineTransferTest, LargeUploadsKeepEveryByteAndTheirDataIsFreeAtOnce) {
  Start(Buffers::kSmall);
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

TEST_P(EngineTransferTest, TexturesAndProgramsMayEndWhileTheirWorkIsUnderWay) {
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

TEST_P(EngineTransferTest, TexturesAndProgramsOutliveTheirEngine) {
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

TEST_P(EngineTransferTest, SeveralEnginesWorkSideBySide) {
  auto second = MakeEngine();
  ASSERT_NE(second, nullptr);
  const Picture picture = RandomPicture(20, 20, 16);
  const TexturePtr texture = Make(picture);
  std::swap(engine_, second);
  EXPECT_EQ(Read(*Make(picture)), picture);
  std::swap(engine_, second);
  EXPECT_EQ(Read(*texture), picture);
}

TEST_P(EngineTransferTest, ASteadyStateMakesNothingNewAndSubmitsOnceAFrame) {
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
  const std::uint64_t objects = ObjectsMade();
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
  EXPECT_EQ(ObjectsMade(), objects);
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
  const std::uint64_t before = ObjectsMade();
  for (int i = 0; i < 300; ++i) passing();
  // A device that falls behind makes the engine's pools grow a little, once.
  EXPECT_LE(ObjectsMade() - before, 300u * 2 + 8) << "an image and its view each";
}

TEST_P(EngineTransferTest, LossAtAnyCallIsReportedFromThenOnAndEverythingStillEnds) {
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
    Start();
    ASSERT_EQ(frame(*engine_), Status::kOk);
    engine_->InjectLoss(at);
    EXPECT_EQ(frame(*engine_), Status::kDeviceLost) << "at call " << at;
  }
}

TEST_P(EngineTransferTest, TexturesReachTheSizeThatTheEngineStatesAndNoFurther) {
  const std::uint32_t limit = engine_->MaximumTextureSize();
  TexturePtr texture;
  EXPECT_EQ(engine_->CreateTexture({limit, 1}, &texture), Status::kOk);
  EXPECT_EQ(engine_->CreateTexture({1, limit}, &texture), Status::kOk);
  EXPECT_EQ(engine_->CreateTexture({limit + 1, 1}, &texture), Status::kInvalidArgument);
  EXPECT_EQ(texture, nullptr);
}

}  // namespace
}  // namespace Vantra::Render
