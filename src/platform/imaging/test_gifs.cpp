#include "platform/imaging/test_gifs.h"

#include <algorithm>
#include <bit>
#include <sstream>

namespace Vantra::Platform {
namespace {

void Put16(Bytes* file, unsigned value) {
  file->push_back(static_cast<BYTE>(value));
  file->push_back(static_cast<BYTE>(value >> 8));
}

void PutPalette(Bytes* file, const GifPalette& palette) {
  for (const auto& colour : palette) file->insert(file->end(), colour.begin(), colour.end());
}

// Flags of a palette: its presence, and the power of two of its size.
BYTE PaletteFlags(const GifPalette& palette) {
  if (palette.empty()) return 0;
  return static_cast<BYTE>(0x80 | (std::bit_width(palette.size()) - 2));
}

void PutSubBlocks(Bytes* file, const Bytes& data) {
  for (std::size_t at = 0; at < data.size(); at += 255) {
    const std::size_t size = std::min<std::size_t>(255, data.size() - at);
    file->push_back(static_cast<BYTE>(size));
    const auto start = data.begin() + static_cast<std::ptrdiff_t>(at);
    file->insert(file->end(), start, start + static_cast<std::ptrdiff_t>(size));
  }
  file->push_back(0);
}

// The rows of a frame in the order in which they are stored.
std::vector<unsigned> RowOrder(const GifPatch& patch) {
  std::vector<unsigned> rows;
  if (!patch.interlaced) {
    for (unsigned y = 0; y < patch.height; ++y) rows.push_back(y);
    return rows;
  }
  for (unsigned y = 0; y < patch.height; y += 8) rows.push_back(y);
  for (unsigned y = 4; y < patch.height; y += 8) rows.push_back(y);
  for (unsigned y = 2; y < patch.height; y += 4) rows.push_back(y);
  for (unsigned y = 1; y < patch.height; y += 2) rows.push_back(y);
  return rows;
}

// Codes of one pixel each, with the table cleared before their width would grow.
Bytes Compress(const GifPatch& patch, unsigned code_size) {
  Bytes packed;
  unsigned bits = 0;
  unsigned pending = 0;
  const auto put = [&](unsigned code) {
    pending |= code << bits;
    for (bits += code_size + 1; bits >= 8; bits -= 8, pending >>= 8) {
      packed.push_back(static_cast<BYTE>(pending));
    }
  };
  const unsigned clear = 1u << code_size;
  unsigned since_clear = 0;
  put(clear);
  for (const unsigned y : RowOrder(patch)) {
    for (unsigned x = 0; x < patch.width; ++x) {
      if (since_clear++ == clear - 2) {
        put(clear);
        since_clear = 1;
      }
      put(patch.indexes[y * patch.width + x]);
    }
  }
  put(clear + 1);
  if (bits > 0) packed.push_back(static_cast<BYTE>(pending));
  return packed;
}

}  // namespace

GifPalette MakeGifPalette(unsigned colours, unsigned seed) {
  Noise noise(seed);
  GifPalette palette(colours);
  for (auto& colour : palette) {
    for (BYTE& channel : colour) channel = static_cast<BYTE>(noise.Below(256));
  }
  return palette;
}

GifPatch MakeGifPatch(unsigned colours, unsigned width, unsigned height, bool interlaced) {
  GifPatch patch;
  patch.width = width;
  patch.height = height;
  patch.interlaced = interlaced;
  Noise noise(colours + width);
  for (unsigned i = 0; i < width * height; ++i) {
    patch.indexes.push_back(static_cast<BYTE>(noise.Below(colours)));
  }
  return patch;
}

GifPicture MakeGif(unsigned colours, bool interlaced, bool transparent) {
  GifPicture picture;
  picture.width = 21;
  picture.height = 30;
  picture.palette = MakeGifPalette(colours, colours);
  picture.frames = {MakeGifPatch(colours, 21, 19, interlaced),
                    MakeGifPatch(colours, 9, 17, !interlaced)};
  GifPatch& second = picture.frames[1];
  second.left = 5;
  second.top = 300;
  second.palette = MakeGifPalette(colours, colours + 1);
  second.delay = 1000;
  second.disposal = 3;
  if (transparent) {
    for (GifPatch& patch : picture.frames) patch.transparent = static_cast<BYTE>(colours / 2);
  }
  return picture;
}

Bytes MakeGifApplication(const char* name, const Bytes& data) {
  constexpr std::size_t kNameBytes = 11;
  Bytes extension = {0x21, 0xFF, kNameBytes};
  extension.resize(3 + kNameBytes);
  std::copy_n(name, kNameBytes, extension.begin() + 3);
  PutSubBlocks(&extension, data);
  return extension;
}

Bytes EncodeGif(const GifPicture& picture) {
  Bytes file = {'G', 'I', 'F', '8', '9', 'a'};
  Put16(&file, picture.width);
  Put16(&file, picture.height);
  file.insert(file.end(), {PaletteFlags(picture.palette), picture.background, picture.aspect});
  PutPalette(&file, picture.palette);
  file.insert(file.end(), picture.before_frames.begin(), picture.before_frames.end());
  for (const GifPatch& patch : picture.frames) {
    if (patch.transparent || patch.delay || patch.disposal) {
      const unsigned flags = patch.disposal.value_or(0) << 2 | (patch.transparent ? 1 : 0);
      file.insert(file.end(), {0x21, 0xF9, 4, static_cast<BYTE>(flags)});
      Put16(&file, patch.delay.value_or(0));
      file.insert(file.end(), {patch.transparent.value_or(0), 0});
    }
    file.push_back(0x2C);
    for (const unsigned value : {patch.left, patch.top, patch.width, patch.height}) {
      Put16(&file, value);
    }
    file.push_back(static_cast<BYTE>(PaletteFlags(patch.palette) | (patch.interlaced ? 0x40 : 0)));
    PutPalette(&file, patch.palette);
    const std::size_t colours = (patch.palette.empty() ? picture.palette : patch.palette).size();
    const unsigned code_size =
        colours <= 4 ? 2 : static_cast<unsigned>(std::bit_width(colours)) - 1;
    file.push_back(static_cast<BYTE>(code_size));
    PutSubBlocks(&file, Compress(patch, code_size));
  }
  file.push_back(0x3B);
  return file;
}

Bytes ExpectedRgba(const GifPicture& picture, const GifPatch& patch) {
  const GifPalette& palette = patch.palette.empty() ? picture.palette : patch.palette;
  Bytes pixels;
  for (const BYTE index : patch.indexes) {
    if (patch.transparent == index) {
      pixels.insert(pixels.end(), 4, 0);
    } else {
      pixels.insert(pixels.end(), palette[index].begin(), palette[index].end());
      pixels.push_back(255);
    }
  }
  return pixels;
}

std::string DescribeValue(IWICMetadataQueryReader* reader, LPCWSTR name) {
  PROPVARIANT value;
  PropVariantInit(&value);
  const HRESULT result = reader->GetMetadataByName(name, &value);
  std::ostringstream text;
  if (reader->GetMetadataByName(name, nullptr) != result) text << "two answers ";
  if (value.vt == VT_EMPTY) text << std::hex << static_cast<unsigned>(result);
  if (value.vt == VT_BOOL) text << "bool " << (value.boolVal == VARIANT_TRUE);
  if (value.vt == VT_UI1) text << "ui1 " << unsigned{value.bVal};
  if (value.vt == VT_UI2) text << "ui2 " << value.uiVal;
  if (value.vt == (VT_VECTOR | VT_UI1)) {
    text << "bytes";
    for (ULONG i = 0; i < value.caub.cElems; ++i) text << ' ' << unsigned{value.caub.pElems[i]};
  }
  if (PropVariantClear(&value) != S_OK || value.vt != VT_EMPTY) text << " not cleared";
  return text.str();
}

}  // namespace Vantra::Platform
