#pragma once

/// What an effect is, as data: its identity, its resources and its attributes. The attribute XML,
/// the setters, the getter, the upload of constants and the registration all follow from it.

#include <vantrix/export.h>
#include <vantrix/platform/com.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace Vantra {

enum class AttributeType { kFloat, kInt, kBool, kPosition, kTexture, kColor };

/// One attribute, and where its value stands in the effect's constants.
struct AttributeDescription {
  enum class Storage { kNone, kFloat, kInt32, kUInt32 };
  /// How a whole number is read from text.
  enum class Parse { kFloat, kInteger, kUnsigned };
  using Mapping = float (*)(float);

  AttributeType type = AttributeType::kFloat;
  std::wstring name;
  /// Published texts; empty ones are not published.
  std::string min;
  std::string max;
  std::string step;
  std::string def;

  Storage storage = Storage::kNone;
  std::size_t offset = 0;
  /// Number of consecutive values: 2 for a position, 3 or 4 for a colour.
  std::size_t count = 1;
  Parse parse = Parse::kFloat;
  /// From the attribute's scale to the constant's, and back for reading; null: the same scale.
  Mapping to_constant = nullptr;
  Mapping from_constant = nullptr;
  /// Slot of a texture.
  unsigned int texture_slot = 0;
};

/// A value that `Effect::SetAttribute(name, float)` takes and the attribute XML does not tell.
struct NumberDescription {
  std::wstring name;
  /// The range in which it means something; the effect may ignore what lies beyond.
  float min = -std::numeric_limits<float>::infinity();
  float max = std::numeric_limits<float>::infinity();
};

/// Describes one effect. It is made once, by the effect's `Description` function.
class VANTRIX_API EffectDescription {
 public:
  struct Identity {
    GUID id = GUID_NULL;
    /// The host's name for the effect is this behind "CLSID_": the class's name, or that of the 2D
    /// layer's own effect that the class drives.
    std::string_view name;
    std::string_view display_name;
    std::string_view description;
    std::string_view category = "Color";
    /// Resource name of the pixel program; null for an effect that has none of its own.
    const wchar_t* shader = nullptr;
    /// Resource names of the pictures of texture slots 1 and 2.
    std::vector<const wchar_t*> textures = {};
    std::vector<std::string_view> inputs = {"Source"};
    std::vector<NumberDescription> numbers = {};
  };

  EffectDescription(Identity identity, std::size_t constants_size)
      : identity_(std::move(identity)), constants_size_(constants_size) {}

  const Identity& GetIdentity() const { return identity_; }
  const std::vector<AttributeDescription>& GetAttributes() const { return attributes_; }
  std::size_t GetConstantsSize() const { return constants_size_; }

  /// The attribute XML on one line; empty without attributes.
  const std::string& GetXml() const { return xml_; }
  /// The descriptor with which the effect is registered.
  std::wstring GetRegistrationXml() const;

  /// The attribute of that name, case ignored, or null.
  const AttributeDescription* Find(const wchar_t* name) const;
  /// The constant that `Effect::SetAmout` writes, or null when the effect has no strength.
  const AttributeDescription* GetAmout() const { return amout_ ? &*amout_ : nullptr; }

  void Add(AttributeDescription attribute);
  void SetAmout(AttributeDescription amout) { amout_ = std::move(amout); }

 private:
  Identity identity_;
  std::size_t constants_size_;
  std::vector<AttributeDescription> attributes_;
  std::optional<AttributeDescription> amout_;
  std::string xml_;
};

/// Writes the value of `text` into `constants`. Throws as `Effect::SetAttribute` tells. Textures
/// are left to the caller.
VANTRIX_API void SetAttributeText(const AttributeDescription& attribute, const std::wstring& text,
                                  void* constants);
/// Writes a number into a float, int or bool attribute; does nothing for the other types.
VANTRIX_API void SetAttributeNumber(const AttributeDescription& attribute, float value,
                                    void* constants);
/// The attribute's present value as text; `text` is left alone for a texture.
VANTRIX_API void GetAttributeText(const AttributeDescription& attribute, const void* constants,
                                  std::wstring* text);

/// Reads up to `capacity` numbers, separated by commas, semicolons, colons or white space, into
/// `values`, and returns how many were written. Reading stops at the first empty element. Throws
/// for an element that is no number, and writes nothing then.
VANTRIX_API std::size_t ParseFloatList(const std::wstring& text, float* values,
                                       std::size_t capacity);

/// A number as the attribute XML spells it: the shortest decimal form.
VANTRIX_API std::string FormatNumber(double number);

/// Describes the effect class `E`, whose `E::Constants` is laid out as the program's constants.
template <class E>
class Describe {
  using Constants = typename E::Constants;
  using Mapping = AttributeDescription::Mapping;

 public:
  struct FloatRange {
    double min;
    double max;
    double def;
    double step;
  };
  struct IntRange {
    int min;
    int max;
    int def;
  };
  struct Mappings {
    Mapping to_constant = nullptr;
    Mapping from_constant = nullptr;
  };

  explicit Describe(EffectDescription::Identity identity)
      : description_(std::move(identity),
                     std::is_empty_v<Constants> ? std::size_t{0} : sizeof(Constants)) {}

  operator EffectDescription() && { return std::move(description_); }

  template <class T>
  Describe&& Float(const wchar_t* name, FloatRange range, T Constants::*member,
                   Mappings mappings = {}) && {
    AttributeDescription attribute = Value(AttributeType::kFloat, name, member, mappings);
    SetRange(attribute, range.min, range.max, range.def);
    attribute.step = FormatNumber(range.step);
    return Add(std::move(attribute));
  }

  /// A whole number. It is read as a float unless `parse` says otherwise.
  template <class T>
  Describe&& Int(const wchar_t* name, IntRange range, T Constants::*member, Mappings mappings = {},
                 AttributeDescription::Parse parse = AttributeDescription::Parse::kFloat) && {
    AttributeDescription attribute = Value(AttributeType::kInt, name, member, mappings);
    SetRange(attribute, range.min, range.max, range.def);
    attribute.parse = parse;
    return Add(std::move(attribute));
  }

  template <class T>
  Describe&& Bool(const wchar_t* name, bool def, T Constants::*member, Mappings mappings = {}) && {
    AttributeDescription attribute = Value(AttributeType::kBool, name, member, mappings);
    attribute.def = def ? "true" : "false";
    return Add(std::move(attribute));
  }

  /// `min`, `max` and `def` are texts such as "0.5,0.5".
  Describe&& Position(const wchar_t* name, const char* min, const char* max, const char* def,
                      float (Constants::*member)[2]) && {
    AttributeDescription attribute = List(AttributeType::kPosition, name, member);
    attribute.min = min;
    attribute.max = max;
    attribute.def = def;
    return Add(std::move(attribute));
  }

  template <std::size_t N>
  Describe&& Color(const wchar_t* name, const char* def, float (Constants::*member)[N]) && {
    static_assert(N == 3 || N == 4, "a colour has three or four components");
    AttributeDescription attribute = List(AttributeType::kColor, name, member);
    attribute.def = def;
    return Add(std::move(attribute));
  }

  Describe&& Texture(const wchar_t* name, unsigned int slot) && {
    AttributeDescription attribute;
    attribute.type = AttributeType::kTexture;
    attribute.name = name;
    attribute.texture_slot = slot;
    return Add(std::move(attribute));
  }

  /// Makes a constant the effect's strength: `Effect::SetAmout` writes it, through `to_constant`
  /// where one is given. Nothing is published of it.
  template <class T>
  Describe&& Amout(T Constants::*member, Mapping to_constant = nullptr) && {
    description_.SetAmout(Value(AttributeType::kFloat, L"", member, {.to_constant = to_constant}));
    return std::move(*this);
  }

 private:
  template <class Member>
  static std::size_t OffsetOf(Member Constants::*member) {
    static const Constants constants{};
    return static_cast<std::size_t>(reinterpret_cast<const char*>(&(constants.*member)) -
                                    reinterpret_cast<const char*>(&constants));
  }

  template <class T>
  static AttributeDescription Value(AttributeType type, const wchar_t* name, T Constants::*member,
                                    Mappings mappings) {
    static_assert(std::is_same_v<T, float> || std::is_same_v<T, std::int32_t> ||
                      std::is_same_v<T, std::uint32_t>,
                  "a constant has 32 bits");
    using Storage = AttributeDescription::Storage;
    AttributeDescription attribute;
    attribute.type = type;
    attribute.name = name;
    attribute.storage = std::is_same_v<T, float>          ? Storage::kFloat
                        : std::is_same_v<T, std::int32_t> ? Storage::kInt32
                                                          : Storage::kUInt32;
    attribute.offset = OffsetOf(member);
    attribute.to_constant = mappings.to_constant;
    attribute.from_constant = mappings.from_constant;
    return attribute;
  }

  template <std::size_t N>
  static AttributeDescription List(AttributeType type, const wchar_t* name,
                                   float (Constants::*member)[N]) {
    AttributeDescription attribute;
    attribute.type = type;
    attribute.name = name;
    attribute.storage = AttributeDescription::Storage::kFloat;
    attribute.offset = OffsetOf(member);
    attribute.count = N;
    return attribute;
  }

  static void SetRange(AttributeDescription& attribute, double min, double max, double def) {
    attribute.min = FormatNumber(min);
    attribute.max = FormatNumber(max);
    attribute.def = FormatNumber(def);
  }

  Describe&& Add(AttributeDescription attribute) {
    description_.Add(std::move(attribute));
    return std::move(*this);
  }

  EffectDescription description_;
};

}  // namespace Vantra
