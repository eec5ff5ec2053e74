#include "bench/pictures/bare_coders.h"

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gif_lib.h>
#include <jpeglib.h>
#include <png.h>
#include <random>
#include <stdexcept>
#include <tiffio.h>
#include <webp/decode.h>
#include <webp/encode.h>

namespace Vantra::Bench {
namespace {

constexpr std::size_t kPixels = std::size_t{kPictureWidth} * kPictureHeight;
constexpr std::size_t kRowBytes = std::size_t{kPictureWidth} * 4;

void Require(bool done, const char* what) {
  if (!done) throw std::runtime_error(what);
}

// What a library reads from or writes to.
struct Cursor {
  std::span<const unsigned char> file;
  Bytes written;
  std::size_t position = 0;

  std::size_t Read(void* bytes, std::size_t size) {
    const std::size_t count = std::min(size, file.size() - std::min(position, file.size()));
    std::memcpy(bytes, file.data() + position, count);
    position += count;
    return count;
  }
  void Write(const void* bytes, std::size_t size) {
    written.resize(std::max(written.size(), position + size));
    std::memcpy(written.data() + position, bytes, size);
    position += size;
  }
};

Bytes EncodePng(const Bytes& pixels, bool with_alpha) {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  Cursor cursor;
  // Errors are those of the program: nothing here can fail but for memory.
  png_set_write_fn(
      png, &cursor,
      [](png_structp to, png_bytep bytes, std::size_t size) {
        static_cast<Cursor*>(png_get_io_ptr(to))->Write(bytes, size);
      },
      nullptr);
  png_set_IHDR(png, info, kPictureWidth, kPictureHeight, 8,
               with_alpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  png_set_bgr(png);
  if (!with_alpha) png_set_filler(png, 0, PNG_FILLER_AFTER);
  for (int y = 0; y < kPictureHeight; ++y) {
    png_write_row(png, pixels.data() + static_cast<std::size_t>(y) * kRowBytes);
  }
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  return std::move(cursor.written);
}

void DecodePng(std::span<const unsigned char> file, Bytes* pixels) {
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  Cursor cursor{file, {}};
  png_set_read_fn(png, &cursor, [](png_structp from, png_bytep bytes, std::size_t size) {
    static_cast<Cursor*>(png_get_io_ptr(from))->Read(bytes, size);
  });
  png_read_info(png, info);
  const std::size_t row_bytes = png_get_rowbytes(png, info);
  pixels->resize(row_bytes * kPictureHeight);
  for (std::size_t y = 0; y < kPictureHeight; ++y) {
    png_read_row(png, pixels->data() + y * row_bytes, nullptr);
  }
  png_read_end(png, nullptr);
  png_destroy_read_struct(&png, &info, nullptr);
}

Bytes EncodeJpeg(const Bytes& pixels, int chroma_side) {
  jpeg_compress_struct jpeg{};
  jpeg_error_mgr errors{};
  jpeg.err = jpeg_std_error(&errors);
  jpeg_create_compress(&jpeg);
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&jpeg, &bytes, &size);
  jpeg.image_width = kPictureWidth;
  jpeg.image_height = kPictureHeight;
  jpeg.input_components = 4;
  jpeg.in_color_space = JCS_EXT_BGRX;
  jpeg_set_defaults(&jpeg);
  jpeg_set_quality(&jpeg, 90, TRUE);
  jpeg.comp_info[0].h_samp_factor = jpeg.comp_info[0].v_samp_factor = chroma_side;
  jpeg_start_compress(&jpeg, TRUE);
  for (std::size_t y = 0; y < kPictureHeight; ++y) {
    auto* row = const_cast<JSAMPROW>(pixels.data() + y * kRowBytes);
    jpeg_write_scanlines(&jpeg, &row, 1);
  }
  jpeg_finish_compress(&jpeg);
  jpeg_destroy_compress(&jpeg);
  Bytes file(bytes, bytes + size);
  std::free(bytes);
  return file;
}

void DecodeJpeg(std::span<const unsigned char> file, Bytes* pixels) {
  jpeg_decompress_struct jpeg{};
  jpeg_error_mgr errors{};
  jpeg.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&jpeg);
  jpeg_mem_src(&jpeg, file.data(), file.size());
  jpeg_read_header(&jpeg, TRUE);
  jpeg_start_decompress(&jpeg);
  const std::size_t row_bytes = std::size_t{jpeg.output_width} * 3;
  pixels->resize(row_bytes * jpeg.output_height);
  while (jpeg.output_scanline < jpeg.output_height) {
    JSAMPROW row = pixels->data() + jpeg.output_scanline * row_bytes;
    jpeg_read_scanlines(&jpeg, &row, 1);
  }
  jpeg_finish_decompress(&jpeg);
  jpeg_destroy_decompress(&jpeg);
}

TIFF* OpenTiff(Cursor* cursor, const char* mode) {
  return TIFFClientOpen(
      "", mode, cursor,
      [](thandle_t from, void* bytes, tmsize_t size) {
        return static_cast<tmsize_t>(
            static_cast<Cursor*>(from)->Read(bytes, static_cast<std::size_t>(size)));
      },
      [](thandle_t to, void* bytes, tmsize_t size) {
        static_cast<Cursor*>(to)->Write(bytes, static_cast<std::size_t>(size));
        return size;
      },
      [](thandle_t in, toff_t offset, int whence) -> toff_t {
        auto* moved = static_cast<Cursor*>(in);
        if (whence == SEEK_CUR) offset += moved->position;
        if (whence == SEEK_END) offset += moved->written.size();
        moved->position = offset;
        return offset;
      },
      [](thandle_t) { return 0; },
      [](thandle_t in) -> toff_t {
        auto* sized = static_cast<Cursor*>(in);
        return std::max(sized->file.size(), sized->written.size());
      },
      [](thandle_t, void**, toff_t*) { return 0; }, [](thandle_t, void*, toff_t) {});
}

Bytes EncodeTiff(const Bytes& pixels, int compression) {
  Cursor cursor;
  TIFF* tiff = OpenTiff(&cursor, "wl");
  Require(tiff != nullptr, "TIFFClientOpen");
  const bool with_alpha = compression == COMPRESSION_LZW;
  const std::size_t samples = with_alpha ? 4 : 3;
  const std::uint16_t alpha = EXTRASAMPLE_UNASSALPHA;
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kPictureWidth);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kPictureHeight);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, static_cast<int>(samples));
  if (with_alpha) TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &alpha);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
  if (compression != COMPRESSION_NONE) {
    TIFFSetField(tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
  }
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 8);
  Bytes row(kPictureWidth * samples);
  for (std::uint32_t y = 0; y < kPictureHeight; ++y) {
    const unsigned char* in = pixels.data() + y * kRowBytes;
    for (std::size_t x = 0; x < kPictureWidth; ++x, in += 4) {
      for (std::size_t i = 0; i < samples; ++i) row[x * samples + i] = in[i < 3 ? 2 - i : i];
    }
    Require(TIFFWriteScanline(tiff, row.data(), y, 0) == 1, "TIFFWriteScanline");
  }
  TIFFClose(tiff);
  return std::move(cursor.written);
}

void DecodeTiff(std::span<const unsigned char> file, Bytes* pixels) {
  Cursor cursor{file, {}};
  TIFF* tiff = OpenTiff(&cursor, "r");
  Require(tiff != nullptr, "TIFFClientOpen");
  const auto row_bytes = static_cast<std::size_t>(TIFFScanlineSize(tiff));
  pixels->resize(row_bytes * kPictureHeight);
  for (std::uint32_t y = 0; y < kPictureHeight; ++y) {
    Require(TIFFReadScanline(tiff, pixels->data() + y * row_bytes, y, 0) == 1, "TIFFReadScanline");
  }
  TIFFClose(tiff);
}

Bytes EncodeWebp(const Bytes& pixels, bool lossless) {
  WebPConfig config;
  WebPPicture picture;
  WebPMemoryWriter writer;
  Require(WebPConfigInit(&config) != 0 && WebPPictureInit(&picture) != 0, "WebPConfigInit");
  if (lossless) WebPConfigLosslessPreset(&config, 2);
  config.exact = lossless ? 1 : 0;
  picture.use_argb = lossless ? 1 : 0;
  picture.width = kPictureWidth;
  picture.height = kPictureHeight;
  const int stride = static_cast<int>(kRowBytes);
  const int imported = lossless ? WebPPictureImportBGRA(&picture, pixels.data(), stride)
                                : WebPPictureImportBGRX(&picture, pixels.data(), stride);
  WebPMemoryWriterInit(&writer);
  picture.writer = WebPMemoryWrite;
  picture.custom_ptr = &writer;
  const bool done = imported != 0 && WebPEncode(&config, &picture) != 0;
  Bytes file(writer.mem, writer.mem + writer.size);
  WebPMemoryWriterClear(&writer);
  WebPPictureFree(&picture);
  Require(done, "WebPEncode");
  return file;
}

template <std::size_t kSamples, auto kDecode>
void DecodeWebp(std::span<const unsigned char> file, Bytes* pixels) {
  pixels->resize(kPixels * kSamples);
  Require(kDecode(file.data(), file.size(), pixels->data(), pixels->size(),
                  static_cast<int>(kPictureWidth * kSamples)) != nullptr,
          "WebPDecode");
}

}  // namespace

Bytes DrawPhotograph(bool with_alpha) {
  Bytes pixels;
  pixels.reserve(kPixels * 4);
  std::minstd_rand random(1);
  const auto byte = [](double value) {
    return static_cast<unsigned char>(std::clamp(value, 0.0, 255.0));
  };
  for (int y = 0; y < kPictureHeight; ++y) {
    for (int x = 0; x < kPictureWidth; ++x) {
      const double sky = 90 + 80 * std::sin(x / 173.0 + y / 311.0);
      const bool leaf = std::sin(x / 19.0) + std::cos(y / 23.0 + x / 97.0) > 1.1;
      const bool disc = std::hypot(x - 1300, y - 400) < 250;
      const auto grain = static_cast<double>(random() >> 8 & 7) - 4;
      const double light = sky + (leaf ? -40 : 0) + (disc ? 60 : 0) + grain;
      const double alpha = 128 + 160 * std::sin(x / 400.0) * std::cos(y / 300.0);
      for (const double value : {light + y / 12.0, light + (leaf ? 30 : 0), light + x / 30.0 - 20,
                                 with_alpha ? alpha : 255.0}) {
        pixels.push_back(byte(value));
      }
    }
  }
  return pixels;
}

BareCoder BarePng(bool with_alpha) {
  if (!with_alpha) {
    return {"PNG RGB", false, [](const Bytes& pixels) { return EncodePng(pixels, false); },
            DecodePng, false};
  }
  return {"PNG RGBA", true, [](const Bytes& pixels) { return EncodePng(pixels, true); }, DecodePng,
          true};
}

BareCoder BareJpeg(bool subsampled) {
  if (!subsampled) {
    return {"JPEG 4:4:4", false, [](const Bytes& pixels) { return EncodeJpeg(pixels, 1); },
            DecodeJpeg, false};
  }
  return {"JPEG 4:2:0", false, [](const Bytes& pixels) { return EncodeJpeg(pixels, 2); },
          DecodeJpeg, true};
}

BareCoder BareTiff(TiffKind kind) {
  switch (kind) {
    case TiffKind::kPlain:
      return {"TIFF plain", false,
              [](const Bytes& pixels) { return EncodeTiff(pixels, COMPRESSION_NONE); }, DecodeTiff,
              false};
    case TiffKind::kDeflate:
      return {"TIFF deflate", false,
              [](const Bytes& pixels) { return EncodeTiff(pixels, COMPRESSION_ADOBE_DEFLATE); },
              DecodeTiff, false};
    case TiffKind::kLzw:
      break;
  }
  return {"TIFF LZW RGBA", true,
          [](const Bytes& pixels) { return EncodeTiff(pixels, COMPRESSION_LZW); }, DecodeTiff,
          true};
}

BareCoder BareWebp(bool lossless) {
  if (!lossless) {
    return {"WebP lossy", false, [](const Bytes& pixels) { return EncodeWebp(pixels, false); },
            DecodeWebp<3, WebPDecodeRGBInto>, false};
  }
  return {"WebP lossless", true, [](const Bytes& pixels) { return EncodeWebp(pixels, true); },
          DecodeWebp<4, WebPDecodeBGRAInto>, true};
}

void DecodeBareGif(std::span<const unsigned char> file, Bytes* pixels) {
  Cursor cursor{file, {}};
  int error = 0;
  GifFileType* gif = DGifOpen(
      &cursor,
      [](GifFileType* from, GifByteType* bytes, int size) {
        return static_cast<int>(
            static_cast<Cursor*>(from->UserData)->Read(bytes, static_cast<std::size_t>(size)));
      },
      &error);
  Require(gif != nullptr && DGifSlurp(gif) == GIF_OK, "DGifSlurp");
  pixels->resize(static_cast<std::size_t>(gif->ImageCount));
  for (int i = 0; i < gif->ImageCount; ++i) {
    (*pixels)[static_cast<std::size_t>(i)] = gif->SavedImages[i].RasterBits[0];
  }
  DGifCloseFile(gif, &error);
}

Bytes EncodeBareGif(const Bytes& indices) {
  Cursor cursor;
  int error = 0;
  GifFileType* gif = EGifOpen(
      &cursor,
      [](GifFileType* to, const GifByteType* bytes, int size) {
        static_cast<Cursor*>(to->UserData)->Write(bytes, static_cast<std::size_t>(size));
        return size;
      },
      &error);
  Require(gif != nullptr, "EGifOpen");
  ColorMapObject* colours = GifMakeMapObject(256, nullptr);
  for (int i = 0; i < 256; ++i) {
    const auto level = static_cast<GifByteType>(i);
    colours->Colors[i] = {level, level, level};
  }
  EGifPutScreenDesc(gif, kPictureWidth, kPictureHeight, 8, 0, colours);
  EGifPutImageDesc(gif, 0, 0, kPictureWidth, kPictureHeight, false, nullptr);
  Bytes row(kPictureWidth);
  for (std::size_t y = 0; y < kPictureHeight; ++y) {
    std::memcpy(row.data(), &indices[y * kPictureWidth], row.size());
    EGifPutLine(gif, row.data(), kPictureWidth);
  }
  EGifCloseFile(gif, &error);
  GifFreeMapObject(colours);
  return std::move(cursor.written);
}

}  // namespace Vantra::Bench
