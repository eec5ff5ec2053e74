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

DescribedShader* DescribedEffect::GetDescribedShader() const {
  auto* shader = dynamic_cast<DescribedShader*>(GetShader());
  return shader && &shader->GetDescription() == &description_ ? shader : nullptr;
}

void DescribedEffect::OnSetAttribute(const wchar_t* name, IStream* stream) {
  const AttributeDescription* attribute = description_.Find(name);
  DescribedShader* shader = GetDescribedShader();
  if (!attribute || attribute->type != AttributeType::kTexture || !shader) return;
  shader->SetTexture(attribute->texture_slot, stream, nullptr);
}

void DescribedEffect::SetNumber(const AttributeDescription* attribute, float value) {
  DescribedShader* shader = GetDescribedShader();
  if (!attribute || !shader) return;
  SetAttributeNumber(*attribute, value, shader->GetConstants());
  shader->UpdateConstants();
}

void DescribedEffect::OnSetAttribute(const wchar_t* name, float value) {
  SetNumber(description_.Find(name), value);
}

void DescribedEffect::OnSetAmout(float amount) { SetNumber(description_.GetAmout(), amount); }

void DescribedEffect::OnSetAttribute(const Attribute* attribute) {
  const AttributeDescription* description = description_.Find(attribute->name.c_str());
  DescribedShader* shader = GetDescribedShader();
  if (!description || !shader) return;
  if (description->type == AttributeType::kTexture) {
    shader->SetTexture(description->texture_slot, attribute->value.c_str(), nullptr);
    return;
  }
  SetAttributeText(*description, attribute->value, shader->GetConstants());
  shader->UpdateConstants();
}

void DescribedEffect::OnGetAttribute(Attribute* attribute) {
  const AttributeDescription* description = description_.Find(attribute->name.c_str());
  const DescribedShader* shader = GetDescribedShader();
  if (!description || !shader) return;
  GetAttributeText(*description, shader->GetConstants(), &attribute->value);
}

}  // namespace Vantra
