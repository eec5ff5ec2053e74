#include "platform/imaging/streams.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "platform/imaging/file_storage.h"

namespace Vantra::Platform {
namespace {

class MemoryStorage final : public Storage {
 public:
  MemoryStorage(BYTE* bytes, DWORD size) : bytes_(bytes), size_(size) {}

  HRESULT GetSize(UINT64* size) override {
    *size = size_;
    return S_OK;
  }

  HRESULT ReadAt(UINT64 position, BYTE* buffer, ULONG size, ULONG* read) override {
    *read = Room(position, size);
    if (*read > 0) std::memcpy(buffer, bytes_ + position, *read);
    return S_OK;
  }

  HRESULT WriteAt(UINT64 position, const BYTE* bytes, ULONG size, ULONG* written) override {
    *written = Room(position, size);
    if (*written > 0) std::memcpy(bytes_ + position, bytes, *written);
    return *written == size ? S_OK : STG_E_MEDIUMFULL;
  }

 private:
  // How much of `size` bytes lies before the end.
  ULONG Room(UINT64 position, ULONG size) const {
    return position >= size_ ? 0 : static_cast<ULONG>(std::min<UINT64>(size, size_ - position));
  }

  BYTE* bytes_;
  DWORD size_;
};

}  // namespace

HRESULT Storage::ReadAt(UINT64, BYTE*, ULONG, ULONG*) { return STG_E_ACCESSDENIED; }

HRESULT Storage::WriteAt(UINT64, const BYTE*, ULONG, ULONG*) { return STG_E_ACCESSDENIED; }

HRESULT Stream::InitializeFromMemory(BYTE* buffer, DWORD size) {
  if (storage_ != nullptr) return WINCODEC_ERR_WRONGSTATE;
  if (buffer == nullptr) return E_INVALIDARG;
  storage_.reset(new (std::nothrow) MemoryStorage(buffer, size));
  return storage_ == nullptr ? E_OUTOFMEMORY : S_OK;
}

HRESULT Stream::InitializeFromFilename(LPCWSTR name, DWORD access) {
  if (storage_ != nullptr) return WINCODEC_ERR_WRONGSTATE;
  if (name == nullptr) return E_INVALIDARG;
  if (access == GENERIC_READ) return OpenFileForReading(name, &storage_);
  if (access == GENERIC_WRITE) return OpenFileForWriting(name, &storage_);
  return E_INVALIDARG;
}

HRESULT Stream::Read(void* buffer, ULONG size, ULONG* read) {
  if (read != nullptr) *read = 0;
  if (buffer == nullptr) return E_POINTER;
  if (storage_ == nullptr) return WINCODEC_ERR_NOTINITIALIZED;
  ULONG count = 0;
  const HRESULT result = storage_->ReadAt(position_, static_cast<BYTE*>(buffer), size, &count);
  if (FAILED(result)) return result;
  position_ += count;
  if (read != nullptr) *read = count;
  return count == size ? S_OK : S_FALSE;
}

HRESULT Stream::Write(const void* buffer, ULONG size, ULONG* written) {
  if (written != nullptr) *written = 0;
  if (buffer == nullptr) return E_POINTER;
  if (storage_ == nullptr) return WINCODEC_ERR_NOTINITIALIZED;
  ULONG count = 0;
  const HRESULT result =
      storage_->WriteAt(position_, static_cast<const BYTE*>(buffer), size, &count);
  position_ += count;
  if (written != nullptr) *written = count;
  return result;
}

HRESULT Stream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) {
  if (storage_ == nullptr) return WINCODEC_ERR_NOTINITIALIZED;
  UINT64 size = 0;
  const HRESULT result = storage_->GetSize(&size);
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

HRESULT Stream::SetSize(ULARGE_INTEGER) { return STG_E_ACCESSDENIED; }

HRESULT Stream::Commit(DWORD) {
  return storage_ == nullptr ? WINCODEC_ERR_NOTINITIALIZED : storage_->Commit();
}

HRESULT Stream::Stat(STATSTG* statistics, DWORD) {
  if (statistics == nullptr) return E_POINTER;
  *statistics = {};
  if (storage_ == nullptr) return WINCODEC_ERR_NOTINITIALIZED;
  UINT64 size = 0;
  const HRESULT result = storage_->GetSize(&size);
  if (FAILED(result)) return result;
  statistics->type = STGTY_STREAM;
  statistics->cbSize.QuadPart = size;
  return S_OK;
}

}  // namespace Vantra::Platform
