// DDS files, through the interfaces that a host uses.

#include <gtest/gtest.h>

#include "platform/imaging/block_compression.h"
#include "platform/imaging/test_dds.h"

namespace Vantra::Platform {
namespace {

constexpr unsigned kAlphaPixels = 1;
constexpr unsigned kAlphaOnly = 2;
constexpr unsigned kRgb = 0x40;
constexpr unsigned kLuminance = 0x20000;

// The pixels as the file's own, whether premultiplied or not: red, green, blue, alpha.
DecodedPicture Decode(const DdsPicture& picture) { return DecodePicture(EncodeDds(picture)); }

TEST(DdsDecoder, GivesThePixelsOfEveryUncompressedFormat) {
  const struct {
    unsigned format;
    Bytes pixel;
    Bytes expected;
  } formats[] = {
      {28, {1, 2, 3, 4}, {1, 2, 3, 4}},
      {29, {1, 2, 3, 4}, {1, 2, 3, 4}},
      {87, {1, 2, 3, 4}, {3, 2, 1, 4}},
      {91, {1, 2, 3, 4}, {3, 2, 1, 4}},
      {88, {1, 2, 3, 4}, {3, 2, 1, 255}},
      {93, {1, 2, 3, 4}, {3, 2, 1, 255}},
      // Red 3 of 31 is 24.7 of 255, green 33 of 63 is 133.6, blue 31.
      {85, {0x3F, 0x1C}, {25, 134, 255, 255}},
      {86, {0x1F, 0x8C}, {25, 0, 255, 255}},
      {115, {0x21, 0x43}, {51, 34, 17, 68}},
      {24, {0xFF, 0x03, 0x08, 0x40}, {255, 128, 0, 85}},
      {61, {7}, {7, 7, 7, 255}},
      {65, {7}, {0, 0, 0, 7}},
      {49, {7, 8}, {7, 8, 0, 255}},
      // 0x80 of 0xFFFF is 0.498 of 255, 0x81 is 0.502.
      {56, {0x80, 0x00}, {0, 0, 0, 255}},
      {56, {0x81, 0x00}, {1, 1, 1, 255}},
      {35, {0xFF, 0xFF, 0x81, 0x00}, {255, 1, 0, 255}},
      {11, {0xFF, 0xFF, 0x81, 0x00, 0x80, 0x00, 0xFF, 0x7F}, {255, 1, 0, 127}},
      // Halves: 0.5, 2, -1, and the least number above 0; one that is no number; infinity.
      {10, {0x00, 0x38, 0x00, 0x40, 0x00, 0xBC, 0x01, 0x00}, {128, 255, 0, 0}},
      {10, {0x01, 0x7E, 0x00, 0x7C, 0x00, 0x3C, 0x00, 0x34}, {0, 255, 255, 64}},
      {54, {0x00, 0x34}, {64, 64, 64, 255}},
      {34, {0x00, 0x34, 0x00, 0x38}, {64, 128, 0, 255}},
      // Floats: 0.25, 0.5, -2, and no number.
      {2, {0, 0, 0x80, 0x3E, 0, 0, 0, 0x3F, 0, 0, 0, 0xC0, 0, 0, 0xC0, 0x7F}, {64, 128, 0, 0}},
      {6, {0, 0, 0x80, 0x3E, 0, 0, 0, 0x3F, 0, 0, 0x80, 0x7F}, {64, 128, 255, 255}},
      {16, {0, 0, 0x80, 0x3E, 0, 0, 0, 0x3F}, {64, 128, 0, 255}},
      {41, {0, 0, 0x80, 0x3E}, {64, 64, 64, 255}},
  };
  for (const auto& [format, pixel, expected] : formats) {
    // Three pixels, the second of which is the one.
    Bytes data(pixel.size() * 3);
    std::copy(pixel.begin(), pixel.end(), data.begin() + static_cast<std::ptrdiff_t>(pixel.size()));
    const DecodedPicture decoded = Decode(MakeDxgi(format, 1, 3, data));
    ASSERT_TRUE(decoded.Succeeded()) << format;
    EXPECT_EQ(Bytes(decoded.pixels.begin() + 4, decoded.pixels.begin() + 8), expected) << format;
  }
}

TEST(DdsDecoder, GivesThePixelsThatMasksDescribe) {
  const struct {
    unsigned flags;
    unsigned bits;
    std::array<unsigned, 4> masks;
    Bytes pixel;
    Bytes expected;
  } formats[] = {
      {kRgb | kAlphaPixels, 32, {0xFF0000, 0xFF00, 0xFF, 0xFF000000}, {1, 2, 3, 4}, {3, 2, 1, 4}},
      {kRgb, 32, {0xFF0000, 0xFF00, 0xFF, 0xFF000000}, {1, 2, 3, 4}, {3, 2, 1, 255}},
      {kRgb | kAlphaPixels, 32, {0xFF, 0xFF00, 0xFF0000, 0xFF000000}, {1, 2, 3, 4}, {1, 2, 3, 4}},
      {kRgb, 24, {0xFF0000, 0xFF00, 0xFF, 0}, {1, 2, 3}, {3, 2, 1, 255}},
      {kRgb, 24, {0xFF, 0xFF00, 0xFF0000, 0}, {1, 2, 3}, {1, 2, 3, 255}},
      {kRgb, 16, {0xF800, 0x7E0, 0x1F, 0}, {0x3F, 0x1C}, {25, 134, 255, 255}},
      {kRgb | kAlphaPixels, 16, {0x7C00, 0x3E0, 0x1F, 0x8000}, {0x1F, 0x0C}, {25, 0, 255, 0}},
      {kRgb | kAlphaPixels, 16, {0xF00, 0xF0, 0xF, 0xF000}, {0x21, 0x43}, {51, 34, 17, 68}},
      {kRgb, 8, {0xE0, 0x1C, 0x03, 0}, {0x41}, {73, 0, 85, 255}},
      {kRgb | kAlphaPixels,
       32,
       {0x3FF, 0xFFC00, 0x3FF00000, 0xC0000000},
       {0xFF, 0x03, 0x08, 0x40},
       {255, 128, 0, 85}},
      {kRgb, 32, {0xFFFF, 0xFFFF0000, 0, 0}, {0xFF, 0xFF, 0x81, 0x00}, {255, 1, 0, 255}},
      {kLuminance, 8, {0xFF, 0, 0, 0}, {9}, {9, 9, 9, 255}},
      {kLuminance | kAlphaPixels, 16, {0xFF, 0, 0, 0xFF00}, {9, 5}, {9, 9, 9, 5}},
      {kLuminance | kAlphaPixels, 8, {0xF, 0, 0, 0xF0}, {0x21}, {17, 17, 17, 34}},
      {kLuminance, 16, {0xFFFF, 0, 0, 0}, {0x81, 0}, {1, 1, 1, 255}},
      {kAlphaOnly, 8, {0, 0, 0, 0xFF}, {9}, {0, 0, 0, 9}},
  };
  for (const auto& [flags, bits, masks, pixel, expected] : formats) {
    DdsPicture picture;
    picture.flags = flags;
    picture.bits = bits;
    picture.masks = masks;
    picture.data = pixel;
    const DecodedPicture decoded = Decode(picture);
    ASSERT_TRUE(decoded.Succeeded()) << std::hex << flags << " " << bits;
    EXPECT_EQ(decoded.pixels, expected) << std::hex << flags << " " << masks[0];
  }
  const unsigned numbers[] = {36, 113, 116};
  const Bytes pixels[] = {{0xFF, 0xFF, 0x81, 0x00, 0x80, 0x00, 0xFF, 0x7F},
                          {0x00, 0x3C, 0x00, 0x00, 0x00, 0x00, 0x00, 0x38},
                          {0, 0, 0x80, 0x3F, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x3F}};
  const Bytes expected[] = {{255, 1, 0, 127}, {255, 0, 0, 128}, {255, 0, 0, 128}};
  for (int i = 0; i < 3; ++i) {
    DdsPicture picture;
    picture.code = numbers[i];
    picture.data = pixels[i];
    EXPECT_EQ(Decode(picture).pixels, expected[i]) << numbers[i];
  }
}

// Colours of four pixels that a row's indices name, red first.
using Row = std::array<std::array<int, 4>, 4>;

void ExpectRow(const Bytes& pixels, unsigned y, const Row& row) {
  for (unsigned x = 0; x < 4; ++x) {
    const BYTE* pixel = &pixels[(y * 4 + x) * 4];
    for (unsigned c = 0; c < 4; ++c) EXPECT_EQ(pixel[c], row[x][c]) << x << "," << y << " " << c;
  }
}

// Indices 0 to 3 in the first row and from 3 in the second, then 0 and 1.
constexpr BYTE kColourIndices[] = {0xE4, 0x1B, 0x00, 0x55};

Bytes ColourBlock(unsigned first, unsigned second) {
  Bytes block = BitPacker().Put(first, 16).Put(second, 16).Packed();
  block.insert(block.end(), std::begin(kColourIndices), std::end(kColourIndices));
  return block;
}

TEST(DdsDecoder, ColourBlocksHaveFourColoursOrThree) {
  // Pure red and blue.
  Bytes pixels = Decode(MakeFourCc("DXT1", 4, 4, ColourBlock(0xF800, 0x1F))).pixels;
  const Row four = {{{255, 0, 0, 255}, {0, 0, 255, 255}, {170, 0, 85, 255}, {85, 0, 170, 255}}};
  ExpectRow(pixels, 0, four);
  ExpectRow(pixels, 1, {four[3], four[2], four[1], four[0]});
  ExpectRow(pixels, 2, {four[0], four[0], four[0], four[0]});
  ExpectRow(pixels, 3, {four[1], four[1], four[1], four[1]});
  // The other order, and equal ends, have a transparent colour. Halves are rounded up.
  pixels = Decode(MakeDxgi(71, 4, 4, ColourBlock(0x1F, 0xF800))).pixels;
  ExpectRow(pixels, 0, {{{0, 0, 255, 255}, {255, 0, 0, 255}, {128, 0, 128, 255}, {0, 0, 0, 0}}});
  pixels = Decode(MakeDxgi(72, 4, 4, ColourBlock(0x07E0, 0x07E0))).pixels;
  ExpectRow(pixels, 0, {{{0, 255, 0, 255}, {0, 255, 0, 255}, {0, 255, 0, 255}, {0, 0, 0, 0}}});
  // 3 of 31 is 24.68 of 255, and two thirds and one third of it 16.45 and 8.23; 21 of 63 is 85.
  pixels = Decode(MakeFourCc("DXT1", 4, 4, ColourBlock(0x1800 | 21 << 5, 0))).pixels;
  ExpectRow(pixels, 0, {{{25, 85, 0, 255}, {0, 0, 0, 255}, {16, 57, 0, 255}, {8, 28, 0, 255}}});
}

// Two ends, then eight indices in the order of their numbers, twice.
Bytes LevelBlock(unsigned first, unsigned second) {
  BitPacker packer;
  packer.Put(first, 8).Put(second, 8);
  for (unsigned i = 0; i < 16; ++i) packer.Put(i % 8, 3);
  return packer.Packed();
}

TEST(DdsDecoder, AlphaStandsBesideTheColoursInFourBitsOrBetweenTwoEnds) {
  Bytes block = {0x10, 0x32, 0x54, 0x76, 0x98, 0xBA, 0xDC, 0xFE};
  // Here the order of the ends means nothing.
  const Bytes colours = ColourBlock(0x1F, 0xF800);
  block.insert(block.end(), colours.begin(), colours.end());
  Bytes pixels = Decode(MakeFourCc("DXT3", 4, 4, block)).pixels;
  ExpectRow(pixels, 0, {{{0, 0, 255, 0}, {255, 0, 0, 17}, {85, 0, 170, 34}, {170, 0, 85, 51}}});
  EXPECT_EQ(pixels[63], 255);
  EXPECT_EQ(Decode(MakeDxgi(74, 4, 4, block)).pixels, pixels);

  for (const auto& [ends, levels] :
       {std::pair(LevelBlock(200, 60), Bytes{200, 60, 180, 160, 140, 120, 100, 80}),
        std::pair(LevelBlock(60, 160), Bytes{60, 160, 80, 100, 120, 140, 0, 255}),
        std::pair(LevelBlock(60, 60), Bytes{60, 60, 60, 60, 60, 60, 0, 255})}) {
    block = ends;
    block.insert(block.end(), colours.begin(), colours.end());
    pixels = Decode(MakeFourCc("DXT5", 4, 4, block)).pixels;
    Bytes both = ends;
    const Bytes greens = LevelBlock(7, 0);
    both.insert(both.end(), greens.begin(), greens.end());
    const Bytes green_too = Decode(MakeFourCc("ATI2", 4, 4, both)).pixels;
    const Bytes grey = Decode(MakeFourCc("ATI1", 4, 4, ends)).pixels;
    constexpr BYTE kGreens[] = {7, 0, 6, 5, 4, 3, 2, 1};
    for (unsigned i = 0; i < 16; ++i) {
      EXPECT_EQ(pixels[4 * i + 3], levels[i % 8]) << i;
      EXPECT_EQ(Bytes(&grey[4 * i], &grey[4 * i + 4]),
                (Bytes{levels[i % 8], levels[i % 8], levels[i % 8], 255}));
      EXPECT_EQ(Bytes(&green_too[4 * i], &green_too[4 * i + 4]),
                (Bytes{levels[i % 8], kGreens[i % 8], 0, 255}));
    }
    EXPECT_EQ(pixels[2], 255) << "blue, of the colours";
  }
}

TEST(DdsDecoder, SignedLevelsReachFromMinusOneToOne) {
  // From 127 to -127 in sevenths.
  const Bytes falling = LevelBlock(127, 0x81);
  const Bytes falling_levels = {255, 0, 219, 182, 146, 109, 73, 36};
  // From the other form of -1 to 0, in fifths, and the ends of the scale.
  const Bytes rising = LevelBlock(0x80, 0);
  const Bytes rising_levels = {0, 128, 26, 51, 77, 102, 0, 255};
  Bytes both = falling;
  both.insert(both.end(), rising.begin(), rising.end());
  const Bytes first = Decode(MakeFourCc("BC4S", 4, 4, falling)).pixels;
  const Bytes second = Decode(MakeDxgi(81, 4, 4, rising)).pixels;
  const Bytes pair = Decode(MakeDxgi(84, 4, 4, both)).pixels;
  for (unsigned i = 0; i < 8; ++i) {
    EXPECT_EQ(first[4 * i], falling_levels[i]) << i;
    EXPECT_EQ(second[4 * i], rising_levels[i]) << i;
    EXPECT_EQ(Bytes(&pair[4 * i], &pair[4 * i + 4]),
              (Bytes{falling_levels[i], rising_levels[i], 0, 255}));
  }
}

TEST(DdsDecoder, BlocksAreLaidOutInRowsAndCutOffAtTheEdges) {
  // Each block has a colour of its own.
  constexpr unsigned kColours[] = {0xF800, 0x07E0, 0x001F, 0xFFFF, 0x0000, 0xFFE0};
  Bytes data;
  for (const unsigned colour : kColours) {
    const Bytes block = BitPacker().Put(colour, 16).Put(0, 16).Put(0, 32).Packed();
    data.insert(data.end(), block.begin(), block.end());
  }
  const DecodedPicture decoded = Decode(MakeFourCc("DXT1", 9, 5, data));
  ASSERT_TRUE(decoded.Succeeded());
  for (unsigned y = 0; y < 5; ++y) {
    for (unsigned x = 0; x < 9; ++x) {
      const unsigned colour = kColours[y / 4 * 3 + x / 4];
      const Bytes expected = {static_cast<BYTE>(colour >> 11 != 0 ? 255 : 0),
                              static_cast<BYTE>((colour >> 5 & 63) != 0 ? 255 : 0),
                              static_cast<BYTE>((colour & 31) != 0 ? 255 : 0), 255};
      const BYTE* pixel = &decoded.pixels[(y * 9 + x) * 4];
      ASSERT_EQ(Bytes(pixel, pixel + 4), expected) << x << "," << y;
    }
  }
  // BC7, by its decoder.
  const Bytes blocks = NoisyBc7Blocks(2);
  const Bytes pixels = Decode(MakeDxgi(98, 8, 4, blocks)).pixels;
  Bytes second(64);
  DecodeBc7(&blocks[16], second.data(), 16);
  EXPECT_EQ(pixels[(3 * 8 + 6) * 4], second[(3 * 4 + 2) * 4 + 2]);
  EXPECT_EQ(pixels[(3 * 8 + 6) * 4 + 3], second[(3 * 4 + 2) * 4 + 3]);
}

WICPixelFormatGUID FormatOf(const DdsPicture& picture) {
  const Bytes file = EncodeDds(picture);
  CComPtr<IWICBitmapDecoder> decoder;
  CComPtr<IWICBitmapFrameDecode> frame;
  WICPixelFormatGUID format{};
  UINT count = 0;
  EXPECT_EQ(OpenDecoder(MakeStream(file), &decoder), S_OK);
  if (decoder == nullptr) return format;
  EXPECT_EQ(decoder->GetContainerFormat(&format), S_OK);
  EXPECT_EQ(format, GUID_ContainerFormatDds);
  EXPECT_EQ(decoder->GetFrameCount(&count), S_OK);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(decoder->GetFrame(0, &frame), S_OK);
  EXPECT_EQ(frame->GetPixelFormat(&format), S_OK);
  return format;
}

TEST(DdsDecoder, TellsPremultipliedFilesAndOpaqueOnes) {
  const Bytes block(16, 0x55);
  EXPECT_EQ(FormatOf(MakeFourCc("DXT2", 4, 4, block)), GUID_WICPixelFormat32bppPBGRA);
  EXPECT_EQ(FormatOf(MakeFourCc("DXT4", 4, 4, block)), GUID_WICPixelFormat32bppPBGRA);
  EXPECT_EQ(FormatOf(MakeFourCc("DXT5", 4, 4, block)), GUID_WICPixelFormat32bppBGRA);
  // What follows the picture, such as mipmaps, is left alone.
  DdsPicture extended = MakeDxgi(87, 1, 1, {10, 20, 30, 40, 99, 99, 99});
  EXPECT_EQ(FormatOf(extended), GUID_WICPixelFormat32bppBGRA);
  extended.alpha_mode = 2;
  EXPECT_EQ(FormatOf(extended), GUID_WICPixelFormat32bppPBGRA);
  extended.alpha_mode = 3;
  EXPECT_EQ(Decode(extended).pixels, (Bytes{30, 20, 10, 255}));
}

TEST(DdsDecoder, RefusesWhatItDoesNotReadAndWhatIsNoHeader) {
  const auto opened = [](const DdsPicture& picture) { return Decode(picture).opened; };
  for (const unsigned format : {0u, 3u, 26u, 30u, 67u, 95u, 96u, 103u, 107u, 999u}) {
    EXPECT_EQ(opened(MakeDxgi(format, 4, 4, Bytes(256))), WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT)
        << format;
  }
  EXPECT_EQ(opened(MakeFourCc("YUY2", 4, 4, Bytes(256))), WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT);
  DdsPicture masks;
  masks.data = Bytes(64);
  masks.flags = kRgb;
  for (const unsigned bits : {0u, 12u, 64u}) {
    masks.bits = bits;
    EXPECT_EQ(opened(masks), WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT) << bits;
  }
  masks.bits = 32;
  masks.masks = {0xF0F0, 0, 0, 0};
  EXPECT_EQ(opened(masks), WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT);
  masks.flags = 0x200;  // luma and chroma
  EXPECT_EQ(opened(masks), WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT);

  EXPECT_EQ(opened(MakeDxgi(98, 0, 4, {})), WINCODEC_ERR_BADHEADER);
  EXPECT_EQ(opened(MakeDxgi(98, 64250, 64250, Bytes(5000))), WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
  EXPECT_EQ(opened(MakeDxgi(98, 0xFFFFFFFF, 1, {})), WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
  const Bytes file = EncodeDds(MakeDxgi(98, 8, 8, Bytes(64)));
  for (const std::size_t at : {4, 76}) {
    Bytes changed = file;
    changed[at] ^= 1;
    EXPECT_EQ(DecodePicture(changed).opened, WINCODEC_ERR_BADHEADER);
  }
  for (std::size_t size = 4; size < 148; ++size) {
    EXPECT_EQ(DecodePicture(std::span(file).first(size)).opened, WINCODEC_ERR_BADHEADER);
  }
}

}  // namespace
}  // namespace Vantra::Platform
