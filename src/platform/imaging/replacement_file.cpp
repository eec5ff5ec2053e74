#include "platform/imaging/replacement_file.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/com/guard.h"
#include "platform/imaging/errno_result.h"

namespace Vantra::Platform {
namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;
using Writer = std::function<HRESULT(std::FILE*)>;

// Writes to an open file and closes it.
HRESULT WriteTo(File file, const Writer& write) {
  const HRESULT result = write(file.get());
  if (FAILED(result)) return result;
  // The last bytes may fail as late as here.
  return std::fclose(file.release()) == 0 ? S_OK : ResultFromErrno(errno);
}

HRESULT Replace(std::string name, const Writer& write) {
  ReplacementFile replacement;
  int descriptor = -1;
  HRESULT result = replacement.Open(std::move(name), &descriptor);
  if (FAILED(result)) return result;
  File file(fdopen(descriptor, "wb"));
  if (file == nullptr) {
    result = ResultFromErrno(errno);
    close(descriptor);
    return result;
  }
  result = WriteTo(std::move(file), write);
  return FAILED(result) ? result : replacement.Commit();
}

}  // namespace

ReplacementFile::~ReplacementFile() {
  if (!written_.empty()) unlink(written_.c_str());
}

HRESULT ReplacementFile::Open(std::string name, int* descriptor) {
  constexpr mode_t kNewFileMode = 0666;
  mode_t mode = kNewFileMode;
  struct stat status;
  if (stat(name.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) return HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
    if (!S_ISREG(status.st_mode)) {
      // A device or a pipe is written to, not replaced.
      *descriptor = open(name.c_str(), O_WRONLY | O_CLOEXEC);
      return *descriptor < 0 ? ResultFromErrno(errno) : S_OK;
    }
    if (access(name.c_str(), W_OK) != 0) return ResultFromErrno(errno);
    mode = status.st_mode & 0777;
    // A link stays one; the file that it leads to is replaced.
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(name.c_str(), nullptr),
                                                           &std::free);
    if (real == nullptr) return ResultFromErrno(errno);
    name = real.get();
  }
  // In the folder of the name, since a file can only be renamed within its file system.
  static std::atomic<unsigned> counter{0};
  const std::string start =
      name.substr(0, name.rfind('/') + 1) + ".vantrix-" + std::to_string(getpid()) + "-";
  std::string written;
  do {
    written = start + std::to_string(counter++) + ".tmp";
    *descriptor = open(written.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
  } while (*descriptor < 0 && errno == EEXIST);
  if (*descriptor < 0) return ResultFromErrno(errno);
  name_ = std::move(name);
  written_ = std::move(written);
  return S_OK;
}

HRESULT ReplacementFile::Commit() {
  if (written_.empty()) return S_OK;
  if (rename(written_.c_str(), name_.c_str()) != 0) return ResultFromErrno(errno);
  written_.clear();
  return S_OK;
}

HRESULT ReplaceFile(std::string name, const std::function<HRESULT(std::FILE*)>& write) {
  return GuardMemory([&] { return Replace(std::move(name), write); });
}

}  // namespace Vantra::Platform
