#pragma once

#include <stdexcept>
#include <string>

namespace Vantrix::Command {

// Exit codes of the command.
enum ExitCode : int { kDone = 0, kFailed = 1, kWrongUsage = 2 };

// Ends the command with one line on the standard error stream.
class CommandError : public std::runtime_error {
 public:
  CommandError(ExitCode code, const std::string& message)
      : std::runtime_error(message), code_(code) {}
  ExitCode Code() const { return code_; }

 private:
  ExitCode code_;
};

}  // namespace Vantrix::Command
