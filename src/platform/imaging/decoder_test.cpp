// The decoders, through the interfaces that a host uses.

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

#include "platform/com/com_object.h"
#include "platform/imaging/test_dds.h"
#include "platform/imaging/test_gifs.h"

namespace Vantra::Platform {
namespace {

const JpegCoding kCodings[] = {JpegCoding::kSequential, JpegCoding::kSeparateScans,
                               JpegCoding::kProgressive};

struct SmallFile {
  Bytes bytes;
  // Whether its rows stand in the file one after the other.
  bool in_order;
};

// One small file of each way in which a decoder works.
std::vector<SmallFile> SmallFiles() {
  std::vector<SmallFile> files;
  for (const bool interlaced : {false, true}) {
    files.push_back(
        {EncodePng(MakePng(PngColour::kRgba, 8, 9, 7, interlaced, false)), !interlaced});
    files.push_back(
        {EncodePng(MakePng(PngColour::kPalette, 2, 9, 7, interlaced, true)), !interlaced});
  }
  for (const JpegCoding coding : kCodings) {
    const bool in_order = coding == JpegCoding::kSequential;
    files.push_back({EncodeJpeg(MakeJpeg(JpegColour::kYCbCr, coding, 24, 40)), in_order});
    files.push_back({EncodeJpeg(MakeJpeg(JpegColour::kCmyk, coding, 17, 9)), in_order});
  }
  JpegPicture arithmetic = MakeJpeg(JpegColour::kYCbCr, JpegCoding::kSequential, 24, 40);
  arithmetic.arithmetic = true;
  files.push_back({EncodeJpeg(arithmetic), true});
  for (const bool top_down : {false, true}) {
    files.push_back({EncodeBmp(MakeBmp(8, 9, 7, top_down, false)), top_down});
    files.push_back({EncodeBmp(MakeBmp(32, 9, 7, top_down, true)), top_down});
  }
  files.push_back({EncodeDds(MakeDxgi(98, 9, 7, NoisyBc7Blocks(6))), true});
  files.push_back({EncodeDds(MakeDxgi(85, 9, 7, Bytes(9 * 7 * 2, 0x9C))), true});
  for (const bool interlaced : {false, true}) {
    files.push_back({EncodeGif(MakeGif(16, interlaced, true)), !interlaced});
  }
  return files;
}

// Null when it does not open.
CComPtr<IWICBitmapSource> OpenAsRgba(IStream* stream) {
  const auto frame = OpenFrame(stream);
  return frame ? AsRgba(frame) : nullptr;
}

HRESULT OpeningResult(std::span<const BYTE> file) { return DecodePicture(file).opened; }

TEST(PngDecoder, GivesTheExactPixelsOfEveryColourTypeDepthTransparencyAndInterlacing) {
  const std::pair<PngColour, std::vector<unsigned>> kinds[] = {
      {PngColour::kGrey, {1, 2, 4, 8, 16}}, {PngColour::kRgb, {8, 16}},
      {PngColour::kPalette, {1, 2, 4, 8}},  {PngColour::kGreyAlpha, {8, 16}},
      {PngColour::kRgba, {8, 16}},
  };
  for (const auto& [colour, depths] : kinds) {
    for (const unsigned depth : depths) {
      for (int options = 0; options < 4; ++options) {
        const bool interlaced = (options & 1) != 0;
        const bool transparent = (options & 2) != 0;
        for (const auto& [width, height] : {std::pair(1u, 1u), {3u, 9u}, {33u, 17u}}) {
          SCOPED_TRACE(testing::Message()
                       << "colour " << static_cast<int>(colour) << " depth " << depth
                       << " interlaced " << interlaced << " transparent " << transparent << " "
                       << width << "x" << height);
          const PngPicture made = MakePng(colour, depth, width, height, interlaced, transparent);
          const DecodedPicture decoded = DecodePicture(EncodePng(made));
          ASSERT_TRUE(decoded.Succeeded());
          ASSERT_EQ(decoded.width, width);
          ASSERT_EQ(decoded.height, height);
          ASSERT_EQ(decoded.pixels, ExpectedRgba(made));
        }
      }
    }
  }
}

TEST(JpegDecoder, GivesThePixelsOfEveryColourModelAndCoding) {
  // Quality 100 leaves the rounding of samples and of the colour conversion, there and back.
  constexpr int kTolerance = 4;
  // Chroma at half the resolution is off by half a step of the gradients as well.
  constexpr int kChromaTolerance = 8;
  for (const JpegColour colour : {JpegColour::kGrey, JpegColour::kYCbCr, JpegColour::kRgb,
                                  JpegColour::kCmyk, JpegColour::kYcck}) {
    for (const JpegCoding coding : kCodings) {
      for (int options = 0; options < 8; ++options) {
        JpegPicture made = MakeJpeg(colour, coding, 90, 71);
        // Without this marker YCCK cannot be told from CMYK.
        made.adobe = (options & 1) != 0 || colour == JpegColour::kYcck;
        made.chroma_across = (options & 2) != 0 && colour == JpegColour::kYCbCr ? 2 : 1;
        made.chroma_down = made.chroma_across;
        made.restart_rows = (options & 4) != 0 ? 1 : 0;
        SCOPED_TRACE(testing::Message() << "colour " << static_cast<int>(colour) << " coding "
                                        << static_cast<int>(coding) << " options " << options);
        const DecodedPicture decoded = DecodePicture(EncodeJpeg(made));
        ASSERT_TRUE(decoded.Succeeded());
        const Bytes expected = ExpectedRgba(made);
        ASSERT_EQ(decoded.pixels.size(), expected.size());
        int worst = 0;
        for (std::size_t i = 0; i < expected.size(); ++i) {
          const int off = std::abs(decoded.pixels[i] - expected[i]);
          // Alpha has no tolerance.
          worst = std::max(worst, i % 4 == 3 ? off * 256 : off);
        }
        EXPECT_LE(worst, made.chroma_across == 1 ? kTolerance : kChromaTolerance);
      }
    }
  }
}

TEST(Decoders, CopyAnyRectangleInAnyOrderAndNothingBesideIt) {
  for (const auto& [file, in_order] : SmallFiles()) {
    const DecodedPicture whole = DecodePicture(file);
    ASSERT_TRUE(whole.Succeeded());
    const auto width = static_cast<INT>(whole.width);
    const auto height = static_cast<INT>(whole.height);
    const auto frame = OpenAsRgba(MakeStream(file));
    const WICRect rects[] = {{0, 0, width, 2},          {0, 2, width, 1},
                             {1, 4, 2, height - 4},     {width - 1, 0, 1, height},
                             {0, height - 1, width, 1}, {2, 3, 3, 2}};
    for (const WICRect& rect : rects) {
      const UINT row_bytes = static_cast<UINT>(rect.Width) * 4;
      const UINT stride = row_bytes + 5;
      const UINT size = stride * static_cast<UINT>(rect.Height - 1) + row_bytes;
      Bytes part(size, 0xEE);
      Bytes expected = part;
      for (INT y = 0; y < rect.Height; ++y) {
        const std::size_t from = static_cast<std::size_t>(rect.Y + y) * whole.width + rect.X;
        std::memcpy(&expected[static_cast<std::size_t>(y) * stride], &whole.pixels[from * 4],
                    row_bytes);
      }
      ASSERT_EQ(frame->CopyPixels(&rect, stride, size, part.data()), S_OK);
      EXPECT_EQ(part, expected);
      EXPECT_EQ(frame->CopyPixels(&rect, stride, size - 1, part.data()),
                WINCODEC_ERR_INSUFFICIENTBUFFER);
      EXPECT_EQ(frame->CopyPixels(&rect, row_bytes - 1, size, part.data()), E_INVALIDARG);
    }
    Bytes buffer(whole.pixels.size());
    const auto size = static_cast<UINT>(buffer.size());
    for (const WICRect& bad :
         {WICRect{-1, 0, 1, 1}, WICRect{0, -1, 1, 1}, WICRect{0, 0, 0, 1}, WICRect{0, 0, 1, -1},
          WICRect{1, 0, width, 1}, WICRect{0, 1, 1, height}, WICRect{INT32_MAX, 0, INT32_MAX, 1}}) {
      EXPECT_EQ(frame->CopyPixels(&bad, whole.width * 4, size, buffer.data()), E_INVALIDARG);
    }
    EXPECT_EQ(frame->CopyPixels(nullptr, whole.width * 4, size, nullptr), E_INVALIDARG);
  }
}

TEST(Decoders, AFileCutOffAnywhereFailsAndGivesTheRowsBeforeTheCut) {
  for (const auto& [file, in_order] : SmallFiles()) {
    // What a GIF has before the cut is frames, not rows alone, which has a test of its own.
    if (file[0] == 'G') continue;
    const DecodedPicture whole = DecodePicture(file);
    ASSERT_TRUE(whole.Succeeded());
    std::size_t opened = 0;
    bool some_rows = false;
    for (std::size_t size = 0; size < file.size(); ++size) {
      // A copy of its own size lets the address sanitizer see reads beyond the end.
      const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
      const DecodedPicture part = DecodePicture(cut);
      ASSERT_FALSE(part.Succeeded()) << "cut at " << size << " of " << file.size();
      if (FAILED(part.opened)) {
        EXPECT_TRUE(part.opened == WINCODEC_ERR_BADHEADER ||
                    part.opened == WINCODEC_ERR_UNKNOWNIMAGEFORMAT);
        continue;
      }
      ++opened;
      EXPECT_EQ(part.copied, WINCODEC_ERR_BADIMAGE);
      const std::size_t row_bytes = std::size_t{part.width} * 4;
      bool ended = false;
      for (std::size_t y = 0; y < part.height; ++y) {
        const auto row = std::span(part.pixels).subspan(y * row_bytes, row_bytes);
        const bool right =
            std::ranges::equal(row, std::span(whole.pixels).subspan(y * row_bytes, row_bytes));
        ended = ended || !right;
        some_rows = some_rows || right;
        if (!in_order || !ended) continue;
        ASSERT_TRUE(std::ranges::all_of(row, [](BYTE value) { return value == 0; }))
            << "cut at " << size << ", row " << y;
      }
    }
    EXPECT_GT(opened, 0u);
    EXPECT_TRUE(some_rows);
  }
}

TEST(Decoders, ChangedBytesGiveAPictureOrAStatedFailure) {
  constexpr int kChangesPerFile = 1500;
  Noise noise(12345);
  int failures = 0;
  int pictures = 0;
  for (const auto& [file, in_order] : SmallFiles()) {
    for (int i = 0; i < kChangesPerFile; ++i) {
      Bytes changed = file;
      for (std::uint32_t n = noise.Below(3) + 1; n > 0; --n) {
        const auto size = static_cast<std::uint32_t>(changed.size());
        changed[noise.Below(size)] ^= static_cast<BYTE>(1u << noise.Below(8));
      }
      // Without this the check sums would catch nearly all, and nothing behind them be tested.
      if (changed[0] == 0x89 && i % 4 != 0) RepairPngChecksums(changed);
      const DecodedPicture decoded = DecodePicture(changed);
      if (decoded.Succeeded()) {
        ++pictures;
        continue;
      }
      ++failures;
      const HRESULT result = FAILED(decoded.opened) ? decoded.opened : decoded.copied;
      EXPECT_TRUE(result == WINCODEC_ERR_UNKNOWNIMAGEFORMAT || result == WINCODEC_ERR_BADHEADER ||
                  result == WINCODEC_ERR_IMAGESIZEOUTOFRANGE || result == WINCODEC_ERR_BADIMAGE ||
                  result == WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT ||
                  (result == E_FAIL && decoded.pixels.empty()))
          << std::hex << result;
    }
  }
  EXPECT_GT(failures, 1000);
  EXPECT_GT(pictures, 1000);
}

// Files whose header claims a size that their few bytes cannot hold.
Bytes LyingPng(unsigned width, unsigned height, bool interlaced) {
  Bytes file = EncodePng(MakePng(PngColour::kRgba, 8, 9, 7, interlaced, false));
  for (int i = 0; i < 4; ++i) {
    file[16 + i] = static_cast<BYTE>(width >> (24 - 8 * i));
    file[20 + i] = static_cast<BYTE>(height >> (24 - 8 * i));
  }
  RepairPngChecksums(file);
  return file;
}

Bytes LyingJpeg(unsigned width, unsigned height, JpegCoding coding) {
  Bytes file = EncodeJpeg(MakeJpeg(JpegColour::kYCbCr, coding, 24, 40));
  const BYTE start[] = {0xFF, static_cast<BYTE>(coding == JpegCoding::kProgressive ? 0xC2 : 0xC0)};
  const auto frame = std::search(file.begin(), file.end(), std::begin(start), std::end(start));
  frame[5] = static_cast<BYTE>(height >> 8);
  frame[6] = static_cast<BYTE>(height);
  frame[7] = static_cast<BYTE>(width >> 8);
  frame[8] = static_cast<BYTE>(width);
  return file;
}

Bytes LyingBmp(unsigned width, unsigned height, bool top_down) {
  BmpPicture picture = MakeBmp(8, 9, 7, top_down, false);
  Bytes file = EncodeBmp(picture);
  const unsigned stored_height = top_down ? 0u - height : height;
  for (int i = 0; i < 4; ++i) {
    file[18 + i] = static_cast<BYTE>(width >> 8 * i);
    file[22 + i] = static_cast<BYTE>(stored_height >> 8 * i);
  }
  return file;
}

TEST(Decoders, ASizeBeyondTheLimitsIsRefusedWhenTheFileIsOpened) {
  for (const bool interlaced : {false, true}) {
    EXPECT_EQ(OpeningResult(LyingPng(100000, 100000, interlaced)),
              WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
    EXPECT_EQ(OpeningResult(LyingPng(WIC_MAXIMUM_SIDE + 1, 1, interlaced)),
              WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
    EXPECT_EQ(OpeningResult(LyingPng(1 << 14, (1 << 13) + 1, interlaced)),
              WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
    EXPECT_EQ(OpeningResult(LyingPng(0, 5, interlaced)), WINCODEC_ERR_BADHEADER);
    EXPECT_EQ(OpeningResult(LyingPng(5, 0, interlaced)), WINCODEC_ERR_BADHEADER);
  }
  for (const bool top_down : {false, true}) {
    EXPECT_EQ(OpeningResult(LyingBmp(WIC_MAXIMUM_SIDE + 1, 1, top_down)),
              WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
    EXPECT_EQ(OpeningResult(LyingBmp(1 << 14, (1 << 13) + 1, top_down)),
              WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
  }
  for (const JpegCoding coding : kCodings) {
    EXPECT_EQ(OpeningResult(LyingJpeg(WIC_MAXIMUM_SIDE + 1, 1, coding)),
              WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
    EXPECT_EQ(OpeningResult(LyingJpeg(1 << 14, (1 << 13) + 1, coding)),
              WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
    EXPECT_EQ(OpeningResult(LyingJpeg(0, 5, coding)), WINCODEC_ERR_BADHEADER);
    EXPECT_EQ(OpeningResult(LyingJpeg(5, 0, coding)), WINCODEC_ERR_BADHEADER);
  }
}

TEST(Decoders, AShortFileOfALargeLegalSizeTakesLittleMemory) {
  std::vector<Bytes> files = {LyingPng(1 << 14, 1 << 13, false), LyingPng(1 << 14, 1 << 13, true)};
  for (const JpegCoding coding : kCodings) files.push_back(LyingJpeg(1 << 14, 1 << 13, coding));
  for (const bool down : {false, true}) files.push_back(LyingBmp(1 << 14, 1 << 13, down));
  const long before = PeakMemory();
  for (const Bytes& file : files) {
    const auto frame = OpenAsRgba(MakeStream(file));
    ASSERT_TRUE(frame);
    const WICRect corner{(1 << 14) - 2, (1 << 13) - 2, 2, 2};
    Bytes pixels(16, 0xA5);
    EXPECT_EQ(frame->CopyPixels(&corner, 8, 16, pixels.data()), WINCODEC_ERR_BADIMAGE);
    EXPECT_EQ(pixels, Bytes(16, 0));
    CComPtr<IWICBitmapScaler> scaler;
    ASSERT_EQ(MakeFactory()->CreateBitmapScaler(&scaler), S_OK);
    ASSERT_EQ(scaler->Initialize(frame, 2, 2, WICBitmapInterpolationModeNearestNeighbor), S_OK);
    EXPECT_EQ(scaler->CopyPixels(nullptr, 8, 16, pixels.data()), WINCODEC_ERR_BADIMAGE);
  }
  // Any copy of such a picture has 512 MiB. A sanitizer's own books take an eighth of that.
  EXPECT_LT(PeakMemory() - before, 160 * 1024);
}

// Puts a chunk before the pixels of a PNG file, or appends to their data.
Bytes WithChunk(Bytes file, const char* type, const Bytes& data, bool before_pixels) {
  const BYTE pixels[] = {'I', 'D', 'A', 'T'};
  const BYTE end[] = {'I', 'E', 'N', 'D'};
  const auto& place = before_pixels ? pixels : end;
  const auto at = std::search(file.begin(), file.end(), std::begin(place), std::end(place)) - 4;
  Bytes chunk;
  for (int shift = 24; shift >= 0; shift -= 8) {
    chunk.push_back(static_cast<BYTE>(data.size() >> shift));
  }
  chunk.insert(chunk.end(), type, type + 4);
  chunk.insert(chunk.end(), data.begin(), data.end());
  chunk.resize(chunk.size() + 4);
  file.insert(at, chunk.begin(), chunk.end());
  RepairPngChecksums(file);
  return file;
}

// A compressed stream of zeros: one, and then 258 at a time the one before them.
Bytes CompressedZeros(std::size_t repetitions) {
  Bytes packed = {0x78, 0x9C};
  unsigned bits = 0;
  unsigned pending = 0;
  const auto put = [&](unsigned value, unsigned count) {
    pending |= value << bits;
    for (bits += count; bits >= 8; bits -= 8, pending >>= 8) {
      packed.push_back(static_cast<BYTE>(pending));
    }
  };
  put(1, 1);           // the last block
  put(1, 2);           // of fixed codes, whose first bit is their highest
  put(0b00001100, 8);  // a zero
  for (std::size_t i = 0; i < repetitions; ++i) put(0b00000'10100011, 13);
  put(0, 7);  // the end
  put(0, 8);
  packed.insert(packed.end(), 4, 0);  // a check sum, which is wrong
  return packed;
}

TEST(PngDecoder, WhatExpandsToManyTimesItsSizeBesideThePixelsIsSkippedOrRefused) {
  const Bytes bomb = CompressedZeros(1 << 20);
  const Bytes little = CompressedZeros(1 << 10);
  Bytes named = {'n', 0, 0};
  named.insert(named.end(), bomb.begin(), bomb.end());
  const long before = PeakMemory();
  for (const bool interlaced : {false, true}) {
    const PngPicture made = MakePng(PngColour::kRgb, 8, 4, 4, interlaced, false);
    const Bytes file = EncodePng(made);
    for (const char* type : {"zTXt", "iCCP", "tEXt"}) {
      for (const bool before_pixels : {false, true}) {
        EXPECT_EQ(DecodePicture(WithChunk(file, type, named, before_pixels)).pixels,
                  ExpectedRgba(made));
      }
    }
    // The pixels are zeros, and so is what follows them. Little of it is fine.
    for (const auto& [data, result] :
         {std::pair(&bomb, WINCODEC_ERR_BADIMAGE), std::pair(&little, S_OK)}) {
      Bytes empty = WithChunk(file, "IDAT", *data, true);
      const BYTE type[] = {'I', 'D', 'A', 'T'};
      const auto old = std::find_end(empty.begin(), empty.end(), std::begin(type), std::end(type));
      empty.erase(old - 4, empty.end() - 12);
      const DecodedPicture decoded = DecodePicture(empty);
      EXPECT_EQ(decoded.opened, S_OK);
      EXPECT_EQ(decoded.copied, result);
    }
  }
  Bytes lying = WithChunk(EncodePng(MakePng(PngColour::kRgb, 8, 4, 4, false, false)), "tEXt",
                          {'n', 0, 'x'}, true);
  const BYTE text[] = {'t', 'E', 'X', 't'};
  *(std::search(lying.begin(), lying.end(), std::begin(text), std::end(text)) - 4) = 0x7F;
  EXPECT_EQ(OpeningResult(lying), WINCODEC_ERR_BADHEADER);
  // Of 258 MiB. A sanitizer keeps freed memory for a while.
  EXPECT_LT(PeakMemory() - before, 160 * 1024);
}

TEST(JpegDecoder, AMissingComponentIsAFailureThoughTheRestIsThere) {
  Bytes file = EncodeJpeg(MakeJpeg(JpegColour::kYCbCr, JpegCoding::kSeparateScans, 16, 16));
  const BYTE scan[] = {0xFF, 0xDA};
  const auto first = std::search(file.begin(), file.end(), std::begin(scan), std::end(scan));
  const auto second = std::search(first + 2, file.end(), std::begin(scan), std::end(scan));
  ASSERT_NE(second, file.end());
  file.erase(second, file.end() - 2);  // up to the end marker
  const DecodedPicture decoded = DecodePicture(file);
  EXPECT_EQ(decoded.opened, S_OK);
  EXPECT_EQ(decoded.copied, WINCODEC_ERR_BADIMAGE);
  EXPECT_TRUE(std::ranges::any_of(decoded.pixels, [](BYTE value) { return value != 0; }));
}

TEST(JpegDecoder, BytesBetweenSegmentsAreNoDamage) {
  Bytes file = EncodeJpeg(MakeJpeg(JpegColour::kYCbCr, JpegCoding::kSequential, 16, 16));
  const DecodedPicture whole = DecodePicture(file);
  file.insert(file.end() - 2, {0x12, 0x34});
  const DecodedPicture padded = DecodePicture(file);
  EXPECT_TRUE(padded.Succeeded());
  EXPECT_EQ(padded.pixels, whole.pixels);
}

TEST(Decoders, WhatIsNoPictureIsOfUnknownFormat) {
  EXPECT_EQ(OpeningResult({}), WINCODEC_ERR_UNKNOWNIMAGEFORMAT);
  const BYTE gif[] = {'G', 'I', 'F', '8', '8', 'a', 1, 0, 1, 0};
  EXPECT_EQ(OpeningResult(gif), WINCODEC_ERR_UNKNOWNIMAGEFORMAT);
  const BYTE start[] = {0xFF, 0xD8, 0xFF};
  EXPECT_EQ(OpeningResult(start), WINCODEC_ERR_BADHEADER);
}

TEST(Decoders, NameTheirFormatAndHaveOneFrameThatOutlivesThem) {
  const Bytes png = EncodePng(MakePng(PngColour::kRgb, 8, 4, 4, false, false));
  const Bytes jpeg = EncodeJpeg(MakeJpeg(JpegColour::kGrey, JpegCoding::kSequential, 4, 4));
  for (const auto& [file, container] :
       {std::pair(&png, GUID_ContainerFormatPng), std::pair(&jpeg, GUID_ContainerFormatJpeg)}) {
    CComPtr<IWICBitmapDecoder> decoder;
    ASSERT_EQ(OpenDecoder(MakeStream(*file), &decoder), S_OK);
    GUID format{};
    UINT count = 0;
    EXPECT_EQ(decoder->GetContainerFormat(&format), S_OK);
    EXPECT_EQ(format, container);
    EXPECT_EQ(decoder->GetFrameCount(&count), S_OK);
    EXPECT_EQ(count, 1u);
    CComPtr<IWICBitmapFrameDecode> frame;
    frame.p = reinterpret_cast<IWICBitmapFrameDecode*>(&format);
    EXPECT_EQ(decoder->GetFrame(1, &frame), WINCODEC_ERR_FRAMEMISSING);
    ASSERT_EQ(frame.p, nullptr);
    ASSERT_EQ(decoder->GetFrame(0, &frame), S_OK);
    decoder.Release();
    CComPtr<IWICBitmapSource> source;
    ASSERT_EQ(frame.QueryInterface(&source), S_OK);
    frame.Release();
    EXPECT_EQ(source->GetPixelFormat(&format), S_OK);
    EXPECT_EQ(format, GUID_WICPixelFormat32bppBGRA);
    BYTE pixels[64];
    EXPECT_EQ(source->CopyPixels(nullptr, 16, sizeof pixels, pixels), S_OK);
  }
}

// A host's stream that behaves in one of several ways.
class HostStream final : public ComObject<Implements<IStream, ISequentialStream>> {
 public:
  enum class Manner { kPlain, kByteByByte, kFails, kOverstates, kCannotSeek };
  HostStream(const Bytes* bytes, Manner m) : file(bytes), manner(m) {}

  HRESULT Read(void* buffer, ULONG size, ULONG* read) override {
    if (manner == Manner::kFails && position_ + size > fails_at) return E_FAIL;
    const std::size_t left = position_ < file->size() ? file->size() - position_ : 0;
    *read = static_cast<ULONG>(std::min<std::size_t>(left, size));
    if (manner == Manner::kByteByByte) *read = std::min(*read, 1u);
    std::memcpy(buffer, file->data() + position_, *read);
    position_ += *read;
    bytes_read += *read;
    if (manner == Manner::kOverstates) *read = size + 1;
    return S_OK;
  }
  HRESULT Write(const void*, ULONG, ULONG*) override { return E_NOTIMPL; }
  HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) override {
    if (manner == Manner::kCannotSeek) return E_NOTIMPL;
    const std::size_t starts[] = {0, position_, file->size()};
    position_ = starts[origin] + static_cast<std::size_t>(move.QuadPart);
    if (position != nullptr) position->QuadPart = position_;
    return S_OK;
  }
  HRESULT SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
  HRESULT Commit(DWORD) override { return E_NOTIMPL; }
  HRESULT Stat(STATSTG*, DWORD) override { return E_NOTIMPL; }

  const Bytes* file;
  Manner manner;
  std::size_t fails_at = 0;
  std::size_t bytes_read = 0;

 private:
  std::size_t position_ = 0;
};

TEST(Decoders, ReadAHostsStreamFromItsPositionWhoeverElseMovesIt) {
  for (const auto& [file, in_order] : SmallFiles()) {
    const DecodedPicture whole = DecodePicture(file);
    Bytes container(100 + file.size(), 0x55);
    std::ranges::copy(file, container.begin() + 100);
    const auto stream = MakeCom<HostStream>(&container, HostStream::Manner::kByteByByte);
    ASSERT_EQ(stream->Seek({100}, STREAM_SEEK_SET, nullptr), S_OK);
    const auto frame = OpenAsRgba(stream);
    ASSERT_TRUE(frame);
    Bytes pixels(whole.pixels.size());
    for (UINT y = 0; y < whole.height; ++y) {
      ASSERT_EQ(stream->Seek({y * 3}, STREAM_SEEK_SET, nullptr), S_OK);
      const WICRect row{0, static_cast<INT>(y), static_cast<INT>(whole.width), 1};
      ASSERT_EQ(frame->CopyPixels(&row, whole.width * 4, whole.width * 4,
                                  &pixels[std::size_t{y} * whole.width * 4]),
                S_OK);
    }
    EXPECT_EQ(pixels, whole.pixels);
  }
}

TEST(Decoders, BandsOfADamagedPictureGiveWhatTheWholeGivesWithoutBeingTriedAnew) {
  std::vector<Bytes> files;
  for (const bool interlaced : {false, true}) {
    files.push_back(EncodePng(MakePng(PngColour::kRgba, 8, 200, 250, interlaced, false)));
    GifPicture gif;
    gif.palette = MakeGifPalette(256, 1);
    gif.frames = {MakeGifPatch(256, 200, 250, interlaced)};
    files.push_back(EncodeGif(gif));
  }
  for (const JpegCoding coding : {JpegCoding::kSequential, JpegCoding::kProgressive}) {
    JpegPicture noisy = MakeJpeg(JpegColour::kYCbCr, coding, 200, 250);
    Noise noise(7);
    for (BYTE& sample : noisy.samples) sample = static_cast<BYTE>(noise.Below(256));
    files.push_back(EncodeJpeg(noisy));
  }
  for (Bytes& file : files) {
    file.resize(file.size() / 2);
    const DecodedPicture whole = DecodePicture(file);
    ASSERT_EQ(whole.copied, WINCODEC_ERR_BADIMAGE);
    const auto stream = MakeCom<HostStream>(&file, HostStream::Manner::kPlain);
    const auto frame = OpenAsRgba(stream);
    stream->bytes_read = 0;
    Bytes pixels(whole.pixels.size(), 0xA5);
    bool failed = false;
    for (INT y = 0; y < 250; y += 10) {
      const WICRect band{0, y, 200, 10};
      const HRESULT result =
          frame->CopyPixels(&band, 800, 8000, &pixels[static_cast<std::size_t>(y) * 800]);
      EXPECT_TRUE(result == WINCODEC_ERR_BADIMAGE || (result == S_OK && !failed));
      failed = failed || FAILED(result);
    }
    EXPECT_TRUE(failed);
    EXPECT_EQ(pixels, whole.pixels);
    EXPECT_LE(stream->bytes_read, 2 * file.size());
  }
}

TEST(Decoders, AFailingOrLyingStreamIsReportedAndNeverTrusted) {
  const auto open = [](IStream* stream) {
    CComPtr<IWICBitmapDecoder> decoder;
    return OpenDecoder(stream, &decoder);
  };
  // Long enough that the header comes without the rest.
  const Bytes png = EncodePng(MakePng(PngColour::kRgba, 16, 100, 90, false, false));
  const Bytes interlaced = EncodePng(MakePng(PngColour::kRgba, 16, 100, 90, true, false));
  JpegPicture noisy = MakeJpeg(JpegColour::kYCbCr, JpegCoding::kSequential, 200, 200);
  Noise noise(7);
  for (BYTE& sample : noisy.samples) sample = static_cast<BYTE>(noise.Below(256));
  const Bytes jpeg = EncodeJpeg(noisy);
  noisy.coding = JpegCoding::kProgressive;
  const Bytes progressive = EncodeJpeg(noisy);
  for (const Bytes* file : {&png, &interlaced, &jpeg, &progressive}) {
    using Manner = HostStream::Manner;
    EXPECT_EQ(open(MakeCom<HostStream>(file, Manner::kFails)), WINCODEC_ERR_STREAMREAD);
    EXPECT_EQ(open(MakeCom<HostStream>(file, Manner::kOverstates)), WINCODEC_ERR_STREAMREAD);
    EXPECT_EQ(open(MakeCom<HostStream>(file, Manner::kCannotSeek)), WINCODEC_ERR_STREAMREAD);

    const auto stream = MakeCom<HostStream>(file, Manner::kFails);
    stream->fails_at = 40000;
    const auto frame = OpenAsRgba(stream);
    ASSERT_TRUE(frame);
    UINT width = 0;
    UINT height = 0;
    frame->GetSize(&width, &height);
    Bytes pixels(std::size_t{width} * height * 4);
    const auto copy = [&] {
      return frame->CopyPixels(nullptr, width * 4, static_cast<UINT>(pixels.size()), pixels.data());
    };
    EXPECT_EQ(copy(), WINCODEC_ERR_STREAMREAD);
    stream->manner = Manner::kByteByByte;
    EXPECT_EQ(copy(), S_OK);
    // Another file takes the place of the first.
    const Bytes other = EncodePng(MakePng(PngColour::kRgba, 8, 250, 250, false, false));
    stream->file = &other;
    EXPECT_LT(copy(), 0);
  }
  EXPECT_EQ(open(nullptr), E_INVALIDARG);
}

}  // namespace
}  // namespace Vantra::Platform
