#pragma once

/// The stream that the layer makes itself, and the kinds of bytes behind it.

#include <vantrix/platform/wincodec.h>

#include <memory>

#include "platform/com/com_object.h"

namespace Vantra::Platform {

/// The bytes behind a stream. What a kind does not do is refused with `STG_E_ACCESSDENIED`.
class Storage {
 public:
  virtual ~Storage() = default;
  Storage(const Storage&) = delete;
  Storage& operator=(const Storage&) = delete;

  /// Stores the size, or fails.
  virtual HRESULT GetSize(UINT64* size) = 0;
  /// Copies up to `size` bytes from `position`, which may lie beyond the end.
  virtual HRESULT ReadAt(UINT64 position, BYTE* buffer, ULONG size, ULONG* read);
  /// Stores bytes at `position`; after a failure `*written` of them may be.
  virtual HRESULT WriteAt(UINT64 position, const BYTE* bytes, ULONG size, ULONG* written);
  /// Makes what was written count.
  virtual HRESULT Commit() { return S_OK; }

 protected:
  Storage() = default;
};

class Stream final : public ComObject<Implements<IWICStream, IStream, ISequentialStream>> {
 public:
  HRESULT InitializeFromMemory(BYTE* buffer, DWORD size) override;
  HRESULT InitializeFromFilename(LPCWSTR name, DWORD access) override;

  HRESULT Read(void* buffer, ULONG size, ULONG* read) override;
  HRESULT Write(const void* buffer, ULONG size, ULONG* written) override;
  HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) override;
  HRESULT SetSize(ULARGE_INTEGER size) override;
  HRESULT Commit(DWORD flags) override;
  HRESULT Stat(STATSTG* statistics, DWORD flag) override;

 private:
  std::unique_ptr<Storage> storage_;
  UINT64 position_ = 0;
};

}  // namespace Vantra::Platform
