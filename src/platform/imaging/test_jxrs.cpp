#include "platform/imaging/test_jxrs.h"

#include <algorithm>
#include <cstring>

#include "platform/imaging/jxr_stream.h"

namespace Vantra::Platform {
namespace {

unsigned BytesOfSample(JxrDepth depth) {
  switch (depth) {
    case JxrDepth::kBit:
    case JxrDepth::k8:
      return 1;
    case JxrDepth::kFixed32:
    case JxrDepth::kFloat:
    case JxrDepth::kTen:
      return 4;
    default:
      return 2;
  }
}

// Encodes `channels` samples a pixel with the bare library.
Bytes EncodeCodestream(const JxrPicture& picture, const std::vector<std::uint32_t>& samples,
                       unsigned channels, bool alpha) {
  const std::size_t width = picture.width;
  const std::size_t bytes = BytesOfSample(picture.depth);
  const bool bits = picture.depth == JxrDepth::kBit;
  const std::size_t stride = bits ? (width + 7) / 8 : width * channels * bytes;
  // The library reads whole blocks.
  Bytes rows(stride * ((picture.height + 15) / 16 * 16) + 64);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if (bits) {
      const auto bit = static_cast<BYTE>(samples[i] << (7 - i % width % 8));
      rows[i / width * stride + i % width / 8] |= bit;
    } else {
      std::memcpy(&rows[i * bytes], &samples[i], bytes);
    }
  }

  JxrTarget target;
  CWMImageInfo info{};
  info.cWidth = width;
  info.cHeight = picture.height;
  info.bdBitDepth = static_cast<BITDEPTH_BITS>(picture.depth);
  info.cBitsPerUnit = bits ? 1 : channels * bytes * 8;
  info.bRGB = TRUE;
  CWMIStrCodecParam parameters{};
  if (alpha || picture.colour == JxrColour::kGrey) {
    info.cfColorFormat = Y_ONLY;
    parameters.cfColorFormat = Y_ONLY;
  } else if (picture.colour == JxrColour::kCmyk) {
    info.cfColorFormat = CMYK;
    parameters.cfColorFormat = CMYK;
  } else {
    info.cfColorFormat = picture.colour == JxrColour::kRgbe ? CF_RGBE : CF_RGB;
    parameters.cfColorFormat = static_cast<COLORFORMAT>(picture.chroma);
  }
  parameters.bdBitDepth = BD_LONG;
  parameters.bfBitstreamFormat = picture.by_frequency ? FREQUENCY : SPATIAL;
  parameters.bProgressiveMode = picture.by_frequency ? TRUE : FALSE;
  parameters.olOverlap = static_cast<OVERLAP>(picture.overlap);
  parameters.sbSubband = SB_ALL;
  parameters.cChannel = channels;
  parameters.uiDefaultQPIndex = static_cast<U8>(picture.quantiser);
  if (picture.depth == JxrDepth::kFloat) parameters.nLenMantissaOrShift = 13;
  parameters.nExpBias = static_cast<I8>(4 + 128);
  parameters.cNumOfSliceMinus1V = picture.tiles_across - 1;
  for (unsigned i = 1; i < picture.tiles_across; ++i) parameters.uiTileX[i] = i;
  parameters.pWStream = &target;
  CTXSTRCODEC codec = nullptr;
  if (ImageStrEncInit(&info, &parameters, &codec) != ICERR_OK) return {};
  for (unsigned y = 0; y < picture.height; y += 16) {
    CWMImageBufferInfo buffer{};
    buffer.pv = &rows[y * stride];
    buffer.cLine = std::min(picture.height - y, 16u);
    buffer.cbStride = stride;
    if (ImageStrEncEncode(codec, &buffer) != ICERR_OK) return {};
  }
  return ImageStrEncTerm(codec) == ICERR_OK ? target.Written() : Bytes();
}

}  // namespace

GUID JxrFormat(BYTE number) {
  return {0x6FDDC324, 0x4E03, 0x4BFE, {0xB1, 0x85, 0x3D, 0x77, 0x76, 0x8D, 0xC9, number}};
}

unsigned JxrChannels(const JxrPicture& picture) {
  const bool packed = picture.depth == JxrDepth::kFive || picture.depth == JxrDepth::kTen ||
                      picture.depth == JxrDepth::kFiveSixFive;
  if (packed || picture.colour == JxrColour::kGrey) return 1;
  return picture.colour == JxrColour::kRgb ? 3 : 4;
}

Bytes EncodeJxr(const JxrPicture& picture) {
  const Bytes colours = EncodeCodestream(picture, picture.samples, JxrChannels(picture), false);
  const Bytes alpha =
      picture.alpha.empty() ? Bytes() : EncodeCodestream(picture, picture.alpha, 1, true);
  if (colours.empty()) return {};
  Bytes file;
  const auto put = [&file](std::size_t value, unsigned bytes) {
    for (unsigned i = 0; i < bytes; ++i) file.push_back(static_cast<BYTE>(value >> 8 * i));
  };
  // Behind the header and the directory.
  const std::size_t format = 8 + 2 + 5 * 12 + 4;
  const std::size_t picture_offset = format + 16;
  put(0x01BC4949, 4);
  put(8, 4);
  put(5, 2);
  const std::array<std::size_t, 3> entries[] = {
      {0xBC01, 16, format},        {0xBCC0, 1, picture_offset},
      {0xBCC1, 1, colours.size()}, {0xBCC2, 1, alpha.empty() ? 0 : picture_offset + colours.size()},
      {0xBCC3, 1, alpha.size()},
  };
  for (const auto& [tag, count, value] : entries) {
    put(tag, 2);
    put(tag == 0xBC01 ? 1 : 4, 2);
    put(count, 4);
    put(value, 4);
  }
  put(0, 4);
  const auto* guid = reinterpret_cast<const BYTE*>(&picture.format);
  file.insert(file.end(), guid, guid + sizeof picture.format);
  file.insert(file.end(), colours.begin(), colours.end());
  file.insert(file.end(), alpha.begin(), alpha.end());
  return file;
}

}  // namespace Vantra::Platform
