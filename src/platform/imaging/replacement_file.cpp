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

// A new file that takes a name when it is complete, and is removed if it does not come to that.
class NewFile {
 public:
  ~NewFile() {
    if (!name_.empty()) unlink(name_.c_str());
  }
  NewFile() = default;
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  // Makes the file in the folder of `neighbour`, since a file can only be renamed within its file
  // system.
  HRESULT Create(const std::string& neighbour, mode_t mode, File* file) {
    static std::atomic<unsigned> counter{0};
    const std::string start = neighbour.substr(0, neighbour.rfind('/') + 1) + ".vantrix-" +
                              std::to_string(getpid()) + "-";
    int descriptor = -1;
    do {
      name_ = start + std::to_string(counter++) + ".tmp";
      descriptor = open(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    } while (descriptor < 0 && errno == EEXIST);
    if (descriptor >= 0) file->reset(fdopen(descriptor, "wb"));
    if (*file != nullptr) return S_OK;
    const int error = errno;
    if (descriptor >= 0) {
      close(descriptor);
    } else {
      name_.clear();
    }
    return ResultFromErrno(error);
  }

  HRESULT Rename(const std::string& name) {
    if (rename(name_.c_str(), name.c_str()) != 0) return ResultFromErrno(errno);
    name_.clear();
    return S_OK;
  }

 private:
  std::string name_;
};

HRESULT Replace(std::string name, const Writer& write) {
  constexpr mode_t kNewFileMode = 0666;
  mode_t mode = kNewFileMode;
  struct stat status;
  if (stat(name.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) return HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
    if (!S_ISREG(status.st_mode)) {
      // A device or a pipe is written to, not replaced.
      File file(std::fopen(name.c_str(), "wbe"));
      return file == nullptr ? ResultFromErrno(errno) : WriteTo(std::move(file), write);
    }
    if (access(name.c_str(), W_OK) != 0) return ResultFromErrno(errno);
    mode = status.st_mode & 0777;
    // A link stays one; the file that it leads to is replaced.
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(name.c_str(), nullptr),
                                                           &std::free);
    if (real == nullptr) return ResultFromErrno(errno);
    name = real.get();
  }
  NewFile made;
  File file;
  HRESULT result = made.Create(name, mode, &file);
  if (FAILED(result)) return result;
  result = WriteTo(std::move(file), write);
  return FAILED(result) ? result : made.Rename(name);
}

}  // namespace

HRESULT ReplaceFile(std::string name, const std::function<HRESULT(std::FILE*)>& write) {
  return GuardMemory([&] { return Replace(std::move(name), write); });
}

}  // namespace Vantra::Platform
