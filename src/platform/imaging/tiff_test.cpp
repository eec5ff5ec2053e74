// The TIFF decoder and encoder.

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

#include "platform/imaging/test_tiffs.h"
#include "platform/imaging/tiff_decoder.h"
#include "platform/imaging/tiff_stream.h"

namespace Vantra::Platform {
namespace {

struct Samples {
  std::uint16_t photometric;
  std::uint16_t colours;
  std::uint16_t kind;
  std::vector<std::uint16_t> bits;
};

const Samples kSamples[] = {
    {PHOTOMETRIC_MINISWHITE, 1, SAMPLEFORMAT_UINT, {1, 4, 8, 16}},
    {PHOTOMETRIC_MINISBLACK, 1, SAMPLEFORMAT_UINT, {1, 2, 4, 8, 12, 16, 32}},
    {PHOTOMETRIC_MINISBLACK, 1, SAMPLEFORMAT_INT, {8, 16, 32}},
    {PHOTOMETRIC_MINISBLACK, 1, SAMPLEFORMAT_IEEEFP, {16, 32, 64}},
    {PHOTOMETRIC_PALETTE, 1, SAMPLEFORMAT_UINT, {1, 2, 4, 8, 16}},
    {PHOTOMETRIC_RGB, 3, SAMPLEFORMAT_UINT, {2, 8, 10, 16, 32}},
    {PHOTOMETRIC_RGB, 3, SAMPLEFORMAT_IEEEFP, {16, 32, 64}},
    {PHOTOMETRIC_SEPARATED, 4, SAMPLEFORMAT_UINT, {8, 16}},
};

void ExpectPixels(const TiffPicture& made, const Bytes& file) {
  const DecodedPicture decoded = DecodeFrame(file);
  ASSERT_EQ(decoded.copied, S_OK);
  ASSERT_EQ(decoded.width, made.width);
  ASSERT_EQ(decoded.height, made.height);
  ASSERT_EQ(decoded.pixels, ExpectedPbgra(made));
}

TEST(TiffDecoder, GivesTheExactPixelsOfAllSamplesInStripsTilesAndPlanes) {
  for (const Samples& samples : kSamples) {
    for (const std::uint16_t bits : samples.bits) {
      for (const std::uint16_t extra :
           {std::uint16_t{EXTRASAMPLE_UNSPECIFIED}, std::uint16_t{EXTRASAMPLE_ASSOCALPHA},
            std::uint16_t{EXTRASAMPLE_UNASSALPHA}}) {
        for (int layout = 0; layout < 8; ++layout) {
          TiffPicture picture;
          picture.photometric = samples.photometric;
          picture.kind = samples.kind;
          picture.bits = bits;
          picture.extra = extra;
          picture.samples = samples.colours;
          // Inks and palettes that were multiplied by alpha are not made.
          const bool straight = samples.colours == 4 || samples.photometric == PHOTOMETRIC_PALETTE;
          if (layout >= 2 && !(straight && extra == EXTRASAMPLE_ASSOCALPHA) &&
              samples.kind != SAMPLEFORMAT_INT &&
              !(samples.photometric == PHOTOMETRIC_MINISWHITE && extra == EXTRASAMPLE_ASSOCALPHA)) {
            ++picture.samples;
          }
          // Bits of floats below zero do not order as their values do.
          if (samples.kind == SAMPLEFORMAT_IEEEFP && extra == EXTRASAMPLE_ASSOCALPHA) continue;
          picture.width = 37;
          picture.height = 21;
          picture.planes = (layout & 1) != 0;
          picture.tile = (layout & 2) != 0 ? 16 : 0;
          picture.mode = (layout & 4) != 0 ? "wb" : "wl8";
          FillTiff(picture, static_cast<std::uint32_t>(bits * 8 + layout));
          SCOPED_TRACE(testing::Message()
                       << "photometric " << samples.photometric << " kind " << samples.kind
                       << " bits " << bits << " extra " << extra << " layout " << layout);
          ExpectPixels(picture, EncodeTiff(picture));
          if (HasFatalFailure()) return;
        }
      }
    }
  }
}

TEST(TiffDecoder, ReadsEveryCompressionThatTheLibraryWrites) {
  for (const std::uint16_t compression : std::initializer_list<std::uint16_t>{
           COMPRESSION_LZW, COMPRESSION_PACKBITS, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_DEFLATE,
           COMPRESSION_CCITTRLE, COMPRESSION_CCITTFAX3, COMPRESSION_CCITTFAX4, COMPRESSION_LZMA,
           COMPRESSION_ZSTD}) {
    if (TIFFIsCODECConfigured(compression) == 0) continue;
    TiffPicture picture;
    picture.compression = compression;
    picture.width = 70;
    picture.height = 9;
    const bool fax = compression >= COMPRESSION_CCITTRLE && compression <= COMPRESSION_CCITTFAX4;
    if (fax) {
      picture.photometric = PHOTOMETRIC_MINISWHITE;
      picture.bits = 1;
      picture.samples = 1;
    }
    SCOPED_TRACE(compression);
    FillTiff(picture, compression);
    ExpectPixels(picture, EncodeTiff(picture));
  }
}

// A gradient is compressed by JPEG with little loss.
TEST(TiffDecoder, ReadsJpegInTiles) {
  for (const std::uint16_t photometric :
       {std::uint16_t{PHOTOMETRIC_MINISBLACK}, std::uint16_t{PHOTOMETRIC_YCBCR}}) {
    TiffPicture picture;
    picture.photometric = photometric;
    picture.compression = COMPRESSION_JPEG;
    picture.samples = photometric == PHOTOMETRIC_YCBCR ? 3 : 1;
    picture.width = 40;
    picture.height = 24;
    picture.tile = 16;
    for (unsigned i = 0; i < picture.width * picture.height * picture.samples; ++i) {
      const unsigned pixel = i / picture.samples;
      picture.values.push_back(pixel % 40 * 3 + pixel / 40 * 2 + i % picture.samples * 20);
    }
    const DecodedPicture decoded = DecodeFrame(EncodeTiff(picture));
    picture.photometric = picture.samples == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
    const Bytes expected = ExpectedPbgra(picture);
    ASSERT_EQ(decoded.copied, S_OK);
    for (std::size_t i = 0; i < expected.size(); ++i) {
      ASSERT_NEAR(decoded.pixels[i], expected[i], 16) << i;
    }
  }
}

// The library's own conversion of a whole picture.
Bytes ByLibrary(const Bytes& file, const TiffPicture& picture) {
  TiffTarget target{file};
  // The memory is read like a file.
  const TiffHandle tiff = OpenTiffTarget(target, "r");
  std::vector<std::uint32_t> raster(std::size_t{picture.width} * picture.height);
  EXPECT_EQ(TIFFReadRGBAImageOriented(tiff.get(), picture.width, picture.height, raster.data(),
                                      ORIENTATION_TOPLEFT, 1),
            1);
  Bytes pixels;
  for (const std::uint32_t pixel : raster) {
    for (const unsigned shift : {16, 8, 0, 24}) pixels.push_back(static_cast<BYTE>(pixel >> shift));
  }
  return pixels;
}

TEST(TiffDecoder, ConvertsOtherColoursInPartsAsTheLibraryDoesAsAWhole) {
  for (const std::uint16_t photometric :
       {std::uint16_t{PHOTOMETRIC_YCBCR}, std::uint16_t{PHOTOMETRIC_CIELAB}}) {
    // The library reads uncompressed tiles for this only if their bytes are a multiple of 1024.
    for (const unsigned tile : {0u, 32u}) {
      TiffPicture picture;
      picture.photometric = photometric;
      picture.width = 37;
      picture.height = 21;
      picture.tile = tile;
      FillTiff(picture, tile);
      const Bytes file = EncodeTiff(picture);
      const DecodedPicture decoded = DecodeFrame(file);
      EXPECT_EQ(decoded.copied, S_OK);
      EXPECT_EQ(decoded.pixels, ByLibrary(file, picture)) << photometric << " " << tile;
    }
  }
}

std::vector<TiffPicture> Pages(unsigned count) {
  std::vector<TiffPicture> pages(count);
  for (unsigned i = 0; i < count; ++i) {
    pages[i].width = 3 + i;
    pages[i].height = 5;
    FillTiff(pages[i], i);
  }
  return pages;
}

// The place of the offset of the page after the first, in a file of the classic form.
std::size_t LinkOfFirstPage(const Bytes& file) {
  std::uint32_t directory = 0;
  std::uint16_t entries = 0;
  std::memcpy(&directory, &file[4], sizeof directory);
  std::memcpy(&entries, &file[directory], sizeof entries);
  return directory + 2 + std::size_t{entries} * 12;
}

TEST(TiffDecoder, GivesEachPageAsAFrame) {
  const std::vector<TiffPicture> pages = Pages(3);
  Bytes file = EncodeTiff(pages);
  for (UINT i = 0; i < 3; ++i) {
    const DecodedPicture decoded = DecodeFrame(file, i);
    EXPECT_EQ(decoded.count, 3u);
    EXPECT_EQ(decoded.pixels, ExpectedPbgra(pages[i]));
  }
  EXPECT_EQ(DecodeFrame(file, 3).frame, WINCODEC_ERR_FRAMEMISSING);

  // A page that lies beyond the end spoils no other.
  const std::uint32_t beyond = 0x7FFFFFF0;
  std::memcpy(&file[LinkOfFirstPage(file)], &beyond, sizeof beyond);
  EXPECT_EQ(DecodeFrame(file, 0).copied, S_OK);
  EXPECT_EQ(DecodeFrame(file, 0).count, 2u);
  EXPECT_EQ(DecodeFrame(file, 1).frame, WINCODEC_ERR_BADHEADER);
}

TEST(TiffDecoder, RefusesPagesWithoutEnd) {
  Bytes file = EncodeTiff(Pages(1));
  const std::size_t link = LinkOfFirstPage(file);
  std::memcpy(&file[link], &file[4], 4);  // to itself
  EXPECT_EQ(DecodeFrame(file).opened, WINCODEC_ERR_BADHEADER);
}

// Changes the value of a tag in the first directory of a file of the classic form.
void SetTag(Bytes& file, std::uint16_t tag, std::uint32_t value) {
  const std::size_t end = LinkOfFirstPage(file);
  std::uint32_t at = 0;
  std::memcpy(&at, &file[4], sizeof at);
  for (at += 2; at < end; at += 12) {
    std::uint16_t found = 0;
    std::memcpy(&found, &file[at], sizeof found);
    const std::uint16_t type = TIFF_LONG;
    if (found != tag) continue;
    std::memcpy(&file[at + 2], &type, sizeof type);
    std::memcpy(&file[at + 8], &value, sizeof value);
    return;
  }
  FAIL() << "no tag " << tag;
}

TEST(TiffDecoder, RefusesWhatIsTooLargeOrUnknownBeforeItTakesMemory) {
  TiffPicture strips;
  strips.width = 16;
  strips.height = 16;
  FillTiff(strips, 1);
  TiffPicture grey = strips;
  grey.photometric = PHOTOMETRIC_MINISBLACK;
  grey.samples = 1;
  FillTiff(grey, 2);
  TiffPicture tiles = strips;
  tiles.tile = 16;
  const struct {
    const TiffPicture& picture;
    std::uint16_t tag;
    std::uint32_t value;
    HRESULT expected;
  } kCases[] = {
      {strips, TIFFTAG_IMAGEWIDTH, WIC_MAXIMUM_SIDE + 1, WINCODEC_ERR_IMAGESIZEOUTOFRANGE},
      {strips, TIFFTAG_IMAGELENGTH, WIC_MAXIMUM_SIDE + 1, WINCODEC_ERR_IMAGESIZEOUTOFRANGE},
      {strips, TIFFTAG_IMAGEWIDTH, 0, WINCODEC_ERR_BADHEADER},
      {strips, TIFFTAG_COMPRESSION, COMPRESSION_OJPEG, WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT},
      {strips, TIFFTAG_COMPRESSION, 12345, WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT},
      {strips, TIFFTAG_PHOTOMETRIC, 32803, WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT},
      {grey, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_COMPLEXINT, WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT},
      {grey, TIFFTAG_SAMPLESPERPIXEL, 60000, WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT},
      {tiles, TIFFTAG_TILEWIDTH, 1 << 24, WINCODEC_ERR_IMAGESIZEOUTOFRANGE},
  };
  for (const auto& [picture, tag, value, expected] : kCases) {
    Bytes file = EncodeTiff(picture);
    SetTag(file, tag, value);
    const DecodedPicture decoded = DecodeFrame(file);
    EXPECT_EQ(decoded.opened, S_OK);
    EXPECT_EQ(decoded.frame, expected) << tag << " " << value;
  }
}

TEST(TiffDecoder, GivesTheRowsBeforeDamageAndReportsIt) {
  TiffPicture picture;
  picture.width = 8;
  picture.height = 12;
  picture.compression = COMPRESSION_LZW;
  FillTiff(picture, 1);
  Bytes file = EncodeTiff(picture);
  SetTag(file, TIFFTAG_IMAGELENGTH, 20);  // more than there are strips for
  const DecodedPicture decoded = DecodeFrame(file);
  EXPECT_EQ(decoded.copied, WINCODEC_ERR_BADIMAGE);
  Bytes expected = ExpectedPbgra(picture);
  expected.resize(decoded.pixels.size(), 0);
  EXPECT_EQ(decoded.pixels, expected);
}

TEST(TiffEncoder, WritesWhatTheLibraryReads) {
  TiffPicture picture;
  picture.width = 129;
  picture.height = 300;  // several strips
  picture.samples = 4;
  picture.extra = EXTRASAMPLE_UNASSALPHA;
  FillTiff(picture, 7);
  Bytes pixels(picture.values.begin(), picture.values.end());
  const Bytes file = EncodeRgba(GUID_ContainerFormatTiff, picture.width, picture.height, pixels);
  ASSERT_FALSE(file.empty());
  EXPECT_EQ(ByLibrary(file, picture), ExpectedPbgra(picture));
  EXPECT_EQ(DecodeFrame(file, 0, GUID_WICPixelFormat32bppRGBA).pixels, pixels);
}

}  // namespace
}  // namespace Vantra::Platform
