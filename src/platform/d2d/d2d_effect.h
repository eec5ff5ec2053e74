#pragma once

#include <vantrix/platform/d2d1effectauthor.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/com/com_object.h"
#include "platform/d2d/d2d_effect_parts.h"
#include "platform/d2d/image_graph.h"

namespace Vantra::Platform {

// What the factory knows of an effect class.
struct EffectRegistration {
  GUID id = GUID_NULL;
  std::wstring display_name;
  std::wstring author;
  std::wstring category;
  std::wstring description;
  UINT32 input_count = 0;
  PD2D1_EFFECT_FACTORY create = nullptr;
  // Registrations less removals.
  unsigned count = 0;
};

// A custom effect in the graph: it hosts the effect's implementation and runs its pass.
class Effect2D final : public ComObject<Implements<ID2D1Effect, ID2D1Properties>>,
                       public ImageNode {
 public:
  Effect2D(CComPtr<ID2D1Factory1> factory, std::shared_ptr<GraphicsDevice> device,
           std::shared_ptr<const EffectRegistration> registration);

  // Makes and initialises the implementation.
  HRESULT Initialize();

  void SetInput(UINT32 index, ID2D1Image* input, BOOL invalidate) override;
  void GetInput(UINT32 index, ID2D1Image** input) const override;
  UINT32 GetInputCount() const override { return registration_->input_count; }
  void GetOutput(ID2D1Image** output) const override;

  UINT32 GetPropertyCount() const override { return 0; }
  HRESULT GetPropertyName(UINT32 index, PWSTR name, UINT32 count) const override;
  UINT32 GetPropertyNameLength(UINT32 index) const override;
  D2D1_PROPERTY_TYPE GetType(UINT32 index) const override;
  UINT32 GetPropertyIndex(PCWSTR name) const override;
  HRESULT SetValueByName(PCWSTR name, D2D1_PROPERTY_TYPE type, const BYTE* data,
                         UINT32 size) override;
  HRESULT SetValue(UINT32 index, D2D1_PROPERTY_TYPE type, const BYTE* data, UINT32 size) override;
  HRESULT GetValueByName(PCWSTR name, D2D1_PROPERTY_TYPE type, BYTE* data,
                         UINT32 size) const override;
  HRESULT GetValue(UINT32 index, D2D1_PROPERTY_TYPE type, BYTE* data, UINT32 size) const override;
  UINT32 GetValueSize(UINT32 index) const override;
  HRESULT GetSubProperties(UINT32 index, ID2D1Properties** properties) const override;

  // Records that a part of an input, in pixels (null: all), has changed.
  HRESULT Invalidate(Evaluation& evaluation, UINT32 input, const RECT* part);
  // The part of the output that has changed since it was drawn; empty when none has.
  HRESULT GetInvalid(Evaluation& evaluation, Render::Rect* invalid);
  // Appends this effect behind all those that feed it, each once. `visit` is as in `NextVisit`.
  void ListFeeders(std::uint64_t visit, std::vector<Effect2D*>* list);
  // Adds to the part of the output that the evaluation asks for.
  void Require(Evaluation& evaluation, const Render::Rect& part);
  // The part that it has asked for; empty when it did not.
  Render::Rect GetRequired(const Evaluation& evaluation) const;
  // The parts of the inputs that are read for the required part.
  HRESULT MapRequired(Evaluation& evaluation, RECT* inputs);
  // The effect behind an input; null for a bitmap or nothing.
  Effect2D* GetInputEffect(std::size_t index) const;

  const std::shared_ptr<GraphicsDevice>& GetGraphicsDevice() const override { return device_; }
  HRESULT GetBounds(Evaluation& evaluation, Render::Rect* bounds) override;
  HRESULT Render(Evaluation& evaluation, RenderedImage* image) override;
  HRESULT RenderDirectly(Evaluation& evaluation, const DirectTarget& target) override;

 private:
  // The effect's output. It is a part of the effect and shares its references, so that asking for
  // it costs nothing.
  class Output final : public ID2D1Image {
   public:
    explicit Output(Effect2D* effect) : effect_(effect) {}

    HRESULT QueryInterface(REFIID iid, void** object) override;
    ULONG AddRef() override { return effect_->AddRef(); }
    ULONG Release() override { return effect_->Release(); }
    void GetFactory(ID2D1Factory1** factory) const override;

    Effect2D* GetEffect() const { return effect_; }

   private:
    Effect2D* effect_;
  };

  struct Input {
    CComPtr<ID2D1Image> image;
    ImageNode* node = nullptr;
    // An effect that would close a circle. It is held once the circle has been opened elsewhere.
    std::weak_ptr<Effect2D*> closing;
    bool cyclic = false;
  };

  ~Effect2D() override;

  friend ImageNode* FindNode(ID2D1Image* image);

  // True when this effect or one that feeds it is `sought`. `visit` is a number not used before.
  bool DependsOn(const Effect2D* sought, std::uint64_t visit);
  HRESULT ComputeBounds(Evaluation& evaluation, Render::Rect* bounds);
  // Runs the effect's pass into `rect` of `target`; position in the image = pixel + origin.
  HRESULT RunPass(Evaluation& evaluation, Render::Texture* target, const Render::Rect& rect,
                  float origin_x, float origin_y);

  CComPtr<ID2D1Factory1> factory_;
  std::shared_ptr<GraphicsDevice> device_;
  std::shared_ptr<const EffectRegistration> registration_;
  CComPtr<EffectContext2D> context_;
  CComPtr<DrawInfo2D> draw_info_;
  CComPtr<TransformGraph2D> graph_;
  CComPtr<ID2D1EffectImpl> implementation_;
  std::vector<Input> inputs_;
  mutable Output output_{this};
  D2D1_CHANGE_TYPE change_ = D2D1_CHANGE_TYPE_GRAPH;

  // Results of the evaluation of these numbers.
  std::uint64_t bounds_evaluation_ = 0;
  Render::Rect bounds_;
  std::uint64_t image_evaluation_ = 0;
  RenderedImage image_;
  std::uint64_t invalid_evaluation_ = 0;
  Render::Rect found_invalid_;
  std::uint64_t required_evaluation_ = 0;
  Render::Rect required_;
  std::uint64_t visit_ = 0;
  // Tells those that do not hold this effect whether it is still there.
  std::shared_ptr<Effect2D*> self_ = std::make_shared<Effect2D*>(this);

  // What of the output has changed since the last drawing, beside what its inputs tell of.
  bool all_invalid_ = true;
  Render::Rect invalid_;
};

// A number for a walk over the graph, not used before.
std::uint64_t NextVisit();

// The node behind an image of this layer; null for null and for any other image.
ImageNode* FindNode(ID2D1Image* image);

}  // namespace Vantra::Platform
