#include "platform/imaging/gif_index.h"

#include <string_view>
#include <utility>

namespace Vantra::Platform {
namespace {

constexpr std::size_t kScreenBytes = 13;  // with the signature
constexpr std::size_t kDescriptorBytes = 10;
constexpr BYTE kHasPalette = 0x80;

enum : BYTE {
  kExtension = 0x21,
  kImage = 0x2C,
  kPlainText = 0x01,
  kGraphicControl = 0xF9,
  kApplication = 0xFF
};

WORD Get16(const BYTE* bytes) { return static_cast<WORD>(bytes[0] | bytes[1] << 8); }

std::size_t PaletteBytes(BYTE flags) { return std::size_t{3} << ((flags & 7) + 1); }

// Reads the palette that `flags` announce; false when the stream does not have all of it.
bool ReadColours(StreamReader& stream, BYTE flags, std::vector<WICColor>* palette) {
  BYTE colours[256 * 3];
  const std::size_t size = PaletteBytes(flags);
  if (stream.Read(colours, size) != size) return false;
  palette->clear();
  for (std::size_t i = 0; i < size; i += 3) {
    palette->push_back(WICColor{0xFF000000} | static_cast<WICColor>(colours[i]) << 16 |
                       static_cast<WICColor>(colours[i + 1]) << 8 | colours[i + 2]);
  }
  return true;
}

bool TellsRepetition(const std::array<BYTE, 11>& application) {
  const std::string_view name(reinterpret_cast<const char*>(application.data()),
                              application.size());
  return name == "NETSCAPE2.0" || name == "ANIMEXTS1.0";
}

// Reads a file's blocks. What it returns false for is the end of what can be read.
class Blocks {
 public:
  Blocks(StreamReader& stream, GifIndex* index) : stream_(stream), index_(index) {}

  bool ReadScreen();
  // Stores in `*limit` why the file is refused, if it is.
  bool ReadBlock(HRESULT* limit);

 private:
  bool Read(BYTE* bytes, std::size_t size) { return stream_.Read(bytes, size) == size; }
  bool ReadByte(BYTE* byte) { return Read(byte, 1); }
  void Skip(UINT64 size) { stream_.Seek(stream_.Position() + size); }
  bool SkipSubBlocks();
  bool ReadExtension();
  bool ReadControl();
  bool ReadApplication();
  bool ReadImage(HRESULT* limit);

  StreamReader& stream_;
  GifIndex* index_;
  GifFrame next_{};  // what is known of the frame to come
  UINT64 pixels_ = 0;
};

bool Blocks::ReadScreen() {
  BYTE head[kScreenBytes];
  if (!Read(head, sizeof head)) return false;
  index_->width = Get16(head + 6);
  index_->height = Get16(head + 8);
  index_->has_palette = (head[10] & kHasPalette) != 0;
  index_->background = head[11];
  index_->aspect = head[12];
  return !index_->has_palette || ReadColours(stream_, head[10], &index_->palette);
}

bool Blocks::ReadBlock(HRESULT* limit) {
  BYTE kind = 0;
  if (!ReadByte(&kind)) return false;
  switch (kind) {
    case 0:  // Some files end sub-blocks twice.
      return true;
    case kExtension:
      return ReadExtension();
    case kImage:
      return ReadImage(limit);
    default:  // The trailer, or nothing that a file has.
      return false;
  }
}

bool Blocks::SkipSubBlocks() {
  BYTE size = 0;
  while (ReadByte(&size)) {
    if (size == 0) return true;
    Skip(size);
  }
  return false;
}

bool Blocks::ReadExtension() {
  BYTE kind = 0;
  if (!ReadByte(&kind)) return false;
  // A control extension is for the next picture or text, whichever comes first.
  if (kind == kPlainText) next_ = {};
  if (kind == kGraphicControl) return ReadControl();
  return kind == kApplication ? ReadApplication() : SkipSubBlocks();
}

bool Blocks::ReadControl() {
  constexpr BYTE kControlBytes = 4;
  BYTE control[1 + kControlBytes];
  if (!ReadByte(control)) return false;
  if (control[0] < kControlBytes) {
    Skip(control[0]);
    return control[0] == 0 || SkipSubBlocks();
  }
  if (!Read(control + 1, kControlBytes)) return false;
  next_.has_control = true;
  next_.has_transparency = (control[1] & 1) != 0;
  next_.disposal = control[1] >> 2 & 7;
  next_.delay = Get16(control + 2);
  next_.transparent_index = control[4];
  Skip(control[0] - kControlBytes);
  return SkipSubBlocks();
}

bool Blocks::ReadApplication() {
  BYTE size = 0;
  if (!ReadByte(&size)) return false;
  std::array<BYTE, 11> name;
  if (size != name.size()) {
    Skip(size);
    return size == 0 || SkipSubBlocks();
  }
  if (!Read(name.data(), name.size())) return false;
  const bool better =
      !index_->has_application || (TellsRepetition(name) && !TellsRepetition(index_->application));
  if (!better) return SkipSubBlocks();
  std::vector<BYTE> data(1);
  if (!ReadByte(data.data())) return false;
  data.resize(std::size_t{1} + data[0]);
  if (!Read(data.data() + 1, data.size() - 1)) return false;
  index_->has_application = true;
  index_->application = name;
  index_->application_data = std::move(data);
  return index_->application_data.size() == 1 || SkipSubBlocks();
}

bool Blocks::ReadImage(HRESULT* limit) {
  next_.at = stream_.Position() - 1;
  BYTE descriptor[kDescriptorBytes];
  if (!Read(descriptor + 1, sizeof descriptor - 1)) return false;
  next_.left = Get16(descriptor + 1);
  next_.top = Get16(descriptor + 3);
  next_.width = Get16(descriptor + 5);
  next_.height = Get16(descriptor + 7);
  if ((descriptor[9] & kHasPalette) != 0) Skip(PaletteBytes(descriptor[9]));
  BYTE code_size = 0;
  if (!ReadByte(&code_size)) return false;
  pixels_ += UINT64{next_.width} * next_.height;
  if (index_->frames.size() == WIC_MAXIMUM_FRAMES || pixels_ > WIC_MAXIMUM_PIXELS_OF_ALL_FRAMES) {
    *limit = WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
    return false;
  }
  index_->frames.push_back(next_);
  next_ = {};
  return SkipSubBlocks();
}

}  // namespace

HRESULT ReadGifIndex(StreamReader& stream, GifIndex* index) {
  Blocks blocks(stream, index);
  HRESULT limit = S_OK;
  if (blocks.ReadScreen()) {
    if (index->width > WIC_MAXIMUM_SIDE || index->height > WIC_MAXIMUM_SIDE ||
        UINT64{index->width} * index->height > WIC_MAXIMUM_PIXELS) {
      return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
    }
    while (blocks.ReadBlock(&limit)) {
    }
  }
  if (FAILED(stream.Failure())) return stream.Failure();
  if (FAILED(limit)) return limit;
  return index->frames.empty() ? WINCODEC_ERR_BADHEADER : S_OK;
}

HRESULT ReadGifPalette(StreamReader& stream, const GifIndex& index, const GifFrame& frame,
                       std::vector<WICColor>* palette) {
  BYTE descriptor[kDescriptorBytes];
  stream.Seek(frame.at);
  bool complete = stream.Read(descriptor, sizeof descriptor) == sizeof descriptor;
  if (complete && (descriptor[9] & kHasPalette) != 0) {
    complete = ReadColours(stream, descriptor[9], palette);
  } else {
    *palette = index.palette;
  }
  if (!complete) return FAILED(stream.Failure()) ? stream.Failure() : WINCODEC_ERR_BADHEADER;
  if (frame.has_transparency && frame.transparent_index < palette->size()) {
    (*palette)[frame.transparent_index] &= 0x00FFFFFF;
  }
  return S_OK;
}

}  // namespace Vantra::Platform
