#pragma once

#include <vantrix/device/device.h>

#include <string>

namespace Vantrix::Command {

// `vantrix engines`: one line for each engine, in the form that `--engine` takes.
void ListEngines();

// Selects the engine that an `--engine` text names. Throws `CommandError` for one that is not
// there.
void SelectEngine(const std::string& text);

// Starts a device on the selected engine. Throws `CommandError` when that fails.
void StartDevice(Vantra::Device& device);

}  // namespace Vantrix::Command
