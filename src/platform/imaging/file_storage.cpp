#include "platform/imaging/file_storage.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/com/guard.h"
#include "platform/com/utf8.h"
#include "platform/imaging/errno_result.h"
#include "platform/imaging/replacement_file.h"

namespace Vantra::Platform {
namespace {

bool IsOffset(UINT64 position) {
  return position <= static_cast<UINT64>(std::numeric_limits<off_t>::max());
}

// Owns a descriptor.
class FileStorage : public Storage {
 public:
  ~FileStorage() override {
    if (file_ >= 0) close(file_);
  }

  HRESULT GetSize(UINT64* size) override {
    struct stat status;
    if (fstat(file_, &status) != 0) return ResultFromErrno(errno);
    *size = static_cast<UINT64>(status.st_size);
    return S_OK;
  }

 protected:
  int file_ = -1;
};

class ReadFileStorage final : public FileStorage {
 public:
  HRESULT Open(const std::string& name) {
    // Without blocking, since to open a pipe would else wait for its writer.
    file_ = open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status;
    if (file_ < 0 || fstat(file_, &status) != 0) return ResultFromErrno(errno);
    return S_ISREG(status.st_mode) ? S_OK : HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
  }

  HRESULT ReadAt(UINT64 position, BYTE* buffer, ULONG size, ULONG* read) override {
    while (*read < size) {
      const UINT64 from = position + *read;
      if (!IsOffset(from)) return S_OK;
      const ssize_t count = pread(file_, buffer + *read, size - *read, static_cast<off_t>(from));
      if (count == 0) return S_OK;
      if (count > 0) {
        *read += static_cast<ULONG>(count);
      } else if (errno != EINTR) {
        return ResultFromErrno(errno);
      }
    }
    return S_OK;
  }
};

class WriteFileStorage final : public FileStorage {
 public:
  HRESULT Open(std::string name) { return replacement_.Open(std::move(name), &file_); }

  HRESULT WriteAt(UINT64 position, const BYTE* bytes, ULONG size, ULONG* written) override {
    while (*written < size) {
      const UINT64 to = position + *written;
      if (!IsOffset(to)) return ResultFromErrno(EFBIG);
      ssize_t count = pwrite(file_, bytes + *written, size - *written, static_cast<off_t>(to));
      // A pipe has no positions.
      if (count < 0 && errno == ESPIPE) count = write(file_, bytes + *written, size - *written);
      if (count >= 0) {
        *written += static_cast<ULONG>(count);
      } else if (errno != EINTR) {
        return ResultFromErrno(errno);
      }
    }
    return S_OK;
  }

  HRESULT Commit() override { return replacement_.Commit(); }

 private:
  ReplacementFile replacement_;
};

// A name in UTF-8, and the same with separators of this platform.
struct Names {
  std::string as_given;
  std::string translated;
};

Names Translate(std::wstring_view name) {
  constexpr std::wstring_view kLongPathPrefix = L"\\\\?\\";
  if (name.starts_with(kLongPathPrefix)) name.remove_prefix(kLongPathPrefix.size());
  Names names{ToUtf8(name), {}};
  names.translated = names.as_given;
  std::replace(names.translated.begin(), names.translated.end(), '\\', '/');
  return names;
}

}  // namespace

HRESULT OpenFileForReading(std::wstring_view name, std::unique_ptr<Storage>* storage) {
  return GuardMemory([&] {
    // A back-slash is an ordinary character here, so the name comes first as it stands.
    const Names names = Translate(name);
    auto file = std::make_unique<ReadFileStorage>();
    HRESULT result = file->Open(names.as_given);
    if (result == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) && names.translated != names.as_given) {
      result = file->Open(names.translated);
    }
    if (SUCCEEDED(result)) *storage = std::move(file);
    return result;
  });
}

HRESULT OpenFileForWriting(std::wstring_view name, std::unique_ptr<Storage>* storage) {
  return GuardMemory([&] {
    const Names names = Translate(name);
    auto file = std::make_unique<WriteFileStorage>();
    const bool there = access(names.as_given.c_str(), F_OK) == 0;
    const HRESULT result = file->Open(there ? names.as_given : names.translated);
    if (SUCCEEDED(result)) *storage = std::move(file);
    return result;
  });
}

}  // namespace Vantra::Platform
