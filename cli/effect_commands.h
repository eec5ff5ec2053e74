#pragma once

#include <vantrix/vantrix.h>

#include <memory>
#include <string>
#include <vector>

#include "cli/text.h"

namespace Vantrix::Command {

// Makes an effect from its name, with or without "CLSID_". Throws `CommandError` for an unknown
// one.
std::unique_ptr<Vantra::Effect> MakeEffect(Vantra::EffectFactory& factory, const std::string& name);

// What can be set on an effect.
struct Attributes {
  // Of an effect that was made from `name`.
  Attributes(const Vantra::Effect& effect, const std::string& name);

  // Of `numbers`, or null. Case ignored.
  const Vantra::NumberDescription* FindNumber(const std::string& name) const;
  // The described ones first.
  std::vector<std::string> Names() const;

  Vantra::EffectAttributesParser described;
  // What the effect takes by number only; nothing of it is described.
  std::vector<Vantra::NumberDescription> numbers;
};

// Whether not every finite number is in its range.
bool HasRange(const Vantra::NumberDescription& number);

// The word for an attribute's type, as in "float".
const char* TypeWord(Vantra::EffectAttributesParser::Type type);

// `vantrix effects`: every effect with its display name and category.
void ListEffects(Output output);

// `vantrix describe`: an effect's attributes with types, ranges, steps and defaults.
void DescribeEffect(const std::string& name, Output output);

}  // namespace Vantrix::Command
