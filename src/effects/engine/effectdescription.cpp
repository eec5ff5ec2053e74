#include <vantrix/device/comparestring.h>
#include <vantrix/effects/engine/effect.h>
#include <vantrix/effects/engine/effectdescription.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#include "effects/engine/attributevalue.h"

namespace Vantra {
namespace {

using Storage = AttributeDescription::Storage;

const char* TypeWord(AttributeType type) {
  switch (type) {
    case AttributeType::kFloat:
      return "float";
    case AttributeType::kInt:
      return "int";
    case AttributeType::kBool:
      return "bool";
    case AttributeType::kPosition:
      return "position";
    case AttributeType::kTexture:
      return "Texture";
    case AttributeType::kColor:
      return "color";
  }
  return "float";
}

// The names and texts of descriptions are ASCII.
std::string Narrow(std::wstring_view text) { return std::string(text.begin(), text.end()); }
std::wstring Widen(std::string_view text) { return std::wstring(text.begin(), text.end()); }

std::string DescribeAttribute(const AttributeDescription& attribute) {
  std::string xml =
      " <attribute name='" + Narrow(attribute.name) + "' type='" + TypeWord(attribute.type) + "'>";
  const auto bound = [&xml](const char* element, const std::string& value) {
    if (!value.empty()) xml += std::string(" <") + element + " value='" + value + "'/>";
  };
  bound("min", attribute.min);
  bound("max", attribute.max);
  bound("def", attribute.def);
  bound("step", attribute.step);
  return xml + " </attribute>";
}

template <class T>
void Store(const AttributeDescription& attribute, void* constants, const T* values,
           std::size_t count) {
  std::memcpy(static_cast<std::byte*>(constants) + attribute.offset, values, count * sizeof(T));
}

template <class T>
T Load(const AttributeDescription& attribute, const void* constants, std::size_t index = 0) {
  T value;
  std::memcpy(&value,
              static_cast<const std::byte*>(constants) + attribute.offset + index * sizeof(T),
              sizeof(value));
  return value;
}

void StoreNumber(const AttributeDescription& attribute, float value, void* constants) {
  if (attribute.to_constant) value = attribute.to_constant(value);
  switch (attribute.storage) {
    case Storage::kFloat:
      return Store(attribute, constants, &value, 1);
    case Storage::kInt32: {
      const auto whole = WholePart<std::int32_t>(value);
      return Store(attribute, constants, &whole, 1);
    }
    case Storage::kUInt32: {
      const auto whole = WholePart<std::uint32_t>(value);
      return Store(attribute, constants, &whole, 1);
    }
    case Storage::kNone:
      return;
  }
}

template <class Integer>
void StoreWhole(const AttributeDescription& attribute, Integer value, void* constants) {
  if (attribute.storage == Storage::kFloat || attribute.to_constant) {
    StoreNumber(attribute, static_cast<float>(value), constants);
  } else {
    Store(attribute, constants, &value, 1);
  }
}

void SetNumberText(const AttributeDescription& attribute, const std::wstring& text,
                   void* constants) {
  switch (attribute.parse) {
    case AttributeDescription::Parse::kFloat:
      return StoreNumber(attribute, ParseFloat(text), constants);
    case AttributeDescription::Parse::kInteger:
      return StoreWhole(attribute, ParseInteger(text), constants);
    case AttributeDescription::Parse::kUnsigned:
      return StoreWhole(attribute, ParseUnsigned(text), constants);
  }
}

float LoadFloat(const AttributeDescription& attribute, const void* constants) {
  float value = 0;
  switch (attribute.storage) {
    case Storage::kFloat:
      value = Load<float>(attribute, constants);
      break;
    case Storage::kInt32:
      value = static_cast<float>(Load<std::int32_t>(attribute, constants));
      break;
    case Storage::kUInt32:
      value = static_cast<float>(Load<std::uint32_t>(attribute, constants));
      break;
    case Storage::kNone:
      break;
  }
  return attribute.from_constant ? attribute.from_constant(value) : value;
}

std::wstring FormatWhole(const AttributeDescription& attribute, const void* constants) {
  if (!attribute.from_constant) {
    if (attribute.storage == Storage::kInt32) {
      return std::to_wstring(Load<std::int32_t>(attribute, constants));
    }
    if (attribute.storage == Storage::kUInt32) {
      return std::to_wstring(Load<std::uint32_t>(attribute, constants));
    }
  }
  return FormatRounded(LoadFloat(attribute, constants));
}

std::wstring FormatList(const AttributeDescription& attribute, const void* constants) {
  std::wstring text;
  for (std::size_t i = 0; i < attribute.count; ++i) {
    if (i > 0) text += L',';
    text += FormatGeneral(Load<float>(attribute, constants, i));
  }
  return text;
}

bool IsListSeparator(wchar_t c) { return c == L',' || c == L';' || c == L':'; }

bool IsSpace(wchar_t c) {
  return std::wstring_view(L" \t\n\v\f\r").find(c) != std::wstring_view::npos;
}

}  // namespace

void EffectDescription::Add(AttributeDescription attribute) {
  attributes_.push_back(std::move(attribute));
  xml_ = "<?xml version='1.0'?> <attributes>";
  for (const AttributeDescription& each : attributes_) xml_ += DescribeAttribute(each);
  xml_ += " </attributes>";
}

std::wstring EffectDescription::GetRegistrationXml() const {
  std::string xml = "<?xml version='1.0'?> <Effect> <!-- System Properties -->";
  const auto property = [&xml](std::string_view name, std::string_view value) {
    xml += std::string(" <Property name='").append(name) + "' type='string' value='";
    xml.append(value) += "'/>";
  };
  property("DisplayName", identity_.display_name);
  property("Author", "Vantrix");
  property("Category", identity_.category);
  property("Description", identity_.description);
  xml += " <Inputs>";
  for (const std::string_view input : identity_.inputs) {
    xml += std::string(" <Input name='").append(input) + "'/>";
  }
  return Widen(xml + " </Inputs> </Effect>");
}

const AttributeDescription* EffectDescription::Find(const wchar_t* name) const {
  for (const AttributeDescription& attribute : attributes_) {
    if (Effect::IsAttribute(name, attribute.name.c_str())) return &attribute;
  }
  return nullptr;
}

void SetAttributeText(const AttributeDescription& attribute, const std::wstring& text,
                      void* constants) {
  switch (attribute.type) {
    case AttributeType::kFloat:
    case AttributeType::kInt:
      return SetNumberText(attribute, text, constants);
    case AttributeType::kBool:
      return StoreNumber(attribute, text == L"false" ? 0.0f : 1.0f, constants);
    case AttributeType::kPosition:
    case AttributeType::kColor: {
      std::array<float, 4> values{};
      const std::size_t count = ParseFloatList(text, values.data(), attribute.count);
      return Store(attribute, constants, values.data(), count);
    }
    case AttributeType::kTexture:
      return;
  }
}

void SetAttributeNumber(const AttributeDescription& attribute, float value, void* constants) {
  switch (attribute.type) {
    case AttributeType::kFloat:
    case AttributeType::kInt:
      return StoreNumber(attribute, value, constants);
    case AttributeType::kBool:
      return StoreNumber(attribute, value != 0.0f ? 1.0f : 0.0f, constants);
    case AttributeType::kPosition:
    case AttributeType::kColor:
    case AttributeType::kTexture:
      return;
  }
}

void GetAttributeText(const AttributeDescription& attribute, const void* constants,
                      std::wstring* text) {
  switch (attribute.type) {
    case AttributeType::kFloat:
      *text = FormatFixed(LoadFloat(attribute, constants));
      return;
    case AttributeType::kInt:
      *text = FormatWhole(attribute, constants);
      return;
    case AttributeType::kBool:
      *text = LoadFloat(attribute, constants) != 0.0f ? L"true" : L"false";
      return;
    case AttributeType::kPosition:
    case AttributeType::kColor:
      *text = FormatList(attribute, constants);
      return;
    case AttributeType::kTexture:
      return;
  }
}

std::size_t ParseFloatList(const std::wstring& text, float* values, std::size_t capacity) {
  std::vector<float> read;
  auto start = text.begin();
  while (read.size() < capacity) {
    const auto end =
        std::find_if(start, text.end(), [](wchar_t c) { return IsListSeparator(c) || IsSpace(c); });
    if (start == end) break;
    read.push_back(ParseFloat(std::wstring(start, end)));
    if (end == text.end()) break;
    // White space separates as a run, the other separators one by one.
    start = IsSpace(*end) ? std::find_if_not(end, text.end(), IsSpace) : end + 1;
  }
  std::copy(read.begin(), read.end(), values);
  return read.size();
}

std::string FormatNumber(double number) {
  char buffer[64];
  const auto result =
      std::to_chars(buffer, buffer + sizeof(buffer), number, std::chars_format::fixed);
  return std::string(buffer, result.ptr);
}

}  // namespace Vantra
