// What JPEG files may hold besides the common forms, and what the encoder writes.

#include <algorithm>
#include <gtest/gtest.h>
#include <initializer_list>

#include "platform/com/com_object.h"
#include "platform/imaging/jpeg_decoder.h"
#include "platform/imaging/test_pictures.h"

namespace Vantra::Platform {
namespace {

int LargestDifference(const Bytes& pixels, const Bytes& expected) {
  if (pixels.size() != expected.size()) return 256;
  int worst = 0;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    worst = std::max(worst, std::abs(pixels[i] - expected[i]));
  }
  return worst;
}

Bytes::iterator FindMarker(Bytes& file, Bytes::iterator from, BYTE marker) {
  const BYTE bytes[] = {0xFF, marker};
  return std::search(from, file.end(), std::begin(bytes), std::end(bytes));
}

TEST(JpegDecoder, ReadsEverySamplingOfColours) {
  // Half a step of the gradients, as far as colours have less resolution.
  constexpr int kTolerance = 9;
  for (const JpegCoding coding : {JpegCoding::kSequential, JpegCoding::kProgressive}) {
    for (const auto& [across, down] : {std::pair(1u, 1u), {2u, 1u}, {1u, 2u}, {2u, 2u}, {4u, 1u}}) {
      JpegPicture made = MakeJpeg(JpegColour::kYCbCr, coding, 90, 71);
      made.chroma_across = across;
      made.chroma_down = down;
      const DecodedPicture decoded = DecodePicture(EncodeJpeg(made));
      ASSERT_TRUE(decoded.Succeeded()) << across << "x" << down;
      EXPECT_LE(LargestDifference(decoded.pixels, ExpectedRgba(made)), kTolerance)
          << across << "x" << down;
    }
  }
}

TEST(JpegDecoder, ReadsArithmeticCodingAsFarAsAFilesLengthIsCredible) {
  for (const JpegCoding coding : {JpegCoding::kSequential, JpegCoding::kProgressive}) {
    JpegPicture made = MakeJpeg(JpegColour::kYCbCr, coding, 90, 71);
    const Bytes huffman = EncodeJpeg(made);
    made.arithmetic = true;
    Bytes file = EncodeJpeg(made);
    ASSERT_NE(file, huffman);
    const DecodedPicture decoded = DecodePicture(file);
    ASSERT_TRUE(decoded.Succeeded());
    EXPECT_EQ(decoded.pixels, DecodePicture(huffman).pixels);
    const auto frame =
        FindMarker(file, file.begin(), coding == JpegCoding::kProgressive ? 0xCA : 0xC9);
    ASSERT_NE(frame, file.end());
    std::fill_n(frame + 5, 4, BYTE{0x20});  // 8224 by 8224
    EXPECT_EQ(DecodePicture(file, UINT64{1} << 27).copied, WINCODEC_ERR_BADIMAGE);
  }
}

TEST(JpegDecoder, RefusesTwelveBitsAndLosslessPicturesAsUnknownVariants) {
  const Bytes file = EncodeJpeg(MakeJpeg(JpegColour::kGrey, JpegCoding::kSequential, 16, 16));
  Bytes deep = file;
  FindMarker(deep, deep.begin(), 0xC0)[4] = 12;
  EXPECT_EQ(DecodePicture(deep).opened, WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT);
  Bytes lossless = file;
  FindMarker(lossless, lossless.begin(), 0xC0)[1] = 0xC3;
  EXPECT_EQ(DecodePicture(lossless).opened, WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT);
}

TEST(JpegDecoder, LimitsTheNumberOfScans) {
  const JpegPicture made = MakeJpeg(JpegColour::kYCbCr, JpegCoding::kSeparateScans, 16, 16);
  Bytes file = EncodeJpeg(made);
  const Bytes expected = DecodePicture(file).pixels;
  const auto last =
      FindMarker(file, FindMarker(file, FindMarker(file, file.begin(), 0xDA) + 2, 0xDA) + 2, 0xDA);
  const Bytes scan(last, file.end() - 2);
  for (int i = 3; i < kMostJpegScans; ++i) {
    file.insert(file.end() - 2, scan.begin(), scan.end());
  }
  EXPECT_EQ(DecodePicture(file).copied, S_OK);
  EXPECT_EQ(DecodePicture(file).pixels, expected);
  file.insert(file.end() - 2, scan.begin(), scan.end());
  EXPECT_EQ(DecodePicture(file).copied, WINCODEC_ERR_BADIMAGE);
}

TEST(JpegDecoder, LeavesOrientationAndProfilesAlone) {
  Bytes file = EncodeJpeg(MakeJpeg(JpegColour::kYCbCr, JpegCoding::kSequential, 24, 16));
  const DecodedPicture plain = DecodePicture(file);
  const Bytes markers = {// Orientation 6, a quarter turn.
                         0xFF, 0xE1, 0, 34, 'E', 'x', 'i', 'f', 0, 0, 'I', 'I', 42, 0, 8, 0, 0, 0,
                         1, 0, 0x12, 1, 3, 0, 1, 0, 0, 0, 6, 0, 0, 0, 0, 0, 0, 0,
                         // A profile that is none.
                         0xFF, 0xE2, 0, 18, 'I', 'C', 'C', '_', 'P', 'R', 'O', 'F', 'I', 'L', 'E',
                         0, 1, 1, 0xAB, 0xCD};
  file.insert(file.begin() + 2, markers.begin(), markers.end());
  const DecodedPicture marked = DecodePicture(file);
  EXPECT_TRUE(marked.Succeeded());
  EXPECT_EQ(marked.width, 24u);
  EXPECT_EQ(marked.pixels, plain.pixels);
}

TEST(JpegEncoder, WritesWhatIsOverBlackRowByRow) {
  constexpr UINT kWidth = 903;
  constexpr UINT kHeight = 1001;
  // Gradients, with alpha falling from the left to the right.
  Bytes pixels;
  Bytes expected;
  for (UINT y = 0; y < kHeight; ++y) {
    for (UINT x = 0; x < kWidth; ++x) {
      const UINT blue = 255 * y / kHeight;
      const UINT green = 255 - blue / 2;
      const UINT red = 100;
      const UINT alpha = 255 - 255 * x / kWidth;
      for (const UINT value : {blue, green, red, alpha}) pixels.push_back(static_cast<BYTE>(value));
      for (const UINT value : {red, green, blue}) {
        expected.push_back(static_cast<BYTE>(value * alpha / 255));
      }
      expected.push_back(255);
    }
  }
  Bytes file(1 << 20);
  const CComPtr<IWICStream> stream = MakeStream(file);
  CComPtr<IWICBitmapEncoder> encoder;
  CComPtr<IWICBitmapFrameEncode> frame;
  ASSERT_EQ(MakeFactory()->CreateEncoder(GUID_ContainerFormatJpeg, nullptr, &encoder), S_OK);
  ASSERT_EQ(encoder->Initialize(stream, WICBitmapEncoderNoCache), S_OK);
  ASSERT_EQ(encoder->CreateNewFrame(&frame, nullptr), S_OK);
  ASSERT_EQ(frame->Initialize(nullptr), S_OK);
  ASSERT_EQ(frame->SetSize(kWidth, kHeight), S_OK);
  const auto position = [&] {
    ULARGE_INTEGER at{};
    stream->Seek({0}, STREAM_SEEK_CUR, &at);
    return at.QuadPart;
  };
  ASSERT_EQ(
      frame->WritePixels(kHeight - 1, kWidth * 4, static_cast<UINT>(pixels.size()), pixels.data()),
      S_OK);
  EXPECT_GT(position(), 0u) << "nothing is kept back but a block";
  ASSERT_EQ(frame->WritePixels(1, kWidth * 4, kWidth * 4, &pixels[(kHeight - 1) * kWidth * 4]),
            S_OK);
  ASSERT_EQ(frame->Commit(), S_OK);
  file.resize(position());

  const DecodedPicture read = DecodePicture(file);
  ASSERT_TRUE(read.Succeeded());
  EXPECT_LE(LargestDifference(read.pixels, expected), 8);
  // Quality 90 takes the published table's first 16 to 3. Brightness has 2 by 2 samples for each
  // of the colours.
  const auto table = FindMarker(file, file.begin(), 0xDB);
  EXPECT_EQ(table[5], 3);
  const auto start = FindMarker(file, file.begin(), 0xC0);
  EXPECT_EQ(Bytes(start + 9, start + 19), (Bytes{3, 1, 0x22, 0, 2, 0x11, 1, 3, 0x11, 1}));
  // 96 pixels to the inch.
  EXPECT_EQ(Bytes(file.begin() + 13, file.begin() + 18), (Bytes{1, 0, 96, 0, 96}));
}

}  // namespace
}  // namespace Vantra::Platform
