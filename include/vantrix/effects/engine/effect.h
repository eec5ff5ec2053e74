#pragma once

/// What the host holds for one image effect.

#include <vantrix/device/resourcebase.h>
#include <vantrix/export.h>
#include <vantrix/platform/d2d1.h>
#include <vantrix/sundrix/faceinfo.h>

#include <memory>
#include <string>

namespace Vantra {

class Bitmap;
class EffectShaderBase;

/// One image effect: its inputs, attributes, time, face and drawing modes. Concrete effects derive
/// from it; the work on pixels is done by a shader object or a platform effect that `Create` makes.
///
/// Attribute, time and face calls write into the shader object, so they need a created effect, and
/// they are lost when the device is lost: set them again from `Device::OnDeviceReCreate`, together
/// with the inputs.
class VANTRIX_API Effect : public ResourceBase {
 public:
  /// A value that travels between host and effect, as text.
  class Attribute {
   public:
    std::wstring name;
    std::wstring value;
  };

  /// An effect without an id, which cannot be created before `SetEffectID`.
  Effect() = default;
  explicit Effect(const GUID& id) : effect_id_(id) {}
  ~Effect() override;

  virtual void SetFace(sundrix::FaceLandmark landmark, const sundrix::CFaceInfo* face);
  /// Describes the effect's attributes in XML; empty when it has none. Valid while the library is
  /// loaded.
  virtual const std::string& GetXmlAttributes() const;

  /// The hooks below do nothing unless an effect overrides them. The operations of the same stem,
  /// further down, call them.
  virtual void OnInitialize();
  virtual void OnSetImageDimension();
  virtual void OnSetDefaultParameters();
  virtual void OnUpdateParameters();
  virtual void OnSetAttribute(const wchar_t* name, IStream* stream);
  virtual void OnSetAttribute(const wchar_t* name, float value);
  virtual void OnSetAttribute(const Attribute* attribute);
  virtual void OnGetAttribute(Attribute* attribute);
  virtual void OnSetInput(unsigned int index, ID2D1Effect* effect);
  virtual void OnSetInput(unsigned int index, Bitmap* bitmap);
  virtual void OnSetTime(float time);
  virtual void OnSetAmout(float amount);
  virtual bool OnSetMousePosition(const float& x, const float& y);
  virtual void OnStart();
  virtual void OnStop();

  /// Id of the platform effect that `Create` makes.
  virtual GUID GetEffectID() const;

  void Initialize() { OnInitialize(); }
  /// Tells the size in pixels of the frames that are coming.
  void SetImageDimension(long width, long height);
  void SetDefaultParameters();
  void UpdateParameters() { OnUpdateParameters(); }

  /// Sets an attribute from text. Unknown names do nothing, and no value is clamped to its
  /// published range. Throws `std::invalid_argument` or `std::out_of_range` for a text that is no
  /// number of the attribute's type; the value then stays as it was.
  void SetAttribute(const Attribute* attribute) { OnSetAttribute(attribute); }
  /// Fills `attribute->value` for the attribute named `attribute->name`; an unknown name leaves it.
  void GetAttribute(Attribute* attribute) { OnGetAttribute(attribute); }
  void SetAttribute(const wchar_t* name, float value) { OnSetAttribute(name, value); }
  /// Sets a texture attribute from a picture in a stream, which is read during the call.
  void SetAttribute(const wchar_t* name, IStream* stream) { OnSetAttribute(name, stream); }
  /// `time` is a number of milliseconds that grows from frame to frame.
  void SetTime(float time) { OnSetTime(time); }
  /// Sets the strength of effects that have one.
  void SetAmout(float amount) { OnSetAmout(amount); }
  /// Moves the effect's centre; `x` and `y` are fractions of the image. Returns false when the
  /// effect does not follow the mouse.
  bool SetMousePosition(const float& x, const float& y) { return OnSetMousePosition(x, y); }
  void Start() { OnStart(); }
  void Stop() { OnStop(); }

  /// Whether `Apply` clears its target first; 1 at the start.
  void SetClearBackground(int clear) { clear_background_ = clear; }
  int GetClearBackground() const { return clear_background_; }
  /// Colour of that clear, of straight alpha; transparent black at the start.
  void SetBackgroundColor(const D3DCOLORVALUE& color) { background_color_ = color; }
  const D3DCOLORVALUE& GetBackgroundColor() const { return background_color_; }
  /// Used by `Apply`; linear at the start.
  void SetInterpolationMode(const D2D1_INTERPOLATION_MODE& mode) { interpolation_mode_ = mode; }
  D2D1_INTERPOLATION_MODE GetInterpolationMode() const { return interpolation_mode_; }
  /// Kept for the host; `Apply` always draws source-over.
  void SetCompositeMode(const D2D1_COMPOSITE_MODE& mode) { composite_mode_ = mode; }
  D2D1_COMPOSITE_MODE GetCompositeMode() const { return composite_mode_; }
  /// Factor on a radius that is read from a face; 1 at the start.
  void SetFaceScale(float scale) { face_scale_ = scale; }
  /// Announces the shader object; called by its constructor.
  void SetShader(EffectShaderBase* shader) { shader_ = shader; }

  /// The effect whose platform object is being made on this thread, else null.
  static void SetCurrentEffect(Effect* effect);
  static Effect* GetCurrentEffect();

  /// True when both names are equal without regard to case, and not empty. Null is no name.
  static bool IsAttribute(const wchar_t* a, const wchar_t* b);

  /// The platform effect, without a reference for the caller, or null when there is none.
  ID2D1Effect* GetEffect() const;
  /// Changes the id; a created effect gets a new platform effect, an unchanged id does nothing.
  void SetEffectID(const GUID& id);

  /// Sets an input. A null bitmap, or one that is not created, clears it. The bitmap's platform
  /// image is kept alive by the effect, the bitmap itself is not owned. `invalidate` is passed to
  /// the platform. Nothing happens on an effect that is not created, and an effect that is not
  /// created changes nothing as an input.
  void SetInput(unsigned int index, Bitmap* bitmap, int invalidate = 1);
  /// Makes another effect's output the input; null clears it.
  void SetInput(unsigned int index, Effect* effect, int invalidate = 1);

  /// Draws the effect into `target`, not null, inside a drawing session, and leaves the session's
  /// target as it was. `offset` (null: 0,0) is the place in the target, `rectangle` (null: the
  /// whole) the part of the output.
  void Apply(Bitmap* target, const D2D_POINT_2F* offset = nullptr,
             const D2D_RECT_F* rectangle = nullptr);

  /// The platform effect's property interface (see `ID2D1Properties`). Without a platform effect
  /// the counts and lengths are 0, `GetPropertyIndex` and `GetValueSize` have all bits set, and the
  /// rest return `E_FAIL`. The forms without a type pass `D2D1_PROPERTY_TYPE_UNKNOWN`.
  unsigned int GetInputCount() const;
  unsigned int GetPropertyCount() const;
  HRESULT GetPropertyName(int index, wchar_t* name, unsigned int size) const;
  unsigned int GetPropertyNameLength(unsigned int index) const;
  D2D1_PROPERTY_TYPE GetType(unsigned int index);
  unsigned int GetPropertyIndex(const wchar_t* name) const;
  HRESULT SetValueByName(const wchar_t* name, D2D1_PROPERTY_TYPE type, const unsigned char* data,
                         unsigned int size);
  HRESULT SetValueByName(const wchar_t* name, const unsigned char* data, unsigned int size);
  HRESULT SetValue(unsigned int index, D2D1_PROPERTY_TYPE type, const unsigned char* data,
                   unsigned int size);
  HRESULT SetValue(unsigned int index, const unsigned char* data, unsigned int size);
  HRESULT GetValueByName(const wchar_t* name, D2D1_PROPERTY_TYPE type, unsigned char* data,
                         unsigned int size) const;
  HRESULT GetValueByName(const wchar_t* name, unsigned char* data, unsigned int size) const;
  HRESULT GetValue(unsigned int index, D2D1_PROPERTY_TYPE type, unsigned char* data,
                   unsigned int size) const;
  HRESULT GetValue(unsigned int index, unsigned char* data, unsigned int size) const;
  unsigned int GetValueSize(int index) const;
  HRESULT GetSubProperties(unsigned int index, ID2D1Properties** out) const;

 protected:
  Context* OnCreate() override;
  void OnDestroy() override;

  /// The shader object, or null.
  EffectShaderBase* GetShader() const { return shader_; }
  long GetImageWidth() const { return image_width_; }
  long GetImageHeight() const { return image_height_; }
  float GetFaceScale() const { return face_scale_; }

 private:
  static thread_local Effect* s_current_effect;

  EffectShaderBase* shader_ = nullptr;
  GUID effect_id_ = GUID_NULL;
  int clear_background_ = 1;
  D2D1_INTERPOLATION_MODE interpolation_mode_ = D2D1_INTERPOLATION_MODE_LINEAR;
  D2D1_COMPOSITE_MODE composite_mode_ = D2D1_COMPOSITE_MODE_SOURCE_OVER;
  D3DCOLORVALUE background_color_ = {0, 0, 0, 0};
  long image_width_ = 1280;
  long image_height_ = 720;
  float face_scale_ = 1.0f;
};

/// The live half of an effect: it owns the platform effect.
class VANTRIX_API EffectContext : public ResourceContext {
 public:
  ~EffectContext() override;

  bool IsDeviceIndependent() override;
  bool Create(ResourceBase* resource) override;
  void Destroy() override;
  /// Makes the platform effect anew and runs the effect's initialisation hooks. Returns false for a
  /// zero effect id, and, with a log message, when the platform refuses the effect.
  bool Restore() override;

  ID2D1Effect* GetEffect() const { return effect_; }

 private:
  CComPtr<ID2D1Effect> effect_;
};

/// Base of the effects whose one constant is an amount.
class VANTRIX_API EffectSingleAmout : public Effect {
 public:
  using Effect::Effect;

  using Effect::OnSetAttribute;
  /// Takes the name "amout" only.
  void OnSetAttribute(const wchar_t* name, float value) override;
  void OnSetAmout(float amount) override;
};

}  // namespace Vantra
