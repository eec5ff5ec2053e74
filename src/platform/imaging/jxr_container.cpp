#include "platform/imaging/jxr_container.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "platform/imaging/jxr_decoder.h"

namespace Vantra::Platform {
namespace {

constexpr UINT64 kDirectoryPointer = 4;
constexpr unsigned kMaximumEntries = 1024;

constexpr unsigned kTagPixelFormat = 0xBC01;
constexpr unsigned kTagImageOffset = 0xBCC0;
constexpr unsigned kTagImageSize = 0xBCC1;
constexpr unsigned kTagAlphaOffset = 0xBCC2;
constexpr unsigned kTagAlphaSize = 0xBCC3;

constexpr unsigned kTypeByte = 1;
constexpr unsigned kTypeShort = 3;
constexpr unsigned kTypeLong = 4;

enum class Alpha { kNone, kStraight, kPremultiplied };

struct PixelFormat {
  GUID guid;
  JxrColour colour;
  JxrDepth depth;
  Alpha alpha = Alpha::kNone;
};

// The formats that share all but their last byte.
constexpr GUID Numbered(BYTE number) {
  return {0x6FDDC324, 0x4E03, 0x4BFE, {0xB1, 0x85, 0x3D, 0x77, 0x76, 0x8D, 0xC9, number}};
}

constexpr PixelFormat kPixelFormats[] = {
    {Numbered(0x05), JxrColour::kGrey, JxrDepth::kBit},
    {Numbered(0x08), JxrColour::kGrey, JxrDepth::k8},
    {Numbered(0x0B), JxrColour::kGrey, JxrDepth::k16},
    {Numbered(0x13), JxrColour::kGrey, JxrDepth::kFixed16},
    {Numbered(0x3E), JxrColour::kGrey, JxrDepth::kHalf},
    {Numbered(0x3F), JxrColour::kGrey, JxrDepth::kFixed32},
    {Numbered(0x11), JxrColour::kGrey, JxrDepth::kFloat},
    {Numbered(0x09), JxrColour::kRgb, JxrDepth::kFive},
    {Numbered(0x0A), JxrColour::kRgb, JxrDepth::kFiveSixFive},
    {Numbered(0x14), JxrColour::kRgb, JxrDepth::kTen},
    {Numbered(0x0C), JxrColour::kRgb, JxrDepth::k8},
    {Numbered(0x0D), JxrColour::kRgb, JxrDepth::k8},
    {Numbered(0x0E), JxrColour::kRgb, JxrDepth::k8},
    {Numbered(0x0F), JxrColour::kRgb, JxrDepth::k8, Alpha::kStraight},
    {Numbered(0x10), JxrColour::kRgb, JxrDepth::k8, Alpha::kPremultiplied},
    {{0xD98C6B95, 0x3EFE, 0x47D6, {0xBB, 0x25, 0xEB, 0x17, 0x48, 0xAB, 0x0C, 0xF1}},
     JxrColour::kRgb,
     JxrDepth::k8},
    {GUID_WICPixelFormat32bppRGBA, JxrColour::kRgb, JxrDepth::k8, Alpha::kStraight},
    {GUID_WICPixelFormat32bppPRGBA, JxrColour::kRgb, JxrDepth::k8, Alpha::kPremultiplied},
    {Numbered(0x15), JxrColour::kRgb, JxrDepth::k16},
    {Numbered(0x16), JxrColour::kRgb, JxrDepth::k16, Alpha::kStraight},
    {Numbered(0x17), JxrColour::kRgb, JxrDepth::k16, Alpha::kPremultiplied},
    {Numbered(0x12), JxrColour::kRgb, JxrDepth::kFixed16},
    {Numbered(0x40), JxrColour::kRgb, JxrDepth::kFixed16},
    {Numbered(0x1D), JxrColour::kRgb, JxrDepth::kFixed16, Alpha::kStraight},
    {Numbered(0x3B), JxrColour::kRgb, JxrDepth::kHalf},
    {Numbered(0x42), JxrColour::kRgb, JxrDepth::kHalf},
    {Numbered(0x3A), JxrColour::kRgb, JxrDepth::kHalf, Alpha::kStraight},
    {Numbered(0x18), JxrColour::kRgb, JxrDepth::kFixed32},
    {Numbered(0x41), JxrColour::kRgb, JxrDepth::kFixed32},
    {Numbered(0x1E), JxrColour::kRgb, JxrDepth::kFixed32, Alpha::kStraight},
    {{0xE3FED78F, 0xE8DB, 0x4ACF, {0x84, 0xC1, 0xE9, 0x7F, 0x61, 0x36, 0xB3, 0x27}},
     JxrColour::kRgb,
     JxrDepth::kFloat},
    {Numbered(0x1B), JxrColour::kRgb, JxrDepth::kFloat},
    {Numbered(0x19), JxrColour::kRgb, JxrDepth::kFloat, Alpha::kStraight},
    {Numbered(0x1A), JxrColour::kRgb, JxrDepth::kFloat, Alpha::kPremultiplied},
    {Numbered(0x3D), JxrColour::kRgbe, JxrDepth::k8},
    {Numbered(0x1C), JxrColour::kCmyk, JxrDepth::k8},
    {Numbered(0x1F), JxrColour::kCmyk, JxrDepth::k16},
    {Numbered(0x2C), JxrColour::kCmyk, JxrDepth::k8, Alpha::kStraight},
    {Numbered(0x2D), JxrColour::kCmyk, JxrDepth::k16, Alpha::kStraight},
};

// Values of the coded picture's header.
constexpr unsigned kCodedGrey = 0;
constexpr unsigned kCoded420 = 1;
constexpr unsigned kCoded422 = 2;
constexpr unsigned kCoded444 = 3;
constexpr unsigned kCodedCmyk = 4;
constexpr unsigned kStoredRgb = 7;
constexpr unsigned kStoredRgbe = 8;
constexpr unsigned kBitWithBlackSet = 15;

enum Bands : unsigned { kAllBands, kNoFlexbits, kNoHighpass, kDcOnly };

// Reads a header from its highest bits on, and remembers when it ends too soon.
class BitReader {
 public:
  explicit BitReader(StreamReader& stream) : stream_(stream) {}

  UINT Read(unsigned bits) {
    UINT value = 0;
    for (; bits > 0; --bits) {
      if (left_ == 0) {
        if (stream_.Read(&byte_, 1) != 1) {
          ended_ = true;
          return 0;
        }
        left_ = 8;
      }
      value = value << 1 | (byte_ >> --left_ & 1u);
    }
    return value;
  }
  bool Flag() { return Read(1) != 0; }
  void SkipToByte() { left_ = 0; }
  bool Ended() const { return ended_; }

 private:
  StreamReader& stream_;
  BYTE byte_ = 0;
  unsigned left_ = 0;
  bool ended_ = false;
};

class CodestreamHeader {
 public:
  explicit CodestreamHeader(StreamReader& stream) : stream_(stream), bits_(stream) {}

  HRESULT Read(JxrCodestream* codestream) {
    stream_.Seek(codestream->offset);
    const HRESULT result = ReadFields(codestream);
    if (FAILED(stream_.Failure())) return stream_.Failure();
    return bits_.Ended() ? WINCODEC_ERR_BADHEADER : result;
  }

 private:
  HRESULT ReadFields(JxrCodestream* codestream);
  HRESULT ReadTiles(UINT width, UINT height, bool brief);
  HRESULT ReadPlane(const JxrCodestream& codestream, bool by_frequency);
  bool SkipQuantizers(unsigned channels);

  StreamReader& stream_;
  BitReader bits_;
};

HRESULT CodestreamHeader::ReadFields(JxrCodestream* codestream) {
  if (codestream->size > kMaximumJxrBytes) return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
  constexpr BYTE kSignature[] = {'W', 'M', 'P', 'H', 'O', 'T', 'O', 0};
  for (const BYTE byte : kSignature) {
    if (bits_.Read(8) != byte) return WINCODEC_ERR_BADHEADER;
  }
  const UINT version = bits_.Read(4);
  const UINT scaling = bits_.Read(4);
  if (version != 1 || (scaling != 0 && scaling != 1 && scaling != 9)) {
    return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  }
  const bool tiled = bits_.Flag();
  const bool by_frequency = bits_.Flag();
  bits_.Read(3);  // orientation, which the container has a say in
  const bool index = bits_.Flag();
  if (bits_.Read(2) == 3) return WINCODEC_ERR_BADHEADER;  // overlap
  const bool brief = bits_.Flag();
  bits_.Flag();  // long words
  const bool windowed = bits_.Flag();
  bits_.Flag();  // whether flexbits are trimmed
  const bool stretched = bits_.Flag();
  codestream->swapped = bits_.Flag();
  bits_.Flag();  // reserved
  // The library loses memory over each picture whose alpha is part of it.
  const bool interleaved = bits_.Flag();
  // Nothing in use writes windows or stretched tiles.
  if (windowed || stretched || interleaved) return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  if (!index && (by_frequency || tiled)) return WINCODEC_ERR_BADHEADER;

  switch (bits_.Read(4)) {
    case kCodedGrey:
      codestream->colour = JxrColour::kGrey;
      break;
    case kCodedCmyk:
      codestream->colour = JxrColour::kCmyk;
      break;
    case kStoredRgb:
      codestream->colour = JxrColour::kRgb;
      break;
    case kStoredRgbe:
      codestream->colour = JxrColour::kRgbe;
      break;
    default:
      return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  }
  const UINT depth = bits_.Read(4);
  codestream->depth = static_cast<JxrDepth>(depth == kBitWithBlackSet ? 0 : depth);
  if (depth == kBitWithBlackSet) codestream->swapped = true;

  const UINT last_column = bits_.Read(brief ? 16 : 32);
  const UINT last_row = bits_.Read(brief ? 16 : 32);
  if (last_column >= WIC_MAXIMUM_SIDE || last_row >= WIC_MAXIMUM_SIDE ||
      UINT64{last_column + 1} * (last_row + 1) > WIC_MAXIMUM_PIXELS) {
    return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
  }
  codestream->width = last_column + 1;
  codestream->height = last_row + 1;
  const UINT blocks_across = (codestream->width + 15) / 16;
  const UINT blocks_down = (codestream->height + 15) / 16;
  // A block of 16 by 16 pixels takes one bit at least.
  if (codestream->size < UINT64{blocks_across} * blocks_down / 8) return WINCODEC_ERR_BADHEADER;
  if (tiled) {
    const HRESULT result = ReadTiles(blocks_across, blocks_down, brief);
    if (FAILED(result)) return result;
  }
  bits_.SkipToByte();
  const HRESULT result = ReadPlane(*codestream, by_frequency);
  if (FAILED(result)) return result;
  bits_.SkipToByte();
  // What the table of the tiles' places begins with.
  return index && bits_.Read(16) != 1 ? WINCODEC_ERR_BADHEADER : S_OK;
}

HRESULT CodestreamHeader::ReadTiles(UINT width, UINT height, bool brief) {
  const UINT columns = bits_.Read(12) + 1;
  const UINT rows = bits_.Read(12) + 1;
  if (columns > kMaximumJxrTiles || rows > kMaximumJxrTiles) {
    return WINCODEC_ERR_IMAGESIZEOUTOFRANGE;
  }
  for (const auto& [tiles, blocks] : {std::pair(columns, width), {rows, height}}) {
    UINT place = 0;
    // The size of the last is what is left.
    for (UINT i = 1; i < tiles; ++i) {
      const UINT size = bits_.Read(brief ? 8 : 16);
      place += size;
      if (size == 0 || place >= blocks) return WINCODEC_ERR_BADHEADER;
    }
  }
  return S_OK;
}

HRESULT CodestreamHeader::ReadPlane(const JxrCodestream& codestream, bool by_frequency) {
  const UINT coded = bits_.Read(3);
  bits_.Flag();  // whether the arithmetic is scaled
  const UINT bands = bits_.Read(4);
  if (bands > kDcOnly) return WINCODEC_ERR_BADHEADER;

  const bool in_colour = coded == kCoded420 || coded == kCoded422 || coded == kCoded444;
  const bool whole_colour = coded == kCoded444;
  const JxrDepth depth = codestream.depth;
  bool fits = false;
  switch (codestream.colour) {
    case JxrColour::kGrey:
      fits = coded == kCodedGrey;
      break;
    case JxrColour::kRgb:
      fits = depth == JxrDepth::kHalf || depth == JxrDepth::kFloat ? whole_colour : in_colour;
      break;
    case JxrColour::kRgbe:
      fits = whole_colour;
      break;
    case JxrColour::kCmyk:
      fits = coded == kCodedCmyk;
      break;
  }
  if (!fits) return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  if (in_colour) bits_.Read(8);  // where the colours lie

  constexpr UINT kLongestShift = 15;
  constexpr UINT kLongestMantissa = 23;
  switch (depth) {
    case JxrDepth::k16:
    case JxrDepth::kFixed16:
    case JxrDepth::kFixed32:
      if (bits_.Read(8) > kLongestShift) return WINCODEC_ERR_BADHEADER;
      break;
    case JxrDepth::kFloat: {
      const UINT mantissa = bits_.Read(8);
      bits_.Read(8);  // what the exponent is counted from
      if (mantissa > kLongestMantissa) return WINCODEC_ERR_BADHEADER;
      break;
    }
    default:
      break;
  }

  // How the bands are quantised: as the band before, alike everywhere, or told anew in each tile.
  const unsigned channels = in_colour ? 3 : coded == kCodedCmyk ? 4 : 1;
  bool dc_alike = bits_.Flag();
  if (dc_alike && !SkipQuantizers(channels)) return WINCODEC_ERR_BADHEADER;
  if (bands == kDcOnly) return S_OK;
  const bool lp_as_dc = bits_.Flag();
  bool lp_alike = dc_alike;
  if (!lp_as_dc) {
    lp_alike = bits_.Flag();
    if (lp_alike && !SkipQuantizers(channels)) return WINCODEC_ERR_BADHEADER;
  }
  bool hp_as_lp = false;
  if (bands != kNoHighpass) {
    hp_as_lp = bits_.Flag();
    if (!hp_as_lp && bits_.Flag() && !SkipQuantizers(channels)) return WINCODEC_ERR_BADHEADER;
    if (lp_as_dc && hp_as_lp) return WINCODEC_ERR_BADHEADER;
  }
  // The library does not check which of a tile's quantisers a block names, in this order.
  return by_frequency && !lp_alike ? WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT : S_OK;
}

bool CodestreamHeader::SkipQuantizers(unsigned channels) {
  const UINT mode = channels > 1 ? bits_.Read(2) : 0;
  bits_.Read(8);
  if (mode == 1) {
    bits_.Read(8);
  } else if (mode > 1) {
    for (unsigned i = 1; i < channels; ++i) bits_.Read(8);
  }
  return !bits_.Ended();
}

class Directory {
 public:
  explicit Directory(StreamReader& stream) : stream_(stream) {}

  HRESULT Read(JxrContainer* container, const PixelFormat** format);

 private:
  std::optional<UINT> ReadNumber(unsigned bytes) {
    BYTE read[4] = {};
    if (stream_.Read(read, bytes) != bytes) return std::nullopt;
    return read[0] | read[1] << 8 | read[2] << 16 | UINT{read[3]} << 24;
  }
  HRESULT Cause() const {
    return FAILED(stream_.Failure()) ? stream_.Failure() : WINCODEC_ERR_BADHEADER;
  }

  StreamReader& stream_;
};

HRESULT Directory::Read(JxrContainer* container, const PixelFormat** format) {
  stream_.Seek(kDirectoryPointer);
  const std::optional<UINT> offset = ReadNumber(4);
  if (!offset) return Cause();
  stream_.Seek(*offset);
  const std::optional<UINT> count = ReadNumber(2);
  if (!count || *count == 0 || *count > kMaximumEntries) return Cause();

  std::optional<UINT> format_offset;
  UINT alpha_offset = 0;
  UINT alpha_size = 0;
  for (UINT i = 0; i < *count; ++i) {
    const std::optional<UINT> tag = ReadNumber(2);
    const std::optional<UINT> type = ReadNumber(2);
    const std::optional<UINT> values = ReadNumber(4);
    std::optional<UINT> value = ReadNumber(4);
    if (!value) return Cause();
    if (tag == kTagPixelFormat) {
      format_offset = value;
      continue;
    }
    if (tag < kTagImageOffset || tag > kTagAlphaSize) continue;
    if (values != 1u) return WINCODEC_ERR_BADHEADER;
    switch (*type) {
      case kTypeByte:
        *value &= 0xFF;
        break;
      case kTypeShort:
        *value &= 0xFFFF;
        break;
      case kTypeLong:
        break;
      default:
        return WINCODEC_ERR_BADHEADER;
    }
    if (tag == kTagImageOffset) container->picture.offset = *value;
    if (tag == kTagImageSize) container->picture.size = *value;
    if (tag == kTagAlphaOffset) alpha_offset = *value;
    if (tag == kTagAlphaSize) alpha_size = *value;
  }
  if (!format_offset || container->picture.offset == 0) return WINCODEC_ERR_BADHEADER;
  if (alpha_offset != 0 && alpha_size != 0) {
    container->alpha.emplace();
    container->alpha->offset = alpha_offset;
    container->alpha->size = alpha_size;
  }

  stream_.Seek(*format_offset);
  GUID guid{};
  static_assert(sizeof guid == 16);
  if (stream_.Read(reinterpret_cast<BYTE*>(&guid), sizeof guid) != sizeof guid) return Cause();
  *format = std::find_if(std::begin(kPixelFormats), std::end(kPixelFormats),
                         [&guid](const PixelFormat& known) { return known.guid == guid; });
  return *format == std::end(kPixelFormats) ? WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT : S_OK;
}

// Bounds a coded picture by the end of the file. A size of 0 reaches to there.
void CutAtEnd(UINT64 file_size, JxrCodestream* codestream) {
  const UINT64 most = file_size - std::min(file_size, codestream->offset);
  codestream->cut = codestream->size > most;
  if (codestream->size == 0 || codestream->cut) codestream->size = most;
}

}  // namespace

HRESULT ReadJxrContainer(StreamReader& stream, JxrContainer* container) {
  const std::optional<UINT64> file_size = stream.Size();
  if (!file_size) return WINCODEC_ERR_STREAMREAD;
  const PixelFormat* format = nullptr;
  HRESULT result = Directory(stream).Read(container, &format);
  if (FAILED(result)) return result;
  container->premultiplied = format->alpha == Alpha::kPremultiplied;
  if (format->alpha == Alpha::kNone) container->alpha.reset();

  JxrCodestream& picture = container->picture;
  CutAtEnd(*file_size, &picture);
  result = CodestreamHeader(stream).Read(&picture);
  if (FAILED(result)) return result;
  if (picture.colour != format->colour || picture.depth != format->depth) {
    return WINCODEC_ERR_BADHEADER;
  }
  if (!container->alpha) {
    container->premultiplied = false;
    return S_OK;
  }
  JxrCodestream& alpha = *container->alpha;
  CutAtEnd(*file_size, &alpha);
  // The library itself writes where the alpha ends instead of how long it is.
  alpha.cut = false;
  result = CodestreamHeader(stream).Read(&alpha);
  if (FAILED(result)) return result;
  const bool fits = alpha.colour == JxrColour::kGrey && alpha.depth == picture.depth &&
                    alpha.width == picture.width && alpha.height == picture.height;
  return fits ? S_OK : WINCODEC_ERR_BADHEADER;
}

}  // namespace Vantra::Platform
