#include "cli/info_command.h"

#include <vantrix/vantrix.h>

#include <algorithm>
#include <fmt/format.h>

#include "cli/command_error.h"
#include "cli/engines_command.h"
#include "cli/picture_file.h"
#include "cli/picture_info.h"

namespace Vantrix::Command {
namespace {

std::string DescribeDelays(const std::vector<unsigned>& delays) {
  const auto [shortest, longest] = std::minmax_element(delays.begin(), delays.end());
  if (*shortest == *longest) return fmt::format("{} ms each", *shortest);
  return fmt::format("{} to {} ms each", *shortest, *longest);
}

std::string DescribePlays(unsigned plays) {
  if (plays == 0) return "shown without end";
  return plays == 1 ? "shown once" : fmt::format("shown {} times", plays);
}

std::string ToText(const std::string& file, const PictureInfo& info) {
  std::string text = fmt::format("{}\t{}\t{}x{}\t{} frame{}", file, info.format, info.width,
                                 info.height, info.frames, info.frames == 1 ? "" : "s");
  if (info.frames > 1 && !info.delays.empty()) {
    text += fmt::format("\t{}\t{}", DescribeDelays(info.delays), DescribePlays(info.plays));
  }
  return text;
}

std::string ToJson(const std::string& file, const PictureInfo& info) {
  std::string json =
      fmt::format(R"({{"file": {}, "format": "{}", "width": {}, "height": {}, "frames": {})",
                  Quote(file), info.format, info.width, info.height, info.frames);
  if (!info.delays.empty()) {
    json +=
        fmt::format(R"(, "delays": [{}], "plays": {})", fmt::join(info.delays, ", "), info.plays);
  }
  return json + "}";
}

}  // namespace

bool PrintInfo(const std::vector<std::string>& files, Output output) {
  // Nothing is drawn, and no other engine starts sooner. A build without it takes what there is.
  Vantra::Platform::SelectEngine(Vantra::Platform::EngineKind::kCpu, 0);
  Vantra::Device device;
  StartDevice(device);
  std::vector<std::string> lines;
  for (const std::string& file : files) {
    try {
      const PictureInfo info = ReadPictureInfo(OpenPicture(device, file), file);
      lines.push_back(output == Output::kJson ? ToJson(file, info) : ToText(file, info));
    } catch (const CommandError& error) {
      PrintError(error.what());
    }
  }
  PrintLines(lines, output);
  return lines.size() == files.size();
}

}  // namespace Vantrix::Command
