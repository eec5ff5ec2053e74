#include <vantrix/effects/engine/describedeffect.h>

namespace Vantra {

HRESULT DescribedShader::Initialize(ID2D1EffectContext* context, ID2D1TransformGraph* graph) {
  const auto& identity = description_.GetIdentity();
  return InitializeShader(context, graph, identity.textures, identity.shader, identity.id);
}

HRESULT DescribedShader::SetDrawInfo(ID2D1DrawInfo* drawInfo) {
  return SelectShader(drawInfo, description_.GetIdentity().id);
}

HRESULT DescribedShader::UpdateConstants() {
  if (description_.GetConstantsSize() == 0) return S_OK;
  if (!GetDrawInfo()) return E_FAIL;
  return GetDrawInfo()->SetPixelShaderConstantBuffer(
      static_cast<const BYTE*>(constants_), static_cast<UINT32>(description_.GetConstantsSize()));
}

UINT32 DescribedShader::GetInputCount() const {
  return static_cast<UINT32>(description_.GetIdentity().inputs.size());
}

const std::string& DescribedEffect::GetXmlAttributes() const { return description_.GetXml(); }

void DescribedEffect::OnSetAttribute(const wchar_t* name, IStream* stream) {
  const AttributeDescription* attribute = description_.Find(name);
  if (!attribute || attribute->type != AttributeType::kTexture || !GetShader()) return;
  GetShader()->SetTexture(attribute->texture_slot, stream, nullptr);
}

void DescribedEffect::OnSetAttribute(const wchar_t* name, float value) {
  const AttributeDescription* attribute = description_.Find(name);
  if (!attribute || !GetShader()) return;
  SetAttributeNumber(*attribute, value, GetDescribedShader()->GetConstants());
  GetShader()->UpdateConstants();
}

void DescribedEffect::OnSetAttribute(const Attribute* attribute) {
  const AttributeDescription* description = description_.Find(attribute->name.c_str());
  if (!description || !GetShader()) return;
  if (description->type == AttributeType::kTexture) {
    GetShader()->SetTexture(description->texture_slot, attribute->value.c_str(), nullptr);
    return;
  }
  SetAttributeText(*description, attribute->value, GetDescribedShader()->GetConstants());
  GetShader()->UpdateConstants();
}

void DescribedEffect::OnGetAttribute(Attribute* attribute) {
  const AttributeDescription* description = description_.Find(attribute->name.c_str());
  if (!description || !GetShader()) return;
  GetAttributeText(*description, GetDescribedShader()->GetConstants(), &attribute->value);
}

}  // namespace Vantra
