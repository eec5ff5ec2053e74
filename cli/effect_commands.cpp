#include "cli/effect_commands.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <strings.h>

#include "cli/command_error.h"
#include "cli/text.h"

namespace Vantrix::Command {
namespace {

using Parser = Vantra::EffectAttributesParser;

template <class Print>
void ForEachBound(const Parser::Attribute& attribute, Print print) {
  const auto each = [&print](const char* key, const auto& bound) {
    if (bound) print(key, Narrow(bound->value));
  };
  each("min", attribute.min);
  each("max", attribute.max);
  each("step", attribute.step);
  each("default", attribute.def);
}

std::string ToJson(const Parser::Attribute& attribute) {
  std::string json = fmt::format("{{\"name\": {}, \"type\": \"{}\"",
                                 Quote(Narrow(attribute.attribute.name)), TypeWord(attribute.type));
  ForEachBound(attribute, [&json](const char* key, const std::string& value) {
    json += fmt::format(", \"{}\": {}", key, Quote(value));
  });
  return json + "}";
}

std::string ToText(const Parser::Attribute& attribute) {
  std::string text =
      fmt::format("{}\t{}", Narrow(attribute.attribute.name), TypeWord(attribute.type));
  ForEachBound(attribute, [&text](const char* key, const std::string& value) {
    text += fmt::format("\t{} {}", key, value);
  });
  return text;
}

std::string ToJson(const Vantra::NumberDescription& number) {
  std::string range;
  if (HasRange(number)) {
    range = fmt::format(", \"min\": \"{}\", \"max\": \"{}\"", number.min, number.max);
  }
  return fmt::format("{{\"name\": {}, \"type\": \"float\"{}, \"byNumber\": true}}",
                     Quote(Narrow(number.name)), range);
}

std::string ToText(const Vantra::NumberDescription& number) {
  return fmt::format(
      "{}\tfloat{}\tby number", Narrow(number.name),
      HasRange(number) ? fmt::format("\tmin {}\tmax {}", number.min, number.max) : std::string());
}

}  // namespace

std::unique_ptr<Vantra::Effect> MakeEffect(Vantra::EffectFactory& factory,
                                           const std::string& name) {
  const std::wstring wide = Widen(name);
  std::unique_ptr<Vantra::Effect> effect = factory.CreateEffectByID(wide);
  if (!effect) effect = factory.CreateEffectByID(L"CLSID_" + wide);
  if (!effect) {
    throw CommandError(
        kWrongUsage, fmt::format("there is no effect {}; `vantrix effects` lists them all", name));
  }
  return effect;
}

Attributes::Attributes(const Vantra::Effect& effect, const std::string& name) {
  described.Parse(effect.GetXmlAttributes());
  const auto all = Vantra::EffectFactory::ListEffects();
  auto listing = std::find_if(all.begin(), all.end(), [&name](const auto& each) {
    const std::string whole = Narrow(each.name);
    return strcasecmp(whole.c_str(), name.c_str()) == 0 ||
           strcasecmp(whole.c_str(), ("CLSID_" + name).c_str()) == 0;
  });
  // A filter that was made by the name of a look is listed under its own.
  if (listing == all.end()) {
    listing = std::find_if(all.begin(), all.end(),
                           [&effect](const auto& each) { return each.id == effect.GetEffectID(); });
  }
  if (listing == all.end()) return;
  for (const Vantra::NumberDescription& number : listing->numbers) {
    if (!described.GetAttribute(number.name)) numbers.push_back(number);
  }
}

const Vantra::NumberDescription* Attributes::FindNumber(const std::string& name) const {
  const auto found = std::find_if(numbers.begin(), numbers.end(), [&name](const auto& number) {
    return strcasecmp(Narrow(number.name).c_str(), name.c_str()) == 0;
  });
  return found == numbers.end() ? nullptr : &*found;
}

std::vector<std::string> Attributes::Names() const {
  std::vector<std::string> names;
  for (const auto& each : described.GetAttributes()) names.push_back(Narrow(each->attribute.name));
  for (const auto& number : numbers) names.push_back(Narrow(number.name));
  return names;
}

bool HasRange(const Vantra::NumberDescription& number) {
  return std::isfinite(number.min) && std::isfinite(number.max);
}

const char* TypeWord(Parser::Type type) {
  switch (type) {
    case Parser::Type::Float:
      return "float";
    case Parser::Type::Int:
      return "int";
    case Parser::Type::Bool:
      return "bool";
    case Parser::Type::Position:
      return "position";
    case Parser::Type::Texture:
      return "texture";
    case Parser::Type::Color:
      return "color";
  }
  return "float";
}

void ListEffects(Output output) {
  std::vector<std::string> lines;
  for (const auto& effect : Vantra::EffectFactory::ListEffects()) {
    const std::string name = Narrow(effect.name);
    const std::string display_name = Narrow(effect.display_name);
    const std::string category = Narrow(effect.category);
    std::vector<std::string> numbers;
    for (const auto& number : effect.numbers) numbers.push_back(Quote(Narrow(number.name)));
    lines.push_back(output == Output::kJson
                        ? fmt::format("{{\"name\": {}, \"displayName\": {}, \"category\": {}, "
                                      "\"description\": {}, \"numbers\": [{}]}}",
                                      Quote(name), Quote(display_name), Quote(category),
                                      Quote(Narrow(effect.description)), fmt::join(numbers, ", "))
                        : fmt::format("{}\t{}\t{}", name, display_name, category));
  }
  PrintLines(lines, output);
}

void DescribeEffect(const std::string& name, Output output) {
  Vantra::EffectFactory factory;
  const std::unique_ptr<Vantra::Effect> effect = MakeEffect(factory, name);
  if (output == Output::kXml) {
    fmt::print("{}\n", effect->GetXmlAttributes());
    return;
  }
  const Attributes attributes(*effect, name);
  std::vector<std::string> lines;
  for (const auto& attribute : attributes.described.GetAttributes()) {
    lines.push_back(output == Output::kJson ? ToJson(*attribute) : ToText(*attribute));
  }
  for (const Vantra::NumberDescription& number : attributes.numbers) {
    lines.push_back(output == Output::kJson ? ToJson(number) : ToText(number));
  }
  PrintLines(lines, output);
}

}  // namespace Vantrix::Command
