// What a 2D context tells of effects: which parts have changed, and which parts of inputs are read.

#include <array>
#include <cmath>

#include "platform/d2d/d2d_device_context.h"

namespace Vantra::Platform {
namespace {

// The pixels that a part touches, at most those of `limit`.
RECT ToPixels(const Area& part, const Projection& scale, const Area& limit) {
  const Area pixels = Intersect({part.left * scale.m[0][0], part.top * scale.m[1][1],
                                 part.right * scale.m[0][0], part.bottom * scale.m[1][1]},
                                limit);
  if (pixels.Empty()) return {};
  return {static_cast<LONG>(std::floor(pixels.left)), static_cast<LONG>(std::floor(pixels.top)),
          static_cast<LONG>(std::ceil(pixels.right)), static_cast<LONG>(std::ceil(pixels.bottom))};
}

Area ToUnits(const RECT& rect, const Projection& scale) {
  return {rect.left / scale.m[0][0], rect.top / scale.m[1][1], rect.right / scale.m[0][0],
          rect.bottom / scale.m[1][1]};
}

constexpr Area kEverywhere = {-kCoordinateLimit, -kCoordinateLimit, kCoordinateLimit,
                              kCoordinateLimit};

}  // namespace

HRESULT DeviceContext2D::InvalidateEffectInputRectangle(ID2D1Effect* effect, UINT32 input,
                                                        const D2D1_RECT_F* inputRectangle) {
  auto* own = dynamic_cast<Effect2D*>(effect);
  if (!own || (inputRectangle && !IsUsable(*inputRectangle))) return E_INVALIDARG;
  Evaluation evaluation(*device_, nullptr, evaluation_storage_);
  if (!inputRectangle) return own->Invalidate(evaluation, input, nullptr);
  const RECT part = ToPixels(ToArea(*inputRectangle), UnitsToTarget(), kEverywhere);
  return own->Invalidate(evaluation, input, &part);
}

HRESULT DeviceContext2D::GetEffectInvalidRectangleCount(ID2D1Effect* effect, UINT32* count) {
  if (!count) return E_POINTER;
  *count = 0;
  auto* own = dynamic_cast<Effect2D*>(effect);
  if (!own) return E_INVALIDARG;
  Evaluation evaluation(*device_, nullptr, evaluation_storage_);
  Render::Rect invalid;
  const HRESULT result = own->GetInvalid(evaluation, &invalid);
  if (SUCCEEDED(result) && !invalid.Empty()) *count = 1;
  return result;
}

HRESULT DeviceContext2D::GetEffectInvalidRectangles(ID2D1Effect* effect, D2D1_RECT_F* rectangles,
                                                    UINT32 count) {
  auto* own = dynamic_cast<Effect2D*>(effect);
  if (!own) return E_INVALIDARG;
  Evaluation evaluation(*device_, nullptr, evaluation_storage_);
  Render::Rect invalid;
  const HRESULT result = own->GetInvalid(evaluation, &invalid);
  if (FAILED(result)) return result;
  if (count != (invalid.Empty() ? 0u : 1u)) return E_INVALIDARG;
  if (count == 0) return S_OK;
  if (!rectangles) return E_POINTER;
  *rectangles = ToContract(
      ToUnits({invalid.left, invalid.top, invalid.right, invalid.bottom}, UnitsToTarget()));
  return S_OK;
}

HRESULT DeviceContext2D::GetEffectRequiredInputRectangles(
    ID2D1Effect* renderEffect, const D2D1_RECT_F* renderRectangle,
    const D2D1_EFFECT_INPUT_DESCRIPTION* descriptions, D2D1_RECT_F* requiredRectangles,
    UINT32 count) {
  auto* drawn = dynamic_cast<Effect2D*>(renderEffect);
  if (!drawn || (renderRectangle && !IsUsable(*renderRectangle))) return E_INVALIDARG;
  if (count != 0 && (!descriptions || !requiredRectangles)) return E_POINTER;
  const Projection scale = UnitsToTarget();
  Evaluation evaluation(*device_, nullptr, evaluation_storage_);
  Render::Rect bounds;
  HRESULT result = drawn->GetBounds(evaluation, &bounds);
  if (FAILED(result)) return result;
  Area asked = ToArea(bounds);
  if (renderRectangle) {
    const RECT pixels = ToPixels(ToArea(*renderRectangle), scale, asked);
    asked = ToUnits(pixels, {});
  }
  result = drawn->Require(evaluation, PixelsIn(asked, bounds));
  if (FAILED(result)) return result;

  std::array<RECT, D2D1_MAX_EFFECT_INPUTS> inputs;
  for (UINT32 i = 0; i < count; ++i) {
    const D2D1_EFFECT_INPUT_DESCRIPTION& description = descriptions[i];
    auto* effect = dynamic_cast<Effect2D*>(description.effect);
    if (!effect || description.inputIndex >= effect->GetInputCount()) return E_INVALIDARG;
    requiredRectangles[i] = {};
    // One that does not feed the drawn effect was asked for nothing; its own graph may be broken.
    if (effect->GetRequired(evaluation).Empty()) continue;
    result = effect->MapRequired(evaluation, inputs.data());
    if (FAILED(result)) return result;
    const Area required = Intersect(ToUnits(inputs[description.inputIndex], scale),
                                    ToArea(description.inputRectangle));
    if (!required.Empty()) requiredRectangles[i] = ToContract(required);
  }
  return S_OK;
}

}  // namespace Vantra::Platform
