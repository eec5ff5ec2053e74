#include <limits>

#include "platform/imaging/test_pictures.h"
#include "tests/harness/device_fixture.h"

namespace Vantra {
namespace {

using namespace Testing;
using Platform::Bytes;

class ImageEncoders : public DeviceFixture {
 protected:
  void SetUp() override {
    DeviceFixture::SetUp();
    device_.GetD2DDeviceContext()->GetDevice(&drawing_device_);
    ASSERT_EQ(factory_->CreateImageEncoder(drawing_device_, &encoder_), S_OK);
  }

  // Starts a PNG in memory.
  CComPtr<IWICBitmapFrameEncode> MakeFrame() {
    CComPtr<IWICStream> stream;
    CComPtr<IWICBitmapFrameEncode> frame;
    container_.Release();
    file_.assign(100000, 0);
    EXPECT_EQ(factory_->CreateStream(&stream), S_OK);
    EXPECT_EQ(stream->InitializeFromMemory(file_.data(), static_cast<DWORD>(file_.size())), S_OK);
    EXPECT_EQ(factory_->CreateEncoder(GUID_ContainerFormatPng, nullptr, &container_), S_OK);
    EXPECT_EQ(container_->Initialize(stream, WICBitmapEncoderNoCache), S_OK);
    EXPECT_EQ(container_->CreateNewFrame(&frame, nullptr), S_OK);
    EXPECT_EQ(frame->Initialize(nullptr), S_OK);
    return frame;
  }

  HRESULT Encode(ID2D1Image* image, const WICImageParameters* parameters) {
    const CComPtr<IWICBitmapFrameEncode> frame = MakeFrame();
    const HRESULT result = encoder_->WriteFrame(image, frame, parameters);
    return FAILED(result) ? result : frame->Commit();
  }

  // What was encoded, of opaque pixels.
  Picture Decode() {
    const auto read = Platform::DecodePicture(file_);
    EXPECT_TRUE(read.Succeeded());
    Picture picture("encoded", static_cast<int>(read.width), static_cast<int>(read.height));
    for (std::size_t i = 0; i < picture.pixels.size(); ++i) {
      const BYTE* s = &read.pixels[i * 4];
      picture.pixels[i] = {s[2], s[1], s[0], s[3]};
    }
    return picture;
  }

  static WICImageParameters Part(float left, float top, UINT32 width, UINT32 height) {
    return {{DXGI_FORMAT_UNKNOWN, D2D1_ALPHA_MODE_UNKNOWN}, 96, 96, top, left, width, height};
  }

  CComPtr<IWICImagingFactory2> factory_ = Platform::MakeFactory();
  CComPtr<ID2D1Device> drawing_device_;
  CComPtr<IWICImageEncoder> encoder_;
  CComPtr<IWICBitmapEncoder> container_;
  Bytes file_;
};

TEST_F(ImageEncoders, AnEffectIsEncodedAsItWouldBeDrawn) {
  const Picture scene = DrawScene(33, 17);
  Bitmap bitmap;
  Upload(bitmap, scene);
  VantraFx::Posterize posterize;
  VantraFx::EInvert invert;
  ASSERT_TRUE(posterize.Create(&device_) && invert.Create(&device_));
  const Picture expected = Run(invert, Run(posterize, scene));
  posterize.SetInput(0, &bitmap);
  invert.SetInput(0, &posterize);
  CComPtr<ID2D1Image> output;
  invert.GetEffect()->GetOutput(&output);
  ASSERT_EQ(Encode(output, nullptr), S_OK);
  EXPECT_EQ(Decode().pixels, expected.pixels);

  // A part that sticks out, in either order of channels.
  WICImageParameters part = Part(30, -2, 5, 4);
  for (const DXGI_FORMAT format : {DXGI_FORMAT_UNKNOWN, DXGI_FORMAT_R8G8B8A8_UNORM}) {
    if (format != DXGI_FORMAT_UNKNOWN) part.PixelFormat = {format, D2D1_ALPHA_MODE_PREMULTIPLIED};
    ASSERT_EQ(Encode(output, &part), S_OK);
    const Picture cut = Decode();
    ASSERT_EQ(cut.width, 5);
    EXPECT_EQ(cut.At(2, 2), expected.At(32, 0));
    EXPECT_EQ(cut.At(0, 3), expected.At(30, 1));
    EXPECT_EQ(cut.At(3, 2), Pixel{});
    EXPECT_EQ(cut.At(0, 1), Pixel{});
  }
}

TEST_F(ImageEncoders, AnImageWithoutEndIsEncodedInPart) {
  const Picture scene = DrawScene(6, 5);
  Bitmap bitmap;
  Upload(bitmap, scene);
  CComPtr<ID2D1Effect> border;
  ASSERT_EQ(device_.GetD2DDeviceContext()->CreateEffect(CLSID_D2D1Border, &border), S_OK);
  border->SetInput(0, bitmap.GetBitmap(), TRUE);
  CComPtr<ID2D1Image> output;
  border->GetOutput(&output);
  EXPECT_EQ(Encode(output, nullptr), WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
  const WICImageParameters part = Part(-3, 4, 10, 6);
  ASSERT_EQ(Encode(output, &part), S_OK);
  EXPECT_EQ(Decode().At(0, 5), scene.At(0, 4));
  EXPECT_EQ(Decode().At(9, 0), scene.At(5, 4));
}

TEST_F(ImageEncoders, WhatCannotBeEncodedIsRefused) {
  Bitmap bitmap;
  Upload(bitmap, DrawScene(6, 5));
  ID2D1Image* image = bitmap.GetBitmap();
  EXPECT_EQ(encoder_->WriteFrame(image, nullptr, nullptr), E_INVALIDARG);
  EXPECT_EQ(Encode(nullptr, nullptr), E_INVALIDARG);
  WICImageParameters part = Part(0, 0, 0, 3);
  EXPECT_EQ(Encode(image, &part), E_INVALIDARG);
  part = Part(0, 0, WIC_MAXIMUM_SIDE + 1, 1);
  EXPECT_EQ(Encode(image, &part), WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
  part = Part(0, 0, WIC_MAXIMUM_SIDE, 1);
  EXPECT_EQ(Encode(image, &part), D2DERR_MAX_TEXTURE_SIZE_EXCEEDED);
  part = Part(std::numeric_limits<float>::quiet_NaN(), 0, 2, 2);
  EXPECT_EQ(Encode(image, &part), E_INVALIDARG);
  part = Part(0, 0, 2, 2);
  part.PixelFormat = {DXGI_FORMAT_R8_UNORM, D2D1_ALPHA_MODE_PREMULTIPLIED};
  EXPECT_EQ(Encode(image, &part), E_INVALIDARG);

  // An effect without its input, and an image of another device.
  VantraFx::Posterize posterize;
  ASSERT_TRUE(posterize.Create(&device_));
  CComPtr<ID2D1Image> output;
  posterize.GetEffect()->GetOutput(&output);
  EXPECT_EQ(Encode(output, nullptr), D2DERR_INVALID_GRAPH_CONFIGURATION);
  Device other;
  other.Intialize(nullptr);
  Bitmap foreign;
  foreign.Create(&other);
  foreign.SetPixelSize(4, 4);
  EXPECT_EQ(Encode(foreign.GetBitmap(), nullptr), D2DERR_WRONG_RESOURCE_DOMAIN);

  CComPtr<IWICImageEncoder> none;
  EXPECT_EQ(factory_->CreateImageEncoder(nullptr, &none), E_INVALIDARG);
  CComPtr<ID2D1DeviceContext> context;
  ASSERT_EQ(drawing_device_->CreateDeviceContext(D2D1_DEVICE_CONTEXT_OPTIONS_NONE, &context), S_OK);
  CComPtr<ID2D1Image> target;
  context->GetTarget(&target);
  EXPECT_EQ(target, nullptr);
  context->BeginDraw();
  context->Clear(nullptr);
  EXPECT_EQ(context->EndDraw(nullptr, nullptr), D2DERR_WRONG_STATE);
}

}  // namespace
}  // namespace Vantra
