#include "platform/d2d/image_graph.h"

namespace Vantra::Platform {

std::uint64_t Evaluation::s_last_id = 0;

Evaluation::~Evaluation() {
  for (auto& texture : storage_) device_.GiveBack(std::move(texture));
  storage_.clear();
}

HRESULT Evaluation::NewTexture(const Render::Rect& bounds, Render::Texture** texture) {
  std::unique_ptr<Render::Texture> made;
  const Render::Status status =
      device_.TakeIntermediate(static_cast<std::uint32_t>(bounds.Width()),
                               static_cast<std::uint32_t>(bounds.Height()), &made);
  if (status != Render::Status::kOk) return ToResult(status);
  *texture = made.get();
  storage_.push_back(std::move(made));
  return S_OK;
}

}  // namespace Vantra::Platform
