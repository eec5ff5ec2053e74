#include "platform/imaging/test_tiffs.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "platform/imaging/tiff_stream.h"

namespace Vantra::Platform {
namespace {

// Bits of a float of 16 bits that are normal, or zero.
std::uint64_t HalfBits(double value) {
  if (value == 0) return 0;
  int exponent = 0;
  const double fraction = std::frexp(std::abs(value), &exponent);  // 0.5 to 1
  const auto bits = static_cast<std::uint64_t>((fraction * 2 - 1) * 1024);
  return (value < 0 ? 0x8000u : 0u) | static_cast<std::uint64_t>(exponent + 14) << 10 | bits;
}

std::uint64_t FloatBits(double value, unsigned bits) {
  if (bits == 16) return HalfBits(value);
  if (bits == 32) return std::bit_cast<std::uint32_t>(static_cast<float>(value));
  return std::bit_cast<std::uint64_t>(value);
}

double FloatOf(std::uint64_t bits, unsigned width) {
  if (width == 64) return std::bit_cast<double>(bits);
  if (width == 32) return std::bit_cast<float>(static_cast<std::uint32_t>(bits));
  if ((bits & 0x7FFF) == 0) return 0;
  const double size =
      std::ldexp(1024 + static_cast<double>(bits & 1023), static_cast<int>(bits >> 10 & 31) - 25);
  return (bits & 0x8000) != 0 ? -size : size;
}

// What a sample stands for, 0 to 1.
double ValueOf(const TiffPicture& picture, std::uint64_t stored) {
  const double full = std::ldexp(1.0, picture.bits) - 1;
  if (picture.kind == SAMPLEFORMAT_UINT) return static_cast<double>(stored) / full;
  if (picture.kind == SAMPLEFORMAT_IEEEFP) {
    return std::clamp(FloatOf(stored, picture.bits), 0.0, 1.0);
  }
  const double half = std::ldexp(1.0, picture.bits - 1);
  const double number = static_cast<double>(stored);
  return number >= half ? 0 : number / (half - 1);
}

double Rounded(double value) { return std::floor(value * 255 + 0.5); }

// Appends a sample, those narrower than a byte from the highest bit on.
class Packer {
 public:
  explicit Packer(unsigned bits) : bits_(bits) {}

  void Put(std::uint64_t value) {
    if (bits_ % 8 == 0) {
      const auto* bytes = reinterpret_cast<const BYTE*>(&value);
      out_.insert(out_.end(), bytes, bytes + bits_ / 8);
      return;
    }
    for (unsigned bit = bits_; bit-- > 0;) {
      if (used_ % 8 == 0) out_.push_back(0);
      out_.back() = static_cast<BYTE>(out_.back() | (value >> bit & 1) << (7 - used_ % 8));
      ++used_;
    }
  }
  void EndRow() { used_ = 0; }
  Bytes& Out() { return out_; }

 private:
  unsigned bits_;
  unsigned used_ = 0;
  Bytes out_;
};

// A part of the picture, with zeros beyond its edges: all samples, or those of one plane.
Bytes Pack(const TiffPicture& picture, unsigned left, unsigned top, unsigned width, unsigned height,
           std::optional<unsigned> plane) {
  Packer packer(picture.bits);
  for (unsigned y = top; y < top + height; ++y) {
    for (unsigned x = left; x < left + width; ++x) {
      for (unsigned s = 0; s < picture.samples; ++s) {
        if (plane && s != *plane) continue;
        const bool inside = x < picture.width && y < picture.height;
        const std::size_t at = (std::size_t{y} * picture.width + x) * picture.samples + s;
        packer.Put(inside ? picture.values[at] : 0);
      }
    }
    packer.EndRow();
  }
  return std::move(packer.Out());
}

void SetTags(TIFF* tiff, const TiffPicture& picture) {
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, picture.width);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, picture.height);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, picture.bits);
  TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, picture.kind);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, picture.samples);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, picture.photometric);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, picture.compression);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG,
               picture.planes ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
  if (picture.photometric == PHOTOMETRIC_YCBCR) TIFFSetField(tiff, TIFFTAG_YCBCRSUBSAMPLING, 1, 1);
  if (picture.compression == COMPRESSION_JPEG && picture.photometric == PHOTOMETRIC_YCBCR) {
    TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
  }
  const std::vector<std::uint16_t> extra(picture.samples - picture.Colours(), picture.extra);
  if (!extra.empty()) TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, extra.size(), extra.data());
  if (picture.photometric == PHOTOMETRIC_PALETTE) {
    std::vector<std::uint16_t> channels[3];
    for (std::size_t c = 0; c < 3; ++c) {
      for (const auto& colour : picture.palette) channels[c].push_back(colour[c]);
    }
    TIFFSetField(tiff, TIFFTAG_COLORMAP, channels[0].data(), channels[1].data(),
                 channels[2].data());
  }
  if (picture.tile != 0) {
    TIFFSetField(tiff, TIFFTAG_TILEWIDTH, picture.tile);
    TIFFSetField(tiff, TIFFTAG_TILELENGTH, picture.tile);
  } else {
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, picture.rows_per_strip);
  }
}

}  // namespace

unsigned TiffPicture::Colours() const {
  switch (photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_PALETTE:
      return 1;
    case PHOTOMETRIC_SEPARATED:
      return 4;
    default:
      return 3;
  }
}

void FillTiff(TiffPicture& picture, std::uint32_t seed) {
  Noise noise(seed);
  const auto random = [&]() -> std::uint64_t {
    if (picture.kind == SAMPLEFORMAT_IEEEFP) {
      return FloatBits(noise.Below(1 << 16) / 43690.0 - 0.25, picture.bits);
    }
    std::uint64_t value = 0;
    for (unsigned bit = 0; bit < picture.bits; bit += 16)
      value = value << 16 | noise.Below(1 << 16);
    return value & ((std::uint64_t{1} << picture.bits) - 1);
  };
  picture.values.resize(std::size_t{picture.width} * picture.height * picture.samples);
  for (std::uint64_t& value : picture.values) value = random();
  if (picture.extra == EXTRASAMPLE_ASSOCALPHA) {
    for (std::size_t i = 0; i < picture.values.size(); i += picture.samples) {
      const std::uint64_t alpha = picture.values[i + picture.samples - 1];
      for (std::size_t s = 0; s + 1 < picture.samples; ++s) {
        picture.values[i + s] = std::min(picture.values[i + s], alpha);
      }
    }
  }
  if (picture.photometric == PHOTOMETRIC_PALETTE) {
    picture.palette.resize(std::size_t{1} << picture.bits);
    for (auto& colour : picture.palette) {
      for (std::uint16_t& channel : colour) {
        channel = static_cast<std::uint16_t>(noise.Below(1 << 16));
      }
    }
  }
}

Bytes EncodeTiff(std::span<const TiffPicture> pages) {
  TiffTarget target;
  TiffHandle tiff = OpenTiffTarget(target, pages.front().mode);
  for (const TiffPicture& page : pages) {
    SetTags(tiff.get(), page);
    const unsigned width = page.tile != 0 ? page.tile : page.width;
    const unsigned height = page.tile != 0 ? page.tile : page.rows_per_strip;
    std::uint32_t part = 0;
    for (unsigned plane = 0; plane < (page.planes ? page.samples : 1u); ++plane) {
      for (unsigned y = 0; y < page.height; y += height) {
        for (unsigned x = 0; x < page.width; x += width) {
          const unsigned rows = page.tile != 0 ? height : std::min(height, page.height - y);
          Bytes bytes =
              Pack(page, x, y, width, rows, page.planes ? std::optional(plane) : std::nullopt);
          const auto size = static_cast<tmsize_t>(bytes.size());
          if (page.tile != 0) {
            TIFFWriteEncodedTile(tiff.get(), part++, bytes.data(), size);
          } else {
            TIFFWriteEncodedStrip(tiff.get(), part++, bytes.data(), size);
          }
        }
      }
    }
    TIFFWriteDirectory(tiff.get());
  }
  tiff.reset();
  return std::move(target.bytes);
}

Bytes ExpectedPbgra(const TiffPicture& picture) {
  Bytes pixels;
  const bool has_alpha =
      picture.samples > picture.Colours() && picture.extra != EXTRASAMPLE_UNSPECIFIED;
  for (std::size_t i = 0; i < picture.values.size(); i += picture.samples) {
    const auto level = [&](std::size_t sample) {
      return Rounded(ValueOf(picture, picture.values[i + sample]));
    };
    std::array<double, 3> colour{};
    switch (picture.photometric) {
      case PHOTOMETRIC_MINISWHITE:
        colour.fill(255 - level(0));
        break;
      case PHOTOMETRIC_MINISBLACK:
        colour.fill(level(0));
        break;
      case PHOTOMETRIC_PALETTE:
        for (std::size_t c = 0; c < 3; ++c) {
          colour[c] = Rounded(picture.palette[picture.values[i]][c] / 65535.0);
        }
        break;
      case PHOTOMETRIC_SEPARATED:
        for (std::size_t c = 0; c < 3; ++c) {
          colour[c] = Rounded((255 - level(c)) * (255 - level(3)) / 255 / 255);
        }
        break;
      default:
        for (std::size_t c = 0; c < 3; ++c) colour[c] = level(c);
    }
    const double alpha = has_alpha ? level(picture.samples - 1u) : 255;
    for (std::size_t c = 3; c-- > 0;) {
      const bool multiplied = !has_alpha || picture.extra == EXTRASAMPLE_ASSOCALPHA;
      pixels.push_back(
          static_cast<BYTE>(multiplied ? colour[c] : Rounded(colour[c] * alpha / 255 / 255)));
    }
    pixels.push_back(static_cast<BYTE>(alpha));
  }
  return pixels;
}

}  // namespace Vantra::Platform
