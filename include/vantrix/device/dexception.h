#pragma once

/// Failure reports of the library.

#include <vantrix/export.h>

#include <exception>
#include <string>

namespace Vantra {

/// Thrown by set-up, by picture loading and saving, and by the frame converter. Nothing inside the
/// library catches it.
class VANTRIX_API DException : public std::exception {
 public:
  /// Codes of `GetError`.
  enum Code : int {
    kDevice = 1,     ///< A device, a factory, a render target or the 2D context cannot be made.
    kTexture = 2,    ///< A texture of the render target or the frame converter cannot be made.
    kDecode = 1000,  ///< A picture cannot be decoded.
    kSave = 1004,    ///< A picture cannot be saved.
  };

  DException(std::string text, int error);
  ~DException() override;

  /// The report: file, function, line and error code on a line each, then the message. At most 511
  /// bytes.
  const char* what() const noexcept override;
  int GetError() const noexcept { return error_; }

 private:
  std::string text_;
  int error_;
};

/// Throws a `DException` whose text ends with `format` and its arguments, as for `printf`, and
/// writes the text to the standard error stream together with the C library's present error.
/// A text that does not fit is cut.
[[noreturn]] VANTRIX_API void ThrowDException(const char* file, const char* function, int line,
                                              int error, const char* format, ...)
    __attribute__((format(printf, 5, 6)));
/// Throws a `DException` without a message, and writes nothing.
[[noreturn]] VANTRIX_API void ThrowDException(const char* file, const char* function, int line,
                                              int error);

}  // namespace Vantra
