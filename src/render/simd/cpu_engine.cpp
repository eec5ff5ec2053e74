#include "render/simd/cpu_engine.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>
#include <unistd.h>

#include "render/simd/cpu_engine_internal.h"
#include "render/simd/cpu_resources.h"
#include "render/simd/instruction_sets.h"
#include "render/simd/kernel_registry.h"
#include "render/simd/workers.h"

namespace Vantra::Render {
namespace Simd {
namespace {

constexpr std::uint32_t kMaximumTextureSize = 16384;

// Of a band, at the least. A simple program takes a few microseconds for them, not less than to
// wake a thread; a costly one takes a hundred, which are worth sharing.
constexpr std::uint64_t kLeastPixels = 8192;

std::atomic<unsigned> s_threads = 0;

// More than that would only be swapped.
std::uint64_t MemoryOfMachine() {
  const auto pages = static_cast<std::uint64_t>(std::max(sysconf(_SC_PHYS_PAGES), 1L));
  return pages * static_cast<std::uint64_t>(std::max(sysconf(_SC_PAGESIZE), 4096L));
}

unsigned WantedThreads(const CpuOptions& options) {
  return options.threads != 0 ? options.threads : s_threads.load();
}

class CpuEngine final : public Engine {
 public:
  explicit CpuEngine(const CpuOptions& options)
      : use_native_kernels_(options.use_native_kernels),
        pool_(std::make_shared<BlockPool>(MemoryOfMachine())),
        workers_(WantedThreads(options)) {}
  ~CpuEngine() override {
    // Textures that outlive the engine keep their memory, and nothing is kept for new ones.
    pool_->Close();
  }

  std::uint32_t MaximumTextureSize() const override { return kMaximumTextureSize; }
  std::uint64_t SubmissionCount() const override { return submissions_; }
  const BlockPool& Pool() const { return *pool_; }
  const Workers& GetWorkers() const { return workers_; }

 private:
  Status DoCreateTexture(const TextureDesc& desc, std::unique_ptr<Texture>* texture) override;
  Status DoCreateProgram(std::span<const std::byte> spirv,
                         std::unique_ptr<Program>* program) override;
  Status DoCreateBuffer(const BufferDesc& desc, std::unique_ptr<Buffer>* buffer) override;
  Status DoCreateComputeProgram(std::span<const std::byte> spirv,
                                std::unique_ptr<ComputeProgram>* program) override;
  Status DoUpload(Texture& texture, const Rect& rect, const std::byte* data,
                  std::size_t pitch) override;
  Status DoClear(Texture& texture, const std::array<float, 4>& color) override;
  Status DoDraw(const Pass& pass) override;
  Status DoDispatch(const Computation& computation) override;
  Status DoDispatchOnHost(const HostComputation& computation) override;
  Status DoCopy(Texture& destination, std::int32_t x, std::int32_t y, const Texture& source,
                const Rect& rect) override;
  Status DoCopyBuffer(Buffer& destination, const Buffer& source) override;
  Status DoFlush() override;
  Status DoMap(Texture& texture, Mapping* mapping) override;
  void DoUnmap(Texture& texture) override { static_cast<CpuTexture&>(texture).Unmap(); }
  Status DoMap(Buffer& buffer, Mapping* mapping) override;
  void DoUnmap(Buffer& buffer) override { static_cast<CpuBuffer&>(buffer).Unmap(); }

  // Finds the kernel of a program.
  Status Find(std::span<const std::byte> spirv, FoundKernel* kernel);
  // The texture's pixels for a kernel to read; no texture gives no pixels.
  Status Bind(const Texture* texture, TextureView* view);
  // Draws what the arguments say by the program's kernels, on several threads where that pays.
  Status RunKernel(const CpuProgram& program, const PixelArguments& arguments);
  const std::byte* FillConstants(std::span<const std::byte> constants);

  const bool use_native_kernels_;
  std::shared_ptr<BlockPool> pool_;
  Workers workers_;
  // Work is done when it is asked for; a submission is counted for what came since the last.
  bool unsubmitted_ = false;
  std::uint64_t submissions_ = 0;
  alignas(kRowAlignment) std::array<std::byte, kMaximumConstantBytes> constants_{};
};

Status CpuEngine::DoCreateTexture(const TextureDesc& desc, std::unique_ptr<Texture>* texture) {
  std::unique_ptr<CpuTexture> made;
  const Status status = CpuTexture::Create(pool_, desc, &made);
  *texture = std::move(made);
  return status;
}

Status CpuEngine::DoCreateBuffer(const BufferDesc& desc, std::unique_ptr<Buffer>* buffer) {
  std::unique_ptr<CpuBuffer> made;
  const Status status = CpuBuffer::Create(pool_, desc, &made);
  *buffer = std::move(made);
  return status;
}

Status CpuEngine::Find(std::span<const std::byte> spirv, FoundKernel* kernel) {
  const std::uint64_t hash = HashOfProgram(spirv);
  const std::optional<FoundKernel> found = FindKernel(hash);
  if (found) {
    *kernel = *found;
    return Status::kOk;
  }
  char text[160];
  std::snprintf(text, sizeof(text),
                "Program %016llx was not translated for the CPU when the library was built; it "
                "needs a Vulkan device.",
                static_cast<unsigned long long>(hash));
  return Refuse(Status::kUnsupported, text);
}

Status CpuEngine::DoCreateProgram(std::span<const std::byte> spirv,
                                  std::unique_ptr<Program>* program) {
  FoundKernel found;
  const Status status = Find(spirv, &found);
  if (status != Status::kOk) return status;
  if (!found.translated.pixel) return Status::kInvalidArgument;
  program->reset(new (std::nothrow) CpuProgram(found.translated.pixel,
                                               use_native_kernels_ ? found.native : nullptr));
  return *program ? Status::kOk : Status::kOutOfMemory;
}

Status CpuEngine::DoCreateComputeProgram(std::span<const std::byte> spirv,
                                         std::unique_ptr<ComputeProgram>* program) {
  FoundKernel found;
  const Status status = Find(spirv, &found);
  if (status != Status::kOk) return status;
  if (!found.translated.compute) return Status::kInvalidArgument;
  program->reset(new (std::nothrow) CpuComputeProgram(
      found.translated.compute, use_native_kernels_ ? found.native_compute : nullptr));
  return *program ? Status::kOk : Status::kOutOfMemory;
}

Status CpuEngine::DoUpload(Texture& texture, const Rect& rect, const std::byte* data,
                           std::size_t pitch) {
  auto& to = static_cast<CpuTexture&>(texture);
  const Status status = to.PrepareWrite(workers_, rect);
  if (status != Status::kOk) return status;
  unsubmitted_ = true;
  CopyRows(workers_, to.Pixels(rect.left, rect.top), to.Pitch(), data, pitch,
           static_cast<std::size_t>(rect.Width()) * BytesPerPixel(to.Desc().format), rect.Height());
  return Status::kOk;
}

Status CpuEngine::DoClear(Texture& texture, const std::array<float, 4>& color) {
  std::array<float, 4> clamped = color;
  for (float& channel : clamped) {
    channel = std::isnan(channel) ? 0.0f : std::clamp(channel, 0.0f, 1.0f);
  }
  static_cast<CpuTexture&>(texture).Clear(clamped);
  return Status::kOk;
}

Status CpuEngine::Bind(const Texture* texture, TextureView* view) {
  if (!texture) return Status::kOk;
  const auto& bound = static_cast<const CpuTexture&>(*texture);
  const Status status = bound.PrepareRead(workers_);
  *view = bound.View();
  return status;
}

const std::byte* CpuEngine::FillConstants(std::span<const std::byte> constants) {
  const auto end = std::copy(constants.begin(), constants.end(), constants_.begin());
  std::fill(end, constants_.end(), std::byte{0});
  return constants_.data();
}

Status CpuEngine::DoDraw(const Pass& pass) {
  PixelArguments arguments;
  for (std::size_t index = 0; index < kRegisterCount; ++index) {
    const Status status = Bind(pass.bindings[index].texture, &arguments.textures[index]);
    if (status != Status::kOk) return status;
    arguments.samplers[index] = pass.bindings[index].sampler;
  }
  auto& target = static_cast<CpuTexture&>(*pass.target);
  const Status status =
      target.PrepareWrite(workers_, pass.blend == Blend::kReplace ? pass.rect : Rect{});
  if (status != Status::kOk) return status;
  unsubmitted_ = true;
  arguments.constants = FillConstants(pass.constants);
  arguments.origin_x = pass.origin_x;
  arguments.origin_y = pass.origin_y;
  arguments.pixel_size_x = 1.0f / pass.extent_x;
  arguments.pixel_size_y = 1.0f / pass.extent_y;
  arguments.target = {target.Pixels(0, 0), target.Pitch(), target.Desc().format};
  arguments.left = pass.rect.left;
  arguments.right = pass.rect.right;
  arguments.top = pass.rect.top;
  arguments.bottom = pass.rect.bottom;
  arguments.blend = pass.blend;
  return RunKernel(static_cast<const CpuProgram&>(*pass.program), arguments);
}

Status CpuEngine::RunKernel(const CpuProgram& program, const PixelArguments& arguments) {
  Bands bands = Bands::kRows;
  const bool native = program.native && program.native->accepts(arguments, &bands);
  const PixelKernel kernel = native ? program.native->run : program.kernel;
  bool done = false;
  if (bands == Bands::kRows) {
    done = workers_.Run(
        arguments.top, arguments.bottom,
        static_cast<std::uint64_t>(arguments.right - arguments.left), kLeastPixels,
        [&](std::int32_t top, std::int32_t bottom) { return kernel(arguments, top, bottom); });
  } else {
    // Bands meet where cache lines do, whatever the format, so that threads do not share these.
    constexpr std::int32_t kUnit = kRowAlignment;
    const auto rows = static_cast<std::uint64_t>(arguments.bottom - arguments.top);
    done = workers_.Run(arguments.left / kUnit, (arguments.right + kUnit - 1) / kUnit, kUnit * rows,
                        kLeastPixels, [&](std::int32_t first, std::int32_t last) {
                          PixelArguments band = arguments;
                          band.left = std::max(arguments.left, first * kUnit);
                          band.right = std::min(arguments.right, last * kUnit);
                          return kernel(band, band.top, band.bottom);
                        });
  }
  return done ? Status::kOk : Status::kOutOfMemory;
}

Status CpuEngine::DoDispatch(const Computation& computation) {
  ComputeArguments arguments;
  for (std::size_t index = 0; index < kRegisterCount; ++index) {
    const Status status = Bind(computation.textures[index], &arguments.textures[index]);
    if (status != Status::kOk) return status;
  }
  auto& output = static_cast<CpuBuffer&>(*computation.output);
  const Status status = output.PrepareWrite(workers_);
  if (status != Status::kOk) return status;
  unsubmitted_ = true;
  arguments.constants = FillConstants(computation.constants);
  arguments.output = reinterpret_cast<std::uint32_t*>(output.Data());
  arguments.output_words = output.Desc().bytes / 4;
  arguments.width = static_cast<std::int32_t>(computation.groups_x * kGroupWidth);
  arguments.height = static_cast<std::int32_t>(computation.groups_y * kGroupHeight);
  const ComputeKernel kernel = static_cast<const CpuComputeProgram&>(*computation.program).kernel;
  const bool done = workers_.Run(
      0, arguments.height, static_cast<std::uint64_t>(arguments.width), kLeastPixels,
      [&](std::int32_t top, std::int32_t bottom) { return kernel(arguments, top, bottom); });
  return done ? Status::kOk : Status::kOutOfMemory;
}

Status CpuEngine::DoDispatchOnHost(const HostComputation& computation) {
  const auto* const native = static_cast<const CpuComputeProgram&>(*computation.program).native;
  if (!native || !native->accepts(computation)) return Status::kUnsupported;
  // Bands of pairs of rows, which may share what is read.
  const auto row_pairs = static_cast<std::int32_t>((std::int64_t{computation.height} + 1) / 2);
  const bool done = workers_.Run(0, row_pairs, 2 * static_cast<std::uint64_t>(computation.width),
                                 kLeastPixels, [&](std::int32_t first, std::int32_t last) {
                                   native->run(computation, 2 * first,
                                               last == row_pairs ? computation.height : 2 * last);
                                   return true;
                                 });
  return done ? Status::kOk : Status::kOutOfMemory;
}

Status CpuEngine::DoCopy(Texture& destination, std::int32_t x, std::int32_t y,
                         const Texture& source, const Rect& rect) {
  auto& to = static_cast<CpuTexture&>(destination);
  const auto& from = static_cast<const CpuTexture&>(source);
  unsubmitted_ = true;
  if (rect == from.Bounds() && rect == to.Bounds()) {
    to.Share(from);
    return Status::kOk;
  }
  Status status = from.PrepareRead(workers_);
  if (status != Status::kOk) return status;
  status = to.PrepareWrite(workers_, {x, y, x + rect.Width(), y + rect.Height()});
  if (status != Status::kOk) return status;
  CopyRows(workers_, to.Pixels(x, y), to.Pitch(), from.Pixels(rect.left, rect.top), from.Pitch(),
           static_cast<std::size_t>(rect.Width()) * BytesPerPixel(to.Desc().format), rect.Height());
  return Status::kOk;
}

Status CpuEngine::DoCopyBuffer(Buffer& destination, const Buffer& source) {
  unsubmitted_ = true;
  static_cast<CpuBuffer&>(destination).Share(static_cast<const CpuBuffer&>(source));
  return Status::kOk;
}

Status CpuEngine::DoFlush() {
  if (std::exchange(unsubmitted_, false)) ++submissions_;
  return Status::kOk;
}

// What is mapped stays as it is whatever becomes of the copy's source: the memory is shared, and
// who writes shared memory takes other first.
Status CpuEngine::DoMap(Texture& texture, Mapping* mapping) {
  auto& readback = static_cast<CpuTexture&>(texture);
  Status status = DoFlush();
  if (status == Status::kOk) status = readback.PrepareRead(workers_);
  if (status == Status::kOk && !readback.Map()) status = Status::kOutOfMemory;
  if (status == Status::kOk) *mapping = {readback.Pixels(0, 0), readback.Pitch()};
  return status;
}

Status CpuEngine::DoMap(Buffer& buffer, Mapping* mapping) {
  auto& readback = static_cast<CpuBuffer&>(buffer);
  Status status = DoFlush();
  if (status == Status::kOk && !readback.Map()) status = Status::kOutOfMemory;
  if (status == Status::kOk) *mapping = {readback.Data(), buffer.Desc().bytes};
  return status;
}

}  // namespace

std::uint64_t BlocksMade(const Engine& engine) {
  return static_cast<const CpuEngine&>(engine).Pool().BlocksMade();
}

unsigned ThreadCount(const Engine& engine) {
  return static_cast<const CpuEngine&>(engine).GetWorkers().Threads();
}

}  // namespace Simd

std::unique_ptr<Engine> CreateCpuEngine(const CpuOptions& options, std::string* error) {
  if (!Simd::ChooseInstructionSet(error)) return nullptr;
  try {
    return std::make_unique<Simd::CpuEngine>(options);
  } catch (const std::exception&) {
    // Of the memory, or of the threads.
    *error = "The memory to start an engine on the CPU is lacking.";
    return nullptr;
  }
}

void SetCpuThreads(unsigned threads) { Simd::s_threads = threads; }

bool CpuAvailable(std::string* why) {
  if (Simd::GetKernelTable().empty()) {
    *why = "The library was built without programs for the CPU.";
    return false;
  }
  return Simd::ChooseInstructionSet(why) != nullptr;
}

DeviceInfo CpuDeviceInfo() {
  std::string error;
  const char* const instructions = Simd::ChooseInstructionSet(&error);
  const unsigned threads = Simd::CountThreads(Simd::WantedThreads({}));
  return {
      .type = DeviceType::kSoftware,
      .name = Simd::CpuName() + " (" + (instructions ? instructions : "no SIMD") + ", " +
              std::to_string(threads) + (threads == 1 ? " thread)" : " threads)"),
      .driver = "built in",
      .maximum_texture_size = Simd::kMaximumTextureSize,
  };
}

}  // namespace Vantra::Render
