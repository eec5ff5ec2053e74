#pragma once

/// Effects that are made from an `EffectDescription`.

#include <vantrix/effects/engine/effect.h>
#include <vantrix/effects/engine/effectdescription.h>
#include <vantrix/effects/engine/effectshaderbase.h>
#include <vantrix/export.h>

#include <memory>
#include <new>

namespace Vantra {

/// A shader whose program, textures and constants are those of a description.
class VANTRIX_API DescribedShader : public EffectShaderBase {
 public:
  HRESULT Initialize(ID2D1EffectContext* context, ID2D1TransformGraph* graph) override;
  HRESULT SetDrawInfo(ID2D1DrawInfo* drawInfo) override;
  HRESULT UpdateConstants() override;
  UINT32 GetInputCount() const override;

  const EffectDescription& GetDescription() const { return description_; }
  /// Address of the constants.
  void* GetConstants() const { return constants_; }

 protected:
  /// Neither argument is owned; both must outlive the object.
  DescribedShader(const EffectDescription& description, void* constants)
      : description_(description), constants_(constants) {}

 private:
  const EffectDescription& description_;
  void* constants_;
};

/// An effect whose attributes are those of a description.
class VANTRIX_API DescribedEffect : public Effect {
 public:
  const std::string& GetXmlAttributes() const override;
  void OnSetAttribute(const wchar_t* name, IStream* stream) override;
  /// Takes float, int and bool attributes.
  void OnSetAttribute(const wchar_t* name, float value) override;
  void OnSetAttribute(const Attribute* attribute) override;
  void OnGetAttribute(Attribute* attribute) override;
  /// Writes the constant that the description names as the effect's strength, if there is one.
  void OnSetAmout(float amount) override;

 protected:
  explicit DescribedEffect(const EffectDescription& description)
      : Effect(description.GetIdentity().id), description_(description) {}

  /// The created effect's shader. Null without one, and when `SetEffectID` made the platform effect
  /// another class's.
  DescribedShader* GetDescribedShader() const;

 private:
  void SetNumber(const AttributeDescription* attribute, float value);

  const EffectDescription& description_;
};

/// The shader of the catalogue effect `E`.
template <class E>
class CatalogueShader final : public DescribedShader {
 public:
  CatalogueShader() : DescribedShader(E::Description(), &constants) {}

  /// The platform's factory function.
  static HRESULT CreateInstance(IUnknown** effect) {
    *effect = static_cast<ID2D1EffectImpl*>(new (std::nothrow) CatalogueShader);
    return *effect ? S_OK : E_OUTOFMEMORY;
  }

  typename E::Constants constants;
};

/// Base of a catalogue effect `E`, which has a static function `const EffectDescription&
/// Description()` and, when its program has constants, a structure `Constants` with their start
/// values.
template <class E>
class CatalogueEffect : public DescribedEffect {
 public:
  struct Constants {};
  using EShader = CatalogueShader<E>;

  CatalogueEffect() : DescribedEffect(E::Description()) {}

  static const GUID& GetEffectGUID() { return E::Description().GetIdentity().id; }
  static std::unique_ptr<Effect> CreateInstance() { return std::make_unique<E>(); }

 protected:
  /// The created effect's shader, or null.
  EShader* GetEShader() const { return static_cast<EShader*>(GetDescribedShader()); }
};

}  // namespace Vantra
