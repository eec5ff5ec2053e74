#pragma once

/// Reads an effect's attribute XML, so that a host can offer controls for an effect it knows
/// nothing about.

#include <vantrix/effects/engine/effect.h>
#include <vantrix/export.h>

#include <memory>
#include <string>
#include <vector>

namespace Vantra {

/// Collects attribute descriptions from the XML of `Effect::GetXmlAttributes`. Two parsers can work
/// on two threads.
class VANTRIX_API EffectAttributesParser {
 public:
  enum class Type : int { Float = 0, Int = 1, Bool = 2, Position = 3, Texture = 4, Color = 5 };

  /// One described attribute. The bounds are texts of the attribute's type, and null where the XML
  /// has none; they are information and are not enforced.
  class VANTRIX_API Attribute {
   public:
    Type type = Type::Float;
    /// The name; the value stays empty.
    Effect::Attribute attribute;
    /// In these four the name stays empty.
    std::unique_ptr<Effect::Attribute> min;
    std::unique_ptr<Effect::Attribute> max;
    std::unique_ptr<Effect::Attribute> step;
    std::unique_ptr<Effect::Attribute> def;
  };

  EffectAttributesParser();
  ~EffectAttributesParser();

  /// Appends the attributes of `xml` to the records. A text that is not such XML adds none. Throws
  /// `std::range_error` for a value that is not UTF-8.
  void Parse(const std::string& xml);

  /// The first attribute of that name, case ignored, or null; owned by the parser.
  const Attribute* GetAttribute(const std::wstring& name) const;
  /// All records, in document order.
  const std::vector<std::unique_ptr<Attribute>>& GetAttributes() const { return attributes_; }

 private:
  /// Reads the children of an `attribute` element.
  void ParseAttributes(std::unique_ptr<Attribute>& attribute, void* element);

  std::vector<std::unique_ptr<Attribute>> attributes_;
};

}  // namespace Vantra
