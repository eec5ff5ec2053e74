#pragma once

#include <vantrix/platform/d2d1effectauthor.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/com/com_object.h"
#include "platform/d2d/image_graph.h"
#include "platform/d2d/property_bag.h"
#include "platform/d2d/rectangles.h"

namespace Vantra::Platform {

// What is published of an effect class.
struct EffectIdentity {
  GUID id = GUID_NULL;
  std::wstring display_name;
  std::wstring author;
  std::wstring category;
  std::wstring description;
  UINT32 input_count = 0;
};

// An effect in the graph: its inputs and properties, and the walk over the effects that feed it.
// How it maps rectangles, and what it draws, is told by the classes below.
class Effect2D : public WithProperties<ComObject<Implements<ID2D1Effect, ID2D1Properties>>>,
                 public ImageNode {
 public:
  void SetInput(UINT32 index, ID2D1Image* input, BOOL invalidate) override;
  void GetInput(UINT32 index, ID2D1Image** input) const override;
  UINT32 GetInputCount() const override { return identity_->input_count; }
  void GetOutput(ID2D1Image** output) const override;

  // Records that a part of an input, in pixels (null: all), has changed.
  HRESULT Invalidate(Evaluation& evaluation, UINT32 input, const RECT* part);
  // The part of the output that has changed since it was drawn; empty when none has.
  HRESULT GetInvalid(Evaluation& evaluation, Render::Rect* invalid);
  // The part that the evaluation has asked for; empty when it did not.
  Render::Rect GetRequired(const Evaluation& evaluation) const;
  // The parts of the inputs that are read for the required part.
  HRESULT MapRequired(Evaluation& evaluation, RECT* inputs);

  const std::shared_ptr<GraphicsDevice>& GetGraphicsDevice() const override { return device_; }
  HRESULT GetBounds(Evaluation& evaluation, Render::Rect* bounds) override;
  // Tells the effects that feed this one, too.
  HRESULT Require(Evaluation& evaluation, const Render::Rect& part) override;
  HRESULT Render(Evaluation& evaluation, RenderedImage* image) override;
  HRESULT RenderDirectly(Evaluation& evaluation, const DirectTarget& target) override;

 protected:
  // Where the effect's pixels go: place in the image = pixel of the target + origin.
  struct Target {
    Render::Texture* texture;
    // In pixels of the target.
    Render::Rect rect;
    std::int32_t origin_x;
    std::int32_t origin_y;
  };
  using Images = std::array<RenderedImage, D2D1_MAX_EFFECT_INPUTS>;

  Effect2D(CComPtr<ID2D1Factory1> factory, std::shared_ptr<GraphicsDevice> device,
           std::shared_ptr<const EffectIdentity> identity);
  ~Effect2D() override = default;

  // The extent of the output, for inputs of those extents.
  virtual HRESULT MapInputsToOutput(const RECT* inputs, RECT* output) = 0;
  // The parts of the inputs that are read for a part of the output.
  virtual HRESULT MapOutputToInputs(const RECT& output, RECT* inputs) = 0;
  // The part of the output that a changed part of an input changes.
  virtual HRESULT MapChange(UINT32 input, const RECT& changed, RECT* output) = 0;
  // The part that is rendered when that part of the output is required.
  virtual Render::Rect PartToRender(const Render::Rect& required, const Render::Rect& bounds) = 0;
  // Draws a part of the output that lies in the rendered one.
  virtual HRESULT Draw(Evaluation& evaluation, const Images& inputs, const Target& target) = 0;

  void OnPropertySet() override { all_invalid_ = true; }

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

  friend ImageNode* FindNode(ID2D1Image* image);

  // The effect behind an input; null for a bitmap or nothing.
  Effect2D* GetInputEffect(std::size_t index) const;
  // True when this effect or one that feeds it is `sought`. `visit` is a number not used before.
  bool DependsOn(const Effect2D* sought, std::uint64_t visit);
  // Appends this effect behind all those that feed it, each once. `visit` is as above.
  void ListFeeders(std::uint64_t visit, std::vector<Effect2D*>* list);
  HRESULT ComputeBounds(Evaluation& evaluation, Render::Rect* bounds);
  // Renders the inputs and draws into the target.
  HRESULT RenderTo(Evaluation& evaluation, const Target& target);

  CComPtr<ID2D1Factory1> factory_;
  std::shared_ptr<GraphicsDevice> device_;
  std::shared_ptr<const EffectIdentity> identity_;
  std::vector<Input> inputs_;
  mutable Output output_{this};

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

// The node behind an image of this layer; null for null and for any other image.
ImageNode* FindNode(ID2D1Image* image);

}  // namespace Vantra::Platform
