#include "render/engine.h"

#include <cstring>

namespace Vantra::Render {
namespace {

bool Inside(const Rect& rect, const Rect& bounds) {
  return !rect.Empty() && rect.left >= bounds.left && rect.top >= bounds.top &&
         rect.right <= bounds.right && rect.bottom <= bounds.bottom;
}

bool IsDevice(const Texture& texture) { return texture.Desc().usage == Usage::kDevice; }

}  // namespace

bool Engine::Enter() {
  ++call_count_;
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
  constexpr std::uint32_t kMagic = 0x07230203;
  constexpr std::size_t kHeaderBytes = 20;
  std::uint32_t magic = 0;
  if (spirv.size() < kHeaderBytes || spirv.size() % 4 != 0) return Status::kInvalidArgument;
  std::memcpy(&magic, spirv.data(), sizeof(magic));
  if (magic != kMagic) return Status::kInvalidArgument;
  return Leave(DoCreateProgram(spirv, program));
}

Status Engine::Upload(Texture& texture, const Rect& rect, const void* data, std::size_t pitch) {
  if (!Enter()) return Status::kDeviceLost;
  if (!IsDevice(texture) || !data || !Inside(rect, texture.Bounds()) ||
      pitch < static_cast<std::size_t>(rect.Width()) * kBytesPerPixel) {
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

}  // namespace Vantra::Render
