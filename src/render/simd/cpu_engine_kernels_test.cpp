// How passes reach kernels: which, with what arguments, on which threads and instructions.

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <hwy/targets.h>
#include <thread>
#include <tuple>

#include "render/simd/cpu_engine_fixture.h"

namespace Vantra::Render::Simd {
namespace {

bool RunOut(const PixelArguments&, std::int32_t top, std::int32_t) { return top != 0; }
bool Throw(const PixelArguments&, std::int32_t, std::int32_t) { throw std::bad_alloc(); }

// What a pass handed over, and who ran it.
std::atomic<int> s_bands;
std::atomic<int> s_waiting;
std::atomic<bool> s_met;
std::atomic<bool> s_elsewhere;
std::thread::id s_caller;
PixelArguments s_arguments;
std::array<std::uint32_t, kMaximumConstantBytes / 4> s_constants;

bool Record(const PixelArguments& arguments, std::int32_t, std::int32_t) {
  s_arguments = arguments;
  std::memcpy(s_constants.data(), arguments.constants, sizeof(s_constants));
  return true;
}

// Adds 1 to each pixel, and holds the first band for a while until another is begun.
bool Meet(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom) {
  ++s_bands;
  if (std::this_thread::get_id() != s_caller) s_elsewhere = true;
  if (++s_waiting > 1) s_met = true;
  const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  const bool alone = Constant<std::uint32_t>(arguments.constants) == 0;
  while (!alone && !s_met && std::chrono::steady_clock::now() < patience) {
    std::this_thread::yield();
  }
  --s_waiting;
  for (std::int32_t y = top; y < bottom; ++y) {
    for (std::int32_t x = arguments.left; x < arguments.right; ++x) ++Row(arguments, y)[x];
  }
  return true;
}

// Takes the number of its band's rows from each pixel.
bool CountBands(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom) {
  ++s_bands;
  for (std::int32_t y = top; y < bottom; ++y) {
    for (std::int32_t x = arguments.left; x < arguments.right; ++x) {
      Row(arguments, y)[x] -= static_cast<std::uint32_t>(bottom - top);
    }
  }
  return true;
}

enum : std::uint32_t { kRunOut = kFirstFree, kThrow, kRecord, kMeet };
const Kernel kKernels[] = {
    Translated("cpu_engine_test_run_out", kRunOut, RunOut),
    Translated("cpu_engine_test_throw", kThrow, Throw),
    Translated("cpu_engine_test_record", kRecord, Record),
    Translated("cpu_engine_test_meet", kMeet, Meet),
};

// Draws what the first of this name would not, pass by pass as a constant says.
constexpr std::uint32_t kDeclined = 5;
constexpr std::uint32_t kByRows = 6;
constexpr std::uint32_t kByColumns = 7;
bool Accepts(const PixelArguments& arguments, Bands* bands) {
  const auto wish = Constant<std::uint32_t>(arguments.constants);
  if (wish == kByColumns) *bands = Bands::kColumns;
  return wish != kDeclined;
}
const NativeKernel kNativeKernels[] = {{"cpu_engine_test_fill", CountBands, Accepts}};

class CpuKernelsTest : public CpuEngineTest {
 protected:
  static void SetUpTestSuite() {
    CpuEngineTest::SetUpTestSuite();
    [[maybe_unused]] static const bool added = (AddKernels(kKernels), true);
  }
};

TEST_F(CpuKernelsTest, LargePassesAreSharedOutOnceAndSmallOnesAndASingleThreadKeepToTheCaller) {
  const auto draw = [this](std::uint32_t width, std::uint32_t height, bool wait) {
    const Pixels before = RandomPixels(std::size_t{width} * height, 9);
    const TexturePtr target = Make(width, height, before);
    s_bands = s_waiting = 0;
    s_met = s_elsewhere = false;
    s_caller = std::this_thread::get_id();
    EXPECT_EQ(Draw(kMeet, *target, target->Bounds(), nullptr, wait), Status::kOk);
    EXPECT_EQ(Read(*target), Changed(before, static_cast<int>(width), target->Bounds(),
                                     [](std::uint32_t pixel, int, int) { return pixel + 1; }));
  };
  const unsigned most = ThreadCount(*engine_);
  draw(640, 480, most > 1);
  if (most > 1) {
    EXPECT_TRUE(s_met);
    EXPECT_GT(s_bands, 1);
  }
  draw(16384, 1, false);
  EXPECT_EQ(s_bands, 1);
  draw(100, 100, false);
  EXPECT_EQ(s_bands, 1);
  EXPECT_FALSE(s_elsewhere);

  Start({.threads = 1});
  EXPECT_EQ(ThreadCount(*engine_), 1u);
  draw(640, 480, false);
  EXPECT_EQ(s_bands, 1);
  EXPECT_FALSE(s_elsewhere);

  SetCpuThreads(1);
  Start({});
  EXPECT_EQ(ThreadCount(*engine_), 1u);
  EXPECT_TRUE(CpuDeviceInfo().name.ends_with(", 1 thread)")) << CpuDeviceInfo().name;
  SetCpuThreads(0);
  Start({.threads = 1000000});
  EXPECT_EQ(ThreadCount(*engine_), most);
}

TEST_F(CpuKernelsTest, AKernelWithoutMemoryIsAnErrorThatTheEngineOutlives) {
  const TexturePtr target = Make(640, 480, Pixels(640 * 480, 1));
  EXPECT_EQ(Draw(kRunOut, *target, target->Bounds()), Status::kOutOfMemory);
  EXPECT_EQ(Draw(kThrow, *target, target->Bounds()), Status::kOutOfMemory);
  EXPECT_EQ(Draw(kThrow, *target, {0, 0, 5, 5}), Status::kOutOfMemory);
  ASSERT_EQ(Draw(kFill, *target, target->Bounds(), nullptr, 4), Status::kOk);
  EXPECT_EQ(Read(*target), Pixels(640 * 480, 4));
}

TEST_F(CpuKernelsTest, KernelsGetTheirPlacementTheirTexturesAndConstantsFollowedByZeros) {
  const TexturePtr target = Make(50, 40);
  const TexturePtr input = Make(33, 7);
  const std::unique_ptr<Program> program = Load(kRecord);
  const std::array<std::uint32_t, kMaximumConstantBytes / 4> many = {1, 2, 3};
  Pass pass;
  pass.program = program.get();
  pass.target = target.get();
  pass.rect = {2, 3, 30, 20};
  pass.origin_x = 7;
  pass.extent_x = 50;
  pass.extent_y = 8;
  pass.bindings[1] = {input.get(), {Filter::kNearest, Extend::kWrap, Extend::kMirror}};
  pass.blend = Blend::kPlus;
  pass.constants = Bytes(many);
  ASSERT_EQ(engine_->Draw(pass), Status::kOk);
  const std::uint32_t one = 9;
  pass.constants = Bytes(one);
  ASSERT_EQ(engine_->Draw(pass), Status::kOk);
  EXPECT_EQ(s_constants[0], 9u);
  EXPECT_EQ(std::count(s_constants.begin(), s_constants.end(), 0u), std::ssize(s_constants) - 1);
  const PixelArguments& found = s_arguments;
  EXPECT_EQ((Rect{found.left, found.top, found.right, found.bottom}), pass.rect);
  EXPECT_EQ(found.origin_x, 7);
  EXPECT_EQ(found.pixel_size_x, 1.0f / 50);
  EXPECT_EQ(found.pixel_size_y, 1.0f / 8);
  EXPECT_EQ(found.blend, Blend::kPlus);
  EXPECT_EQ(found.textures[0].data, nullptr);
  EXPECT_EQ(found.samplers[1], pass.bindings[1].sampler);

  // Any row, the last one too, can be read beyond its end.
  const TextureView& view = found.textures[1];
  EXPECT_EQ(view.width, 33);
  EXPECT_EQ(view.height, 7);
  EXPECT_EQ(view.pitch % kRowAlignment, 0u);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(view.data) % kRowAlignment, 0u);
  std::array<std::byte, kRowPadding> beyond;
  std::memcpy(beyond.data(), view.data + 6 * view.pitch + 33 * 4, beyond.size());
}

TEST_F(CpuKernelsTest, UnknownProgramsAreRefusedWithAReasonAndHostileOnesDoNoHarm) {
  std::unique_ptr<Program> program;
  EXPECT_EQ(engine_->CreateProgram(Bytes(PixelModule(99)), &program), Status::kUnsupported);
  EXPECT_EQ(program, nullptr);
  EXPECT_NE(engine_->Reason().find("not translated"), std::string::npos) << engine_->Reason();
  EXPECT_EQ(engine_->CreateProgram(Bytes(PixelModule(kOwn)), &program), Status::kOk);
  EXPECT_EQ(engine_->Reason(), "");
  EXPECT_EQ(engine_->CreateProgram(Bytes(ComputeModule(kCount)), &program),
            Status::kInvalidArgument);
  std::unique_ptr<ComputeProgram> compute;
  EXPECT_EQ(engine_->CreateComputeProgram(Bytes(ComputeModule(99)), &compute),
            Status::kUnsupported);

  std::mt19937 random(10);
  for (int i = 0; i < 300; ++i) {
    Pixels words = RandomPixels(5 + random() % 40, i);
    words[0] = 0x07230203;
    const auto bytes = std::as_bytes(std::span(words));
    EXPECT_EQ(engine_->CreateProgram(bytes, &program), Status::kUnsupported);
    EXPECT_NE(engine_->CreateComputeProgram(bytes, &compute), Status::kOk);
  }
}

TEST_F(CpuKernelsTest, AKernelWithAnAlgorithmOfItsOwnDrawsWhatItAcceptsUnlessToldOtherwise) {
  AddNativeKernels(kNativeKernels);
  constexpr std::uint32_t kWidth = 500;
  constexpr std::uint32_t kHeight = 300;
  const Pixels before = RandomPixels(kWidth * kHeight, 11);
  const Rect rect{3, 5, 497, 290};
  const auto expect_drawn = [&](std::uint32_t constant, auto change) {
    const TexturePtr target = Make(kWidth, kHeight, before);
    s_bands = 0;
    EXPECT_EQ(Draw(kFill, *target, rect, nullptr, constant), Status::kOk);
    EXPECT_EQ(Read(*target), Changed(before, kWidth, rect, change)) << constant;
  };
  const auto fill = [](std::uint32_t constant) { return [=](auto...) { return constant; }; };
  for (const std::uint32_t constant : {kDeclined, kByRows, kByColumns}) {
    expect_drawn(constant, fill(constant));
    EXPECT_EQ(s_bands, 0);
  }
  Start({});
  expect_drawn(kDeclined, fill(kDeclined));
  const auto less_rows = [](std::uint32_t pixel, int, int) { return pixel - 285; };
  expect_drawn(kByColumns, less_rows);
  if (ThreadCount(*engine_) > 1) {
    EXPECT_GT(s_bands, 1);
  }
  Start({.threads = 1});
  expect_drawn(kByRows, less_rows);
}

class ForcedInstructions : public CpuEngineTest {
 protected:
  static void Force(const char* option) { ASSERT_EQ(setenv(kVariable, option, 1), 0); }
  void SetUp() override {
    if (const char* const set = std::getenv(kVariable)) before_ = set;
    Force("");
  }
  void TearDown() override {
    Force(before_.c_str());
    Start({});
  }
  static constexpr const char* kVariable = "VANTRIX_SIMD_TARGET";
  std::string before_;
};

TEST_F(ForcedInstructions, AreUsedWhereTheCpuHasThemAndAnErrorElse) {
  const std::string best = CpuDeviceInfo().name;
  const std::int64_t available = hwy::SupportedTargets();
  std::string error;
  for (const char* const unknown : {"avx", "AVX2", "avx5120", "neon,sse4", " "}) {
    Force(unknown);
    EXPECT_EQ(CreateCpuEngine({}, &error), nullptr);
    EXPECT_NE(error.find(std::string("'") + unknown + "'"), std::string::npos) << error;
    EXPECT_FALSE(CpuAvailable(&error));
  }
  int known = 0;
#if HWY_ARCH_X86
  const std::tuple<const char*, const char*, std::int64_t> options[] = {
      {"sse4", "(SSE4, ", HWY_SSE4},
      {"avx2", "(AVX2, ", HWY_AVX2},
      {"avx512", "(AVX-512, ", HWY_AVX3}};
#else
  const std::tuple<const char*, const char*, std::int64_t> options[] = {
      {"neon", "(NEON, ", HWY_NEON}};
#endif
  for (const auto& [option, name, target] : options) {
    Force(option);
    const auto engine = CreateCpuEngine({}, &error);
    if (!(available & target)) {
      EXPECT_EQ(engine, nullptr);
      EXPECT_NE(error.find("does not have"), std::string::npos) << error;
      continue;
    }
    ++known;
    ASSERT_NE(engine, nullptr) << error;
    EXPECT_NE(CpuDeviceInfo().name.find(name), std::string::npos) << CpuDeviceInfo().name;
    // What kernels choose by.
    EXPECT_EQ(hwy::SupportedTargets() & -hwy::SupportedTargets(), target);
  }
  EXPECT_GT(known, 0);
  Force("");
  // An engine can be started without programs of the library, but is not offered.
  EXPECT_EQ(CpuAvailable(&error), !GetKernelTable().empty());
  EXPECT_EQ(CpuDeviceInfo().name, best);
  EXPECT_EQ(hwy::SupportedTargets(), available);
}

}  // namespace
}  // namespace Vantra::Render::Simd
