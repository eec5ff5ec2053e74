#include <vantrix/device/comparestring.h>
#include <vantrix/device/device.h>
#include <vantrix/effects/engine/effect.h>
#include <vantrix/effects/engine/effectshaderbase.h>
#include <vantrix/images/bitmap.h>
#include <vantrix/platform/engine.h>
#include <vantrix/sundrix/logger.h>

#include <cwchar>

namespace Vantra {
namespace {

constexpr unsigned int kAllBits = 0xFFFFFFFF;

// Announces the effect whose platform object is being made, for the length of its making.
class CurrentEffectScope {
 public:
  explicit CurrentEffectScope(Effect* effect) { Effect::SetCurrentEffect(effect); }
  CurrentEffectScope(const CurrentEffectScope&) = delete;
  CurrentEffectScope& operator=(const CurrentEffectScope&) = delete;
  ~CurrentEffectScope() { Effect::SetCurrentEffect(nullptr); }
};

}  // namespace

// Devices on other threads make effects at the same time.
thread_local Effect* Effect::s_current_effect = nullptr;

void Effect::SetCurrentEffect(Effect* effect) { s_current_effect = effect; }

Effect* Effect::GetCurrentEffect() { return s_current_effect; }

Effect::~Effect() { ReleaseContext(); }

void Effect::SetFace(sundrix::FaceLandmark, const sundrix::CFaceInfo*) {}

const std::string& Effect::GetXmlAttributes() const {
  static const std::string empty_attributes;
  return empty_attributes;
}

void Effect::OnInitialize() {}
void Effect::OnSetImageDimension() {}
void Effect::OnSetDefaultParameters() {}
void Effect::OnUpdateParameters() {}
void Effect::OnSetAttribute(const wchar_t*, IStream*) {}
void Effect::OnSetAttribute(const wchar_t*, float) {}
void Effect::OnSetAttribute(const Attribute*) {}
void Effect::OnGetAttribute(Attribute*) {}
void Effect::OnSetInput(unsigned int, ID2D1Effect*) {}
void Effect::OnSetInput(unsigned int, Bitmap*) {}
void Effect::OnSetTime(float) {}
void Effect::OnSetAmout(float) {}
bool Effect::OnSetMousePosition(const float&, const float&) { return false; }
void Effect::OnStart() {}
void Effect::OnStop() {}
void Effect::OnDestroy() {}

GUID Effect::GetEffectID() const { return effect_id_; }

void Effect::SetImageDimension(long width, long height) {
  image_width_ = width;
  image_height_ = height;
  OnSetImageDimension();
}

void Effect::SetDefaultParameters() {
  OnSetDefaultParameters();
  OnUpdateParameters();
}

bool Effect::IsAttribute(const wchar_t* a, const wchar_t* b) {
  return a && *a != L'\0' && CompareStringNoCase(a, b) != 0;
}

Context* Effect::OnCreate() {
  if (const Device* device = GetDevice()) {
    image_width_ = device->GetWidth();
    image_height_ = device->GetHeight();
  }
  return new EffectContext;
}

ID2D1Effect* Effect::GetEffect() const {
  const auto* context = dynamic_cast<const EffectContext*>(GetContext());
  return context ? context->GetEffect() : nullptr;
}

void Effect::SetEffectID(const GUID& id) {
  if (id == effect_id_) return;
  effect_id_ = id;
  auto* context = dynamic_cast<EffectContext*>(GetContext());
  // An effect that could not be created before is not registered yet.
  if (context && context->Restore()) GetDeviceContext()->GetResourceFactory().Add(context);
}

void Effect::SetInput(unsigned int index, Bitmap* bitmap, int invalidate) {
  ID2D1Effect* effect = GetEffect();
  if (!effect) return;
  effect->SetInput(index, bitmap ? bitmap->GetBitmap() : nullptr, invalidate);
  OnSetInput(index, bitmap);
}

void Effect::SetInput(unsigned int index, Effect* input, int invalidate) {
  ID2D1Effect* effect = GetEffect();
  if (!effect) return;
  if (!input) {
    effect->SetInput(index, nullptr, invalidate);
    return;
  }
  ID2D1Effect* input_effect = input->GetEffect();
  if (!input_effect) return;
  CComPtr<ID2D1Image> output;
  input_effect->GetOutput(&output);
  effect->SetInput(index, output, invalidate);
  OnSetInput(index, effect);
}

void Effect::Apply(Bitmap* target, const D2D_POINT_2F* offset, const D2D_RECT_F* rectangle) {
  ID2D1Effect* effect = GetEffect();
  ID2D1DeviceContext* context = effect ? GetDevice()->GetD2DDeviceContext() : nullptr;
  if (!context) return;

  CComPtr<ID2D1Image> kept_target;
  context->GetTarget(&kept_target);
  context->SetTarget(target->GetBitmap());
  if (clear_background_) context->Clear(&background_color_);
  CComPtr<ID2D1Image> output;
  effect->GetOutput(&output);
  context->DrawImage(output, offset, rectangle, interpolation_mode_,
                     D2D1_COMPOSITE_MODE_SOURCE_OVER);
  context->SetTarget(kept_target);
}

unsigned int Effect::GetInputCount() const {
  const ID2D1Effect* effect = GetEffect();
  return effect ? effect->GetInputCount() : 0;
}

unsigned int Effect::GetPropertyCount() const {
  const ID2D1Effect* effect = GetEffect();
  return effect ? effect->GetPropertyCount() : 0;
}

HRESULT Effect::GetPropertyName(int index, wchar_t* name, unsigned int size) const {
  const ID2D1Effect* effect = GetEffect();
  return effect ? effect->GetPropertyName(static_cast<UINT32>(index), name, size) : E_FAIL;
}

unsigned int Effect::GetPropertyNameLength(unsigned int index) const {
  const ID2D1Effect* effect = GetEffect();
  return effect ? effect->GetPropertyNameLength(index) : 0;
}

D2D1_PROPERTY_TYPE Effect::GetType(unsigned int index) {
  const ID2D1Effect* effect = GetEffect();
  return effect ? effect->GetType(index) : D2D1_PROPERTY_TYPE_UNKNOWN;
}

unsigned int Effect::GetPropertyIndex(const wchar_t* name) const {
  const ID2D1Effect* effect = GetEffect();
  return effect ? effect->GetPropertyIndex(name) : kAllBits;
}

HRESULT Effect::SetValueByName(const wchar_t* name, D2D1_PROPERTY_TYPE type,
                               const unsigned char* data, unsigned int size) {
  ID2D1Effect* effect = GetEffect();
  return effect ? effect->SetValueByName(name, type, data, size) : E_FAIL;
}

HRESULT Effect::SetValueByName(const wchar_t* name, const unsigned char* data, unsigned int size) {
  return SetValueByName(name, D2D1_PROPERTY_TYPE_UNKNOWN, data, size);
}

HRESULT Effect::SetValue(unsigned int index, D2D1_PROPERTY_TYPE type, const unsigned char* data,
                         unsigned int size) {
  ID2D1Effect* effect = GetEffect();
  return effect ? effect->SetValue(index, type, data, size) : E_FAIL;
}

HRESULT Effect::SetValue(unsigned int index, const unsigned char* data, unsigned int size) {
  return SetValue(index, D2D1_PROPERTY_TYPE_UNKNOWN, data, size);
}

HRESULT Effect::GetValueByName(const wchar_t* name, D2D1_PROPERTY_TYPE type, unsigned char* data,
                               unsigned int size) const {
  const ID2D1Effect* effect = GetEffect();
  return effect ? effect->GetValueByName(name, type, data, size) : E_FAIL;
}

HRESULT Effect::GetValueByName(const wchar_t* name, unsigned char* data, unsigned int size) const {
  return GetValueByName(name, D2D1_PROPERTY_TYPE_UNKNOWN, data, size);
}

HRESULT Effect::GetValue(unsigned int index, D2D1_PROPERTY_TYPE type, unsigned char* data,
                         unsigned int size) const {
  const ID2D1Effect* effect = GetEffect();
  return effect ? effect->GetValue(index, type, data, size) : E_FAIL;
}

HRESULT Effect::GetValue(unsigned int index, unsigned char* data, unsigned int size) const {
  return GetValue(index, D2D1_PROPERTY_TYPE_UNKNOWN, data, size);
}

unsigned int Effect::GetValueSize(int index) const {
  const ID2D1Effect* effect = GetEffect();
  return effect ? effect->GetValueSize(static_cast<UINT32>(index)) : kAllBits;
}

HRESULT Effect::GetSubProperties(unsigned int index, ID2D1Properties** out) const {
  const ID2D1Effect* effect = GetEffect();
  return effect ? effect->GetSubProperties(index, out) : E_FAIL;
}

EffectContext::~EffectContext() = default;

bool EffectContext::IsDeviceIndependent() { return false; }

bool EffectContext::Create(ResourceBase* resource) {
  Link(resource);
  return Restore();
}

void EffectContext::Destroy() {
  effect_.Release();
  // The platform has freed the shader object together with its effect.
  if (GetResource()) static_cast<Effect*>(GetResource())->SetShader(nullptr);
}

bool EffectContext::Restore() {
  Destroy();
  auto* effect = static_cast<Effect*>(GetResource());
  const GUID id = effect->GetEffectID();
  if (id == GUID_NULL || !GetDeviceContext()) return false;

  const CurrentEffectScope scope(effect);
  ID2D1DeviceContext* context = GetDeviceContext()->GetD2DDeviceContext();
  if (!context || FAILED(context->CreateEffect(id, &effect_))) {
    // A shader that was made and refused is gone again.
    effect->SetShader(nullptr);
    sundrix::Logger::GetInstance()(sundrix::error, "Create effect Failed!",
                                   "Vantra::EffectContext::Restore", __FILE__, __LINE__);
    const std::string refusal = Platform::TakeRefusal(GetDeviceContext()->GetD3D11Device());
    if (!refusal.empty()) {
      sundrix::Logger::GetInstance()(sundrix::error, refusal, "Vantra::EffectContext::Restore",
                                     __FILE__, __LINE__);
    }
    return false;
  }
  effect->OnInitialize();
  effect->OnSetDefaultParameters();
  effect->OnUpdateParameters();
  return true;
}

void EffectSingleAmout::OnSetAttribute(const wchar_t* name, float value) {
  static const std::wstring kAmout = L"amout";
  if (IsAttribute(name, kAmout.c_str())) OnSetAmout(value);
}

void EffectSingleAmout::OnSetAmout(float amount) {
  if (auto* shader = dynamic_cast<EffectShaderSingleAmout*>(GetShader())) {
    shader->SetFilterAmout(amount);
  }
}

}  // namespace Vantra
