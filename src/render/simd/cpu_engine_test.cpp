// What is this engine's own: shared memory, threads, its choice of kernels and instructions. What
// all engines have in common is tested over each of them.

#include "render/simd/cpu_engine.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <hwy/targets.h>
#include <random>
#include <thread>
#include <tuple>
#include <vector>

#include "render/simd/cpu_engine_internal.h"
#include "render/simd/kernel_registry.h"

namespace Vantra::Render {
namespace {

using Simd::ComputeArguments;
using Simd::Kernel;
using Simd::PixelArguments;
using TexturePtr = std::unique_ptr<Texture>;
using Pixels = std::vector<std::uint32_t>;

// A module with nothing but a number of its own; a compute shader is only its entry point.
using Module = std::array<std::uint32_t, 8>;
constexpr Module PixelModule(std::uint32_t number) { return {0x07230203, 0x10000, number, 9}; }
constexpr Module ComputeModule(std::uint32_t number) {
  return {0x07230203, 0x10000, number, 9, 0, 2 << 16 | 15, 5, 1 << 16};
}

template <class Values>
std::span<const std::byte> Bytes(const Values& values) {
  return std::as_bytes(std::span(&values, 1));
}

template <class Value>
Value Constant(const std::byte* constants, std::size_t index = 0) {
  Value value;
  std::memcpy(&value, constants + index * sizeof(value), sizeof(value));
  return value;
}

std::uint32_t* Row(const PixelArguments& arguments, std::int32_t y) {
  return reinterpret_cast<std::uint32_t*>(arguments.target.data +
                                          static_cast<std::size_t>(y) * arguments.target.pitch);
}

bool Own(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom) {
  const Simd::TextureView& input = arguments.textures[0];
  for (std::int32_t y = top; y < bottom; ++y) {
    std::memcpy(Row(arguments, y) + arguments.left,
                input.data + static_cast<std::size_t>(y) * input.pitch +
                    static_cast<std::size_t>(arguments.left) * 4,
                static_cast<std::size_t>(arguments.right - arguments.left) * 4);
  }
  return true;
}

bool Fill(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom) {
  const auto pixel = Constant<std::uint32_t>(arguments.constants);
  for (std::int32_t y = top; y < bottom; ++y) {
    std::fill(Row(arguments, y) + arguments.left, Row(arguments, y) + arguments.right, pixel);
  }
  return true;
}

bool Complement(const PixelArguments& arguments, std::int32_t top, std::int32_t bottom) {
  for (std::int32_t y = top; y < bottom; ++y) {
    for (std::int32_t x = arguments.left; x < arguments.right; ++x) Row(arguments, y)[x] ^= ~0u;
  }
  return true;
}

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

bool Count(const ComputeArguments& arguments, std::int32_t top, std::int32_t bottom) {
  const auto first = Constant<std::uint32_t>(arguments.constants);
  for (std::int32_t y = top; y < bottom; ++y) {
    for (std::int32_t x = 0; x < arguments.width; ++x) {
      const auto index = static_cast<std::uint32_t>(y * arguments.width + x);
      if (index < arguments.output_words) arguments.output[index] = first + index;
    }
  }
  return true;
}

enum Number : std::uint32_t { kOwn, kFill, kComplement, kRunOut, kThrow, kRecord, kMeet, kCount };
constexpr Kernel Translated(const char* name, Number number, Simd::PixelKernel run) {
  return {name,
          Simd::HashOfProgram(
              std::bit_cast<std::array<std::byte, sizeof(Module)>>(PixelModule(number))),
          run, nullptr};
}
const Kernel kKernels[] = {
    Translated("own", kOwn, Own),
    Translated("cpu_engine_test_fill", kFill, Fill),
    Translated("complement", kComplement, Complement),
    Translated("run_out", kRunOut, RunOut),
    Translated("throw", kThrow, Throw),
    Translated("record", kRecord, Record),
    Translated("meet", kMeet, Meet),
    {"count", Simd::HashOfProgram(Bytes(ComputeModule(kCount))), nullptr, Count},
};
// Draws what the first of this name would not, pass by pass as a constant says.
constexpr std::uint32_t kDeclined = 5;
constexpr std::uint32_t kByRows = 6;
constexpr std::uint32_t kByColumns = 7;
bool Accepts(const PixelArguments& arguments, Simd::Bands* bands) {
  const auto wish = Constant<std::uint32_t>(arguments.constants);
  if (wish == kByColumns) *bands = Simd::Bands::kColumns;
  return wish != kDeclined;
}
const Simd::NativeKernel kNativeKernels[] = {{"cpu_engine_test_fill", CountBands, Accepts}};

class CpuEngineTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    [[maybe_unused]] static const bool added = [] {
      Simd::AddKernels(kKernels);
      return true;
    }();
  }
  void SetUp() override { Start({.use_native_kernels = false}); }
  void Start(const CpuOptions& options) {
    std::string error;
    engine_ = CreateCpuEngine(options, &error);
    ASSERT_NE(engine_, nullptr) << error;
  }

  TexturePtr Make(std::uint32_t width, std::uint32_t height, Usage usage = Usage::kDevice,
                  Format format = Format::kRgba8) {
    TexturePtr texture;
    EXPECT_EQ(engine_->CreateTexture({width, height, format, usage}, &texture), Status::kOk);
    return texture;
  }
  TexturePtr Make(std::uint32_t width, std::uint32_t height, const Pixels& pixels) {
    TexturePtr texture = Make(width, height);
    Upload(*texture, texture->Bounds(), pixels);
    return texture;
  }
  void Upload(Texture& texture, const Rect& rect, const Pixels& pixels) {
    EXPECT_EQ(
        engine_->Upload(texture, rect, pixels.data(), static_cast<std::size_t>(rect.Width()) * 4),
        Status::kOk);
  }
  std::unique_ptr<Program> Load(Number number) {
    std::unique_ptr<Program> program;
    EXPECT_EQ(engine_->CreateProgram(Bytes(PixelModule(number)), &program), Status::kOk);
    return program;
  }
  Status Draw(Number number, Texture& target, const Rect& rect, const Texture* input = nullptr,
              std::uint32_t constant = 0, Blend blend = Blend::kReplace) {
    const std::unique_ptr<Program> program = Load(number);
    Pass pass;
    pass.program = program.get();
    pass.target = &target;
    pass.rect = rect;
    pass.bindings[0].texture = input;
    pass.constants = Bytes(constant);
    pass.blend = blend;
    return engine_->Draw(pass);
  }
  Status Copy(Texture& to, const Texture& from) {
    return engine_->Copy(to, 0, 0, from, from.Bounds());
  }
  const std::byte* Map(Texture& readback) {
    Mapping mapping;
    EXPECT_EQ(engine_->Map(readback, &mapping), Status::kOk);
    pitch_ = mapping.pitch;
    return mapping.data;
  }
  static Pixels Rows(const Texture& texture, const std::byte* data, std::size_t pitch) {
    Pixels pixels;
    for (std::uint32_t y = 0; y < texture.Desc().height; ++y) {
      const auto* row = reinterpret_cast<const std::uint32_t*>(data + y * pitch);
      pixels.insert(pixels.end(), row, row + texture.Desc().width);
    }
    return pixels;
  }
  Pixels Read(const Texture& texture) {
    const TexturePtr readback = Make(texture.Desc().width, texture.Desc().height, Usage::kReadback);
    EXPECT_EQ(Copy(*readback, texture), Status::kOk);
    const std::byte* const data = Map(*readback);
    return Rows(*readback, data, pitch_);
  }

  std::unique_ptr<Engine> engine_;
  std::size_t pitch_ = 0;
};

Pixels RandomPixels(std::size_t count, unsigned seed) {
  Pixels pixels(count);
  std::mt19937 random(seed);
  for (std::uint32_t& pixel : pixels) pixel = static_cast<std::uint32_t>(random());
  return pixels;
}

// `pixels`, `width` to a row, with `change` at each place of `rect`.
template <class Change>
Pixels Changed(Pixels pixels, int width, const Rect& rect, const Change& change) {
  for (int y = rect.top; y < rect.bottom; ++y) {
    for (int x = rect.left; x < rect.right; ++x) {
      std::uint32_t& pixel = pixels[static_cast<std::size_t>(y * width + x)];
      pixel = change(pixel, x, y);
    }
  }
  return pixels;
}

TEST_F(CpuEngineTest, AWholeCopyTakesNoMemoryAndNeitherSideSeesWhatIsWrittenToTheOther) {
  constexpr int kWidth = 41;
  const Rect part{3, 2, 30, 11};
  const Pixels before = RandomPixels(kWidth * 17, 1);
  const Pixels patch(27 * 9, 0xABCDEF01);
  const auto to_patch = [](std::uint32_t, int, int) { return 0xABCDEF01; };
  const auto to_complement = [](std::uint32_t pixel, int, int) { return ~pixel; };
  const TexturePtr other = Make(kWidth, 17, RandomPixels(kWidth * 17, 2));
  struct Write {
    const char* name;
    std::function<void(Texture&)> run;
    Pixels after;
  };
  const Rect whole = other->Bounds();
  const Write writes[] = {
      {"upload a part", [&](Texture& texture) { Upload(texture, part, patch); },
       Changed(before, kWidth, part, to_patch)},
      {"upload all", [&](Texture& texture) { Upload(texture, whole, Pixels(kWidth * 17, 7)); },
       Pixels(kWidth * 17, 7)},
      {"draw a part",
       [&](Texture& texture) {
         EXPECT_EQ(Draw(kFill, texture, part, nullptr, 0xABCDEF01), Status::kOk);
       },
       Changed(before, kWidth, part, to_patch)},
      {"draw all over what is there",
       [&](Texture& texture) {
         EXPECT_EQ(Draw(kComplement, texture, whole, nullptr, 0, Blend::kXor), Status::kOk);
       },
       Changed(before, kWidth, whole, to_complement)},
      {"clear",
       [&](Texture& texture) {
         EXPECT_EQ(engine_->Clear(texture, {1, 0, 0, 1}), Status::kOk);
       },
       Pixels(kWidth * 17, 0xFF0000FF)},
      {"copy a part",
       [&](Texture& texture) {
         EXPECT_EQ(engine_->Copy(texture, 3, 2, *other, {0, 1, 27, 10}), Status::kOk);
       },
       Changed(before, kWidth, part,
               [copied = Read(*other)](std::uint32_t, int x, int y) {
                 return copied[static_cast<std::size_t>((y - 1) * kWidth + x - 3)];
               })},
  };
  for (const Write& write : writes) {
    for (const bool to_source : {false, true}) {
      SCOPED_TRACE(write.name);
      const TexturePtr source = Make(kWidth, 17, before);
      const TexturePtr copy = Make(kWidth, 17);
      ASSERT_EQ(Copy(*copy, *source), Status::kOk);
      write.run(to_source ? *source : *copy);
      EXPECT_EQ(Read(to_source ? *copy : *source), before);
      EXPECT_EQ(Read(to_source ? *source : *copy), write.after);
    }
  }

  const TexturePtr first = Make(kWidth, 17, Usage::kReadback);
  const TexturePtr second = Make(kWidth, 17, Usage::kReadback);
  ASSERT_EQ(Copy(*first, *other), Status::kOk);
  ASSERT_EQ(Copy(*second, *other), Status::kOk);
  EXPECT_EQ(Map(*first), Map(*second));
}

TEST_F(CpuEngineTest, APassMayReadACopyOfItsTarget) {
  const Pixels pixels = RandomPixels(20 * 20, 3);
  const TexturePtr target = Make(20, 20, pixels);
  const TexturePtr input = Make(20, 20);
  ASSERT_EQ(Copy(*input, *target), Status::kOk);
  ASSERT_EQ(Draw(kOwn, *target, {0, 0, 20, 20}, input.get()), Status::kOk);
  ASSERT_EQ(Draw(kFill, *target, {0, 0, 20, 1}, input.get(), 9), Status::kOk);
  EXPECT_EQ(Read(*target), Changed(pixels, 20, {0, 0, 20, 1}, [](auto...) { return 9; }));
  EXPECT_EQ(Read(*input), pixels);
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
  const std::uint64_t blocks = Simd::BlocksMade(*engine_);
  const std::uint64_t submissions = engine_->SubmissionCount();
  for (int i = 0; i < 10; ++i) frame();
  EXPECT_EQ(Simd::BlocksMade(*engine_), blocks);
  EXPECT_EQ(engine_->SubmissionCount(), submissions + 10);
  ASSERT_EQ(engine_->Flush(), Status::kOk);
  EXPECT_EQ(engine_->SubmissionCount(), submissions + 10) << "nothing came since";
}

TEST_F(CpuEngineTest, LargePassesAreSharedOutOnceAndSmallOnesAndASingleThreadKeepToTheCaller) {
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
  const unsigned most = Simd::ThreadCount(*engine_);
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
  EXPECT_EQ(Simd::ThreadCount(*engine_), 1u);
  draw(640, 480, false);
  EXPECT_EQ(s_bands, 1);
  EXPECT_FALSE(s_elsewhere);

  SetCpuThreads(1);
  Start({});
  EXPECT_EQ(Simd::ThreadCount(*engine_), 1u);
  EXPECT_TRUE(CpuDeviceInfo().name.ends_with(", 1 thread)")) << CpuDeviceInfo().name;
  SetCpuThreads(0);
  Start({.threads = 1000000});
  EXPECT_EQ(Simd::ThreadCount(*engine_), most);
}

TEST_F(CpuEngineTest, AKernelWithoutMemoryIsAnErrorThatTheEngineOutlives) {
  const TexturePtr target = Make(640, 480, Pixels(640 * 480, 1));
  EXPECT_EQ(Draw(kRunOut, *target, target->Bounds()), Status::kOutOfMemory);
  EXPECT_EQ(Draw(kThrow, *target, target->Bounds()), Status::kOutOfMemory);
  EXPECT_EQ(Draw(kThrow, *target, {0, 0, 5, 5}), Status::kOutOfMemory);
  ASSERT_EQ(Draw(kFill, *target, target->Bounds(), nullptr, 4), Status::kOk);
  EXPECT_EQ(Read(*target), Pixels(640 * 480, 4));
}

TEST_F(CpuEngineTest, KernelsGetTheirPlacementTheirTexturesAndConstantsFollowedByZeros) {
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
  const Simd::TextureView& view = found.textures[1];
  EXPECT_EQ(view.width, 33);
  EXPECT_EQ(view.height, 7);
  EXPECT_EQ(view.pitch % Simd::kRowAlignment, 0u);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(view.data) % Simd::kRowAlignment, 0u);
  std::array<std::byte, Simd::kRowPadding> beyond;
  std::memcpy(beyond.data(), view.data + 6 * view.pitch + 33 * 4, beyond.size());
}

TEST_F(CpuEngineTest, UnknownProgramsAreRefusedWithAReasonAndHostileOnesDoNoHarm) {
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

TEST_F(CpuEngineTest, AKernelWithAnAlgorithmOfItsOwnDrawsWhatItAcceptsUnlessToldOtherwise) {
  Simd::AddNativeKernels(kNativeKernels);
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
  if (Simd::ThreadCount(*engine_) > 1) {
    EXPECT_GT(s_bands, 1);
  }
  Start({.threads = 1});
  expect_drawn(kByRows, less_rows);
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
  EXPECT_TRUE(CpuAvailable(&error));
  EXPECT_EQ(CpuDeviceInfo().name, best);
  EXPECT_EQ(hwy::SupportedTargets(), available);
}

}  // namespace
}  // namespace Vantra::Render
