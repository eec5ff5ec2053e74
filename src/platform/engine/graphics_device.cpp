#include "platform/engine/graphics_device.h"

#include <vantrix/platform/d2d1.h>

#include <algorithm>
#include <new>
#include <string_view>

namespace Vantra::Platform {
namespace {

// An effect that is drawn in every other frame should keep its textures.
constexpr std::uint64_t kSessionsToKeep = 16;

}  // namespace

template <class Program, class Make>
Render::Status GraphicsDevice::FindOrMake(Programs<Program>& programs,
                                          std::span<const std::byte> spirv, const Program** program,
                                          Make make) {
  const std::string_view key(reinterpret_cast<const char*>(spirv.data()), spirv.size());
  auto found = programs.find(key);
  if (found == programs.end()) {
    std::unique_ptr<Program> made;
    const Render::Status status = make(&made);
    if (status != Render::Status::kOk) {
      // The engine forgets it with its next operation.
      refusal_ = engine_->Reason();
      return status;
    }
    found = programs.emplace(key, std::move(made)).first;
  }
  *program = found->second.get();
  return Render::Status::kOk;
}

Render::Status GraphicsDevice::GetProgram(std::span<const std::byte> spirv,
                                          const Render::Program** program) {
  return FindOrMake(programs_, spirv, program,
                    [&](auto* made) { return engine_->CreateProgram(spirv, made); });
}

Render::Status GraphicsDevice::GetComputeProgram(std::span<const std::byte> spirv,
                                                 const Render::ComputeProgram** program) {
  return FindOrMake(compute_programs_, spirv, program,
                    [&](auto* made) { return engine_->CreateComputeProgram(spirv, made); });
}

Render::Status GraphicsDevice::TakeIntermediate(const Render::TextureDesc& desc,
                                                std::unique_ptr<Render::Texture>* texture) {
  const auto fits = [&desc](const Spare& spare) { return spare.texture->Desc() == desc; };
  const auto found = std::find_if(spares_.begin(), spares_.end(), fits);
  if (found == spares_.end()) {
    return engine_->CreateTexture(desc, texture);
  }
  *texture = std::move(found->texture);
  spares_.erase(found);
  return Render::Status::kOk;
}

void GraphicsDevice::GiveBack(std::unique_ptr<Render::Texture> texture) noexcept {
  try {
    spares_.push_back({std::move(texture), session_});
  } catch (const std::bad_alloc&) {
    // Without memory to keep it in, the texture goes.
  }
}

void GraphicsDevice::EndSession() {
  ++session_;
  std::erase_if(spares_, [this](const Spare& spare) {
    return spare.last_session + kSessionsToKeep < session_;
  });
}

Render::Status CreateSurface(const std::shared_ptr<GraphicsDevice>& device,
                             const Render::TextureDesc& desc, const void* pixels, std::size_t pitch,
                             std::shared_ptr<Surface>* surface) {
  auto made = std::make_shared<Surface>();
  made->device = device;
  Render::Engine& engine = device->GetEngine();
  Render::Status status = engine.CreateTexture(desc, &made->texture);
  if (status == Render::Status::kOk && desc.usage == Render::Usage::kDevice) {
    if (pixels) {
      status = engine.Upload(*made->texture, made->texture->Bounds(), pixels, pitch);
    } else {
      status = engine.Clear(*made->texture, {0, 0, 0, 0});
      made->transparent = true;
    }
  }
  if (status == Render::Status::kOk) *surface = std::move(made);
  return status;
}

bool ToEngineFormat(DXGI_FORMAT format, Render::Format* out) {
  switch (format) {
    case DXGI_FORMAT_B8G8R8A8_UNORM:
      *out = Render::Format::kBgra8;
      return true;
    case DXGI_FORMAT_R8G8B8A8_UNORM:
      *out = Render::Format::kRgba8;
      return true;
    default:
      return false;
  }
}

HRESULT ToResult(Render::Status status) {
  switch (status) {
    case Render::Status::kOk:
      return S_OK;
    case Render::Status::kDeviceLost:
      return D2DERR_RECREATE_TARGET;
    case Render::Status::kOutOfMemory:
      return E_OUTOFMEMORY;
    case Render::Status::kInvalidArgument:
      return E_INVALIDARG;
    case Render::Status::kUnsupported:
      return D2DERR_UNSUPPORTED_OPERATION;
  }
  return E_FAIL;
}

}  // namespace Vantra::Platform
