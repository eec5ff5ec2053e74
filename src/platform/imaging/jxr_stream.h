#pragma once

/// The HD Photo library's access to bytes. The library's header defines words such as `Call`, so
/// this one belongs into source files only, and last.

#include <vantrix/platform/wincodec.h>

#include <span>
#include <vector>
#include <windowsmediaphoto.h>

namespace Vantra::Platform {

/// Bytes in memory. What lies beyond their end is read as zeros, since the library fetches more
/// than it needs.
class JxrSource : public WMPStream {
 public:
  explicit JxrSource(std::span<const BYTE> bytes);

  /// Whether the library has used what it cannot have found.
  bool Overrun() const { return overrun_; }

 private:
  static ERR OnRead(WMPStream* stream, void* bytes, std::size_t size);
  static ERR OnSetPosition(WMPStream* stream, std::size_t position);
  static ERR OnGetPosition(WMPStream* stream, std::size_t* position);

  std::span<const BYTE> bytes_;
  std::size_t position_ = 0;
  bool overrun_ = false;
};

/// Bytes that are written, in memory.
class JxrTarget : public WMPStream {
 public:
  JxrTarget();

  const std::vector<BYTE>& Written() const { return bytes_; }
  bool OutOfMemory() const { return out_of_memory_; }

 private:
  static ERR OnWrite(WMPStream* stream, const void* bytes, std::size_t size);
  static ERR OnSetPosition(WMPStream* stream, std::size_t position);
  static ERR OnGetPosition(WMPStream* stream, std::size_t* position);

  std::vector<BYTE> bytes_;
  std::size_t position_ = 0;
  bool out_of_memory_ = false;
};

}  // namespace Vantra::Platform
