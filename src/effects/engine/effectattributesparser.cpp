#include <vantrix/device/comparestring.h>
#include <vantrix/effects/engine/effectattributesparser.h>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <tinyxml2.h>

#include "platform/com/utf8.h"

namespace Vantra {
namespace {

using Type = EffectAttributesParser::Type;

// Case is that of ASCII alone, as the words are.
bool Matches(std::string_view text, std::string_view word) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return std::equal(text.begin(), text.end(), word.begin(), word.end(),
                    [lower](char a, char b) { return lower(a) == b; });
}

std::wstring Decode(const char* text) {
  std::optional<std::wstring> wide = Platform::FromUtf8(text ? text : "");
  if (!wide) throw std::range_error("bad conversion");
  return *std::move(wide);
}

Type ParseType(const char* text) {
  static constexpr struct {
    const char* word;
    Type type;
  } kWords[] = {
      {"float", Type::Float},       {"int", Type::Int},     {"bool", Type::Bool},
      {"position", Type::Position}, {"color", Type::Color}, {"texture", Type::Texture},
  };
  for (const auto& each : kWords) {
    if (Matches(text, each.word)) return each.type;
  }
  return Type::Float;
}

}  // namespace

EffectAttributesParser::EffectAttributesParser() = default;
EffectAttributesParser::~EffectAttributesParser() = default;

void EffectAttributesParser::Parse(const std::string& xml) {
  if (xml.empty()) return;
  tinyxml2::XMLDocument document;
  document.Parse(xml.c_str(), xml.size());
  tinyxml2::XMLElement* root = document.FirstChildElement("attributes");
  if (!root) return;
  for (auto* element = root->FirstChildElement(); element;
       element = element->NextSiblingElement()) {
    if (!Matches(element->Name(), "attribute")) continue;
    auto record = std::make_unique<Attribute>();
    for (const auto* key = element->FirstAttribute(); key; key = key->Next()) {
      if (Matches(key->Name(), "name")) record->attribute.name = Decode(key->Value());
      if (Matches(key->Name(), "type")) record->type = ParseType(key->Value());
    }
    if (record->attribute.name.empty()) continue;
    ParseAttributes(record, element);
    attributes_.push_back(std::move(record));
  }
}

void EffectAttributesParser::ParseAttributes(std::unique_ptr<Attribute>& attribute, void* element) {
  static constexpr struct {
    const char* word;
    std::unique_ptr<Effect::Attribute> Attribute::*bound;
  } kBounds[] = {
      {"min", &Attribute::min},
      {"max", &Attribute::max},
      {"def", &Attribute::def},
      {"step", &Attribute::step},
  };
  const auto* parent = static_cast<const tinyxml2::XMLElement*>(element);
  for (const auto* child = parent->FirstChildElement(); child;
       child = child->NextSiblingElement()) {
    for (const auto& each : kBounds) {
      if (!Matches(child->Name(), each.word)) continue;
      auto bound = std::make_unique<Effect::Attribute>();
      for (const auto* key = child->FirstAttribute(); key; key = key->Next()) {
        if (Matches(key->Name(), "value")) bound->value = Decode(key->Value());
      }
      (*attribute).*(each.bound) = std::move(bound);
      break;
    }
  }
}

const EffectAttributesParser::Attribute* EffectAttributesParser::GetAttribute(
    const std::wstring& name) const {
  for (const auto& attribute : attributes_) {
    const std::wstring& own = attribute->attribute.name;
    if (own.size() == name.size() && CompareStringNoCase(own.c_str(), name.c_str())) {
      return attribute.get();
    }
  }
  return nullptr;
}

}  // namespace Vantra
