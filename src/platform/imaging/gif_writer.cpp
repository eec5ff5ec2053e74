#include "platform/imaging/gif_writer.h"

#include <array>
#include <bit>
#include <gif_lib.h>

#include "platform/com/guard.h"
#include "platform/imaging/indexed_picture.h"
#include "platform/imaging/pixels.h"

namespace Vantra::Platform {
namespace {

constexpr UINT kMaximumSide = 65535;

// Bytes given to the sink at a time.
constexpr std::size_t kPendingBytes = 65536;

struct FreeMap {
  void operator()(ColorMapObject* map) const { GifFreeMapObject(map); }
};

// The library wants a power of two.
std::unique_ptr<ColorMapObject, FreeMap> MakeMap(const std::vector<WICColor>& palette) {
  std::array<GifColorType, 256> colours{};
  for (std::size_t i = 0; i < palette.size(); ++i) {
    colours[i] = {static_cast<GifByteType>(palette[i] >> 16),
                  static_cast<GifByteType>(palette[i] >> 8), static_cast<GifByteType>(palette[i])};
  }
  const std::size_t count = std::max<std::size_t>(std::bit_ceil(palette.size()), 2);
  return std::unique_ptr<ColorMapObject, FreeMap>(
      GifMakeMapObject(static_cast<int>(count), colours.data()));
}

}  // namespace

GifWriter::GifWriter(ByteSink sink, UINT width, UINT height, std::optional<WORD> repetitions)
    : sink_(std::move(sink)), width_(width), height_(height), repetitions_(repetitions) {}

HRESULT GifWriter::Open(ByteSink sink, UINT width, UINT height, std::optional<WORD> repetitions,
                        std::unique_ptr<GifWriter>* writer) {
  if (width == 0 || height == 0 || width > kMaximumSide || height > kMaximumSide) {
    return E_INVALIDARG;
  }
  return GuardMemory([&] {
    std::unique_ptr<GifWriter> made(new GifWriter(std::move(sink), width, height, repetitions));
    made->pending_.reserve(kPendingBytes);
    int error = 0;
    made->gif_ = EGifOpen(made.get(), OnWrite, &error);
    if (made->gif_ == nullptr) return E_OUTOFMEMORY;
    EGifSetGifVersion(made->gif_, true);
    *writer = std::move(made);
    return S_OK;
  });
}

GifWriter::~GifWriter() {
  // Closing writes, which nobody asked for any more.
  sink_ = nullptr;
  if (gif_ != nullptr) EGifCloseFile(gif_, nullptr);
}

int GifWriter::OnWrite(GifFileType* gif, const BYTE* bytes, int size) {
  auto* writer = static_cast<GifWriter*>(gif->UserData);
  if (FAILED(writer->failure_)) return 0;
  if (writer->pending_.size() + static_cast<std::size_t>(size) > kPendingBytes) writer->Flush();
  if (SUCCEEDED(writer->failure_)) {
    writer->failure_ = GuardMemory([&] {
      writer->pending_.insert(writer->pending_.end(), bytes, bytes + size);
      return S_OK;
    });
  }
  return SUCCEEDED(writer->failure_) ? size : 0;
}

HRESULT GifWriter::Flush() {
  if (SUCCEEDED(failure_) && sink_ && !pending_.empty()) {
    failure_ = sink_(pending_.data(), pending_.size());
  }
  pending_.clear();
  return failure_;
}

HRESULT GifWriter::Check(int result) const {
  if (FAILED(failure_)) return failure_;
  // What it can fail with apart from writing is lack of memory.
  return result == GIF_OK ? S_OK : E_OUTOFMEMORY;
}

int GifWriter::PutRepetitions() {
  const BYTE data[] = {1, static_cast<BYTE>(*repetitions_), static_cast<BYTE>(*repetitions_ >> 8)};
  if (EGifPutExtensionLeader(gif_, APPLICATION_EXT_FUNC_CODE) != GIF_OK ||
      EGifPutExtensionBlock(gif_, 11, "NETSCAPE2.0") != GIF_OK ||
      EGifPutExtensionBlock(gif_, sizeof data, data) != GIF_OK) {
    return GIF_ERROR;
  }
  return EGifPutExtensionTrailer(gif_);
}

HRESULT GifWriter::AddFrame(const GifFrameToWrite& frame) {
  if (frame.pixels == nullptr || frame.width == 0 || frame.height == 0 ||
      UINT64{frame.left} + frame.width > width_ || UINT64{frame.top} + frame.height > height_ ||
      frame.stride / kBytesPerPixel < frame.width ||
      frame.disposal > GifDisposal::kRestorePrevious) {
    return E_INVALIDARG;
  }
  if (FAILED(failure_)) return failure_;
  const HRESULT result = GuardMemory([&] { return WriteFrame(frame); });
  if (FAILED(result)) failure_ = result;
  return result;
}

HRESULT GifWriter::WriteFrame(const GifFrameToWrite& frame) {
  IndexedPicture picture = ReduceColours(frame.pixels, frame.stride, frame.width, frame.height);
  const auto map = MakeMap(picture.palette);
  if (map == nullptr) return E_OUTOFMEMORY;
  const bool first = !std::exchange(started_, true);
  // The first frame's palette is the file's.
  if (first) {
    constexpr int kColourBits = 8;
    HRESULT result = Check(EGifPutScreenDesc(gif_, static_cast<int>(width_),
                                             static_cast<int>(height_), kColourBits, 0, map.get()));
    if (SUCCEEDED(result) && repetitions_) result = Check(PutRepetitions());
    if (FAILED(result)) return result;
  }
  if (picture.has_transparency || frame.delay != 0 || frame.disposal != GifDisposal::kNone) {
    GraphicsControlBlock control{};
    control.DisposalMode = static_cast<int>(frame.disposal);
    control.DelayTime = frame.delay;
    control.TransparentColor = picture.has_transparency
                                   ? static_cast<int>(picture.palette.size()) - 1
                                   : NO_TRANSPARENT_COLOR;
    GifByteType bytes[4];
    const auto size = static_cast<int>(EGifGCBToExtension(&control, bytes));
    const HRESULT result = Check(EGifPutExtension(gif_, GRAPHICS_EXT_FUNC_CODE, size, bytes));
    if (FAILED(result)) return result;
  }
  HRESULT result =
      Check(EGifPutImageDesc(gif_, static_cast<int>(frame.left), static_cast<int>(frame.top),
                             static_cast<int>(frame.width), static_cast<int>(frame.height), false,
                             first ? nullptr : map.get()));
  for (UINT y = 0; y < frame.height && SUCCEEDED(result); ++y) {
    result = Check(EGifPutLine(gif_, &picture.indexes[std::size_t{y} * frame.width],
                               static_cast<int>(frame.width)));
  }
  return result;
}

HRESULT GifWriter::Finish() {
  if (FAILED(failure_)) return failure_;
  if (!started_) return WINCODEC_ERR_FRAMEMISSING;
  // Frees the file whatever it returns.
  const int closed = EGifCloseFile(std::exchange(gif_, nullptr), nullptr);
  HRESULT result = Check(closed);
  if (SUCCEEDED(result)) result = Flush();
  // The file is closed to further frames.
  failure_ = FAILED(result) ? result : WINCODEC_ERR_WRONGSTATE;
  return result;
}

}  // namespace Vantra::Platform
