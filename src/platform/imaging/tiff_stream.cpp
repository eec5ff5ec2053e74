#include "platform/imaging/tiff_stream.h"

#include <algorithm>
#include <cstdio>
#include <limits>

namespace Vantra::Platform {
namespace {

struct FreeOptions {
  void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};
using Options = std::unique_ptr<TIFFOpenOptions, FreeOptions>;

// A result other than 0 keeps the message from the handlers of the whole process.
int DropMessage(TIFF*, void*, const char*, const char*, va_list) { return 1; }

Options MakeOptions() {
  Options options(TIFFOpenOptionsAlloc());
  if (options == nullptr) return options;
  TIFFOpenOptionsSetErrorHandlerExtR(options.get(), DropMessage, nullptr);
  TIFFOpenOptionsSetWarningHandlerExtR(options.get(), DropMessage, nullptr);
  return options;
}

constexpr auto kBadPosition = static_cast<toff_t>(-1);

toff_t Move(UINT64 position, UINT64 size, toff_t offset, int whence, UINT64* moved) {
  UINT64 base = 0;
  if (whence == SEEK_CUR) base = position;
  if (whence == SEEK_END) base = size;
  if (offset > std::numeric_limits<toff_t>::max() - base) return kBadPosition;
  *moved = base + offset;
  return *moved;
}

tmsize_t ReadSource(thandle_t handle, void* bytes, tmsize_t size) {
  auto& source = *static_cast<TiffSource*>(handle);
  // No stream needs to know of places that it does not have.
  if (size <= 0 || source.position >= source.size) return 0;
  source.stream.Seek(source.position);
  const std::size_t read =
      source.stream.Read(static_cast<BYTE*>(bytes), static_cast<std::size_t>(size));
  source.position += read;
  return static_cast<tmsize_t>(read);
}

toff_t SeekSource(thandle_t handle, toff_t offset, int whence) {
  auto& source = *static_cast<TiffSource*>(handle);
  return Move(source.position, source.size, offset, whence, &source.position);
}

toff_t SizeOfSource(thandle_t handle) { return static_cast<TiffSource*>(handle)->size; }

tmsize_t WriteNothing(thandle_t, void*, tmsize_t) { return -1; }

tmsize_t ReadTarget(thandle_t handle, void* bytes, tmsize_t size) {
  auto& target = *static_cast<TiffTarget*>(handle);
  if (size <= 0 || target.position >= target.bytes.size()) return 0;
  const std::size_t count =
      std::min(static_cast<std::size_t>(size), target.bytes.size() - target.position);
  std::copy_n(&target.bytes[target.position], count, static_cast<BYTE*>(bytes));
  target.position += count;
  return static_cast<tmsize_t>(count);
}

tmsize_t WriteTarget(thandle_t handle, void* bytes, tmsize_t size) {
  auto& target = *static_cast<TiffTarget*>(handle);
  if (size < 0) return -1;
  const auto count = static_cast<std::size_t>(size);
  // What is thrown here may not pass through the library.
  try {
    if (target.bytes.size() < target.position + count) {
      target.bytes.resize(target.position + count);
    }
  } catch (...) {
    return -1;
  }
  std::copy_n(static_cast<const BYTE*>(bytes), count, target.bytes.data() + target.position);
  target.position += count;
  return size;
}

toff_t SeekTarget(thandle_t handle, toff_t offset, int whence) {
  auto& target = *static_cast<TiffTarget*>(handle);
  UINT64 moved = 0;
  const toff_t result = Move(target.position, target.bytes.size(), offset, whence, &moved);
  if (result != kBadPosition) target.position = moved;
  return result;
}

toff_t SizeOfTarget(thandle_t handle) { return static_cast<TiffTarget*>(handle)->bytes.size(); }

int CloseNothing(thandle_t) { return 0; }
int MapNothing(thandle_t, void**, toff_t*) { return 0; }
void UnmapNothing(thandle_t, void*, toff_t) {}

}  // namespace

TiffHandle OpenTiffSource(TiffSource& source, UINT64 largest_allocation) {
  const Options options = MakeOptions();
  if (options == nullptr) return nullptr;
  TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), static_cast<tmsize_t>(largest_allocation));
  // The header alone; nothing mapped into memory.
  return TiffHandle(TIFFClientOpenExt("", "rhm", &source, ReadSource, WriteNothing, SeekSource,
                                      CloseNothing, SizeOfSource, MapNothing, UnmapNothing,
                                      options.get()));
}

TiffHandle OpenTiffTarget(TiffTarget& target, const char* mode) {
  const Options options = MakeOptions();
  if (options == nullptr) return nullptr;
  return TiffHandle(TIFFClientOpenExt("", mode, &target, ReadTarget, WriteTarget, SeekTarget,
                                      CloseNothing, SizeOfTarget, MapNothing, UnmapNothing,
                                      options.get()));
}

}  // namespace Vantra::Platform
