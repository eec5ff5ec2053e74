#include <vantrix/device/dexception.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

namespace Vantra {
namespace {

using Report = std::array<char, 512>;

void WriteHead(Report& report, const char* file, const char* function, int line, int error) {
  std::snprintf(report.data(), report.size(), "[file] %s\n[function] %s\n[line] %d\n[error] %d\n",
                file, function, line, error);
}

}  // namespace

DException::DException(std::string text, int error) : text_(std::move(text)), error_(error) {}

DException::~DException() = default;

const char* DException::what() const noexcept { return text_.c_str(); }

void ThrowDException(const char* file, const char* function, int line, int error,
                     const char* format, ...) {
  Report report{};
  WriteHead(report, file, function, line, error);
  const std::size_t used = std::strlen(report.data());
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(report.data() + used, report.size() - used, format, arguments);
  va_end(arguments);
  std::perror(report.data());
  throw DException(report.data(), error);
}

void ThrowDException(const char* file, const char* function, int line, int error) {
  Report report{};
  WriteHead(report, file, function, line, error);
  throw DException(report.data(), error);
}

}  // namespace Vantra
