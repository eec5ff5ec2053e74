#pragma once

/// Where the library's few log messages go.

#include <vantrix/export.h>

#include <functional>
#include <string>

namespace sundrix {

/// Severities of a message. The library logs at `error` only.
enum log_severity_level : int { trace = 0, debug = 1, info = 2, warning = 3, error = 4, fatal = 5 };

/// The one logger of the process. It is not guarded against use from several threads.
class VANTRIX_API Logger {
 public:
  using Sink = std::function<void(log_severity_level level, const std::string& message,
                                  const char* function, const char* file, int line)>;

  static Logger& GetInstance();

  /// Hands a message to the sink.
  void operator()(log_severity_level level, const std::string& message, const char* function,
                  const char* file, int line);

  /// Replaces the sink and returns the former one. An empty sink restores the first one, which
  /// writes one line per message to the standard error stream.
  Sink SetSink(Sink sink);

 private:
  Logger();

  Sink sink_;
};

}  // namespace sundrix
