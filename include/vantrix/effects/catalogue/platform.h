#pragma once

/// Effects whose pixels one of the 2D layer's own effects makes (`d2d1effects.h` says how). Their
/// classes turn an amount into that effect's units, and keep the values that they pass on.

#include <vantrix/effects/engine/effect.h>
#include <vantrix/effects/engine/effectdescription.h>
#include <vantrix/export.h>
#include <vantrix/platform/d2d1effects.h>

#include <cstdint>
#include <memory>

namespace VantraFx {

/// An effect that sets properties of a platform effect. What it was told is kept in the object: it
/// can be told before it is created, and outlives the loss of the device. A value that the platform
/// effect refuses leaves that effect's property as it was, after a loss too, and its attribute
/// reads as it was set.
class VANTRIX_API PropertyEffect : public Vantra::Effect {
 public:
  using Effect::OnSetAttribute;
  const std::string& GetXmlAttributes() const override;
  void OnSetAttribute(const Attribute* attribute) override;
  void OnGetAttribute(Attribute* attribute) override;

 protected:
  /// `constants`, which the description's attributes are stored in, may be null when it has none.
  /// Neither is owned; both must outlive the object.
  PropertyEffect(const Vantra::EffectDescription& description, void* constants)
      : Effect(description.GetIdentity().id), description_(description), constants_(constants) {}

  /// Passes on the attribute of that name, whose value has just been stored.
  virtual void OnStored(const std::wstring& name);

  /// Sets a property of the platform effect; does nothing without one.
  template <class T>
  void Write(unsigned int index, const T& value) {
    SetValue(index, reinterpret_cast<const unsigned char*>(&value), sizeof(value));
  }

  /// Whether the platform effect is just being made, for the first time or after a loss.
  bool IsBeingMade() const { return GetCurrentEffect() == this; }

 private:
  const Vantra::EffectDescription& description_;
  void* constants_;
};

/// Base of a class `E`, which has a static function `const EffectDescription& Description()`.
template <class E>
class PlatformEffect : public PropertyEffect {
 public:
  static const GUID& GetEffectGUID() { return E::Description().GetIdentity().id; }
  static std::unique_ptr<Effect> CreateInstance() { return std::make_unique<E>(); }

 protected:
  explicit PlatformEffect(void* constants = nullptr)
      : PropertyEffect(E::Description(), constants) {}
};

/// Changes brightness, contrast, saturation and hue, in this order, with one colour matrix. It sees
/// straight colours. Each value is in hundredths, 0 leaves the picture as it is.
///
/// It publishes no attributes. Those named by its `ATTRIBUTE_` functions are set by name and
/// number, whose fraction is cut off; what is no number changes nothing.
class VANTRIX_API StandardAdjust final : public PlatformEffect<StandardAdjust> {
 public:
  StandardAdjust();
  static const Vantra::EffectDescription& Description();

  static const wchar_t* ATTRIBUTE_HUE() { return L"hue"; }
  static const wchar_t* ATTRIBUTE_SATURATION() { return L"saturation"; }
  static const wchar_t* ATTRIBUTE_BRIGHTNESS() { return L"brightness"; }
  static const wchar_t* ATTRIBUTE_CONTRAST() { return L"contrast"; }

  /// Turns all hues; 100 and -100 are half a turn.
  void SetHue(int value);
  /// -100 leaves grey, 100 doubles the distance from it.
  void SetSaturation(int value);
  /// 100 is added as 1.
  void SetBrightness(int value);
  /// Multiplies: -100 leaves black, 100 doubles.
  void SetContrast(int value);
  /// Whether any of the four is not 0.
  bool IsAdjusting() const;

  /// The colour matrix's id. `GetEffectGUID` is the class's own.
  GUID GetEffectID() const override;
  /// All four become 0.
  void OnSetDefaultParameters() override;
  void OnUpdateParameters() override;
  using PropertyEffect::OnSetAttribute;
  void OnSetAttribute(const wchar_t* name, float value) override;

 private:
  void Reset();
  void ApplyMatrix();

  D2D1_MATRIX_5X4_F saturation_matrix_;
  D2D1_MATRIX_5X4_F brightness_matrix_;
  D2D1_MATRIX_5X4_F contrast_matrix_;
  D2D1_MATRIX_5X4_F hue_matrix_;
  D2D1_MATRIX_5X4_F matrix_;
  std::int32_t brightness_;
  std::int32_t saturation_;
  std::int32_t hue_;
  std::int32_t contrast_;
};

/// Raises red, green and blue to the power (gamma + 100) / 100.
///
/// It publishes no attributes. Setting one of any name to a number sets gamma.
class VANTRIX_API GammaTransfer final : public PlatformEffect<GammaTransfer> {
 public:
  static const Vantra::EffectDescription& Description();

  /// 0 leaves the picture as it is, and what is no finite number changes nothing. The fraction of
  /// `value` is forgotten when the platform effect is made anew.
  void SetGamma(float value);
  bool IsAdjusting() const { return gamma_ != 0; }

  /// Gamma becomes 0.
  void OnSetDefaultParameters() override;
  void OnUpdateParameters() override;
  using PropertyEffect::OnSetAttribute;
  void OnSetAttribute(const wchar_t* name, float value) override;

 private:
  void WriteExponent(float gamma);

  std::int32_t gamma_ = 0;
};

/// Hardens red and, more, green: 2.5 r - 1 and 5 g - 1 of the straight colour.
class VANTRIX_API LinearTransfer final : public PlatformEffect<LinearTransfer> {
 public:
  static const Vantra::EffectDescription& Description();

  void OnUpdateParameters() override;
};

/// Blurs with a Gaussian kernel whose standard deviation is 64 pixels times the amount.
///
/// Attribute: `Amout`, 0 to 1, 0.125 at the start. Setting one of any name to a number sets it too.
class VANTRIX_API GaussianBlur final : public PlatformEffect<GaussianBlur> {
 public:
  struct Constants {
    float standard_deviation = 8.0f;
    float amout = 0.125f;
    std::int32_t optimization = D2D1_GAUSSIANBLUR_OPTIMIZATION_BALANCED;
    std::int32_t border_mode = D2D1_BORDER_MODE_SOFT;
  };

  GaussianBlur() : PlatformEffect(&constants_) {}
  static const Vantra::EffectDescription& Description();

  void OnUpdateParameters() override;
  using PropertyEffect::OnSetAttribute;
  void OnSetAttribute(const wchar_t* name, float value) override;
  void OnSetAmout(float amount) override;

 protected:
  void OnStored(const std::wstring& name) override;

 private:
  Constants constants_;
};

/// Makes bright areas smaller (erode) or larger (dilate): each pixel becomes the smallest or the
/// largest, channel by channel, in a square around it. Its side is 64 pixels times the amount, the
/// fraction cut off; one of less than 1 or more than 100 pixels is not taken.
///
/// Attributes: `Amout`, 0 to 1, 0.125 at the start; `Erode`, true at the start. `SetAmout` sets the
/// square alone, and `Amout` still reads as before.
class VANTRIX_API Morphology final : public PlatformEffect<Morphology> {
 public:
  struct Constants {
    float amout = 0.125f;
    std::int32_t mode = D2D1_MORPHOLOGY_MODE_ERODE;
    std::uint32_t width = 8;
    std::uint32_t height = 8;
  };

  Morphology() : PlatformEffect(&constants_) {}
  static const Vantra::EffectDescription& Description();

  void OnUpdateParameters() override;
  void OnSetAmout(float amount) override;

 protected:
  void OnStored(const std::wstring& name) override;

 private:
  Constants constants_;
};

/// Blurs along one line with a Gaussian kernel whose standard deviation is 128 pixels times the
/// amount.
///
/// Attributes: `Amout`, 0 to 1, 0.125 at the start; `Angle` in degrees, 0 to 360, 45 at the start,
/// which reads as its whole part.
class VANTRIX_API DirectionalBlur final : public PlatformEffect<DirectionalBlur> {
 public:
  struct Constants {
    float amout = 0.125f;
    float standard_deviation = 16.0f;
    float angle = 45.0f;
    std::int32_t optimization = D2D1_DIRECTIONALBLUR_OPTIMIZATION_BALANCED;
    std::int32_t border_mode = D2D1_BORDER_MODE_SOFT;
  };

  DirectionalBlur() : PlatformEffect(&constants_) {}
  static const Vantra::EffectDescription& Description();

  void OnUpdateParameters() override;
  void OnSetAmout(float amount) override;

 protected:
  void OnStored(const std::wstring& name) override;

 private:
  Constants constants_;
  // The last angle that the platform effect takes.
  float angle_ = 45.0f;
};

/// Replaces each pixel by a weighted sum of its neighbours, beyond the edges transparent. There are
/// six kernels; the one of the start finds edges. Alpha is summed like a colour, so that edges in
/// an opaque picture come out with an alpha of 0: they are seen once drawn over another picture.
///
/// It publishes no attributes. Setting `kernel` to a number is `SetKernel` with its whole part.
class VANTRIX_API ConvolveMatrix final : public PlatformEffect<ConvolveMatrix> {
 public:
  static constexpr std::uint32_t PassthroughWidth = 1;
  static constexpr std::uint32_t BoxBlurWidth = 5;
  static constexpr std::uint32_t SimpleEdgeDetectWidth = 3;
  static constexpr std::uint32_t SimpleSharpenWidth = 3;
  static constexpr std::uint32_t EmbossWidth = 3;
  static constexpr std::uint32_t HorizontalSmearWidth = 20;
  static constexpr std::uint32_t HorizontalSmearHeight = 1;
  static constexpr float DefaultDivisor = 1.0f;
  static constexpr float BoxBlurDivisor = 25.0f;
  static constexpr float SimpleSharpenDivisor = 2.0f;
  static constexpr float HorizontalSmearDivisor = 20.0f;

  static constexpr int kKernelCount = 6;

  static const Vantra::EffectDescription& Description();

  /// Takes another kernel: 0 passes through, 1 blurs, 2 finds edges, 3 sharpens, 4 embosses, 5
  /// smears. Returns false, and changes nothing, for any other index.
  bool SetKernel(int index);
  int GetKernel() const { return kernel_; }
  /// The kernel's name, such as "Simple Sharpen"; null when there is no such kernel.
  static const wchar_t* GetKernelName(int index);

  void OnUpdateParameters() override;
  using PropertyEffect::OnSetAttribute;
  void OnSetAttribute(const wchar_t* name, float value) override;

 private:
  std::int32_t kernel_ = 2;
};

/// Continues a picture beyond its edges by mirroring it there. Its output has no bounds, so it is
/// drawn with a rectangle. It is made by its class only, not by name.
class VANTRIX_API Border final : public PlatformEffect<Border> {
 public:
  static const Vantra::EffectDescription& Description();

  void OnSetDefaultParameters() override;
  void OnUpdateParameters() override;

 private:
  std::int32_t edge_mode_x_ = D2D1_BORDER_EDGE_MODE_CLAMP;
  std::int32_t edge_mode_y_ = D2D1_BORDER_EDGE_MODE_CLAMP;
};

/// Shows a picture in perspective: its corners go to four given points. At the start a picture of
/// 1280 by 720 goes to (230, 160), (1060, 230), (0, 715), (1272, 600).
class VANTRIX_API WarpPerspective final : public PlatformEffect<WarpPerspective> {
 public:
  WarpPerspective();
  static const Vantra::EffectDescription& Description();

  /// Takes a picture's size in pixels and where its corners go: top left, top right, bottom left,
  /// bottom right. Changes nothing where three of the points are on one line, or where the matrix
  /// would have an element beyond 2^24, as for a picture without width.
  void SetPoints(D2D_SIZE_F size, D2D_POINT_2F p0, D2D_POINT_2F p1, D2D_POINT_2F p2,
                 D2D_POINT_2F p3);

  /// The points of the start.
  void OnSetDefaultParameters() override;
  void OnUpdateParameters() override;

 private:
  D2D1_MATRIX_4X4_F matrix_;
};

/// A class without pixels: no effect stands behind its id, so `Create` fails.
class VANTRIX_API BarrelDistortion final : public PlatformEffect<BarrelDistortion> {
 public:
  static const Vantra::EffectDescription& Description();
};

}  // namespace VantraFx
