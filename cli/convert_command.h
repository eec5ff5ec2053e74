#pragma once

#include <string>

namespace Vantrix::Command {

struct ConvertOptions {
  std::string input;
  std::string output;
  std::string format;
  std::string size;
};

// `vantrix convert`: turns one raw video frame into a picture. Throws `CommandError`.
void Convert(const ConvertOptions& options);

}  // namespace Vantrix::Command
