// The encoders and the streams that they write to.

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

#include "platform/com/utf8.h"
#include "platform/imaging/pixels.h"
#include "platform/imaging/test_pictures.h"

namespace Vantra::Platform {
namespace {

namespace fs = std::filesystem;

const GUID kContainers[] = {GUID_ContainerFormatPng, GUID_ContainerFormatBmp,
                            GUID_ContainerFormatDds};

class Encoders : public testing::Test {
 protected:
  Encoders() {
    char pattern[] = "/tmp/vantrix-XXXXXX";
    folder_ = mkdtemp(pattern);
    Noise noise(3);
    for (BYTE& value : pixels_) value = static_cast<BYTE>(noise.Below(256));
  }
  ~Encoders() override { fs::remove_all(folder_); }

  // Starts an encoder with its frame on a stream.
  void Start(const GUID& container, IStream* stream) {
    encoder_.Release();
    frame_.Release();
    CComPtr<IPropertyBag2> bag;
    ASSERT_EQ(factory_->CreateEncoder(container, nullptr, &encoder_), S_OK);
    ASSERT_EQ(encoder_->Initialize(stream, WICBitmapEncoderNoCache), S_OK);
    ASSERT_EQ(encoder_->CreateNewFrame(&frame_, &bag), S_OK);
    ASSERT_EQ(frame_->Initialize(bag), S_OK);
  }

  HRESULT WriteRows(UINT count, UINT from) {
    return frame_->WritePixels(count, kStride, static_cast<UINT>(pixels_.size()) - from * kStride,
                               &pixels_[from * kStride]);
  }

  CComPtr<IWICStream> MemoryStream(Bytes& bytes) {
    CComPtr<IWICStream> stream;
    EXPECT_EQ(factory_->CreateStream(&stream), S_OK);
    EXPECT_EQ(stream->InitializeFromMemory(bytes.data(), static_cast<DWORD>(bytes.size())), S_OK);
    return stream;
  }

  CComPtr<IWICStream> FileStream(const fs::path& name, DWORD access, HRESULT expected = S_OK) {
    CComPtr<IWICStream> stream;
    EXPECT_EQ(factory_->CreateStream(&stream), S_OK);
    EXPECT_EQ(stream->InitializeFromFilename(FromUtf8(name.string())->c_str(), access), expected);
    return stream;
  }

  static Bytes ReadFile(const fs::path& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  static constexpr UINT kWidth = 37;
  static constexpr UINT kHeight = 21;
  static constexpr UINT kStride = kWidth * 4 + 12;
  fs::path folder_;
  Bytes pixels_ = Bytes(std::size_t{kStride} * kHeight);
  CComPtr<IWICImagingFactory2> factory_ = MakeFactory();
  CComPtr<IWICBitmapEncoder> encoder_;
  CComPtr<IWICBitmapFrameEncode> frame_;
};

TEST_F(Encoders, WhatIsWrittenInAnyFormatIsReadBack) {
  const GUID formats[] = {GUID_WICPixelFormat32bppBGRA, GUID_WICPixelFormat32bppPBGRA,
                          GUID_WICPixelFormat32bppRGBA, GUID_WICPixelFormat32bppPRGBA, GUID_NULL};
  for (const GUID& container : kContainers) {
    for (const GUID& format : formats) {
      Bytes file(20000);
      const CComPtr<IWICStream> stream = MemoryStream(file);
      Start(container, stream);
      GUID answer = format;
      ASSERT_EQ(frame_->SetSize(kWidth, kHeight), S_OK);
      ASSERT_EQ(frame_->SetPixelFormat(&answer), S_OK);
      EXPECT_EQ(answer, format == GUID_NULL ? GUID_WICPixelFormat32bppBGRA : format);
      ASSERT_EQ(WriteRows(5, 0), S_OK);
      ASSERT_EQ(WriteRows(kHeight - 5, 5), S_OK);
      ASSERT_EQ(frame_->Commit(), S_OK);
      ASSERT_EQ(encoder_->Commit(), S_OK);
      ASSERT_EQ(stream->Commit(0), S_OK);
      const DecodedPicture read = DecodePicture(file);
      ASSERT_TRUE(read.Succeeded());
      ASSERT_EQ(read.width, kWidth);
      const bool premultiplied = LayoutOf(answer)->premultiplied;
      const bool blue_first = LayoutOf(answer)->blue_first;
      for (UINT y = 0; y < kHeight; ++y) {
        for (UINT x = 0; x < kWidth; ++x) {
          const BYTE* in = &pixels_[y * kStride + x * 4];
          const BYTE* out = &read.pixels[(y * kWidth + x) * 4];
          for (int c = 0; c < 3; ++c) {
            int value = in[blue_first ? 2 - c : c];
            if (premultiplied) {
              value = in[3] == 0 ? 0 : std::min(255, (value * 255 + in[3] / 2) / in[3]);
            }
            ASSERT_EQ(out[c], value);
          }
          // A BMP without masks has no alpha; its fourth byte is there all the same.
          ASSERT_EQ(out[3], container == GUID_ContainerFormatBmp ? 255 : in[3]);
          if (container == GUID_ContainerFormatBmp) {
            ASSERT_EQ(file[54 + ((kHeight - 1 - y) * kWidth + x) * 4 + 3], in[3]);
          }
        }
      }
    }
  }
}

TEST_F(Encoders, ASourceIsWrittenWholeOrInPart) {
  // More rows than are taken at a time.
  const PngPicture made = MakePng(PngColour::kRgba, 8, 700, 600, false, false);
  const Bytes source_file = EncodePng(made);
  const auto source = OpenFrame(MakeStream(source_file));
  ASSERT_TRUE(source);
  const Bytes expected = ExpectedRgba(made);
  Bytes file(3000000);
  Start(GUID_ContainerFormatPng, MemoryStream(file));
  ASSERT_EQ(frame_->WriteSource(source, nullptr), S_OK);
  ASSERT_EQ(frame_->Commit(), S_OK);
  EXPECT_EQ(DecodePicture(file).pixels, expected);

  Start(GUID_ContainerFormatBmp, MemoryStream(file));
  ASSERT_EQ(frame_->SetSize(2, 2), S_OK);
  WICRect rect{698, 599, 2, 1};
  WICRect wide{0, 0, 3, 1};
  WICRect high{0, 0, 2, 3};
  EXPECT_EQ(frame_->WriteSource(source, &wide), E_INVALIDARG);
  EXPECT_EQ(frame_->WriteSource(source, &high), WINCODEC_ERR_CODECTOOMANYSCANLINES);
  ASSERT_EQ(frame_->WriteSource(source, &rect), S_OK);
  ASSERT_EQ(frame_->WriteSource(source, &rect), S_OK);
  ASSERT_EQ(frame_->Commit(), S_OK);
  const DecodedPicture part = DecodePicture(file);
  ASSERT_TRUE(part.Succeeded());
  EXPECT_EQ(part.pixels[4], expected[(599 * 700 + 699) * 4]);
  EXPECT_EQ(part.pixels[8], expected[(599 * 700 + 698) * 4]);
}

TEST_F(Encoders, CallsOutOfOrderAreRefusedAndAFaultStays) {
  EXPECT_EQ(factory_->CreateEncoder(GUID_NULL, nullptr, &encoder_), WINCODEC_ERR_COMPONENTNOTFOUND);
  for (const GUID& container : kContainers) {
    Bytes file(20000);
    CComPtr<IWICBitmapEncoder> idle;
    CComPtr<IWICBitmapFrameEncode> none;
    ASSERT_EQ(factory_->CreateEncoder(container, nullptr, &idle), S_OK);
    EXPECT_EQ(idle->CreateNewFrame(&none, nullptr), WINCODEC_ERR_NOTINITIALIZED);
    EXPECT_EQ(idle->Commit(), WINCODEC_ERR_NOTINITIALIZED);
    EXPECT_EQ(idle->Initialize(nullptr, WICBitmapEncoderNoCache), E_INVALIDARG);

    Start(container, MemoryStream(file));
    EXPECT_EQ(encoder_->CreateNewFrame(&none, nullptr), WINCODEC_ERR_UNSUPPORTEDOPERATION);
    EXPECT_EQ(encoder_->Commit(), WINCODEC_ERR_FRAMEMISSING);
    EXPECT_EQ(WriteRows(1, 0), WINCODEC_ERR_WRONGSTATE);
    EXPECT_EQ(frame_->Commit(), WINCODEC_ERR_WRONGSTATE);
    EXPECT_EQ(frame_->SetSize(0, 1), E_INVALIDARG);
    EXPECT_EQ(frame_->SetSize(WIC_MAXIMUM_SIDE + 1, 1), WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
    EXPECT_EQ(frame_->SetSize(1 << 14, (1 << 13) + 1), WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
    ASSERT_EQ(frame_->SetSize(kWidth, kHeight), S_OK);
    EXPECT_EQ(frame_->WritePixels(1, kWidth * 4 - 1, 20000, pixels_.data()), E_INVALIDARG);
    EXPECT_EQ(frame_->WritePixels(2, kStride, kStride, pixels_.data()),
              WINCODEC_ERR_INSUFFICIENTBUFFER);
    EXPECT_EQ(WriteRows(kHeight + 1, 0), WINCODEC_ERR_CODECTOOMANYSCANLINES);
    EXPECT_EQ(WriteRows(kHeight - 1, 0), S_OK);
    EXPECT_EQ(frame_->Commit(), WINCODEC_ERR_WRONGSTATE) << "a row is missing";
    EXPECT_EQ(WriteRows(1, kHeight - 1), S_OK);
    EXPECT_EQ(frame_->Commit(), S_OK);
    EXPECT_EQ(frame_->Commit(), WINCODEC_ERR_WRONGSTATE);
    EXPECT_EQ(encoder_->Commit(), S_OK);
    EXPECT_EQ(encoder_->Commit(), WINCODEC_ERR_WRONGSTATE);

    // A stream that is full before the end.
    for (const std::size_t room : {std::size_t{1}, std::size_t{40}, std::size_t{1000}}) {
      Bytes small(room);
      Start(container, MemoryStream(small));
      frame_->SetSize(kWidth, kHeight);
      const HRESULT rows = WriteRows(kHeight, 0);
      EXPECT_TRUE(rows == S_OK || rows == STG_E_MEDIUMFULL);
      EXPECT_EQ(frame_->Commit(), STG_E_MEDIUMFULL);
      EXPECT_EQ(encoder_->Commit(), WINCODEC_ERR_FRAMEMISSING);
    }
  }
}

TEST_F(Encoders, AFileIsReplacedByTheStreamsCommitAndNotBefore) {
  const fs::path name = folder_ / "\xC3\xA4.bmp";
  std::ofstream(name) << "old";
  {
    const CComPtr<IWICStream> stream = FileStream(name, GENERIC_WRITE);
    Start(GUID_ContainerFormatBmp, stream);
    ASSERT_EQ(frame_->SetSize(kWidth, kHeight), S_OK);
    ASSERT_EQ(WriteRows(kHeight, 0), S_OK);
    ASSERT_EQ(frame_->Commit(), S_OK);
    ASSERT_EQ(encoder_->Commit(), S_OK);
    EXPECT_EQ(ReadFile(name), (Bytes{'o', 'l', 'd'}));
    BYTE byte = 0;
    EXPECT_EQ(stream->Read(&byte, 1, nullptr), STG_E_ACCESSDENIED);
  }
  encoder_.Release();
  frame_.Release();
  EXPECT_EQ(ReadFile(name), (Bytes{'o', 'l', 'd'})) << "a stream that is let go changes nothing";
  const auto count = [&] {
    return std::distance(fs::directory_iterator(folder_), fs::directory_iterator());
  };
  EXPECT_EQ(count(), 1);

  const CComPtr<IWICStream> stream = FileStream(name, GENERIC_WRITE);
  EXPECT_EQ(stream->Write("new", 3, nullptr), S_OK);
  EXPECT_EQ(stream->Commit(0), S_OK);
  EXPECT_EQ(stream->Write("er", 2, nullptr), S_OK);
  EXPECT_EQ(stream->Commit(0), S_OK);
  EXPECT_EQ(ReadFile(name), (Bytes{'n', 'e', 'w', 'e', 'r'}));
  EXPECT_EQ(count(), 1);

  const CComPtr<IWICStream> read = FileStream(name, GENERIC_READ);
  BYTE bytes[5];
  EXPECT_EQ(read->Read(bytes, 5, nullptr), S_OK);
  EXPECT_EQ(bytes[4], 'r');
  EXPECT_EQ(read->Write(bytes, 1, nullptr), STG_E_ACCESSDENIED);
  EXPECT_EQ(read->InitializeFromMemory(bytes, 5), WINCODEC_ERR_WRONGSTATE);

  FileStream(folder_ / "none", GENERIC_READ, HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
  FileStream(folder_ / "no" / "a.png", GENERIC_WRITE, HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
  FileStream(folder_, GENERIC_WRITE, HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
  FileStream(name, GENERIC_READ | GENERIC_WRITE, E_INVALIDARG);
  std::wstring backward = *FromUtf8((folder_ / "b.bin").string());
  std::replace(backward.begin(), backward.end(), L'/', L'\\');
  CComPtr<IWICStream> made;
  ASSERT_EQ(factory_->CreateStream(&made), S_OK);
  EXPECT_EQ(made->Commit(0), WINCODEC_ERR_NOTINITIALIZED);
  EXPECT_EQ(made->InitializeFromFilename((L"\\\\?\\" + backward).c_str(), GENERIC_WRITE), S_OK);
  EXPECT_EQ(made->Commit(0), S_OK);
  EXPECT_TRUE(fs::exists(folder_ / "b.bin"));
}

}  // namespace
}  // namespace Vantra::Platform
