// Writes the files that fuzzing starts from: make_seeds FOLDER

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <webp/encode.h>

#include "platform/imaging/test_dds.h"
#include "platform/imaging/test_gifs.h"
#include "platform/imaging/test_jxrs.h"
#include "platform/imaging/test_tiffs.h"
#include "platform/imaging/webp_encoder.h"

namespace {

using namespace Vantra::Platform;

void Write(const std::filesystem::path& folder, const Bytes& file) {
  static int count = 0;
  std::filesystem::create_directories(folder);
  std::ofstream out(folder / ("seed" + std::to_string(count++)), std::ios::binary);
  out.write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
}

void WritePngs(const std::filesystem::path& folder) {
  for (const PngColour colour : {PngColour::kGrey, PngColour::kRgb, PngColour::kPalette,
                                 PngColour::kGreyAlpha, PngColour::kRgba}) {
    const bool low = colour == PngColour::kGrey || colour == PngColour::kPalette;
    for (unsigned depth = low ? 1 : 8; depth <= (colour == PngColour::kPalette ? 8 : 16);
         depth *= 2) {
      for (const bool interlaced : {false, true}) {
        Bytes file = EncodePng(MakePng(colour, depth, 9, 7, interlaced, interlaced));
        Write(folder, file);
        // A width that the data does not reach, under right check sums.
        file[18] = 0x10;
        RepairPngChecksums(file);
        Write(folder, file);
      }
    }
  }
}

void WriteJpegs(const std::filesystem::path& folder) {
  for (const JpegColour colour : {JpegColour::kGrey, JpegColour::kYCbCr, JpegColour::kRgb,
                                  JpegColour::kCmyk, JpegColour::kYcck}) {
    for (const JpegCoding coding :
         {JpegCoding::kSequential, JpegCoding::kSeparateScans, JpegCoding::kProgressive}) {
      JpegPicture picture = MakeJpeg(colour, coding, 19, 23);
      picture.adobe = colour == JpegColour::kYcck;
      Write(folder, EncodeJpeg(picture));
      picture.chroma_across = picture.chroma_down = 2;
      picture.restart_rows = 1;
      const Bytes file = EncodeJpeg(picture);
      Write(folder, file);
      Write(folder, Bytes(file.begin(), file.end() - static_cast<std::ptrdiff_t>(file.size() / 5)));
    }
  }
  for (const JpegCoding coding : {JpegCoding::kSequential, JpegCoding::kProgressive}) {
    JpegPicture picture = MakeJpeg(JpegColour::kYCbCr, coding, 19, 23);
    picture.chroma_across = 2;
    Write(folder, EncodeJpeg(picture));
    picture.arithmetic = true;
    Write(folder, EncodeJpeg(picture));
  }
}

void WriteBmps(const std::filesystem::path& folder) {
  for (const unsigned bits : {1u, 2u, 4u, 8u, 16u, 24u, 32u}) {
    for (const bool top_down : {false, true}) {
      BmpPicture picture = MakeBmp(bits, 9, 7, top_down, bits == 32 && top_down);
      Bytes file = EncodeBmp(picture);
      Write(folder, file);
      // A width that the data does not reach.
      file[18] = 0x70;
      Write(folder, file);
      if (top_down) continue;
      for (const unsigned header : {12u, 16u, 64u}) {
        picture.header = header;
        Write(folder, EncodeBmp(picture));
      }
    }
  }
  BmpPicture masked = MakeBmp(16, 9, 7, false, false);
  masked.compression = 6;
  masked.masks = {0xF00, 0xF0, 0xF, 0xF000};
  Write(folder, EncodeBmp(masked));
  // Runs, indices one by one, a move, and the ends of rows and of the picture.
  const Bytes runs = {5, 0x12, 0, 0, 0, 3, 1,    2, 3, 0, 0, 2, 2,
                      1, 200,  3, 0, 5, 1, 0x23, 3, 2, 1, 0, 0, 1};
  for (const unsigned bits : {4u, 8u}) {
    BmpPicture picture = MakeBmp(bits, 9, 7, false, false);
    picture.compression = bits == 8 ? 1 : 2;
    Bytes file = EncodeBmpHeader(picture, runs.size());
    file.insert(file.end(), runs.begin(), runs.end());
    Write(folder, file);
  }
}

void WriteDdses(const std::filesystem::path& folder) {
  Noise noise(5);
  Bytes data(9 * 7 * 16);
  for (BYTE& byte : data) byte = static_cast<BYTE>(noise.Below(256));
  for (const unsigned format : {2u,  6u,  10u, 11u, 16u, 24u, 28u, 41u, 54u, 56u, 61u, 65u,
                                71u, 74u, 77u, 80u, 81u, 83u, 84u, 85u, 87u, 88u, 98u, 115u}) {
    Write(folder, EncodeDds(MakeDxgi(format, 9, 7, data)));
  }
  Write(folder, EncodeDds(MakeDxgi(98, 64, 4, NoisyBc7Blocks(16))));
  for (const char* name : {"DXT1", "DXT2", "DXT5", "ATI2"}) {
    char code[5]{};
    std::copy_n(name, 4, code);
    DdsPicture picture = MakeFourCc(code, 9, 7, data);
    Write(folder, EncodeDds(picture));
    picture.width = 1 << 14;
    Write(folder, EncodeDds(picture));
  }
  DdsPicture masked;
  masked.width = 9;
  masked.height = 7;
  masked.flags = 0x41;
  masked.data = data;
  for (const unsigned bits : {8u, 16u, 24u, 32u}) {
    masked.bits = bits;
    const unsigned step = bits / 4;
    for (unsigned i = 0; i < 4; ++i) masked.masks[i] = ((1u << step) - 1) << step * i;
    Write(folder, EncodeDds(masked));
  }
}

void WriteGifs(const std::filesystem::path& folder) {
  for (const unsigned colours : {2u, 16u, 256u}) {
    for (const bool interlaced : {false, true}) {
      GifPicture picture = MakeGif(colours, interlaced, interlaced);
      picture.before_frames = MakeGifApplication("NETSCAPE2.0", {1, 0, 0});
      Bytes file = EncodeGif(picture);
      Write(folder, file);
      Write(folder, Bytes(file.begin(), file.end() - static_cast<std::ptrdiff_t>(file.size() / 5)));
      // The first frame's height, which the data does not reach.
      file[13 + colours * 3 + picture.before_frames.size() + (interlaced ? 8 : 0) + 8] = 1;
      Write(folder, file);
    }
  }
}

void WriteTiffs(const std::filesystem::path& folder) {
  std::uint32_t seed = 0;
  const auto write = [&](const TiffPicture& like) {
    TiffPicture picture = like;
    picture.width = 21;
    picture.height = 19;
    FillTiff(picture, seed++);
    for (const bool planes : {false, true}) {
      picture.planes = planes && picture.samples > 1;
      for (const unsigned tile : {0u, 16u}) {
        picture.tile = tile;
        picture.mode = tile != 0 ? "wb" : "wl";
        Write(folder, EncodeTiff(picture));
      }
    }
    const TiffPicture pages[] = {picture, picture};
    Write(folder, EncodeTiff(pages));
  };
  for (const auto compression :
       {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_PACKBITS, COMPRESSION_ADOBE_DEFLATE,
        COMPRESSION_JPEG, COMPRESSION_LZMA, COMPRESSION_ZSTD, COMPRESSION_WEBP, COMPRESSION_LERC}) {
    TiffPicture picture;
    picture.compression = static_cast<std::uint16_t>(compression);
    if (TIFFIsCODECConfigured(picture.compression) != 0) write(picture);
  }
  for (const auto compression :
       {COMPRESSION_CCITTRLE, COMPRESSION_CCITTFAX3, COMPRESSION_CCITTFAX4}) {
    TiffPicture picture;
    picture.photometric = PHOTOMETRIC_MINISWHITE;
    picture.bits = 1;
    picture.samples = 1;
    picture.compression = static_cast<std::uint16_t>(compression);
    write(picture);
  }
  for (const auto photometric : {PHOTOMETRIC_PALETTE, PHOTOMETRIC_MINISBLACK, PHOTOMETRIC_YCBCR,
                                 PHOTOMETRIC_CIELAB, PHOTOMETRIC_SEPARATED}) {
    TiffPicture picture;
    picture.photometric = static_cast<std::uint16_t>(photometric);
    picture.samples = static_cast<std::uint16_t>(picture.Colours());
    if (photometric == PHOTOMETRIC_SEPARATED) {
      ++picture.samples;
      picture.extra = EXTRASAMPLE_UNASSALPHA;
    }
    write(picture);
  }
  for (const unsigned bits : {16u, 32u, 64u}) {
    TiffPicture picture;
    picture.kind = SAMPLEFORMAT_IEEEFP;
    picture.bits = static_cast<std::uint16_t>(bits);
    write(picture);
  }
}

void WriteWebps(const std::filesystem::path& folder) {
  constexpr int kSide = 20;
  Noise noise(1);
  Bytes pixels(kSide * kSide * 4);
  for (BYTE& value : pixels) value = static_cast<BYTE>(noise.Below(256));
  const auto write = [&folder](std::uint8_t* bytes, std::size_t size) {
    Write(folder, Bytes(bytes, bytes + size));
    Write(folder, Bytes(bytes, bytes + size * 4 / 5));
    WebPFree(bytes);
  };
  std::uint8_t* out = nullptr;
  std::size_t size = WebPEncodeLosslessRGBA(pixels.data(), kSide, kSide, kSide * 4, &out);
  write(out, size);
  size = WebPEncodeRGBA(pixels.data(), kSide, kSide, kSide * 4, 60, &out);
  write(out, size);
  size = WebPEncodeRGB(pixels.data(), kSide, kSide, kSide * 3, 60, &out);
  write(out, size);
  for (const bool lossless : {false, true}) {
    Bytes file;
    const auto sink = [&file](const BYTE* bytes, std::size_t count) {
      file.insert(file.end(), bytes, bytes + count);
      return S_OK;
    };
    std::unique_ptr<WebpAnimationWriter> writer;
    WebpAnimationWriter::Open(
        sink, kSide, kSide, {.loops = 2, .quality = lossless ? std::nullopt : std::optional(50.0f)},
        &writer);
    for (unsigned i = 0; i < 3; ++i) {
      pixels[i * 100] = static_cast<BYTE>(~pixels[i * 100]);
      writer->AddFrame(pixels.data(), kSide * 4, 50 * i);
    }
    writer->Finish();
    Write(folder, file);
  }
}

void WriteJxrs(const std::filesystem::path& folder) {
  const auto write = [&folder](const JxrPicture& like) {
    JxrPicture picture = like;
    picture.width = 35;
    picture.height = 19;
    Noise noise(1);
    for (unsigned i = 0; i < picture.width * picture.height; ++i) {
      for (unsigned c = 0; c < JxrChannels(picture); ++c) {
        picture.samples.push_back(noise.Below(256));
      }
      if (picture.format == GUID_WICPixelFormat32bppBGRA) picture.alpha.push_back(noise.Below(256));
    }
    Write(folder, EncodeJxr(picture));
  };
  for (const bool by_frequency : {false, true}) {
    for (const unsigned quantiser : {1u, 40u}) {
      for (unsigned variant = 0; variant < 3; ++variant) {
        JxrPicture picture;
        picture.by_frequency = by_frequency;
        picture.quantiser = quantiser;
        picture.overlap = variant;
        picture.chroma = 3 - variant;
        picture.tiles_across = variant + 1;
        write(picture);
      }
    }
  }
  JxrPicture picture;
  picture.format = JxrFormat(0x08);
  picture.colour = JxrColour::kGrey;
  write(picture);
  picture.format = JxrFormat(0x11);
  picture.depth = JxrDepth::kFloat;
  write(picture);
  picture.format = JxrFormat(0x1F);
  picture.colour = JxrColour::kCmyk;
  picture.depth = JxrDepth::k16;
  write(picture);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make_seeds FOLDER\n");
    return 2;
  }
  WritePngs(std::filesystem::path(argv[1]) / "png");
  WriteJpegs(std::filesystem::path(argv[1]) / "jpeg");
  WriteBmps(std::filesystem::path(argv[1]) / "bmp");
  WriteDdses(std::filesystem::path(argv[1]) / "dds");
  WriteGifs(std::filesystem::path(argv[1]) / "gif");
  WriteTiffs(std::filesystem::path(argv[1]) / "tiff");
  WriteWebps(std::filesystem::path(argv[1]) / "webp");
  WriteJxrs(std::filesystem::path(argv[1]) / "jxr");
  return 0;
}
