#include "platform/imaging/dds_header.h"

#include <algorithm>
#include <iterator>
#include <span>

namespace Vantra::Platform {
namespace {

// Places in the header.
constexpr std::size_t kSizeAt = 4;
constexpr std::size_t kHeightAt = 12;
constexpr std::size_t kWidthAt = 16;
constexpr std::size_t kFormatSizeAt = 76;
constexpr std::size_t kFormatFlagsAt = 80;
constexpr std::size_t kFourCcAt = 84;
constexpr std::size_t kBitCountAt = 88;
constexpr std::size_t kMasksAt = 92;

constexpr UINT kHeaderSize = 124;  // without the signature
constexpr UINT kFormatSize = 32;

enum FormatFlags : UINT {
  kAlphaPixels = 1,
  kAlphaOnly = 2,
  kFourCc = 4,
  kRgb = 0x40,
  kLuminance = 0x20000,
};

// Places in the extension.
constexpr std::size_t kDxgiFormatAt = 0;
constexpr std::size_t kAlphaModeAt = 16;

constexpr UINT kAlphaModeMask = 7;
constexpr UINT kPremultipliedAlpha = 2;
constexpr UINT kOpaqueAlpha = 3;

UINT Get32(const BYTE* bytes) {
  return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<UINT>(bytes[3]) << 24;
}

constexpr UINT FourCc(const char (&name)[5]) {
  UINT value = 0;
  for (int i = 0; i < 4; ++i) value |= static_cast<UINT>(name[i]) << 8 * i;
  return value;
}

using Storage = DdsHeader::Storage;

// A format with a code of its own.
struct Known {
  UINT code;
  Storage storage;
  BYTE unit_bytes;
  // Of wide pixels those that are there, from red on; one alone is grey.
  bool has_alpha;
  BlockDecoder decode_block;
  PackedPixels::Masks masks;
};

constexpr Known Blocks(UINT code, BlockDecoder decode, bool large, bool has_alpha) {
  const std::size_t bytes = large ? kLargeBlockBytes : kSmallBlockBytes;
  return {code, Storage::kBlocks, static_cast<BYTE>(bytes), has_alpha, decode, {}};
}

constexpr Known Wide(UINT code, Storage storage, BYTE bytes, bool has_alpha) {
  return {code, storage, bytes, has_alpha, nullptr, {}};
}

constexpr Known Packed(UINT code, BYTE bytes, const PackedPixels::Masks& masks) {
  return {code, Storage::kPacked, bytes, masks[3] != 0, nullptr, masks};
}

constexpr PackedPixels::Masks kRgba = {0xFF, 0xFF00, 0xFF0000, 0xFF000000};
constexpr PackedPixels::Masks kBgra = {0xFF0000, 0xFF00, 0xFF, 0xFF000000};
constexpr PackedPixels::Masks kBgrx = {0xFF0000, 0xFF00, 0xFF, 0};

// By the numbers of DXGI formats. Those that name sRGB hold the same bytes: no coder here converts
// between colour spaces. Formats without a type are taken as the one in use.
constexpr Known kDxgiFormats[] = {
    Wide(2, Storage::kFloat, 16, true),
    Wide(6, Storage::kFloat, 12, false),
    Wide(10, Storage::kHalf, 8, true),
    Wide(11, Storage::kUnorm, 8, true),
    Wide(16, Storage::kFloat, 8, false),
    Packed(24, 4, {0x3FF, 0xFFC00, 0x3FF00000, 0xC0000000}),
    Packed(27, 4, kRgba),
    Packed(28, 4, kRgba),
    Packed(29, 4, kRgba),
    Wide(34, Storage::kHalf, 4, false),
    Packed(35, 4, {0xFFFF, 0xFFFF0000, 0, 0}),
    Wide(41, Storage::kFloat, 4, false),
    Packed(49, 2, {0xFF, 0xFF00, 0, 0}),
    Wide(54, Storage::kHalf, 2, false),
    Packed(56, 2, {0xFFFF, 0xFFFF, 0xFFFF, 0}),
    Packed(61, 1, {0xFF, 0xFF, 0xFF, 0}),
    Packed(65, 1, {0, 0, 0, 0xFF}),
    Blocks(70, DecodeBc1, false, true),
    Blocks(71, DecodeBc1, false, true),
    Blocks(72, DecodeBc1, false, true),
    Blocks(73, DecodeBc2, true, true),
    Blocks(74, DecodeBc2, true, true),
    Blocks(75, DecodeBc2, true, true),
    Blocks(76, DecodeBc3, true, true),
    Blocks(77, DecodeBc3, true, true),
    Blocks(78, DecodeBc3, true, true),
    Blocks(79, DecodeBc4, false, false),
    Blocks(80, DecodeBc4, false, false),
    Blocks(81, DecodeSignedBc4, false, false),
    Blocks(82, DecodeBc5, true, false),
    Blocks(83, DecodeBc5, true, false),
    Blocks(84, DecodeSignedBc5, true, false),
    Packed(85, 2, {0xF800, 0x7E0, 0x1F, 0}),
    Packed(86, 2, {0x7C00, 0x3E0, 0x1F, 0x8000}),
    Packed(87, 4, kBgra),
    Packed(88, 4, kBgrx),
    Packed(90, 4, kBgra),
    Packed(91, 4, kBgra),
    Packed(92, 4, kBgrx),
    Packed(93, 4, kBgrx),
    Blocks(97, DecodeBc7, true, true),
    Blocks(98, DecodeBc7, true, true),
    Blocks(99, DecodeBc7, true, true),
    Packed(115, 2, {0xF00, 0xF0, 0xF, 0xF000}),
};

constexpr UINT kDxt2 = FourCc("DXT2");
constexpr UINT kDxt4 = FourCc("DXT4");

// By the codes of older files, of four letters or a number.
constexpr Known kFourCcFormats[] = {
    Blocks(FourCc("DXT1"), DecodeBc1, false, true),
    Blocks(kDxt2, DecodeBc2, true, true),
    Blocks(FourCc("DXT3"), DecodeBc2, true, true),
    Blocks(kDxt4, DecodeBc3, true, true),
    Blocks(FourCc("DXT5"), DecodeBc3, true, true),
    Blocks(FourCc("ATI1"), DecodeBc4, false, false),
    Blocks(FourCc("BC4U"), DecodeBc4, false, false),
    Blocks(FourCc("BC4S"), DecodeSignedBc4, false, false),
    Blocks(FourCc("ATI2"), DecodeBc5, true, false),
    Blocks(FourCc("BC5U"), DecodeBc5, true, false),
    Blocks(FourCc("BC5S"), DecodeSignedBc5, true, false),
    Wide(36, Storage::kUnorm, 8, true),
    Wide(111, Storage::kHalf, 2, false),
    Wide(112, Storage::kHalf, 4, false),
    Wide(113, Storage::kHalf, 8, true),
    Wide(114, Storage::kFloat, 4, false),
    Wide(115, Storage::kFloat, 8, false),
    Wide(116, Storage::kFloat, 16, true),
};

HRESULT Take(const Known& known, DdsHeader* result) {
  result->storage = known.storage;
  result->unit_bytes = known.unit_bytes;
  result->decode_block = known.decode_block;
  result->has_alpha = known.has_alpha;
  const bool opened =
      known.storage != Storage::kPacked || result->packed.Open(known.unit_bytes, known.masks);
  return opened ? S_OK : WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
}

HRESULT Find(std::span<const Known> formats, UINT code, DdsHeader* result) {
  const auto found = std::ranges::find(formats, code, &Known::code);
  return found == formats.end() ? WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT : Take(*found, result);
}

// Pixels that the header itself describes.
HRESULT ReadMasks(const BYTE* header, UINT flags, DdsHeader* result) {
  const UINT bits = Get32(header + kBitCountAt);
  if (bits == 0 || bits > 32 || bits % 8 != 0) return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
  PackedPixels::Masks masks{};
  for (std::size_t i = 0; i < masks.size(); ++i) masks[i] = Get32(header + kMasksAt + 4 * i);
  if ((flags & (kAlphaPixels | kAlphaOnly)) == 0) masks[3] = 0;
  if ((flags & kLuminance) != 0) {
    masks[1] = masks[2] = masks[0];
  } else if ((flags & kRgb) == 0) {
    if ((flags & kAlphaOnly) == 0) return WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT;
    masks[0] = masks[1] = masks[2] = 0;
  }
  return Take(Packed(0, static_cast<BYTE>(bits / 8), masks), result);
}

}  // namespace

bool HasDdsExtension(const BYTE* header) {
  return (Get32(header + kFormatFlagsAt) & kFourCc) != 0 &&
         Get32(header + kFourCcAt) == FourCc("DX10");
}

HRESULT ReadDdsHeader(const BYTE* header, const BYTE* extension, DdsHeader* result) {
  if (!std::equal(std::begin(kDdsSignature), std::end(kDdsSignature), header) ||
      Get32(header + kSizeAt) != kHeaderSize || Get32(header + kFormatSizeAt) != kFormatSize) {
    return WINCODEC_ERR_BADHEADER;
  }
  result->width = Get32(header + kWidthAt);
  result->height = Get32(header + kHeightAt);
  const UINT flags = Get32(header + kFormatFlagsAt);
  if ((flags & kFourCc) == 0) return ReadMasks(header, flags, result);
  if (!HasDdsExtension(header)) {
    const UINT code = Get32(header + kFourCcAt);
    result->premultiplied = code == kDxt2 || code == kDxt4;
    return Find(kFourCcFormats, code, result);
  }
  const HRESULT found = Find(kDxgiFormats, Get32(extension + kDxgiFormatAt), result);
  if (FAILED(found)) return found;
  const UINT alpha_mode = Get32(extension + kAlphaModeAt) & kAlphaModeMask;
  result->premultiplied = alpha_mode == kPremultipliedAlpha;
  result->has_alpha = result->has_alpha && alpha_mode != kOpaqueAlpha;
  return S_OK;
}

}  // namespace Vantra::Platform
