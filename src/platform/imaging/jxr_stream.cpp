#include "platform/imaging/jxr_stream.h"

#include <algorithm>
#include <cstring>

namespace Vantra::Platform {
namespace {

// The library keeps two packets ahead; it has used the first when it asks for the one after them.
constexpr std::size_t kPacketBytes = 4096;

ERR NothingToClose(WMPStream**) { return WMP_errSuccess; }
Bool NeverAtEnd(WMPStream*) { return FALSE; }
ERR CannotRead(WMPStream*, void*, std::size_t) { return WMP_errFileIO; }
ERR CannotWrite(WMPStream*, const void*, std::size_t) { return WMP_errFileIO; }

}  // namespace

JxrSource::JxrSource(std::span<const BYTE> bytes) : WMPStream{}, bytes_(bytes) {
  WMPStream::Close = NothingToClose;
  WMPStream::EOS = NeverAtEnd;
  WMPStream::Read = OnRead;
  WMPStream::Write = CannotWrite;
  WMPStream::SetPos = OnSetPosition;
  WMPStream::GetPos = OnGetPosition;
}

ERR JxrSource::OnRead(WMPStream* stream, void* bytes, std::size_t size) {
  auto& source = *static_cast<JxrSource*>(stream);
  const std::size_t end = source.bytes_.size();
  const std::size_t from = std::min(end, source.position_);
  const std::size_t count = std::min(size, end - from);
  if (count > 0) std::memcpy(bytes, &source.bytes_[from], count);
  std::memset(static_cast<BYTE*>(bytes) + count, 0, size - count);
  if (source.position_ > end + kPacketBytes) source.overrun_ = true;
  source.position_ += size;
  return WMP_errSuccess;
}

ERR JxrSource::OnSetPosition(WMPStream* stream, std::size_t position) {
  // Nothing that makes sense lies so far away, and sums with it do not overflow.
  constexpr std::size_t kFar = std::size_t{1} << 48;
  static_cast<JxrSource*>(stream)->position_ = std::min(position, kFar);
  return WMP_errSuccess;
}

ERR JxrSource::OnGetPosition(WMPStream* stream, std::size_t* position) {
  *position = static_cast<JxrSource*>(stream)->position_;
  return WMP_errSuccess;
}

JxrTarget::JxrTarget() : WMPStream{} {
  WMPStream::Close = NothingToClose;
  WMPStream::EOS = NeverAtEnd;
  WMPStream::Read = CannotRead;
  WMPStream::Write = OnWrite;
  WMPStream::SetPos = OnSetPosition;
  WMPStream::GetPos = OnGetPosition;
}

ERR JxrTarget::OnWrite(WMPStream* stream, const void* bytes, std::size_t size) {
  auto& target = *static_cast<JxrTarget*>(stream);
  // What is thrown here may not pass through the library.
  try {
    if (target.bytes_.size() < target.position_ + size) {
      target.bytes_.resize(target.position_ + size);
    }
  } catch (...) {
    target.out_of_memory_ = true;
    return WMP_errOutOfMemory;
  }
  std::memcpy(target.bytes_.data() + target.position_, bytes, size);
  target.position_ += size;
  return WMP_errSuccess;
}

ERR JxrTarget::OnSetPosition(WMPStream* stream, std::size_t position) {
  static_cast<JxrTarget*>(stream)->position_ = position;
  return WMP_errSuccess;
}

ERR JxrTarget::OnGetPosition(WMPStream* stream, std::size_t* position) {
  *position = static_cast<JxrTarget*>(stream)->position_;
  return WMP_errSuccess;
}

}  // namespace Vantra::Platform
