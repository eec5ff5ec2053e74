// The decoders beside other programs that read the same files: those of the libraries' own makers,
// whose way from the file to the pixels is theirs, and others.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <optional>
#include <sstream>
#include <tiffio.h>
#include <unistd.h>

#include "platform/imaging/test_gifs.h"
#include "platform/imaging/test_jxrs.h"
#include "platform/imaging/test_pictures.h"
#include "platform/imaging/test_tiffs.h"
#include "tests/harness/picture.h"

namespace Vantra::Platform {
namespace {

namespace fs = std::filesystem;

constexpr UINT kWidth = 97;
constexpr UINT kHeight = 61;

// A way to have a file read: a command that reads "file" and writes a portable map to "out".
struct Reader {
  const char* program;
  const char* command;
};

constexpr Reader kPng = {"pngtopam", "pngtopam -alphapam file > out"};
constexpr Reader kJpeg = {"djpeg", "djpeg -pnm file > out"};
constexpr Reader kTiff = {"tifftopnm", "tifftopnm -quiet file > out 2> /dev/null"};
constexpr Reader kGif = {"giftopnm", "giftopnm -quiet file > out"};
constexpr Reader kWebp = {"dwebp", "dwebp -quiet -pam file -o out"};
constexpr Reader kBmp = {"bmptopnm", "bmptopnm -quiet file > out"};
constexpr Reader kJxr = {
    "JxrDecApp",
    "mv file file.jxr && JxrDecApp -i file.jxr -o out.pnm && mv out.pnm out && mv file.jxr file"};
// What it draws is of 16 bits, and made bytes by rounding.
constexpr Reader kMagick = {"convert", "convert 'file[0]' -colorspace sRGB -depth 8 pam:out"};
constexpr Reader kReaders[] = {kPng, kJpeg, kTiff, kGif, kWebp, kBmp, kJxr, kMagick};

// Other programs make bytes of wider or narrower levels so, where ours are rounded to nearest.
constexpr const char* kCutsOff = "it cuts off what is between two levels";

struct Case {
  std::string name;
  Reader reader;
  // Makes the bytes, or has a command make "file" of "in.png", a photograph or a drawing with
  // alpha.
  std::function<Bytes()> make;
  std::string command;
  // Of a channel, with its cause.
  int difference = 0;
  const char* cause = "";
};

struct Map {
  unsigned width = 0;
  unsigned height = 0;
  Bytes rgba;
};

bool Succeeds(const std::string& command) {
  return std::system(command.c_str()) == 0;  // NOLINT(concurrency-mt-unsafe): tests have a thread
}

bool IsInstalled(const std::string& program) {
  return Succeeds("command -v " + program + " > /dev/null");
}

Bytes ReadBytes(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void WriteBytes(const fs::path& path, const Bytes& bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

// A portable map of bits, grey levels, colours or any of them with alpha.
std::optional<Map> ReadMap(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string kind;
  Map map;
  unsigned channels = 1;
  unsigned greatest = 1;
  const auto skip_comments = [&file] {
    while ((file >> std::ws).peek() == '#') file.ignore(1 << 16, '\n');
  };
  file >> kind;
  if (kind == "P7") {
    for (std::string field; file >> field && field != "ENDHDR";) {
      if (field == "WIDTH") file >> map.width;
      if (field == "HEIGHT") file >> map.height;
      if (field == "DEPTH") file >> channels;
      if (field == "MAXVAL") file >> greatest;
      if (field == "TUPLTYPE") file >> field;
    }
  } else {
    skip_comments();
    file >> map.width;
    skip_comments();
    file >> map.height;
    if (kind != "P4") {
      skip_comments();
      file >> greatest;
    }
    channels = kind == "P6" ? 3 : 1;
  }
  file.get();
  const Bytes stored(std::istreambuf_iterator<char>(file), {});
  const std::size_t pixels = std::size_t{map.width} * map.height;
  const std::size_t row_bytes = (map.width + 7) / 8;
  const auto level = [&](std::size_t sample) -> BYTE {
    if (kind == "P4") {
      const std::size_t x = sample % map.width;
      const BYTE bits = stored[sample / map.width * row_bytes + x / 8];
      return (bits >> (7 - x % 8) & 1) != 0 ? 0 : 255;
    }
    const unsigned value =
        greatest < 256 ? stored[sample] : stored[2 * sample] << 8 | stored[2 * sample + 1];
    return static_cast<BYTE>((value * 255 + greatest / 2) / greatest);
  };
  const std::size_t size =
      kind == "P4" ? row_bytes * map.height : pixels * channels * (greatest < 256 ? 1 : 2);
  if (pixels == 0 || stored.size() != size) return std::nullopt;
  for (std::size_t i = 0; i < pixels; ++i) {
    const std::size_t first = i * channels;
    for (std::size_t c = 0; c < 3; ++c) map.rgba.push_back(level(first + (channels < 3 ? 0 : c)));
    map.rgba.push_back(channels % 2 == 0 ? level(first + channels - 1) : 255);
  }
  return map;
}

// Straight alpha, red first.
Bytes DrawRgba(bool with_alpha) {
  const Testing::Picture scene = Testing::DrawScene(kWidth, kHeight);
  Bytes pixels;
  for (std::size_t i = 0; i < scene.pixels.size(); ++i) {
    const Testing::Pixel& pixel = scene.pixels[i];
    const auto alpha = static_cast<BYTE>(with_alpha ? i * 7 : 255);
    pixels.insert(pixels.end(), {pixel[2], pixel[1], pixel[0], alpha});
  }
  return pixels;
}

std::function<Bytes()> ByUs(const GUID& container, bool with_alpha) {
  return [=] { return EncodeRgba(container, kWidth, kHeight, DrawRgba(with_alpha)); };
}

void AddPngs(std::vector<Case>* cases) {
  const std::pair<PngColour, std::vector<unsigned>> kKinds[] = {
      {PngColour::kGrey, {1, 2, 4, 8, 16}}, {PngColour::kRgb, {8, 16}},
      {PngColour::kPalette, {1, 2, 4, 8}},  {PngColour::kGreyAlpha, {8, 16}},
      {PngColour::kRgba, {8, 16}},
  };
  for (const auto& [colour, depths] : kKinds) {
    for (const unsigned depth : depths) {
      for (const bool interlaced : {false, true}) {
        for (const bool transparent : {false, true}) {
          // pngtopam takes no notice of a transparent colour among red, green and blue. ImageMagick
          // is asked about one below.
          if (transparent && colour == PngColour::kRgb) continue;
          std::ostringstream name;
          name << "PNG colour " << static_cast<int>(colour) << " depth " << depth
               << (interlaced ? " interlaced" : "") << (transparent ? " transparent" : "");
          cases->push_back({name.str(), kPng,
                            [=, kind = colour] {
                              return EncodePng(
                                  MakePng(kind, depth, 37, 21, interlaced, transparent));
                            },
                            ""});
        }
      }
    }
  }
}

void AddJpegs(std::vector<Case>* cases) {
  for (const JpegColour colour : {JpegColour::kGrey, JpegColour::kYCbCr, JpegColour::kRgb}) {
    for (const JpegCoding coding :
         {JpegCoding::kSequential, JpegCoding::kSeparateScans, JpegCoding::kProgressive}) {
      for (const unsigned across : {1u, 2u}) {
        for (const unsigned down : {1u, 2u}) {
          if (colour != JpegColour::kYCbCr && across * down > 1) continue;
          std::ostringstream name;
          name << "JPEG colour " << static_cast<int>(colour) << " coding "
               << static_cast<int>(coding) << " chroma " << across << " by " << down;
          cases->push_back({name.str(), kJpeg,
                            [=] {
                              JpegPicture picture = MakeJpeg(colour, coding, 75, 43);
                              picture.chroma_across = across;
                              picture.chroma_down = down;
                              return EncodeJpeg(picture);
                            },
                            ""});
        }
      }
    }
  }
  // Inks without the marker that tells of their inversion are not compared: ImageMagick takes them
  // for inverted, too.
  cases->push_back({"JPEG of inks", kMagick,
                    [] {
                      JpegPicture picture =
                          MakeJpeg(JpegColour::kCmyk, JpegCoding::kSequential, 75, 43);
                      picture.adobe = true;
                      return EncodeJpeg(picture);
                    },
                    "", 1, "it multiplies inks in 16 bits"});
}

void AddTiffs(std::vector<Case>* cases) {
  struct Kind {
    std::uint16_t photometric, bits, samples;
    bool planes;
  };
  constexpr Kind kKinds[] = {
      {PHOTOMETRIC_MINISBLACK, 1, 1, false},  {PHOTOMETRIC_MINISWHITE, 1, 1, false},
      {PHOTOMETRIC_MINISBLACK, 4, 1, false},  {PHOTOMETRIC_MINISWHITE, 8, 1, false},
      {PHOTOMETRIC_MINISBLACK, 16, 1, false}, {PHOTOMETRIC_RGB, 8, 3, false},
      {PHOTOMETRIC_RGB, 8, 3, true},          {PHOTOMETRIC_RGB, 16, 3, false},
  };
  for (const Kind& kind : kKinds) {
    for (const std::uint16_t compression :
         {std::uint16_t{COMPRESSION_NONE}, std::uint16_t{COMPRESSION_LZW},
          std::uint16_t{COMPRESSION_ADOBE_DEFLATE}, std::uint16_t{COMPRESSION_PACKBITS}}) {
      for (const char* mode : {"wl", "wb"}) {
        std::ostringstream name;
        name << "TIFF photometric " << kind.photometric << " bits " << kind.bits << " compression "
             << compression << " " << mode << (kind.planes ? " planes" : "");
        cases->push_back({name.str(), kTiff,
                          [=] {
                            TiffPicture picture;
                            picture.photometric = kind.photometric;
                            picture.bits = kind.bits;
                            picture.samples = kind.samples;
                            picture.planes = kind.planes;
                            picture.compression = compression;
                            picture.mode = mode;
                            picture.width = 37;
                            picture.height = 21;
                            FillTiff(picture, compression);
                            return EncodeTiff(picture);
                          },
                          "", kind.bits == 16 ? 1 : 0, kCutsOff});
      }
    }
  }
}

void AddBmps(std::vector<Case>* cases) {
  for (const unsigned bits : {1u, 4u, 8u, 16u, 24u}) {
    for (const bool top_down : {false, true}) {
      cases->push_back({"BMP of " + std::to_string(bits) + " bits" + (top_down ? " down" : ""),
                        kBmp, [=] { return EncodeBmp(MakeBmp(bits, 37, 21, top_down, false)); }, "",
                        bits == 16 ? 1 : 0, kCutsOff});
    }
  }
}

void AddOthers(std::vector<Case>* cases) {
  cases->push_back({"JXR in colour", kJxr,
                    [] {
                      JxrPicture picture;
                      picture.format = JxrFormat(0x0D);
                      picture.width = 37;
                      picture.height = 21;
                      Noise noise(5);
                      for (unsigned i = 0; i < 37 * 21 * 3; ++i) {
                        picture.samples.push_back(noise.Below(256));
                      }
                      return EncodeJxr(picture);
                    },
                    ""});
  // Without loss or with codes of their own, both readers have the same values.
  for (const bool alpha : {false, true}) {
    const std::string with = alpha ? " with alpha" : "";
    cases->push_back({"PNG by us" + with, kPng, ByUs(GUID_ContainerFormatPng, alpha), ""});
    cases->push_back({"TIFF by us" + with, kMagick, ByUs(GUID_ContainerFormatTiff, alpha), ""});
    cases->push_back({"WebP by us" + with, kWebp, ByUs(GUID_ContainerFormatWebp, alpha), ""});
    cases->push_back({"GIF by us" + with, kMagick, ByUs(GUID_ContainerFormatGif, alpha), ""});
    cases->push_back({"DDS by us" + with, kMagick, ByUs(GUID_ContainerFormatDds, alpha), ""});
  }
  cases->push_back({"GIF by us for giftopnm", kGif, ByUs(GUID_ContainerFormatGif, false), ""});
  cases->push_back({"JPEG by us", kJpeg, ByUs(GUID_ContainerFormatJpeg, false), ""});
  cases->push_back({"BMP by us", kBmp, ByUs(GUID_ContainerFormatBmp, false), ""});

  const struct {
    Reader reader;
    const char* command;
    int difference = 0;
    const char* cause = "";
  } kMade[] = {
      {kPng, "convert in.png -colors 61 -interlace PNG png8:file"},
      {kMagick, "convert in.png -depth 16 png48:file"},
      {kPng, "convert in.png -colorspace gray -depth 4 png:file"},
      {kJpeg, "convert in.png -quality 75 -sampling-factor 4:2:0 jpeg:file"},
      {kJpeg, "convert in.png -quality 95 -sampling-factor 4:4:4 -interlace JPEG jpeg:file"},
      {kJpeg, "convert in.png -sampling-factor 4:1:1 jpeg:file"},
      {kJpeg, "convert in.png -colorspace gray jpeg:file"},
      {kTiff, "convert in.png -alpha off -colors 61 -compress LZW tiff:file", 1, kCutsOff},
      {kTiff, "convert in.png -alpha off -monochrome -compress Group4 tiff:file"},
      {kTiff, "convert in.png -alpha off -monochrome -compress Fax tiff:file"},
      {kMagick, "convert in.png -define tiff:tile-geometry=32x32 -compress Zip tiff:file"},
      {kMagick, "convert in.png -define tiff:alpha=unassociated -depth 16 tiff:file"},
      {kMagick, "convert in.png -alpha off -compress JPEG tiff:file"},
      {kGif, "convert in.png -alpha off -interlace GIF gif:file"},
      {kMagick, "convert in.png -colors 16 gif:file"},
      {kWebp, "convert in.png -quality 70 webp:file"},
      {kWebp, "convert in.png -define webp:lossless=true webp:file"},
      {kMagick, "convert in.png -colors 61 -compress RLE bmp3:file"},
      {kMagick, "convert in.png bmp:file"},
      {kMagick, "convert in.png -define dds:compression=none dds:file"},
      {kMagick, "convert in.png -define dds:compression=dxt1 -alpha off dds:file", 1, kCutsOff},
      {kMagick, "convert in.png -define dds:compression=dxt5 dds:file", 1, kCutsOff},
  };
  for (const auto& made : kMade) {
    cases->push_back(
        {made.command, made.reader, nullptr, made.command, made.difference, made.cause});
  }
}

std::vector<Case> AllCases() {
  std::vector<Case> cases;
  AddPngs(&cases);
  AddJpegs(&cases);
  AddTiffs(&cases);
  AddBmps(&cases);
  AddOthers(&cases);
  return cases;
}

class OutsideReaders : public testing::TestWithParam<Reader> {
 protected:
  void SetUp() override {
    for (const char* program : {GetParam().program, "convert"}) {
      if (!IsInstalled(program)) GTEST_SKIP() << program << " is not installed";
    }
    folder_ = fs::path(testing::TempDir()) /
              ("readers_" + std::to_string(::getpid()) + "_" + GetParam().program);
    fs::create_directories(folder_);
  }
  void TearDown() override {
    if (!folder_.empty()) fs::remove_all(folder_);
  }

  bool RunThere(const std::string& command) const {
    return Succeeds("cd '" + folder_.string() + "' && " + command);
  }

  void Expect(const Reader& reader, int difference, const char* cause) {
    ASSERT_TRUE(RunThere(reader.command));
    const std::optional<Map> expected = ReadMap(folder_ / "out");
    ASSERT_TRUE(expected);
    const Bytes file = ReadBytes(folder_ / "file");
    const DecodedPicture actual = DecodePicture(file);
    ASSERT_EQ(actual.opened, S_OK);
    ASSERT_EQ(actual.copied, S_OK);
    ASSERT_EQ(actual.width, expected->width);
    ASSERT_EQ(actual.height, expected->height);
    int greatest = 0;
    for (std::size_t i = 0; i < actual.pixels.size(); ++i) {
      // What is transparent has no colour for us.
      if (i % 4 != 3 && actual.pixels[i / 4 * 4 + 3] == 0 && expected->rgba[i / 4 * 4 + 3] == 0) {
        continue;
      }
      greatest = std::max(greatest, std::abs(actual.pixels[i] - expected->rgba[i]));
    }
    EXPECT_LE(greatest, difference) << cause;
    ++compared_;
  }

  fs::path folder_;
  int compared_ = 0;
};

TEST_P(OutsideReaders, SeeTheSamePixels) {
  WriteBytes(folder_ / "in.png",
             EncodeRgba(GUID_ContainerFormatPng, kWidth, kHeight, DrawRgba(true)));
  for (const Case& each : AllCases()) {
    if (std::string(each.reader.program) != GetParam().program) continue;
    SCOPED_TRACE(each.name);
    if (each.make) {
      WriteBytes(folder_ / "file", each.make());
    } else {
      ASSERT_TRUE(RunThere(each.command));
    }
    Expect(each.reader, each.difference, each.cause);
  }
  EXPECT_GT(compared_, 0);
}

TEST_P(OutsideReaders, SeeTheSameInPhotographs) {
  const std::string program = GetParam().program;
  std::vector<fs::path> photographs = Testing::ListPhotographs();
  std::sort(photographs.begin(), photographs.end());
  for (const fs::path& photograph : photographs) {
    SCOPED_TRACE(photograph.filename());
    fs::copy_file(photograph, folder_ / "file", fs::copy_options::overwrite_existing);
    const Reader& own = photograph.extension() == ".png" ? kPng : kJpeg;
    if (program == own.program) Expect(own, 0, "");
    // Other kinds of one of them.
    if (photograph != photographs.front()) continue;
    ASSERT_TRUE(RunThere("convert 'file[0]' -resize 300x200 png32:in.png"));
    for (const Case& each : AllCases()) {
      if (each.make || program != each.reader.program) continue;
      SCOPED_TRACE(each.name);
      ASSERT_TRUE(RunThere(each.command));
      Expect(each.reader, each.difference, each.cause);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(All, OutsideReaders, testing::ValuesIn(kReaders),
                         [](const auto& test) { return std::string(test.param.program); });

}  // namespace
}  // namespace Vantra::Platform
