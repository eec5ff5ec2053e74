#include "platform/d2d/d2d_effect.h"

#include <algorithm>
#include <cstring>
#include <cwchar>

#include "platform/d2d/d2d_bitmap.h"
#include "platform/d2d/projection.h"

namespace Vantra::Platform {
namespace {

constexpr HRESULT kInsufficientBuffer = HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);

// A property that every effect has: its id, or one of its texts.
struct CommonProperty {
  UINT32 index;
  const wchar_t* name;
  const std::wstring EffectRegistration::*text;
};

constexpr CommonProperty kCommonProperties[] = {
    {D2D1_PROPERTY_CLSID, L"CLSID", nullptr},
    {D2D1_PROPERTY_DISPLAYNAME, L"DisplayName", &EffectRegistration::display_name},
    {D2D1_PROPERTY_AUTHOR, L"Author", &EffectRegistration::author},
    {D2D1_PROPERTY_CATEGORY, L"Category", &EffectRegistration::category},
    {D2D1_PROPERTY_DESCRIPTION, L"Description", &EffectRegistration::description},
};

const CommonProperty* FindProperty(UINT32 index) {
  const auto* found = std::find_if(std::begin(kCommonProperties), std::end(kCommonProperties),
                                   [index](const auto& each) { return each.index == index; });
  return found == std::end(kCommonProperties) ? nullptr : found;
}

RECT ToContract(const Render::Rect& rect) { return {rect.left, rect.top, rect.right, rect.bottom}; }

Render::Rect ToEngine(const RECT& rect) { return {rect.left, rect.top, rect.right, rect.bottom}; }

// The box around both; an empty one adds nothing.
Render::Rect Union(const Render::Rect& a, const Render::Rect& b) {
  if (a.Empty()) return b;
  if (b.Empty()) return a;
  return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
          std::max(a.bottom, b.bottom)};
}

}  // namespace

std::uint64_t NextVisit() {
  static std::uint64_t last = 0;
  return ++last;
}

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
                   std::shared_ptr<const EffectRegistration> registration)
    : factory_(std::move(factory)),
      device_(std::move(device)),
      registration_(std::move(registration)),
      inputs_(registration_->input_count) {}

Effect2D::~Effect2D() {
  if (graph_) graph_->Disconnect();
}

HRESULT Effect2D::Initialize() {
  context_ = MakeCom<EffectContext2D>(device_);
  if (context_) draw_info_ = MakeCom<DrawInfo2D>(context_);
  if (draw_info_) graph_ = MakeCom<TransformGraph2D>(draw_info_, registration_->input_count);
  if (!graph_) return E_OUTOFMEMORY;

  CComPtr<IUnknown> made;
  HRESULT result = registration_->create(&made);
  if (FAILED(result)) return result;
  if (!made) return E_OUTOFMEMORY;
  result = made.QueryInterface(&implementation_);
  if (FAILED(result)) return result;
  return implementation_->Initialize(context_, graph_);
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

HRESULT Effect2D::GetPropertyName(UINT32 index, PWSTR name, UINT32 count) const {
  const CommonProperty* property = FindProperty(index);
  if (!property) return D2DERR_INVALID_PROPERTY;
  if (!name || count <= std::wcslen(property->name)) return kInsufficientBuffer;
  std::wcscpy(name, property->name);
  return S_OK;
}

UINT32 Effect2D::GetPropertyNameLength(UINT32 index) const {
  const CommonProperty* property = FindProperty(index);
  return property ? static_cast<UINT32>(std::wcslen(property->name)) : 0;
}

D2D1_PROPERTY_TYPE Effect2D::GetType(UINT32 index) const {
  const CommonProperty* property = FindProperty(index);
  if (!property) return D2D1_PROPERTY_TYPE_UNKNOWN;
  return property->text ? D2D1_PROPERTY_TYPE_STRING : D2D1_PROPERTY_TYPE_CLSID;
}

UINT32 Effect2D::GetPropertyIndex(PCWSTR name) const {
  for (const CommonProperty& property : kCommonProperties) {
    if (name && std::wcscmp(name, property.name) == 0) return property.index;
  }
  return D2D1_INVALID_PROPERTY_INDEX;
}

HRESULT Effect2D::SetValueByName(PCWSTR name, D2D1_PROPERTY_TYPE type, const BYTE* data,
                                 UINT32 size) {
  return SetValue(GetPropertyIndex(name), type, data, size);
}

HRESULT Effect2D::SetValue(UINT32 index, D2D1_PROPERTY_TYPE, const BYTE*, UINT32) {
  return FindProperty(index) ? E_INVALIDARG : D2DERR_INVALID_PROPERTY;
}

HRESULT Effect2D::GetValueByName(PCWSTR name, D2D1_PROPERTY_TYPE type, BYTE* data,
                                 UINT32 size) const {
  return GetValue(GetPropertyIndex(name), type, data, size);
}

HRESULT Effect2D::GetValue(UINT32 index, D2D1_PROPERTY_TYPE type, BYTE* data, UINT32 size) const {
  const CommonProperty* property = FindProperty(index);
  if (!property) return D2DERR_INVALID_PROPERTY;
  if (!data || (type != D2D1_PROPERTY_TYPE_UNKNOWN && type != GetType(index))) return E_INVALIDARG;
  const UINT32 needed = GetValueSize(index);
  if (property->text) {
    if (size < needed) return kInsufficientBuffer;
    std::memcpy(data, ((*registration_).*(property->text)).c_str(), needed);
  } else {
    if (size != needed) return E_INVALIDARG;
    std::memcpy(data, &registration_->id, needed);
  }
  return S_OK;
}

UINT32 Effect2D::GetValueSize(UINT32 index) const {
  const CommonProperty* property = FindProperty(index);
  if (!property) return 0;
  if (!property->text) return sizeof(GUID);
  return static_cast<UINT32>((((*registration_).*(property->text)).size() + 1) * sizeof(wchar_t));
}

HRESULT Effect2D::GetSubProperties(UINT32 index, ID2D1Properties** properties) const {
  if (properties) *properties = nullptr;
  return FindProperty(index) ? D2DERR_NO_SUBPROPERTIES : D2DERR_INVALID_PROPERTY;
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
      FAILED(graph_->GetTransform()->MapInvalidRect(input, *part, &changed))) {
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
      result = graph_->GetTransform()->MapInvalidRect(static_cast<UINT32>(i), ToContract(part),
                                                      &changed);
      if (FAILED(result)) return result;
      found = Union(found, ToEngine(changed));
    }
    found_invalid_ = Intersect(found, bounds);
    invalid_evaluation_ = evaluation.Id();
  }
  *invalid = found_invalid_;
  return S_OK;
}

void Effect2D::Require(Evaluation& evaluation, const Render::Rect& part) {
  required_ = Union(GetRequired(evaluation), part);
  required_evaluation_ = evaluation.Id();
}

Render::Rect Effect2D::GetRequired(const Evaluation& evaluation) const {
  return required_evaluation_ == evaluation.Id() ? required_ : Render::Rect{};
}

HRESULT Effect2D::MapRequired(Evaluation& evaluation, RECT* inputs) {
  std::fill_n(inputs, inputs_.size(), RECT{});
  Render::Rect bounds;
  const HRESULT result = GetBounds(evaluation, &bounds);
  if (FAILED(result)) return result;
  const Render::Rect part = Intersect(GetRequired(evaluation), bounds);
  if (part.Empty()) return S_OK;
  const RECT output = ToContract(part);
  return graph_->GetTransform()->MapOutputRectToInputRects(&output, inputs,
                                                           static_cast<UINT32>(inputs_.size()));
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
  if (!graph_->GetTransform()) return D2DERR_INVALID_GRAPH_CONFIGURATION;
  RECT rects[D2D1_MAX_EFFECT_INPUTS] = {};
  const RECT opaque[D2D1_MAX_EFFECT_INPUTS] = {};
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
  RECT opaque_output = {};
  const HRESULT result = graph_->GetTransform()->MapInputRectsToOutputRect(
      rects, opaque, static_cast<UINT32>(inputs_.size()), &output, &opaque_output);
  *bounds = {output.left, output.top, output.right, output.bottom};
  return result;
}

HRESULT Effect2D::RunPass(Evaluation& evaluation, Render::Texture* target, const Render::Rect& rect,
                          float origin_x, float origin_y) {
  Render::Rect bounds;
  HRESULT result = GetBounds(evaluation, &bounds);
  if (FAILED(result)) return result;

  const RECT output = ToContract(bounds);
  RECT needed[D2D1_MAX_EFFECT_INPUTS] = {};
  result = graph_->GetTransform()->MapOutputRectToInputRects(&output, needed,
                                                             static_cast<UINT32>(inputs_.size()));
  if (FAILED(result)) return result;

  std::array<RenderedImage, D2D1_MAX_EFFECT_INPUTS> images;
  for (std::size_t i = 0; i < inputs_.size(); ++i) {
    result = inputs_[i].node->Render(evaluation, &images[i]);
    if (FAILED(result)) return result;
  }
  result = implementation_->PrepareForRender(std::exchange(change_, D2D1_CHANGE_TYPE_NONE));
  if (FAILED(result)) return result;

  Render::Pass pass;
  if (!draw_info_->Describe(&pass)) return D2DERR_INVALID_GRAPH_CONFIGURATION;
  for (std::size_t i = 0; i < inputs_.size(); ++i) {
    // Inputs keep the default sampler: linear, clamped to the edge.
    pass.bindings[i] = {images[i].texture, {}};
  }
  const Render::Rect& input = images[0].bounds;
  pass.target = target;
  pass.rect = rect;
  pass.origin_x = origin_x - static_cast<float>(input.left);
  pass.origin_y = origin_y - static_cast<float>(input.top);
  pass.extent_x = static_cast<float>(input.Width());
  pass.extent_y = static_cast<float>(input.Height());
  result = ToResult(device_->GetEngine().Draw(pass));
  if (SUCCEEDED(result)) {
    all_invalid_ = false;
    invalid_ = {};
  }
  return result;
}

HRESULT Effect2D::Render(Evaluation& evaluation, RenderedImage* image) {
  if (image_evaluation_ != evaluation.Id()) {
    Render::Rect bounds;
    HRESULT result = GetBounds(evaluation, &bounds);
    if (FAILED(result)) return result;
    Render::Texture* texture = nullptr;
    result = evaluation.NewTexture(bounds, &texture);
    if (FAILED(result)) return result;
    result = RunPass(evaluation, texture, texture->Bounds(), static_cast<float>(bounds.left),
                     static_cast<float>(bounds.top));
    if (FAILED(result)) return result;
    image_ = {texture, bounds};
    image_evaluation_ = evaluation.Id();
  }
  *image = image_;
  return S_OK;
}

HRESULT Effect2D::RenderDirectly(Evaluation& evaluation, const DirectTarget& target) {
  return RunPass(evaluation, target.surface->texture.get(), target.rect, target.origin_x,
                 target.origin_y);
}

}  // namespace Vantra::Platform
