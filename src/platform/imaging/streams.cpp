#include "platform/imaging/streams.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/imaging/errno_result.h"

namespace Vantra::Platform {

template <class Interface>
HRESULT ReadOnlyStream<Interface>::Read(void* buffer, ULONG size, ULONG* read) {
  if (read != nullptr) *read = 0;
  if (buffer == nullptr) return E_POINTER;
  ULONG count = 0;
  const HRESULT result = ReadAt(position_, static_cast<BYTE*>(buffer), size, &count);
  if (FAILED(result)) return result;
  position_ += count;
  if (read != nullptr) *read = count;
  return count == size ? S_OK : S_FALSE;
}

template <class Interface>
HRESULT ReadOnlyStream<Interface>::Write(const void*, ULONG, ULONG* written) {
  if (written != nullptr) *written = 0;
  return STG_E_ACCESSDENIED;
}

template <class Interface>
HRESULT ReadOnlyStream<Interface>::Seek(LARGE_INTEGER move, DWORD origin,
                                        ULARGE_INTEGER* position) {
  UINT64 size = 0;
  const HRESULT result = GetSize(&size);
  if (FAILED(result)) return result;
  UINT64 start = 0;
  switch (origin) {
    case STREAM_SEEK_SET:
      break;
    case STREAM_SEEK_CUR:
      start = position_;
      break;
    case STREAM_SEEK_END:
      start = size;
      break;
    default:
      return STG_E_INVALIDFUNCTION;
  }
  // Positions are never beyond the greatest offset of a file, so that this cannot wrap.
  std::int64_t target = 0;
  if (__builtin_add_overflow(static_cast<std::int64_t>(start), move.QuadPart, &target) ||
      target < 0) {
    return STG_E_INVALIDFUNCTION;
  }
  position_ = static_cast<UINT64>(target);
  if (position != nullptr) position->QuadPart = position_;
  return S_OK;
}

template <class Interface>
HRESULT ReadOnlyStream<Interface>::SetSize(ULARGE_INTEGER) {
  return STG_E_ACCESSDENIED;
}

template <class Interface>
HRESULT ReadOnlyStream<Interface>::Commit(DWORD) {
  return S_OK;
}

template <class Interface>
HRESULT ReadOnlyStream<Interface>::Stat(STATSTG* statistics, DWORD) {
  if (statistics == nullptr) return E_POINTER;
  *statistics = {};
  UINT64 size = 0;
  const HRESULT result = GetSize(&size);
  if (FAILED(result)) return result;
  statistics->type = STGTY_STREAM;
  statistics->cbSize.QuadPart = size;
  return S_OK;
}

template class ReadOnlyStream<Implements<IWICStream, IStream, ISequentialStream>>;
template class ReadOnlyStream<Implements<IStream, ISequentialStream>>;

HRESULT MemoryStream::InitializeFromMemory(BYTE* buffer, DWORD size) {
  if (bytes_ != nullptr) return WINCODEC_ERR_WRONGSTATE;
  if (buffer == nullptr) return E_INVALIDARG;
  bytes_ = buffer;
  size_ = size;
  return S_OK;
}

HRESULT MemoryStream::GetSize(UINT64* size) {
  if (bytes_ == nullptr) return WINCODEC_ERR_NOTINITIALIZED;
  *size = size_;
  return S_OK;
}

HRESULT MemoryStream::ReadAt(UINT64 position, BYTE* buffer, ULONG size, ULONG* read) {
  if (bytes_ == nullptr) return WINCODEC_ERR_NOTINITIALIZED;
  if (position >= size_) return S_OK;
  *read = static_cast<ULONG>(std::min<UINT64>(size, size_ - position));
  std::memcpy(buffer, bytes_ + position, *read);
  return S_OK;
}

HRESULT FileStream::Open(const std::string& name) {
  // Without blocking, since to open a pipe would else wait for its writer.
  file_ = open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  struct stat status;
  if (file_ < 0 || fstat(file_, &status) != 0) return ResultFromErrno(errno);
  return S_ISREG(status.st_mode) ? S_OK : HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
}

FileStream::~FileStream() {
  if (file_ >= 0) close(file_);
}

HRESULT FileStream::GetSize(UINT64* size) {
  struct stat status;
  if (fstat(file_, &status) != 0) return ResultFromErrno(errno);
  *size = static_cast<UINT64>(status.st_size);
  return S_OK;
}

HRESULT FileStream::ReadAt(UINT64 position, BYTE* buffer, ULONG size, ULONG* read) {
  while (*read < size) {
    const UINT64 from = position + *read;
    if (from > static_cast<UINT64>(std::numeric_limits<off_t>::max())) return S_OK;
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

}  // namespace Vantra::Platform
