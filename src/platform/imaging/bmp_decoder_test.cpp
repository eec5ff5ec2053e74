// BMP files, through the interfaces that a host uses.

#include <gtest/gtest.h>
#include <string>

#include "platform/imaging/test_pictures.h"

namespace Vantra::Platform {
namespace {

HRESULT OpeningResult(std::span<const BYTE> file) { return DecodePicture(file).opened; }

void ExpectExact(const BmpPicture& made) {
  const DecodedPicture decoded = DecodePicture(EncodeBmp(made));
  SCOPED_TRACE(testing::Message() << made.bits << " bits, header of " << made.header << ", "
                                  << made.width << "x" << made.height);
  ASSERT_TRUE(decoded.Succeeded());
  ASSERT_EQ(decoded.width, made.width);
  ASSERT_EQ(decoded.height, made.height);
  ASSERT_EQ(decoded.pixels, ExpectedRgba(made));
}

TEST(BmpDecoder, GivesTheExactPixelsOfEveryDepthOrderAndHeader) {
  // The last of more rows than are read at a time.
  constexpr std::pair<unsigned, unsigned> kSizes[] = {{1, 1}, {3, 9}, {33, 17}, {400, 350}};
  for (const unsigned bits : {1u, 2u, 4u, 8u, 16u, 24u, 32u}) {
    for (const unsigned header : {12u, 16u, 40u, 42u, 52u, 56u, 64u, 108u, 124u}) {
      for (const auto& [width, height] : kSizes) {
        if (width == 400 && header != 40) continue;
        for (const bool top_down : {false, true}) {
          BmpPicture made = MakeBmp(bits, width, height, top_down && header != 12, false);
          made.header = header;
          ExpectExact(made);
        }
      }
    }
  }
}

TEST(BmpDecoder, GivesTheExactPixelsOfEveryMask) {
  const struct {
    unsigned bits;
    std::array<std::uint32_t, 4> masks;
  } kinds[] = {{16, {0xF800, 0x7E0, 0x1F, 0}},
               {16, {0x7C00, 0x3E0, 0x1F, 0x8000}},
               {16, {0xF, 0xF0, 0xF00, 0xF000}},
               {16, {0xE000, 0, 0x0001, 0}},
               {32, {0xFF0000, 0xFF00, 0xFF, 0xFF000000}},
               {32, {0xFF, 0xFF00, 0xFF0000, 0}},
               {32, {0xFF000000, 0xFF0000, 0xFF00, 0xFF}},
               {32, {0x3FF00000, 0xFFC00, 0x3FF, 0xC0000000}},
               {32, {0xFFFFF, 0xFFE00000, 0x00100000, 0}}};
  for (const auto& [bits, masks] : kinds) {
    BmpPicture made = MakeBmp(bits, 41, 13, true, false);
    made.masks = masks;
    const bool alpha = masks[3] != 0;
    for (const unsigned header : {40u, 52u, 56u, 108u, 124u}) {
      if (alpha && header == 52) continue;
      made.header = header;
      // Behind the shortest header, alpha has a number of its own.
      made.compression = alpha && header == 40 ? 6 : 3;
      ExpectExact(made);
    }
  }
}

TEST(BmpDecoder, SkipsWhatLiesBeforeThePixelsAndRefusesVariantsItDoesNotKnow) {
  const BmpPicture made = MakeBmp(24, 5, 4, false, false);
  const Bytes file = EncodeBmp(made);
  Bytes spaced = file;
  spaced.insert(spaced.begin() + 54, 1000, 0xEE);
  spaced[10] = static_cast<BYTE>((54 + 1000) & 0xFF);
  spaced[11] = static_cast<BYTE>((54 + 1000) >> 8);
  EXPECT_EQ(DecodePicture(spaced).pixels, ExpectedRgba(made));

  // Bytes of the header, what to change them to, and the result.
  const struct {
    std::size_t at;
    BYTE value;
    HRESULT result;
  } changes[] = {{10, 53, WINCODEC_ERR_BADHEADER},
                 {13, 0x7F, WINCODEC_ERR_BADHEADER},
                 {14, 13, WINCODEC_ERR_BADHEADER},
                 {14, 200, WINCODEC_ERR_BADHEADER},
                 {18, 0, WINCODEC_ERR_BADHEADER},
                 {21, 0x80, WINCODEC_ERR_IMAGESIZEOUTOFRANGE},
                 {28, 0, WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT},
                 {28, 48, WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT},
                 // Runs and masks are not for 24 bits; then JPEG, PNG and CMYK.
                 {30, 1, WINCODEC_ERR_BADHEADER},
                 {30, 2, WINCODEC_ERR_BADHEADER},
                 {30, 3, WINCODEC_ERR_BADHEADER},
                 {30, 4, WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT},
                 {30, 5, WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT},
                 {30, 11, WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT}};
  for (const auto& change : changes) {
    Bytes changed = file;
    changed[change.at] = change.value;
    EXPECT_EQ(OpeningResult(changed), change.result) << change.at << " " << int{change.value};
  }
  Bytes least = file;
  least[22] = 0;
  least[25] = 0x80;
  EXPECT_EQ(OpeningResult(least), WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
  // Under a header of that length the number means another coding.
  BmpPicture other = MakeBmp(1, 5, 4, false, false);
  other.header = 64;
  other.compression = 3;
  EXPECT_EQ(OpeningResult(EncodeBmp(other)), WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT);

  BmpPicture masked = MakeBmp(16, 5, 4, false, false);
  masked.compression = 3;
  EXPECT_EQ(OpeningResult(EncodeBmp(masked)), WINCODEC_ERR_BADHEADER) << "no masks";
  masked.masks = {0x1F0000, 0x3E0, 0x1F, 0};
  EXPECT_EQ(OpeningResult(EncodeBmp(masked)), WINCODEC_ERR_BADHEADER) << "beyond the pixel";
  masked.masks = {0x5500, 0xE0, 0x1F, 0};
  EXPECT_EQ(OpeningResult(EncodeBmp(masked)), WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT) << "in pieces";
}

TEST(BmpDecoder, AShortPaletteIsBlackBehindItsEnd) {
  // Said to be short, and cut short by the pixels' place.
  BmpPicture made = MakeBmp(8, 3, 1, false, false);
  made.samples = {0, 1, 200};
  Bytes said = EncodeBmp(made);
  said[46] = 1;
  made.palette.resize(1);
  const Bytes cut = EncodeBmp(made);
  made.palette.resize(256);
  const Bytes expected = ExpectedRgba(made);
  EXPECT_EQ(DecodePicture(said).pixels, expected);
  EXPECT_EQ(DecodePicture(cut).pixels, expected);
}

// A picture of four colours, whose index is in the red channel, as digits.
std::string Digits(const DecodedPicture& picture) {
  std::string digits;
  for (std::size_t i = 0; i < picture.pixels.size(); i += 4) {
    if (i > 0 && i / 4 % picture.width == 0) digits += ' ';
    digits += static_cast<char>('0' + picture.pixels[i]);
  }
  return digits;
}

Bytes Runs(unsigned bits, unsigned width, unsigned height, const Bytes& runs) {
  BmpPicture picture{bits, false, width, height, 40, bits == 8 ? 1u : 2u, {}, {}, {}};
  for (std::uint32_t i = 0; i < 4; ++i) picture.palette.push_back(i << 16);
  Bytes file = EncodeBmpHeader(picture, runs.size());
  file.insert(file.end(), runs.begin(), runs.end());
  return file;
}

TEST(BmpDecoder, ReadsRunsFromTheBottomRowOn) {
  const struct {
    const char* what;
    unsigned bits;
    Bytes runs;
    std::string expected;
    HRESULT result = S_OK;
  } cases[] = {
      {"runs", 8, {5, 1, 0, 0, 2, 2, 3, 3, 0, 0, 5, 0, 0, 1}, "00000 22333 11111"},
      {"indices one by one, padded",
       8,
       {0, 5, 1, 2, 3, 2, 1, 9, 0, 0, 0, 4, 3, 3, 1, 1, 1, 2, 0, 1},
       "00000 33112 12321"},
      {"a move", 8, {1, 1, 0, 2, 2, 1, 2, 3, 0, 2, 0, 1, 5, 2, 0, 1}, "00000 00033 10000"},
      {"a move to the next row's place", 8, {0, 2, 3, 2, 2, 2, 0, 1}, "00022 00000 00000"},
      {"an early end", 8, {2, 1, 0, 1, 5, 3}, "00000 00000 11000"},
      {"beyond a row and the last one",
       8,
       {200, 1, 0, 0, 0, 6, 2, 2, 2, 2, 2, 3, 0, 0, 9, 3, 0, 0, 5, 1, 0, 1},
       "33333 22222 11111"},
      {"a move out of the picture",
       8,
       {0, 2, 255, 0, 3, 1, 0, 2, 0, 255, 3, 1},
       "00000 00000 00000"},
      {"no end behind the last row", 8, {5, 1, 0, 0, 5, 2, 0, 0, 5, 3}, "33333 22222 11111"},
      {"cut off", 8, {5, 1, 0, 0, 2, 2}, "00000 22000 11111", WINCODEC_ERR_BADIMAGE},
      {"cut off in indices", 8, {5, 1, 0, 0, 0, 3, 1}, "00000 00000 11111", WINCODEC_ERR_BADIMAGE},
      {"runs of two",
       4,
       {5, 0x12, 0, 0, 4, 0x30, 1, 0x10, 0, 0, 3, 0x22, 0, 1},
       "22200 30301 12121"},
      {"indices one by one, padded",
       4,
       {0, 5, 0x12, 0x32, 0x10, 0, 0, 0, 0, 3, 0x32, 0x1F, 2, 0x20, 0, 1},
       "00000 32120 12321"},
      {"beyond a row", 4, {9, 0x12, 0, 0, 0, 7, 0x11, 0x22, 0x33, 0x11, 0, 1}, "00000 11223 12121"},
      {"cut off", 4, {5, 0x12, 0}, "00000 00000 12121", WINCODEC_ERR_BADIMAGE},
  };
  for (const auto& [what, bits, runs, expected, result] : cases) {
    const DecodedPicture decoded = DecodePicture(Runs(bits, 5, 3, runs));
    EXPECT_EQ(decoded.opened, S_OK) << what;
    EXPECT_EQ(decoded.copied, result) << what;
    EXPECT_EQ(Digits(decoded), expected) << what << " of " << bits << " bits";
  }
}

TEST(BmpDecoder, FewRunsOfALargePictureTakeLittleMemory) {
  const Bytes file =
      Runs(8, 1 << 14, 1 << 13, {255, 1, 0, 2, 255, 255, 0, 2, 255, 255, 9, 2, 0, 1});
  const long before = PeakMemory();
  const auto frame = OpenFrame(MakeStream(file));
  ASSERT_TRUE(frame);
  const WICRect corner{0, (1 << 13) - 1, 1, 1};
  BYTE pixel[4]{};
  EXPECT_EQ(frame->CopyPixels(&corner, 4, 4, pixel), S_OK);
  EXPECT_EQ(pixel[2], 1);
  // The indices of such a picture have 128 MiB. A sanitizer's own books take an eighth of that.
  EXPECT_LT(PeakMemory() - before, 64 * 1024);
}

}  // namespace
}  // namespace Vantra::Platform
