#include <vantrix/effects/catalogue/lut.h>

#include <new>

namespace VantraFx {

using Vantra::EffectDescription;

HRESULT LookupShader::Initialize(ID2D1EffectContext* context, ID2D1TransformGraph* graph) {
  return InitializeShader(context, graph, {}, description_.GetIdentity().shader,
                          description_.GetIdentity().id);
}

HRESULT LookupShader::SetDrawInfo(ID2D1DrawInfo* drawInfo) {
  return SelectShader(drawInfo, description_.GetIdentity().id);
}

void LookupShader::LoadLook(const std::wstring& resourceName) {
  CComPtr<ID2D1ResourceTexture>& slot = GetTexture(1);
  slot.Release();
  CreateD2DResourceTexture(resourceName.c_str(), GetEffectContext(), &slot, nullptr);
  if (slot && GetDrawInfo()) GetDrawInfo()->SetResourceTexture(1, slot);
}

void LookupShader::ShowLook(Vantra::Bitmap& look) {
  CComPtr<ID2D1ResourceTexture>& slot = GetTexture(1);
  slot.Release();
  CreateD2DTexture(GetEffectContext(), &look, &slot, nullptr);
  if (slot && GetDrawInfo()) GetDrawInfo()->SetResourceTexture(1, slot);
}

void LookupFilter::OnInitialize() {
  auto* shader = dynamic_cast<LookupShader*>(GetShader());
  if (shader && !resource_name_.empty()) shader->LoadLook(resource_name_);
}

HRESULT InstagramFilter::InstagramShader::CreateInstance(IUnknown** effect) {
  *effect = static_cast<ID2D1EffectImpl*>(new (std::nothrow) InstagramShader);
  return *effect ? S_OK : E_OUTOFMEMORY;
}

std::unique_ptr<Vantra::Effect> InstagramFilter::CreateInstance() {
  return std::make_unique<InstagramFilter>();
}

const EffectDescription& InstagramFilter::Description() {
  static const EffectDescription description(
      {
          .id = {0x2C8D6F1A, 0x93B4, 0x4E57, {0xA6, 0x0D, 0x5B, 0x71, 0xE8, 0x3F, 0x42, 0x9C}},
          .name = "InstagramFilter",
          .display_name = "Instagram Filter",
          .description = "Instagram Filter effect",
          .shader = L"IDR_PS_INSTAGRAM_FILTER",
          .numbers = {{L"amout"}},
      },
      sizeof(float));
  return description;
}

HRESULT InstagramVideo::InstagramShader::CreateInstance(IUnknown** effect) {
  *effect = static_cast<ID2D1EffectImpl*>(new (std::nothrow) InstagramShader);
  return *effect ? S_OK : E_OUTOFMEMORY;
}

std::unique_ptr<Vantra::Effect> InstagramVideo::CreateInstance() {
  return std::make_unique<InstagramVideo>();
}

const EffectDescription& InstagramVideo::Description() {
  static const EffectDescription description(
      {
          .id = {0x7E41B05D, 0x1A6C, 0x4F83, {0x8E, 0x29, 0xC4, 0x0A, 0x96, 0xD7, 0x1B, 0x35}},
          .name = "InstagramVideo",
          .display_name = "Instagram Video Filter",
          .description = "Instagram Video Filter",
          .shader = L"IDR_PS_INSTAGRAM_VIDEO",
          .numbers = {{L"amout"}},
      },
      sizeof(float));
  return description;
}

}  // namespace VantraFx
