#include <vantrix/sundrix/logger.h>

#include <cstdio>
#include <utility>

namespace sundrix {
namespace {

void WriteToStandardError(log_severity_level level, const std::string& message,
                          const char* function, const char* file, int line) {
  std::fprintf(stderr, "vantrix: [%d] %s (%s, %s:%d)\n", static_cast<int>(level), message.c_str(),
               function, file, line);
}

}  // namespace

Logger::Logger() : sink_(WriteToStandardError) {}

Logger& Logger::GetInstance() {
  static Logger logger;
  return logger;
}

void Logger::operator()(log_severity_level level, const std::string& message, const char* function,
                        const char* file, int line) {
  // The sink may replace itself.
  const Sink sink = sink_;
  sink(level, message, function, file, line);
}

Logger::Sink Logger::SetSink(Sink sink) {
  return std::exchange(sink_, sink ? std::move(sink) : Sink(WriteToStandardError));
}

}  // namespace sundrix
