#include "render/engine.h"

#include <cstring>
#include <new>

namespace Vantra::Render {
namespace {

bool Inside(const Rect& rect, const Rect& bounds) {
  return !rect.Empty() && rect.left >= bounds.left && rect.top >= bounds.top &&
         rect.right <= bounds.right && rect.bottom <= bounds.bottom;
}

template <class Resource>
bool IsDevice(const Resource& resource) {
  return resource.Desc().usage == Usage::kDevice;
}

constexpr std::size_t kHeaderWords = 5;

bool IsModule(std::span<const std::byte> spirv) {
  constexpr std::uint32_t kMagic = 0x07230203;
  std::uint32_t magic = 0;
  if (spirv.size() < kHeaderWords * 4 || spirv.size() % 4 != 0) return false;
  std::memcpy(&magic, spirv.data(), sizeof(magic));
  return magic == kMagic;
}

// Whether one of a module's entry points is a compute shader. A device that is given another kind
// need not notice.
bool HasComputeShader(std::span<const std::byte> spirv) {
  constexpr std::uint32_t kEntryPoint = 15;
  constexpr std::uint32_t kCompute = 5;
  const std::size_t count = spirv.size() / 4;
  const auto word = [spirv](std::size_t index) {
    std::uint32_t value = 0;
    std::memcpy(&value, spirv.data() + index * 4, sizeof(value));
    return value;
  };
  // An instruction starts with its length in words and its code, 16 bits each.
  for (std::size_t at = kHeaderWords; at < count;) {
    const std::uint32_t head = word(at);
    const std::size_t length = head >> 16;
    if (length == 0 || length > count - at) return false;
    if ((head & 0xFFFF) == kEntryPoint && length > 1 && word(at + 1) == kCompute) return true;
    at += length;
  }
  return false;
}

}  // namespace

bool Engine::Enter() {
  ++call_count_;
  reason_.clear();
  if (calls_until_loss_ && (*calls_until_loss_)-- == 0) {
    calls_until_loss_.reset();
    lost_ = true;
  }
  return !lost_;
}

Status Engine::Leave(Status status) {
  if (status == Status::kDeviceLost) lost_ = true;
  return status;
}

Status Engine::Refuse(Status status, const char* reason) {
  try {
    reason_ = reason;
  } catch (const std::bad_alloc&) {
    // The status stands alone.
  }
  return status;
}

Status Engine::CreateTexture(const TextureDesc& desc, std::unique_ptr<Texture>* texture) {
  texture->reset();
  if (!Enter()) return Status::kDeviceLost;
  const std::uint32_t limit = MaximumTextureSize();
  if (desc.width == 0 || desc.height == 0 || desc.width > limit || desc.height > limit) {
    return Status::kInvalidArgument;
  }
  return Leave(DoCreateTexture(desc, texture));
}

Status Engine::CreateProgram(std::span<const std::byte> spirv, std::unique_ptr<Program>* program) {
  program->reset();
  if (!Enter()) return Status::kDeviceLost;
  if (!IsModule(spirv)) return Status::kInvalidArgument;
  return Leave(DoCreateProgram(spirv, program));
}

Status Engine::CreateBuffer(const BufferDesc& desc, std::unique_ptr<Buffer>* buffer) {
  buffer->reset();
  if (!Enter()) return Status::kDeviceLost;
  if (desc.bytes == 0 || desc.bytes % 4 != 0) return Status::kInvalidArgument;
  return Leave(DoCreateBuffer(desc, buffer));
}

Status Engine::CreateComputeProgram(std::span<const std::byte> spirv,
                                    std::unique_ptr<ComputeProgram>* program) {
  program->reset();
  if (!Enter()) return Status::kDeviceLost;
  if (!IsModule(spirv) || !HasComputeShader(spirv)) return Status::kInvalidArgument;
  return Leave(DoCreateComputeProgram(spirv, program));
}

Status Engine::Upload(Texture& texture, const Rect& rect, const void* data, std::size_t pitch) {
  if (!Enter()) return Status::kDeviceLost;
  if (!IsDevice(texture) || !data || !Inside(rect, texture.Bounds()) ||
      pitch < static_cast<std::size_t>(rect.Width()) * BytesPerPixel(texture.Desc().format)) {
    return Status::kInvalidArgument;
  }
  return Leave(DoUpload(texture, rect, static_cast<const std::byte*>(data), pitch));
}

Status Engine::Clear(Texture& texture, const std::array<float, 4>& color) {
  if (!Enter()) return Status::kDeviceLost;
  if (!IsDevice(texture)) return Status::kInvalidArgument;
  return Leave(DoClear(texture, color));
}

Status Engine::Draw(const Pass& pass) {
  if (!Enter()) return Status::kDeviceLost;
  if (!pass.program || !pass.target || !IsDevice(*pass.target) ||
      !Inside(pass.rect, pass.target->Bounds()) || !(pass.extent_x > 0) || !(pass.extent_y > 0) ||
      pass.constants.size() > kMaximumConstantBytes) {
    return Status::kInvalidArgument;
  }
  for (const Binding& binding : pass.bindings) {
    if (binding.texture && (binding.texture == pass.target || !IsDevice(*binding.texture))) {
      return Status::kInvalidArgument;
    }
  }
  return Leave(DoDraw(pass));
}

Status Engine::Dispatch(const Computation& computation) {
  if (!Enter()) return Status::kDeviceLost;
  if (!computation.program || !computation.output || !IsDevice(*computation.output) ||
      computation.groups_x == 0 || computation.groups_x > kMaximumGroups ||
      computation.groups_y == 0 || computation.groups_y > kMaximumGroups ||
      computation.constants.size() > kMaximumConstantBytes) {
    return Status::kInvalidArgument;
  }
  for (const Texture* texture : computation.textures) {
    if (texture && !IsDevice(*texture)) return Status::kInvalidArgument;
  }
  return Leave(DoDispatch(computation));
}

Status Engine::DispatchOnHost(const HostComputation& computation) {
  if (!Enter()) return Status::kDeviceLost;
  if (!computation.program || !computation.output || computation.width < 1 ||
      computation.height < 1 ||
      computation.output_pitch < static_cast<std::size_t>(computation.width) * kBytesPerPixel) {
    return Status::kInvalidArgument;
  }
  for (const HostPlane& plane : computation.planes) {
    if (plane.rows < 0 || (plane.rows > 0 && (!plane.data || plane.pitch < plane.row_bytes))) {
      return Status::kInvalidArgument;
    }
  }
  return Leave(DoDispatchOnHost(computation));
}

Status Engine::Copy(Texture& destination, std::int32_t x, std::int32_t y, const Texture& source,
                    const Rect& rect) {
  if (!Enter()) return Status::kDeviceLost;
  const Rect bounds = destination.Bounds();
  if (&destination == &source || !IsDevice(source) ||
      source.Desc().format != destination.Desc().format || !Inside(rect, source.Bounds()) ||
      x < 0 || y < 0 || rect.Width() > bounds.right - x || rect.Height() > bounds.bottom - y) {
    return Status::kInvalidArgument;
  }
  return Leave(DoCopy(destination, x, y, source, rect));
}

Status Engine::CopyBuffer(Buffer& destination, const Buffer& source) {
  if (!Enter()) return Status::kDeviceLost;
  if (&destination == &source || !IsDevice(source) ||
      source.Desc().bytes != destination.Desc().bytes) {
    return Status::kInvalidArgument;
  }
  return Leave(DoCopyBuffer(destination, source));
}

Status Engine::Flush() {
  if (!Enter()) return Status::kDeviceLost;
  return Leave(DoFlush());
}

Status Engine::Map(Texture& texture, Mapping* mapping) {
  *mapping = {};
  if (!Enter()) return Status::kDeviceLost;
  if (IsDevice(texture)) return Status::kInvalidArgument;
  return Leave(DoMap(texture, mapping));
}

void Engine::Unmap(Texture& texture) {
  if (!IsDevice(texture)) DoUnmap(texture);
}

Status Engine::Map(Buffer& buffer, Mapping* mapping) {
  *mapping = {};
  if (!Enter()) return Status::kDeviceLost;
  if (IsDevice(buffer)) return Status::kInvalidArgument;
  return Leave(DoMap(buffer, mapping));
}

void Engine::Unmap(Buffer& buffer) {
  if (!IsDevice(buffer)) DoUnmap(buffer);
}

}  // namespace Vantra::Render
