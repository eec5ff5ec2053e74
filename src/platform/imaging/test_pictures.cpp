#include "platform/imaging/test_pictures.h"

#include <cstdio>
#include <cstdlib>
#include <png.h>
#include <sys/resource.h>

// The library has a type of this name, of another size than the contract's.
#define INT32 JpegInt32
#include <jpeglib.h>
#undef INT32

namespace Vantra::Platform {
namespace {

unsigned Channels(PngColour colour) {
  switch (colour) {
    case PngColour::kGrey:
    case PngColour::kPalette:
      return 1;
    case PngColour::kGreyAlpha:
      return 2;
    case PngColour::kRgb:
      return 3;
    case PngColour::kRgba:
      return 4;
  }
  std::abort();
}

unsigned Channels(JpegColour colour) {
  if (colour == JpegColour::kGrey) return 1;
  return colour == JpegColour::kCmyk || colour == JpegColour::kYcck ? 4 : 3;
}

int LibraryColour(PngColour colour) {
  constexpr int kColours[] = {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_RGB, PNG_COLOR_TYPE_PALETTE,
                              PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB_ALPHA};
  return kColours[static_cast<int>(colour)];
}

J_COLOR_SPACE LibraryColour(JpegColour colour) {
  constexpr J_COLOR_SPACE kColours[] = {JCS_GRAYSCALE, JCS_YCbCr, JCS_RGB, JCS_CMYK, JCS_YCCK};
  return kColours[static_cast<int>(colour)];
}

void OnPngWrite(png_structp png, png_bytep bytes, std::size_t size) {
  auto* file = static_cast<Bytes*>(png_get_io_ptr(png));
  file->insert(file->end(), bytes, bytes + size);
}

// Rows of samples packed to bytes, the first in the highest bits.
Bytes PackSamples(const PngPicture& picture) {
  const unsigned row_samples = picture.width * Channels(picture.colour);
  const unsigned row_bytes = (row_samples * picture.depth + 7) / 8;
  Bytes packed(std::size_t{row_bytes} * picture.height);
  for (unsigned y = 0; y < picture.height; ++y) {
    for (unsigned i = 0; i < row_samples * picture.depth; ++i) {
      const unsigned sample = picture.samples[y * row_samples + i / picture.depth];
      const unsigned bit = sample >> (picture.depth - 1 - i % picture.depth) & 1;
      packed[y * row_bytes + i / 8] |= static_cast<BYTE>(bit << (7 - i % 8));
    }
  }
  return packed;
}

}  // namespace

std::uint32_t Noise::Below(std::uint32_t limit) {
  state_ ^= state_ << 13;
  state_ ^= state_ >> 17;
  state_ ^= state_ << 5;
  return static_cast<std::uint32_t>(std::uint64_t{state_} * limit >> 32);
}

PngPicture MakePng(PngColour colour, unsigned depth, unsigned width, unsigned height,
                   bool interlaced, bool transparent) {
  PngPicture picture{colour, depth, width, height, interlaced, {}, {}, {}};
  const unsigned channels = Channels(colour);
  Noise noise(width * 1000 + height * 10 + depth);
  // Few colours, so that the transparent one is met again.
  for (unsigned i = 0; i < width * height; ++i) {
    const unsigned level = noise.Below(1u << depth) | (depth == 16 ? noise.Below(4) : 0);
    for (unsigned channel = 0; channel < channels; ++channel) {
      picture.samples.push_back(i % 3 == 0 ? level : noise.Below(1u << depth));
    }
  }
  if (colour == PngColour::kPalette) {
    for (unsigned i = 0; i < 1u << depth; ++i) {
      const unsigned alpha = transparent ? noise.Below(256) : 255;
      picture.palette.push_back({static_cast<BYTE>(noise.Below(256)),
                                 static_cast<BYTE>(noise.Below(256)),
                                 static_cast<BYTE>(noise.Below(256)), static_cast<BYTE>(alpha)});
    }
  } else if (transparent && channels % 2 == 1) {
    const unsigned* first = picture.samples.data();
    picture.transparent = {first[0], channels > 1 ? first[1] : 0, channels > 1 ? first[2] : 0};
  }
  return picture;
}

Bytes EncodePng(const PngPicture& picture) {
  Bytes file;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_set_write_fn(png, &file, OnPngWrite, nullptr);
  png_set_IHDR(png, info, picture.width, picture.height, static_cast<int>(picture.depth),
               LibraryColour(picture.colour),
               picture.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (!picture.palette.empty()) {
    std::vector<png_color> colours;
    Bytes alphas;
    for (const auto& colour : picture.palette) {
      colours.push_back({colour[0], colour[1], colour[2]});
      alphas.push_back(colour[3]);
    }
    png_set_PLTE(png, info, colours.data(), static_cast<int>(colours.size()));
    png_set_tRNS(png, info, alphas.data(), static_cast<int>(alphas.size()), nullptr);
  }
  if (picture.transparent) {
    png_color_16 colour{};
    colour.gray = colour.red = static_cast<png_uint_16>((*picture.transparent)[0]);
    colour.green = static_cast<png_uint_16>((*picture.transparent)[1]);
    colour.blue = static_cast<png_uint_16>((*picture.transparent)[2]);
    png_set_tRNS(png, info, nullptr, 0, &colour);
  }
  // A gamma that would change every pixel if it were applied.
  png_set_gAMA(png, info, 1.0);
  png_write_info(png, info);
  Bytes packed = PackSamples(picture);
  std::vector<png_bytep> rows;
  for (unsigned y = 0; y < picture.height; ++y) {
    rows.push_back(packed.data() + y * (packed.size() / picture.height));
  }
  png_write_image(png, rows.data());
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  return file;
}

Bytes ExpectedRgba(const PngPicture& picture) {
  const unsigned channels = Channels(picture.colour);
  const unsigned most = (1u << picture.depth) - 1;
  const auto scale = [most](unsigned sample) {
    return static_cast<BYTE>((sample * 255 + most / 2) / most);
  };
  Bytes pixels;
  for (std::size_t i = 0; i < picture.samples.size(); i += channels) {
    const unsigned* sample = &picture.samples[i];
    if (picture.colour == PngColour::kPalette) {
      const auto& colour = picture.palette[sample[0]];
      pixels.insert(pixels.end(), colour.begin(), colour.end());
      continue;
    }
    const bool grey = channels < 3;
    const unsigned green = sample[grey ? 0 : 1];
    const unsigned blue = sample[grey ? 0 : 2];
    bool clear = false;
    if (picture.transparent) {
      const auto& key = *picture.transparent;
      clear = sample[0] == key[0] && (grey || (green == key[1] && blue == key[2]));
    }
    const bool has_alpha = channels % 2 == 0;
    pixels.push_back(scale(sample[0]));
    pixels.push_back(scale(green));
    pixels.push_back(scale(blue));
    pixels.push_back(has_alpha ? scale(sample[channels - 1]) : clear ? 0 : 255);
  }
  return pixels;
}

void RepairPngChecksums(std::span<BYTE> file) {
  constexpr std::size_t kSignature = 8;
  constexpr std::size_t kFraming = 12;  // length, type and check sum
  std::size_t at = kSignature;
  while (at + kFraming <= file.size()) {
    const std::size_t length = png_get_uint_32(&file[at]);
    if (length > file.size() - at - kFraming) return;
    std::uint32_t sum = 0xFFFFFFFF;
    for (std::size_t i = at + 4; i < at + 8 + length; ++i) {
      sum ^= file[i];
      for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ (sum & 1 ? 0xEDB88320 : 0);
    }
    png_save_uint_32(&file[at + 8 + length], ~sum);
    at += kFraming + length;
  }
}

JpegPicture MakeJpeg(JpegColour colour, JpegCoding coding, unsigned width, unsigned height) {
  JpegPicture picture;
  picture.colour = colour;
  picture.coding = coding;
  picture.width = width;
  picture.height = height;
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      const unsigned across = 255 * x / width;
      const unsigned down = 255 * y / height;
      const unsigned values[] = {across, down, (across + down) / 2, 255 - across / 2 - down / 4};
      for (unsigned channel = 0; channel < Channels(colour); ++channel) {
        picture.samples.push_back(static_cast<BYTE>(values[channel]));
      }
    }
  }
  return picture;
}

Bytes EncodeJpeg(const JpegPicture& picture) {
  jpeg_compress_struct jpeg{};
  jpeg_error_mgr errors{};
  jpeg.err = jpeg_std_error(&errors);
  jpeg_create_compress(&jpeg);
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&jpeg, &bytes, &size);
  const unsigned channels = Channels(picture.colour);
  jpeg.image_width = picture.width;
  jpeg.image_height = picture.height;
  jpeg.input_components = static_cast<int>(channels);
  jpeg.in_color_space = channels == 1 ? JCS_GRAYSCALE : channels == 3 ? JCS_RGB : JCS_CMYK;
  jpeg_set_defaults(&jpeg);
  jpeg_set_colorspace(&jpeg, LibraryColour(picture.colour));
  jpeg.write_Adobe_marker = picture.adobe;
  jpeg_set_quality(&jpeg, 100, TRUE);
  for (unsigned i = 0; i < channels; ++i) {
    const bool chroma = i == 1 || i == 2 || picture.colour == JpegColour::kRgb;
    jpeg.comp_info[i].h_samp_factor = chroma ? 1 : static_cast<int>(picture.chroma_across);
    jpeg.comp_info[i].v_samp_factor = chroma ? 1 : static_cast<int>(picture.chroma_down);
  }
  jpeg.arith_code = picture.arithmetic;
  jpeg.restart_in_rows = static_cast<int>(picture.restart_rows);
  std::vector<jpeg_scan_info> scans(channels);
  for (unsigned i = 0; i < channels; ++i) {
    scans[i] = {1, {static_cast<int>(i), 0, 0, 0}, 0, DCTSIZE2 - 1, 0, 0};
  }
  if (picture.coding == JpegCoding::kSeparateScans) {
    jpeg.scan_info = scans.data();
    jpeg.num_scans = static_cast<int>(scans.size());
  }
  if (picture.coding == JpegCoding::kProgressive) jpeg_simple_progression(&jpeg);
  jpeg_start_compress(&jpeg, TRUE);
  while (jpeg.next_scanline < jpeg.image_height) {
    JSAMPROW row = const_cast<JSAMPROW>(
        &picture.samples[std::size_t{jpeg.next_scanline} * picture.width * channels]);
    jpeg_write_scanlines(&jpeg, &row, 1);
  }
  jpeg_finish_compress(&jpeg);
  jpeg_destroy_compress(&jpeg);
  Bytes file(bytes, bytes + size);
  std::free(bytes);
  return file;
}

Bytes ExpectedRgba(const JpegPicture& picture) {
  const unsigned channels = Channels(picture.colour);
  Bytes pixels;
  for (std::size_t i = 0; i < picture.samples.size(); i += channels) {
    const BYTE* sample = &picture.samples[i];
    for (unsigned channel = 0; channel < 3; ++channel) {
      int value = sample[channels == 1 ? 0 : channel];
      if (channels == 4) {
        const int light = picture.adobe ? value : 255 - value;
        value = light * (picture.adobe ? sample[3] : 255 - sample[3]) / 255;
      }
      pixels.push_back(static_cast<BYTE>(value));
    }
    pixels.push_back(255);
  }
  return pixels;
}

BmpPicture MakeBmp(unsigned bits, unsigned width, unsigned height, bool top_down, bool alpha) {
  BmpPicture picture{bits, top_down, width, height, 40, 0, {}, {}, {}};
  if (alpha) {
    picture.header = 108;
    picture.compression = 3;
    picture.masks = {0xFF0000, 0xFF00, 0xFF, 0xFF000000};
  }
  Noise noise(bits * 1000 + width);
  const auto colour = [&] { return noise.Below(0x10000) << 16 | noise.Below(0x10000); };
  for (unsigned i = 0; i < width * height; ++i) {
    picture.samples.push_back(bits <= 16 ? noise.Below(1u << bits) : colour());
  }
  for (unsigned i = 0; bits <= 8 && i < 1u << bits; ++i) picture.palette.push_back(colour());
  return picture;
}

Bytes EncodeBmpHeader(const BmpPicture& picture, std::size_t pixel_bytes) {
  Bytes file;
  const auto put = [&file](std::uint32_t value, unsigned bytes) {
    for (unsigned i = 0; i < bytes; ++i) file.push_back(static_cast<BYTE>(value >> 8 * i));
  };
  const bool core = picture.header == 12;
  const bool masked = picture.compression == 3 || picture.compression == 6;
  const std::size_t masks = picture.header == 40 && masked ? picture.compression == 6 ? 16 : 12 : 0;
  const std::size_t palette = picture.palette.size() * (core ? 3 : 4);
  const auto pixels_at = static_cast<std::uint32_t>(14 + picture.header + masks + palette);
  put('B' | 'M' << 8, 2);
  put(static_cast<std::uint32_t>(pixels_at + pixel_bytes), 4);
  put(0, 4);
  put(pixels_at, 4);
  put(picture.header, 4);
  put(picture.width, core ? 2 : 4);
  put(picture.top_down ? 0u - picture.height : picture.height, core ? 2 : 4);
  put(1 | picture.bits << 16, 4);
  put(picture.compression, 4);
  put(static_cast<std::uint32_t>(pixel_bytes), 4);
  file.resize(14 + 40);
  for (const std::uint32_t mask : picture.masks) put(mask, 4);
  file.resize(14 + picture.header + masks);
  for (const std::uint32_t colour : picture.palette) put(colour, core ? 3 : 4);
  return file;
}

Bytes EncodeBmp(const BmpPicture& picture) {
  const unsigned row_bytes = (picture.width * picture.bits + 31) / 32 * 4;
  Bytes file = EncodeBmpHeader(picture, std::size_t{row_bytes} * picture.height);
  for (unsigned line = 0; line < picture.height; ++line) {
    const unsigned y = picture.top_down ? line : picture.height - 1 - line;
    const std::size_t start = file.size();
    file.resize(start + row_bytes);
    for (unsigned x = 0; x < picture.width; ++x) {
      const std::uint32_t sample = picture.samples[y * picture.width + x];
      for (unsigned bit = 0; picture.bits < 8 && bit < picture.bits; ++bit) {
        const unsigned at = x * picture.bits + bit;
        const unsigned value = sample >> (picture.bits - 1 - bit) & 1;
        file[start + at / 8] |= static_cast<BYTE>(value << (7 - at % 8));
      }
      for (unsigned byte = 0; byte < picture.bits / 8; ++byte) {
        file[start + x * (picture.bits / 8) + byte] = static_cast<BYTE>(sample >> 8 * byte);
      }
    }
  }
  return file;
}

Bytes ExpectedRgba(const BmpPicture& picture) {
  std::array<std::uint32_t, 4> masks = picture.masks;
  if (picture.compression == 0) masks = {0xFF0000, 0xFF00, 0xFF, 0};
  if (picture.compression == 0 && picture.bits == 16) masks = {0x7C00, 0x3E0, 0x1F, 0};
  Bytes pixels;
  for (const std::uint32_t sample : picture.samples) {
    const std::uint32_t colour = picture.bits <= 8 ? picture.palette[sample] : sample;
    for (const std::uint32_t mask : masks) {
      // The channel's bits, gathered from the highest.
      std::uint64_t value = 0;
      std::uint64_t most = 0;
      for (unsigned bit = 32; bit-- > 0;) {
        if ((mask >> bit & 1) == 0) continue;
        value = value * 2 + (colour >> bit & 1);
        most = most * 2 + 1;
      }
      const bool alpha = pixels.size() % 4 == 3;
      const std::uint64_t level = most == 0 ? (alpha ? 255 : 0) : (value * 510 + most) / (most * 2);
      pixels.push_back(static_cast<BYTE>(level));
    }
  }
  return pixels;
}

long PeakMemory() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

CComPtr<IWICImagingFactory2> MakeFactory() {
  CComPtr<IWICImagingFactory2> factory;
  const HRESULT result = CoCreateInstance(CLSID_WICImagingFactory2, nullptr, CLSCTX_INPROC_SERVER,
                                          IID_PPV_ARGS(&factory));
  if (FAILED(result)) std::abort();
  return factory;
}

CComPtr<IWICStream> MakeStream(std::span<const BYTE> file) {
  static BYTE nothing = 0;
  CComPtr<IWICStream> stream;
  BYTE* bytes = file.empty() ? &nothing : const_cast<BYTE*>(file.data());
  if (FAILED(MakeFactory()->CreateStream(&stream)) ||
      FAILED(stream->InitializeFromMemory(bytes, static_cast<DWORD>(file.size())))) {
    std::abort();
  }
  return stream;
}

namespace {

CComPtr<IWICBitmapSource> Converted(IWICBitmapSource* source, const WICPixelFormatGUID& format) {
  CComPtr<IWICFormatConverter> converter;
  if (FAILED(MakeFactory()->CreateFormatConverter(&converter)) ||
      FAILED(converter->Initialize(source, format, WICBitmapDitherTypeNone, nullptr, 0,
                                   WICBitmapPaletteTypeCustom))) {
    std::abort();
  }
  return converter.p;
}

}  // namespace

CComPtr<IWICBitmapSource> AsRgba(IWICBitmapSource* source) {
  return Converted(source, GUID_WICPixelFormat32bppRGBA);
}

HRESULT OpenDecoder(IStream* stream, IWICBitmapDecoder** decoder) {
  return MakeFactory()->CreateDecoderFromStream(stream, nullptr, WICDecodeMetadataCacheOnDemand,
                                                decoder);
}

CComPtr<IWICBitmapFrameDecode> OpenFrame(IStream* stream) {
  CComPtr<IWICBitmapDecoder> decoder;
  CComPtr<IWICBitmapFrameDecode> frame;
  if (SUCCEEDED(OpenDecoder(stream, &decoder))) decoder->GetFrame(0, &frame);
  return frame;
}

DecodedPicture DecodeFrame(IWICBitmapDecoder* decoder, UINT index, const WICPixelFormatGUID& format,
                           UINT64 most_pixels) {
  DecodedPicture decoded;
  decoded.opened = decoder->GetFrameCount(&decoded.count);
  CComPtr<IWICBitmapFrameDecode> frame;
  decoded.frame = decoder->GetFrame(index, &frame);
  if (FAILED(decoded.frame)) return decoded;
  frame->GetSize(&decoded.width, &decoded.height);
  if (UINT64{decoded.width} * decoded.height > most_pixels) return decoded;
  // What the decoder must fill or zero is neither to begin with.
  constexpr BYTE kUntouched = 0xA5;
  decoded.pixels.assign(std::size_t{decoded.width} * decoded.height * 4, kUntouched);
  decoded.copied =
      Converted(frame, format)
          ->CopyPixels(nullptr, decoded.width * 4, static_cast<UINT>(decoded.pixels.size()),
                       decoded.pixels.data());
  return decoded;
}

DecodedPicture DecodeFrame(std::span<const BYTE> file, UINT index, const WICPixelFormatGUID& format,
                           UINT64 most_pixels) {
  CComPtr<IWICBitmapDecoder> decoder;
  DecodedPicture decoded;
  decoded.opened = OpenDecoder(MakeStream(file), &decoder);
  return FAILED(decoded.opened) ? decoded : DecodeFrame(decoder.p, index, format, most_pixels);
}

DecodedPicture DecodePicture(std::span<const BYTE> file, UINT64 most_pixels) {
  DecodedPicture decoded = DecodeFrame(file, 0, GUID_WICPixelFormat32bppRGBA, most_pixels);
  if (SUCCEEDED(decoded.opened)) decoded.opened = decoded.frame;
  return decoded;
}

Bytes EncodeRgba(const GUID& container, UINT width, UINT height, Bytes pixels) {
  // More than any encoder makes of noise.
  Bytes file(pixels.size() * 2 + 65536);
  const auto factory = MakeFactory();
  CComPtr<IWICStream> stream;
  CComPtr<IWICBitmapEncoder> encoder;
  CComPtr<IWICBitmapFrameEncode> frame;
  WICPixelFormatGUID format = GUID_WICPixelFormat32bppRGBA;
  ULARGE_INTEGER end{};
  const bool written =
      SUCCEEDED(factory->CreateStream(&stream)) &&
      SUCCEEDED(stream->InitializeFromMemory(file.data(), static_cast<DWORD>(file.size()))) &&
      SUCCEEDED(factory->CreateEncoder(container, nullptr, &encoder)) &&
      SUCCEEDED(encoder->Initialize(stream, WICBitmapEncoderNoCache)) &&
      SUCCEEDED(encoder->CreateNewFrame(&frame, nullptr)) &&
      SUCCEEDED(frame->Initialize(nullptr)) && SUCCEEDED(frame->SetSize(width, height)) &&
      SUCCEEDED(frame->SetPixelFormat(&format)) &&
      SUCCEEDED(
          frame->WritePixels(height, width * 4, static_cast<UINT>(pixels.size()), pixels.data())) &&
      SUCCEEDED(frame->Commit()) && SUCCEEDED(encoder->Commit()) &&
      SUCCEEDED(stream->Seek({0}, STREAM_SEEK_CUR, &end));
  file.resize(written ? end.QuadPart : 0);
  return file;
}

}  // namespace Vantra::Platform
