#include <CLI/CLI.hpp>
#include <exception>
#include <fmt/format.h>
#include <new>

#include "cli/apply_command.h"
#include "cli/command_error.h"
#include "cli/engines_command.h"

namespace {

using namespace Vantrix::Command;

int Run(int argc, char** argv) {
  CLI::App app{"Renders image effects off screen.", "vantrix"};
  app.require_subcommand(1);

  std::string engine = "auto";
  ApplyOptions options;
  CLI::App* apply = app.add_subcommand("apply", "Run a picture through an effect");
  apply->add_option("INPUT", options.input, "PNG or JPEG file")->required();
  apply
      ->add_option("OUTPUT", options.output,
                   "PNG file, or raw premultiplied BGRA rows when the name ends in .bgra")
      ->required();
  apply->add_option("-e,--effect", options.effect, "Effect name; CLSID_ may be left out")
      ->required();
  apply->add_option("-s,--set", options.settings, "Attribute of the effect, as Name=Value")
      ->expected(1)
      ->take_all();
  apply->add_option("--engine", engine, "auto, vulkan or vulkan:N")->capture_default_str();

  CLI::App* engines = app.add_subcommand("engines", "List the devices to render on");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) return app.exit(error);
    fmt::print(stderr, "vantrix: {} (see --help)\n", error.what());
    return kWrongUsage;
  }
  if (engines->parsed()) {
    ListEngines();
  } else {
    SelectEngine(engine);
    Apply(options);
  }
  return kDone;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const CommandError& error) {
    fmt::print(stderr, "vantrix: {}\n", error.what());
    return error.Code();
  } catch (const std::bad_alloc&) {
    fmt::print(stderr, "vantrix: not enough memory\n");
  } catch (const std::exception& error) {
    fmt::print(stderr, "vantrix: {}\n", error.what());
  }
  return kFailed;
}
