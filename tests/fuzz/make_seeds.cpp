// Writes the files that fuzzing starts from: make_seeds FOLDER

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/imaging/test_gifs.h"

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
      picture.chroma = 2;
      picture.restart_rows = 1;
      const Bytes file = EncodeJpeg(picture);
      Write(folder, file);
      Write(folder, Bytes(file.begin(), file.end() - static_cast<std::ptrdiff_t>(file.size() / 5)));
    }
  }
}

void WriteBmps(const std::filesystem::path& folder) {
  for (const unsigned bits : {1u, 4u, 8u, 24u, 32u}) {
    for (const bool top_down : {false, true}) {
      Bytes file = EncodeBmp(MakeBmp(bits, 9, 7, top_down, bits == 32 && top_down));
      Write(folder, file);
      // A width that the data does not reach.
      file[18] = 0x70;
      Write(folder, file);
    }
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

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make_seeds FOLDER\n");
    return 2;
  }
  WritePngs(std::filesystem::path(argv[1]) / "png");
  WriteJpegs(std::filesystem::path(argv[1]) / "jpeg");
  WriteBmps(std::filesystem::path(argv[1]) / "bmp");
  WriteGifs(std::filesystem::path(argv[1]) / "gif");
  return 0;
}
