#pragma once

// The interface of the render engines: textures, pixel programs, passes, buffers, compute programs,
// copies and mapping. It knows nothing of effects, and nothing of the contract above it.
//
// Work is recorded in call order and runs in that order; `Flush`, a `Map` and a full upload ring
// submit it. An engine belongs to one thread at a time. Every operation that can fail returns a
// `Status`; after the first `kDeviceLost` all operations return it, and the engine can only be
// destroyed. Textures, buffers and programs hold their engine's device alive and may be destroyed
// in any order, before or after the engine.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Vantra::Render {

enum class Status {
  kOk,
  kDeviceLost,
  kOutOfMemory,
  /// The arguments break a rule stated with the operation.
  kInvalidArgument,
  /// The engine lacks a feature that the arguments need.
  kUnsupported,
};

// Channels in memory order: 8-bit unsigned normalised ones, or floats of 16 bits for results
// between passes that 8 bits would round too coarsely.
enum class Format { kBgra8, kRgba8, kR8, kRg8, kRgba16Float };
constexpr std::size_t kFormatCount = 5;

// Of the formats of pictures.
constexpr std::uint32_t kBytesPerPixel = 4;

constexpr std::uint32_t BytesPerPixel(Format format) {
  switch (format) {
    case Format::kR8:
      return 1;
    case Format::kRg8:
      return 2;
    case Format::kRgba16Float:
      return 8;
    case Format::kBgra8:
    case Format::kRgba8:
      break;
  }
  return kBytesPerPixel;
}

enum class Usage {
  kDevice,    // read and written by programs, copied from and to
  kReadback,  // a destination of copies that can be mapped
};

struct TextureDesc {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  Format format = Format::kBgra8;
  Usage usage = Usage::kDevice;
  friend constexpr bool operator==(const TextureDesc&, const TextureDesc&) = default;
};

// Pixels from left and top up to, and without, right and bottom.
struct Rect {
  std::int32_t left = 0;
  std::int32_t top = 0;
  std::int32_t right = 0;
  std::int32_t bottom = 0;

  constexpr std::int32_t Width() const { return right - left; }
  constexpr std::int32_t Height() const { return bottom - top; }
  constexpr bool Empty() const { return left >= right || top >= bottom; }
  friend constexpr bool operator==(const Rect&, const Rect&) = default;
};

class Texture {
 public:
  virtual ~Texture() = default;
  Texture(const Texture&) = delete;
  Texture& operator=(const Texture&) = delete;

  const TextureDesc& Desc() const { return desc_; }
  Rect Bounds() const {
    return {0, 0, static_cast<std::int32_t>(desc_.width), static_cast<std::int32_t>(desc_.height)};
  }

 protected:
  explicit Texture(const TextureDesc& desc) : desc_(desc) {}

 private:
  TextureDesc desc_;
};

// A pixel program: a SPIR-V fragment shader of the interface in `render/shaders/pixel.glsl`.
class Program {
 public:
  virtual ~Program() = default;
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  // Whether the engine computes it by an algorithm made for it, whose cost does not grow with what
  // is read for a pixel. One such pass then is faster than several that read less.
  virtual bool HasOwnAlgorithm() const { return false; }

 protected:
  Program() = default;
};

struct BufferDesc {
  std::uint32_t bytes = 0;  // a multiple of 4
  Usage usage = Usage::kDevice;
};

// Words of 32 bits, written by compute programs.
class Buffer {
 public:
  virtual ~Buffer() = default;
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;

  const BufferDesc& Desc() const { return desc_; }

 protected:
  explicit Buffer(const BufferDesc& desc) : desc_(desc) {}

 private:
  BufferDesc desc_;
};

// A compute program: a SPIR-V compute shader of the interface in `render/shaders/compute.glsl`.
class ComputeProgram {
 public:
  virtual ~ComputeProgram() = default;
  ComputeProgram(const ComputeProgram&) = delete;
  ComputeProgram& operator=(const ComputeProgram&) = delete;

 protected:
  ComputeProgram() = default;
};

enum class Filter { kNearest, kLinear };
enum class Extend { kClamp, kWrap, kMirror };

struct Sampler {
  Filter filter = Filter::kLinear;
  Extend extend_x = Extend::kClamp;
  Extend extend_y = Extend::kClamp;
  friend constexpr bool operator==(const Sampler&, const Sampler&) = default;
};

// Texture and sampler registers of a program. A null texture reads as transparent black.
constexpr std::size_t kRegisterCount = 3;

struct Binding {
  const Texture* texture = nullptr;
  Sampler sampler;
};

// What becomes of a result s of alpha sa and the target's pixel d of alpha da.
enum class Blend {
  kReplace,          // s
  kSourceOver,       // s + (1 - sa) d
  kDestinationOver,  // (1 - da) s + d
  kSourceIn,         // da s
  kDestinationIn,    // sa d
  kSourceOut,        // (1 - da) s
  kDestinationOut,   // (1 - sa) d
  kSourceAtop,       // da s + (1 - sa) d
  kDestinationAtop,  // (1 - da) s + sa d
  kXor,              // (1 - da) s + (1 - sa) d
  kPlus,             // s + d
  kMaskInvert,       // (1 - d) s + (1 - s) d, channel by channel
  kMinimum,          // the smaller of s and d
  kMaximum,          // the larger of s and d
};
constexpr std::size_t kBlendCount = 14;

constexpr std::size_t kMaximumConstantBytes = 4096;

struct Pass {
  const Program* program = nullptr;
  // Must not be bound as an input of the same pass.
  Texture* target = nullptr;
  // Part of the target that is drawn, inside its bounds; the rest is left as it was.
  Rect rect;
  // The program's position is `pixel of the target + origin`, in pixels of an image of `extent`,
  // and its uv is that position divided by the extent.
  float origin_x = 0;
  float origin_y = 0;
  float extent_x = 1;
  float extent_y = 1;
  std::array<Binding, kRegisterCount> bindings;
  // Read during the call; bytes that the program reads beyond it are zero.
  std::span<const std::byte> constants;
  Blend blend = Blend::kReplace;
};

// One run of a compute program over a grid of groups.
struct Computation {
  const ComputeProgram* program = nullptr;
  // A group is `kGroupWidth` by `kGroupHeight` invocations.
  std::uint32_t groups_x = 0;
  std::uint32_t groups_y = 0;
  // Read texel by texel, without a sampler. A null one reads as transparent black.
  std::array<const Texture*, kRegisterCount> textures = {};
  // As in `Pass`.
  std::span<const std::byte> constants;
  Buffer* output = nullptr;
};

// Bytes in rows, in memory of the host.
struct HostPlane {
  const std::byte* data = nullptr;
  std::size_t pitch = 0;
  std::size_t row_bytes = 0;
  std::int32_t rows = 0;
};

// One run of a compute program whose words are the pixels of a picture.
struct HostComputation {
  const ComputeProgram* program = nullptr;
  // What the textures would be filled with. What a texture has beyond its plane is 0.
  std::array<HostPlane, kRegisterCount> planes = {};
  // Apart from the planes' memory.
  std::byte* output = nullptr;
  std::size_t output_pitch = 0;
  std::int32_t width = 0;
  std::int32_t height = 0;
};

constexpr std::uint32_t kGroupWidth = 32;
constexpr std::uint32_t kGroupHeight = 16;
constexpr std::uint32_t kMaximumGroups = 65535;

struct Mapping {
  const std::byte* data = nullptr;
  std::size_t pitch = 0;  // bytes from row to row; of a buffer, all of its bytes
};

class Engine {
 public:
  virtual ~Engine() = default;
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  // Largest width and height of a texture.
  virtual std::uint32_t MaximumTextureSize() const = 0;

  // Makes a texture. Its contents are undefined until written. A side of 0 or beyond
  // `MaximumTextureSize` is `kInvalidArgument`.
  Status CreateTexture(const TextureDesc& desc, std::unique_ptr<Texture>* texture);

  // Makes a program from SPIR-V. Bytes that are no SPIR-V module are `kInvalidArgument`. The bytes
  // are read during the call.
  Status CreateProgram(std::span<const std::byte> spirv, std::unique_ptr<Program>* program);

  // Makes a buffer. Its contents are undefined until written. A size of 0, one that is no multiple
  // of 4, and one beyond what programs of the device can reach are `kInvalidArgument`.
  Status CreateBuffer(const BufferDesc& desc, std::unique_ptr<Buffer>* buffer);

  // Makes a compute program from SPIR-V, as `CreateProgram` does. Bytes without a compute shader
  // are `kInvalidArgument`; a device that has no groups of that size is `kUnsupported`.
  Status CreateComputeProgram(std::span<const std::byte> spirv,
                              std::unique_ptr<ComputeProgram>* program);

  // Replaces `rect` of a device texture by rows `pitch` bytes apart, read during the call.
  Status Upload(Texture& texture, const Rect& rect, const void* data, std::size_t pitch);

  // Fills the whole of a device texture with red, green, blue, alpha as they are.
  Status Clear(Texture& texture, const std::array<float, 4>& color);

  // Draws one pass. Each channel of a result becomes 0 when it is NaN, is clamped to 0..1 and
  // rounded to the nearest value of the target's format.
  Status Draw(const Pass& pass);

  // Runs a compute program. Up to `kMaximumGroups` groups each way; what the program writes beyond
  // the output's end is lost.
  Status Dispatch(const Computation& computation);

  // Runs a compute program from memory of the host to memory of the host, at once. `kUnsupported`,
  // with nothing written, is the answer of an engine for which that is no shorter way than by a
  // texture and a buffer.
  Status DispatchOnHost(const HostComputation& computation);

  // Copies `rect` of `source`, a device texture, to (x, y) of `destination`, of the same format.
  Status Copy(Texture& destination, std::int32_t x, std::int32_t y, const Texture& source,
              const Rect& rect);

  // Copies the whole of `source`, a device buffer, to one of the same size.
  Status CopyBuffer(Buffer& destination, const Buffer& source);

  // Submits what was recorded and does not wait.
  Status Flush();

  // Submits, waits until copies to `texture`, a read-back texture, are done, and gives its pixels,
  // to be read until as many calls of `Unmap`, or its end. A copy to the texture may change them.
  Status Map(Texture& texture, Mapping* mapping);
  void Unmap(Texture& texture);
  // The same for a read-back buffer.
  Status Map(Buffer& buffer, Mapping* mapping);
  void Unmap(Buffer& buffer);

  bool Lost() const { return lost_; }

  // Why the last operation was refused, in one sentence, where more than its status is known; else
  // empty.
  const std::string& Reason() const { return reason_; }

  // Makes the device lost at the operation that follows `calls` further ones, for tests.
  void InjectLoss(std::uint64_t calls) { calls_until_loss_ = calls; }

  // Number of operations so far, for tests that walk the point of loss through a frame.
  std::uint64_t CallCount() const { return call_count_; }
  // Number of submissions to the device so far.
  virtual std::uint64_t SubmissionCount() const = 0;

 protected:
  Engine() = default;

  // Gives `status`, and `reason` for it to be asked for.
  Status Refuse(Status status, const char* reason);

  virtual Status DoCreateTexture(const TextureDesc& desc, std::unique_ptr<Texture>* texture) = 0;
  virtual Status DoCreateProgram(std::span<const std::byte> spirv,
                                 std::unique_ptr<Program>* program) = 0;
  virtual Status DoCreateBuffer(const BufferDesc& desc, std::unique_ptr<Buffer>* buffer) = 0;
  virtual Status DoCreateComputeProgram(std::span<const std::byte> spirv,
                                        std::unique_ptr<ComputeProgram>* program) = 0;
  virtual Status DoUpload(Texture& texture, const Rect& rect, const std::byte* data,
                          std::size_t pitch) = 0;
  virtual Status DoClear(Texture& texture, const std::array<float, 4>& color) = 0;
  virtual Status DoDraw(const Pass& pass) = 0;
  virtual Status DoDispatch(const Computation& computation) = 0;
  virtual Status DoDispatchOnHost(const HostComputation&) { return Status::kUnsupported; }
  virtual Status DoCopy(Texture& destination, std::int32_t x, std::int32_t y, const Texture& source,
                        const Rect& rect) = 0;
  virtual Status DoCopyBuffer(Buffer& destination, const Buffer& source) = 0;
  virtual Status DoFlush() = 0;
  virtual Status DoMap(Texture& texture, Mapping* mapping) = 0;
  virtual void DoUnmap(Texture& texture) = 0;
  virtual Status DoMap(Buffer& buffer, Mapping* mapping) = 0;
  virtual void DoUnmap(Buffer& buffer) = 0;

 private:
  // Counts an operation; false when the device is lost at it or was before.
  bool Enter();
  Status Leave(Status status);

  bool lost_ = false;
  std::string reason_;
  std::uint64_t call_count_ = 0;
  std::optional<std::uint64_t> calls_until_loss_;
};

enum class DeviceType { kDiscreteGpu, kIntegratedGpu, kVirtualGpu, kSoftware };

// A device that an engine can be started on.
struct DeviceInfo {
  DeviceType type = DeviceType::kSoftware;
  std::string name;
  std::string driver;
  std::uint32_t maximum_texture_size = 0;
};

struct DeviceList {
  std::vector<DeviceInfo> devices;  // best first
  // One sentence for each thing that was found and cannot be used.
  std::vector<std::string> rejected;
};

}  // namespace Vantra::Render
