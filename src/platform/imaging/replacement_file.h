#pragma once

/// Writing a file so that a failure loses nothing.

#include <vantrix/platform/com.h>

#include <cstdio>
#include <functional>
#include <string>

namespace Vantra::Platform {

/// A file that is written apart and takes its name when it is complete. One that is there under
/// that name stays as it was until then; its permissions are kept, a link stays a link, and a
/// device or a pipe is written to as it is.
class ReplacementFile {
 public:
  ReplacementFile() = default;
  ReplacementFile(const ReplacementFile&) = delete;
  ReplacementFile& operator=(const ReplacementFile&) = delete;
  /// Without `Commit`, removes what was written.
  ~ReplacementFile();

  /// Opens a file for writing under a UTF-8 name; called once. The descriptor is the caller's to
  /// close. May throw `std::bad_alloc`.
  HRESULT Open(std::string name, int* descriptor);
  /// Gives the file its name. Does nothing the second time.
  HRESULT Commit();

 private:
  std::string name_;
  /// Empty when there is nothing to rename.
  std::string written_;
};

/// Makes or replaces the file with a UTF-8 name by what `write` writes, as above. Returns what
/// `write` returned, or what opening, writing or renaming failed with.
HRESULT ReplaceFile(std::string name, const std::function<HRESULT(std::FILE*)>& write);

}  // namespace Vantra::Platform
