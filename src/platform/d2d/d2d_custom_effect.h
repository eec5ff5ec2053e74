#pragma once

#include "platform/d2d/d2d_effect.h"
#include "platform/d2d/d2d_effect_parts.h"

namespace Vantra::Platform {

// What the factory knows of an effect class.
struct EffectRegistration : EffectIdentity {
  PD2D1_EFFECT_FACTORY create = nullptr;
  // Registrations less removals.
  unsigned count = 0;
};

// A registered effect: it hosts the effect's implementation and runs its pass.
class CustomEffect2D final : public Effect2D {
 public:
  CustomEffect2D(CComPtr<ID2D1Factory1> factory, std::shared_ptr<GraphicsDevice> device,
                 std::shared_ptr<const EffectRegistration> registration)
      : Effect2D(std::move(factory), std::move(device), registration),
        registration_(std::move(registration)) {}

  // Makes and initialises the implementation.
  HRESULT Initialize();

 private:
  ~CustomEffect2D() override;

  HRESULT MapInputsToOutput(const RECT* inputs, RECT* output) override;
  HRESULT MapOutputToInputs(const RECT& output, RECT* inputs) override;
  HRESULT MapChange(UINT32 input, const RECT& changed, RECT* output) override;
  Render::Rect PartToRender(const Render::Rect& required, const Render::Rect& bounds) override;
  HRESULT Draw(Evaluation& evaluation, const Images& inputs, const Target& target) override;

  std::shared_ptr<const EffectRegistration> registration_;
  CComPtr<EffectContext2D> context_;
  CComPtr<DrawInfo2D> draw_info_;
  CComPtr<TransformGraph2D> graph_;
  CComPtr<ID2D1EffectImpl> implementation_;
  D2D1_CHANGE_TYPE change_ = D2D1_CHANGE_TYPE_GRAPH;
};

}  // namespace Vantra::Platform
