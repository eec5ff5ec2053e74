#pragma once

#include <vantrix/vantrix.h>

#include <memory>
#include <string>

namespace Vantrix::Command {

enum class Output { kText, kJson, kXml };

// Makes an effect from its name, with or without "CLSID_". Throws `CommandError` for an unknown
// one.
std::unique_ptr<Vantra::Effect> MakeEffect(Vantra::EffectFactory& factory, const std::string& name);

// `vantrix effects`: every effect with its display name and category.
void ListEffects(Output output);

// `vantrix describe`: an effect's attributes with types, ranges, steps and defaults.
void DescribeEffect(const std::string& name, Output output);

}  // namespace Vantrix::Command
