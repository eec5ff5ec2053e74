#include "platform/d2d/d2d_effect.h"

#include <algorithm>
#include <array>

#include "platform/d2d/d2d_bitmap.h"

namespace Vantra::Platform {
namespace {

// A number for a walk over the graph, not used before.
std::uint64_t NextVisit() {
  static std::uint64_t last = 0;
  return ++last;
}

}  // namespace

ImageNode* FindNode(ID2D1Image* image) {
  if (auto* output = dynamic_cast<Effect2D::Output*>(image)) return output->GetEffect();
  return dynamic_cast<Bitmap2D*>(image);
}

HRESULT Effect2D::Output::QueryInterface(REFIID iid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  if (iid != __uuidof(ID2D1Image) && iid != __uuidof(ID2D1Resource) && iid != __uuidof(IUnknown)) {
    return E_NOINTERFACE;
  }
  *object = static_cast<ID2D1Image*>(this);
  AddRef();
  return S_OK;
}

void Effect2D::Output::GetFactory(ID2D1Factory1** factory) const {
  *factory = CComPtr<ID2D1Factory1>(effect_->factory_).Detach();
}

Effect2D::Effect2D(CComPtr<ID2D1Factory1> factory, std::shared_ptr<GraphicsDevice> device,
                   std::shared_ptr<const EffectIdentity> identity)
    : factory_(std::move(factory)),
      device_(std::move(device)),
      identity_(std::move(identity)),
      inputs_(identity_->input_count) {
  const EffectIdentity& own = *identity_;
  properties_.Add({D2D1_PROPERTY_CLSID, L"CLSID", D2D1_PROPERTY_TYPE_CLSID, &own.id});
  const auto add_text = [this](UINT32 index, const wchar_t* name, const std::wstring& text) {
    properties_.Add({index, name, D2D1_PROPERTY_TYPE_STRING, &text});
  };
  add_text(D2D1_PROPERTY_DISPLAYNAME, L"DisplayName", own.display_name);
  add_text(D2D1_PROPERTY_AUTHOR, L"Author", own.author);
  add_text(D2D1_PROPERTY_CATEGORY, L"Category", own.category);
  add_text(D2D1_PROPERTY_DESCRIPTION, L"Description", own.description);
}

void Effect2D::SetInput(UINT32 index, ID2D1Image* image, BOOL invalidate) {
  if (index >= inputs_.size()) return;
  if (invalidate) all_invalid_ = true;
  Input input;
  if (auto* output = dynamic_cast<Output*>(image);
      output && output->GetEffect()->DependsOn(this, NextVisit())) {
    input.cyclic = true;
    input.closing = output->GetEffect()->self_;
  } else {
    input.node = FindNode(image);
    if (input.node) input.image = image;
  }
  std::swap(inputs_[index], input);
}

void Effect2D::GetInput(UINT32 index, ID2D1Image** input) const {
  *input = index < inputs_.size() ? CComPtr<ID2D1Image>(inputs_[index].image).Detach() : nullptr;
}

void Effect2D::GetOutput(ID2D1Image** output) const {
  output_.AddRef();
  *output = &output_;
}

bool Effect2D::DependsOn(const Effect2D* sought, std::uint64_t visit) {
  if (this == sought) return true;
  if (visit_ == visit) return false;
  visit_ = visit;
  return std::any_of(inputs_.begin(), inputs_.end(), [&](const Input& input) {
    auto* effect = dynamic_cast<Effect2D*>(input.node);
    return effect && effect->DependsOn(sought, visit);
  });
}

Effect2D* Effect2D::GetInputEffect(std::size_t index) const {
  return dynamic_cast<Effect2D*>(inputs_[index].node);
}

void Effect2D::ListFeeders(std::uint64_t visit, std::vector<Effect2D*>* list) {
  if (visit_ == visit) return;
  visit_ = visit;
  for (std::size_t i = 0; i < inputs_.size(); ++i) {
    if (Effect2D* effect = GetInputEffect(i)) effect->ListFeeders(visit, list);
  }
  list->push_back(this);
}

HRESULT Effect2D::Invalidate(Evaluation& evaluation, UINT32 input, const RECT* part) {
  if (input >= inputs_.size()) return E_INVALIDARG;
  Render::Rect bounds;
  RECT changed = {};
  if (!part || FAILED(GetBounds(evaluation, &bounds)) ||
      FAILED(MapChange(input, *part, &changed))) {
    // Without its inputs an effect cannot tell what a part of one does.
    all_invalid_ = true;
  } else {
    invalid_ = Union(invalid_, ToEngine(changed));
  }
  return S_OK;
}

HRESULT Effect2D::GetInvalid(Evaluation& evaluation, Render::Rect* invalid) {
  if (invalid_evaluation_ != evaluation.Id()) {
    Render::Rect bounds;
    HRESULT result = GetBounds(evaluation, &bounds);
    if (FAILED(result)) return result;
    Render::Rect found = all_invalid_ ? bounds : invalid_;
    for (std::size_t i = 0; i < inputs_.size(); ++i) {
      Effect2D* effect = GetInputEffect(i);
      Render::Rect part;
      if (!effect) continue;
      result = effect->GetInvalid(evaluation, &part);
      if (FAILED(result)) return result;
      RECT changed = {};
      if (part.Empty()) continue;
      result = MapChange(static_cast<UINT32>(i), ToContract(part), &changed);
      if (FAILED(result)) return result;
      found = Union(found, ToEngine(changed));
    }
    found_invalid_ = Intersect(found, bounds);
    invalid_evaluation_ = evaluation.Id();
  }
  *invalid = found_invalid_;
  return S_OK;
}

Render::Rect Effect2D::GetRequired(const Evaluation& evaluation) const {
  return required_evaluation_ == evaluation.Id() ? required_ : Render::Rect{};
}

HRESULT Effect2D::MapRequired(Evaluation& evaluation, RECT* inputs) {
  std::fill_n(inputs, inputs_.size(), RECT{});
  const Render::Rect required = GetRequired(evaluation);
  return required.Empty() ? S_OK : MapOutputToInputs(ToContract(required), inputs);
}

HRESULT Effect2D::Require(Evaluation& evaluation, const Render::Rect& part) {
  const auto add = [&evaluation](Effect2D* effect, const Render::Rect& more) {
    Render::Rect bounds;
    const HRESULT result = effect->GetBounds(evaluation, &bounds);
    if (FAILED(result)) return result;
    const Render::Rect inside = Intersect(more, bounds);
    effect->required_ = Union(effect->GetRequired(evaluation),
                              evaluation.Draws() ? effect->PartToRender(inside, bounds) : inside);
    effect->required_evaluation_ = evaluation.Id();
    return S_OK;
  };
  HRESULT result = add(this, part);
  if (FAILED(result)) return result;

  // Backwards: an effect's turn comes when all that it feeds have told what they need of it.
  std::vector<Effect2D*>& effects = evaluation.TakeList();
  ListFeeders(NextVisit(), &effects);
  std::array<RECT, D2D1_MAX_EFFECT_INPUTS> parts;
  for (auto effect = effects.rbegin(); effect != effects.rend(); ++effect) {
    result = (*effect)->MapRequired(evaluation, parts.data());
    for (std::size_t i = 0; i < (*effect)->inputs_.size() && SUCCEEDED(result); ++i) {
      if (Effect2D* input = (*effect)->GetInputEffect(i)) result = add(input, ToEngine(parts[i]));
    }
    if (FAILED(result)) return result;
  }
  return S_OK;
}

HRESULT Effect2D::GetBounds(Evaluation& evaluation, Render::Rect* bounds) {
  if (bounds_evaluation_ != evaluation.Id()) {
    const HRESULT result = ComputeBounds(evaluation, &bounds_);
    if (FAILED(result)) return result;
    bounds_evaluation_ = evaluation.Id();
  }
  *bounds = bounds_;
  return S_OK;
}

HRESULT Effect2D::ComputeBounds(Evaluation& evaluation, Render::Rect* bounds) {
  RECT rects[D2D1_MAX_EFFECT_INPUTS] = {};
  for (std::size_t i = 0; i < inputs_.size(); ++i) {
    if (inputs_[i].cyclic) {
      const std::shared_ptr<Effect2D*> closing = inputs_[i].closing.lock();
      if (closing && (*closing)->DependsOn(this, NextVisit())) return D2DERR_CYCLIC_GRAPH;
      SetInput(static_cast<UINT32>(i), closing ? &(*closing)->output_ : nullptr, TRUE);
    }
    if (!inputs_[i].node) return D2DERR_INVALID_GRAPH_CONFIGURATION;
    if (inputs_[i].node->GetGraphicsDevice() != device_) return D2DERR_WRONG_RESOURCE_DOMAIN;
    Render::Rect rect;
    const HRESULT result = inputs_[i].node->GetBounds(evaluation, &rect);
    if (FAILED(result)) return result;
    rects[i] = ToContract(rect);
  }
  RECT output = {};
  const HRESULT result = MapInputsToOutput(rects, &output);
  *bounds = ToEngine(output);
  return result;
}

HRESULT Effect2D::RenderTo(Evaluation& evaluation, const Target& target) {
  Images images;
  for (std::size_t i = 0; i < inputs_.size(); ++i) {
    const HRESULT result = inputs_[i].node->Render(evaluation, &images[i]);
    if (FAILED(result)) return result;
  }
  const HRESULT result = Draw(evaluation, images, target);
  if (SUCCEEDED(result)) {
    all_invalid_ = false;
    invalid_ = {};
  }
  return result;
}

HRESULT Effect2D::Render(Evaluation& evaluation, RenderedImage* image) {
  if (image_evaluation_ != evaluation.Id()) {
    const Render::Rect part = GetRequired(evaluation);
    Render::Texture* texture = nullptr;
    if (!part.Empty()) {
      HRESULT result = evaluation.NewTexture(part, &texture);
      if (FAILED(result)) return result;
      result = RenderTo(evaluation, {texture, texture->Bounds(), part.left, part.top});
      if (FAILED(result)) return result;
    }
    image_ = {texture, part};
    image_evaluation_ = evaluation.Id();
  }
  *image = image_;
  return S_OK;
}

HRESULT Effect2D::RenderDirectly(Evaluation& evaluation, const DirectTarget& target) {
  return RenderTo(evaluation,
                  {target.surface->texture.get(), target.rect, target.origin_x, target.origin_y});
}

}  // namespace Vantra::Platform
