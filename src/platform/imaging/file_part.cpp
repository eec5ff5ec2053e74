#include "platform/imaging/file_part.h"

#include <algorithm>

namespace Vantra::Platform {

HRESULT ReadFilePart(StreamReader& stream, UINT64 offset, UINT64 size, std::vector<BYTE>* bytes) {
  bytes->clear();
  if (const std::optional<UINT64> known = stream.Size()) {
    size = std::min(size, *known - std::min(*known, offset));
  }
  stream.Seek(offset);
  constexpr UINT64 kFirstBytes = 1 << 16;
  while (bytes->size() < size) {
    const std::size_t done = bytes->size();
    const UINT64 part = std::min(size - done, std::max<UINT64>(done, kFirstBytes));
    bytes->resize(done + part);
    const std::size_t read = stream.Read(bytes->data() + done, part);
    if (read == part) continue;
    bytes->resize(done + read);
    break;
  }
  return stream.Failure();
}

}  // namespace Vantra::Platform
