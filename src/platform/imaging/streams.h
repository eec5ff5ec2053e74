#pragma once

/// The streams that the layer makes itself. Both are for reading only.

#include <vantrix/platform/wincodec.h>

#include <string>

#include "platform/com/com_object.h"

namespace Vantra::Platform {

/// What every read-only stream does alike. A derived class tells its size and copies bytes.
template <class Interface>
class ReadOnlyStream : public ComObject<Interface> {
 public:
  HRESULT Read(void* buffer, ULONG size, ULONG* read) final;
  HRESULT Write(const void* buffer, ULONG size, ULONG* written) final;
  HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) final;
  HRESULT SetSize(ULARGE_INTEGER size) final;
  HRESULT Commit(DWORD flags) final;
  HRESULT Stat(STATSTG* statistics, DWORD flag) final;

 protected:
  /// Stores the size, or fails.
  virtual HRESULT GetSize(UINT64* size) = 0;
  /// Copies up to `size` bytes from `position`, which may lie beyond the end.
  virtual HRESULT ReadAt(UINT64 position, BYTE* buffer, ULONG size, ULONG* read) = 0;

 private:
  UINT64 position_ = 0;
};

class MemoryStream final
    : public ReadOnlyStream<Implements<IWICStream, IStream, ISequentialStream>> {
 public:
  HRESULT InitializeFromMemory(BYTE* buffer, DWORD size) override;

 private:
  HRESULT GetSize(UINT64* size) override;
  HRESULT ReadAt(UINT64 position, BYTE* buffer, ULONG size, ULONG* read) override;

  const BYTE* bytes_ = nullptr;
  DWORD size_ = 0;
};

class FileStream final : public ReadOnlyStream<Implements<IStream, ISequentialStream>> {
 public:
  FileStream() = default;

  /// Opens a regular file by its UTF-8 name; called once. `HRESULT_FROM_WIN32` of
  /// `ERROR_FILE_NOT_FOUND` or `ERROR_ACCESS_DENIED`, the latter also for a folder, a device or a
  /// pipe.
  HRESULT Open(const std::string& name);

 private:
  ~FileStream() override;
  HRESULT GetSize(UINT64* size) override;
  HRESULT ReadAt(UINT64 position, BYTE* buffer, ULONG size, ULONG* read) override;

  int file_ = -1;
};

}  // namespace Vantra::Platform
