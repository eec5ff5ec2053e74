#include "platform/d2d/d2d_custom_effect.h"

#include <utility>

namespace Vantra::Platform {

CustomEffect2D::~CustomEffect2D() {
  if (graph_) graph_->Disconnect();
}

HRESULT CustomEffect2D::Initialize() {
  context_ = MakeCom<EffectContext2D>(GetGraphicsDevice());
  if (context_) draw_info_ = MakeCom<DrawInfo2D>(context_);
  if (draw_info_) graph_ = MakeCom<TransformGraph2D>(draw_info_, GetInputCount());
  if (!graph_) return E_OUTOFMEMORY;

  CComPtr<IUnknown> made;
  HRESULT result = registration_->create(&made);
  if (FAILED(result)) return result;
  if (!made) return E_OUTOFMEMORY;
  result = made.QueryInterface(&implementation_);
  if (FAILED(result)) return result;
  return implementation_->Initialize(context_, graph_);
}

HRESULT CustomEffect2D::MapInputsToOutput(const RECT* inputs, RECT* output) {
  if (!graph_->GetTransform()) return D2DERR_INVALID_GRAPH_CONFIGURATION;
  const RECT opaque[D2D1_MAX_EFFECT_INPUTS] = {};
  RECT opaque_output = {};
  return graph_->GetTransform()->MapInputRectsToOutputRect(inputs, opaque, GetInputCount(), output,
                                                           &opaque_output);
}

HRESULT CustomEffect2D::MapOutputToInputs(const RECT& output, RECT* inputs) {
  return graph_->GetTransform()->MapOutputRectToInputRects(&output, inputs, GetInputCount());
}

HRESULT CustomEffect2D::MapChange(UINT32 input, const RECT& changed, RECT* output) {
  return graph_->GetTransform()->MapInvalidRect(input, changed, output);
}

Render::Rect CustomEffect2D::PartToRender(const Render::Rect& required,
                                          const Render::Rect& bounds) {
  // A program may read any place of its input, and counts places as fractions of it. Only what is
  // too large to be rendered is cut.
  const auto limit =
      static_cast<std::int32_t>(GetGraphicsDevice()->GetEngine().MaximumTextureSize());
  return bounds.Width() <= limit && bounds.Height() <= limit ? bounds : required;
}

HRESULT CustomEffect2D::Draw(Evaluation&, const Images& inputs, const Target& target) {
  const HRESULT result =
      implementation_->PrepareForRender(std::exchange(change_, D2D1_CHANGE_TYPE_NONE));
  if (FAILED(result)) return result;

  Render::Pass pass;
  if (!draw_info_->Describe(&pass)) return D2DERR_INVALID_GRAPH_CONFIGURATION;
  for (std::size_t i = 0; i < GetInputCount(); ++i) {
    // Inputs keep the default sampler: linear, clamped to the edge.
    pass.bindings[i] = {inputs[i].texture, {}};
  }
  const Render::Rect& input = inputs[0].bounds;
  pass.target = target.texture;
  pass.rect = target.rect;
  pass.origin_x = static_cast<float>(target.origin_x - input.left);
  pass.origin_y = static_cast<float>(target.origin_y - input.top);
  pass.extent_x = static_cast<float>(input.Width());
  pass.extent_y = static_cast<float>(input.Height());
  return ToResult(GetGraphicsDevice()->GetEngine().Draw(pass));
}

}  // namespace Vantra::Platform
