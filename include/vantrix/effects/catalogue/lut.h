#pragma once

/// Effects whose look lies in a picture: a pixel's colour is an address in it, and what is found
/// there replaces the colour.

#include <vantrix/effects/engine/effect.h>
#include <vantrix/effects/engine/effectdescription.h>
#include <vantrix/effects/engine/effectshaderbase.h>
#include <vantrix/export.h>

#include <memory>
#include <string>

namespace VantraFx {

/// The shader of the filters with stored looks: the looked-up colour mixed with the pixel's own by
/// the amount.
class VANTRIX_API LookupShader : public Vantra::EffectShaderSingleAmout {
 public:
  HRESULT Initialize(ID2D1EffectContext* context, ID2D1TransformGraph* graph) override;
  HRESULT SetDrawInfo(ID2D1DrawInfo* drawInfo) override;

  /// Makes the picture stored as `resourceName` the look; a missing one leaves none.
  void LoadLook(const std::wstring& resourceName);
  /// Makes the CPU pixels of a bitmap, taken as red, green, blue, alpha, the look.
  void ShowLook(Vantra::Bitmap& look);

 protected:
  explicit LookupShader(const Vantra::EffectDescription& description) : description_(description) {}

 private:
  const Vantra::EffectDescription& description_;
};

/// Base of the filters with stored looks. Without a look the filter shows black at full strength.
class VANTRIX_API LookupFilter : public Vantra::EffectSingleAmout {
 public:
  /// Stores the resource name of a look. It is loaded when the effect is created or restored.
  void SetLookupTexture(const std::wstring& name) { resource_name_ = name; }
  const std::wstring& GetLookupTexture() const { return resource_name_; }

  void OnInitialize() override;

 protected:
  using EffectSingleAmout::EffectSingleAmout;

 private:
  std::wstring resource_name_;
};

/// Applies a three-dimensional look: 512 by 512 pixels, a grid of 8 by 8 tiles of 64 by 64. The
/// tile stands for the blue of the pixel, x in it for red and y for green; the two tiles next to a
/// blue between are mixed.
class VANTRIX_API InstagramFilter final : public LookupFilter {
 public:
  class VANTRIX_API InstagramShader final : public LookupShader {
   public:
    InstagramShader() : LookupShader(Description()) {}
    /// The platform's factory function.
    static HRESULT CreateInstance(IUnknown** effect);
  };
  using EShader = InstagramShader;

  InstagramFilter() : LookupFilter(GetEffectGUID()) {}
  static const GUID& GetEffectGUID() { return Description().GetIdentity().id; }
  static std::unique_ptr<Vantra::Effect> CreateInstance();
  static const Vantra::EffectDescription& Description();
};

/// Applies three curves: 256 by 1 pixels, whose channels are the new values of the channels.
class VANTRIX_API InstagramVideo final : public LookupFilter {
 public:
  class VANTRIX_API InstagramShader final : public LookupShader {
   public:
    InstagramShader() : LookupShader(Description()) {}
    /// The platform's factory function.
    static HRESULT CreateInstance(IUnknown** effect);
  };
  using EShader = InstagramShader;

  InstagramVideo() : LookupFilter(GetEffectGUID()) {}
  static const GUID& GetEffectGUID() { return Description().GetIdentity().id; }
  static std::unique_ptr<Vantra::Effect> CreateInstance();
  static const Vantra::EffectDescription& Description();
};

}  // namespace VantraFx
