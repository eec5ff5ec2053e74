#include "platform/d2d/image_graph.h"

namespace Vantra::Platform {

std::uint64_t Evaluation::s_last_id = 0;

Evaluation::~Evaluation() {
  for (auto& texture : storage_.textures) device_.GiveBack(std::move(texture));
  storage_.textures.clear();
}

HRESULT Evaluation::NewTexture(const Render::Rect& bounds, Render::Texture** texture,
                               Render::Format format) {
  const Render::TextureDesc desc = {.width = static_cast<std::uint32_t>(bounds.Width()),
                                    .height = static_cast<std::uint32_t>(bounds.Height()),
                                    .format = format};
  const std::uint32_t limit = device_.GetEngine().MaximumTextureSize();
  if (desc.width > limit || desc.height > limit) return D2DERR_MAX_TEXTURE_SIZE_EXCEEDED;
  std::unique_ptr<Render::Texture> made;
  const Render::Status status = device_.TakeIntermediate(desc, &made);
  if (status != Render::Status::kOk) return ToResult(status);
  *texture = made.get();
  storage_.textures.push_back(std::move(made));
  return S_OK;
}

}  // namespace Vantra::Platform
