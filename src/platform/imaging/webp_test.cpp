// The WebP decoder, encoder and writer of animations.

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <webp/decode.h>
#include <webp/demux.h>
#include <webp/encode.h>
#include <webp/mux.h>

#include "platform/imaging/test_pictures.h"
#include "platform/imaging/webp_decoder.h"
#include "platform/imaging/webp_encoder.h"

namespace Vantra::Platform {
namespace {

constexpr UINT kWidth = 37;
constexpr UINT kHeight = 53;

Bytes NoisePixels(std::uint32_t seed, bool opaque) {
  Noise noise(seed);
  Bytes pixels(std::size_t{kWidth} * kHeight * 4);
  for (BYTE& value : pixels) value = static_cast<BYTE>(noise.Below(256));
  for (std::size_t i = 3; opaque && i < pixels.size(); i += 4) pixels[i] = 255;
  return pixels;
}

// A ramp, which lossy encoding changes little.
Bytes Ramp() {
  Bytes pixels;
  for (UINT y = 0; y < kHeight; ++y) {
    for (UINT x = 0; x < kWidth; ++x) {
      for (const UINT value : {x * 6, y * 4, x + y + 60, 255u}) {
        pixels.push_back(static_cast<BYTE>(value));
      }
    }
  }
  return pixels;
}

// By the library's simple functions.
Bytes EncodeByLibrary(const Bytes& rgba, std::optional<float> quality) {
  std::uint8_t* out = nullptr;
  const std::size_t size =
      quality ? WebPEncodeRGBA(rgba.data(), kWidth, kHeight, kWidth * 4, *quality, &out)
              : WebPEncodeLosslessRGBA(rgba.data(), kWidth, kHeight, kWidth * 4, &out);
  Bytes file(out, out + size);
  WebPFree(out);
  return file;
}

Bytes Rgba(const Bytes& file, UINT frame = 0) {
  return DecodeFrame(file, frame, GUID_WICPixelFormat32bppRGBA).pixels;
}

TEST(WebpDecoder, GivesThePixelsOfLosslessAndLossyPicturesWithAndWithoutAlpha) {
  for (const bool opaque : {false, true}) {
    Bytes pixels = NoisePixels(opaque, opaque);
    // The library keeps no colours that cannot be seen.
    for (std::size_t i = 0; i < pixels.size(); i += 4) {
      if (pixels[i + 3] == 0) std::memset(&pixels[i], 0, 4);
    }
    EXPECT_EQ(Rgba(EncodeByLibrary(pixels, std::nullopt)), pixels);
  }
  const Bytes ramp = Ramp();
  const Bytes decoded = Rgba(EncodeByLibrary(ramp, 95.0f));
  ASSERT_EQ(decoded.size(), ramp.size());
  for (std::size_t i = 0; i < ramp.size(); ++i) ASSERT_NEAR(decoded[i], ramp[i], 16) << i;
}

TEST(WebpDecoder, GivesTheRowsBeforeACutAndReportsIt) {
  for (const bool lossless : {false, true}) {
    const Bytes file =
        EncodeByLibrary(NoisePixels(1, true), lossless ? std::nullopt : std::optional(90.0f));
    const Bytes whole = Rgba(file);
    const DecodedPicture cut =
        DecodeFrame({file.data(), file.size() * 3 / 4}, 0, GUID_WICPixelFormat32bppRGBA);
    ASSERT_EQ(cut.copied, WINCODEC_ERR_BADIMAGE);
    std::size_t rows = 0;
    const std::size_t row_bytes = kWidth * 4;
    while (rows < kHeight && cut.pixels[rows * row_bytes + 3] != 0) ++rows;
    EXPECT_GT(rows, kHeight / 4);
    EXPECT_LT(rows, kHeight);
    EXPECT_TRUE(std::equal(whole.begin(), whole.begin() + static_cast<int>(rows * row_bytes),
                           cut.pixels.begin()));
  }
}

TEST(WebpDecoder, RefusesWhatIsTooLargeOrNoPicture) {
  // The size is part of the header, which a picture of one colour has almost nothing behind.
  const auto of_size = [](int width, int height) {
    WebPPicture picture;
    WebPPictureInit(&picture);
    picture.use_argb = 1;
    picture.width = width;
    picture.height = height;
    WebPPictureAlloc(&picture);
    std::memset(picture.argb, 255, static_cast<std::size_t>(picture.argb_stride) * height * 4u);
    WebPMemoryWriter writer;
    WebPMemoryWriterInit(&writer);
    picture.writer = WebPMemoryWrite;
    picture.custom_ptr = &writer;
    WebPConfig config;
    WebPConfigInit(&config);
    WebPConfigLosslessPreset(&config, 0);
    WebPEncode(&config, &picture);
    Bytes file(writer.mem, writer.mem + writer.size);
    WebPMemoryWriterClear(&writer);
    WebPPictureFree(&picture);
    return file;
  };
  Bytes file = of_size(16, 16);
  // 14 bits each of width and height less one, behind the byte that tells lossless pictures.
  std::uint32_t sides = 0;
  std::memcpy(&sides, &file[21], sizeof sides);
  sides = (sides & 0xF0000000) | 16382 | 16382 << 14;
  std::memcpy(&file[21], &sides, sizeof sides);
  EXPECT_EQ(DecodeFrame(file).opened, WINCODEC_ERR_IMAGESIZEOUTOFRANGE);

  file = of_size(16, 16);
  EXPECT_EQ(DecodeFrame({file.data(), 12}).opened, WINCODEC_ERR_BADHEADER);
  file[12] = 'X';
  EXPECT_EQ(DecodeFrame(file).opened, WINCODEC_ERR_BADHEADER);
}

// Two frames by the library's parts: the first fills the canvas, the second is a patch that is
// taken away again.
Bytes PatchAnimation(const Bytes& canvas, const Bytes& patch_file) {
  WebPMux* mux = WebPMuxNew();
  const auto push = [&](const Bytes& picture, int x, int y, int duration) {
    WebPMuxFrameInfo frame{};
    frame.bitstream = {picture.data(), picture.size()};
    frame.x_offset = x;
    frame.y_offset = y;
    frame.duration = duration;
    frame.id = WEBP_CHUNK_ANMF;
    frame.dispose_method = WEBP_MUX_DISPOSE_BACKGROUND;
    frame.blend_method = WEBP_MUX_NO_BLEND;
    EXPECT_EQ(WebPMuxPushFrame(mux, &frame, 1), WEBP_MUX_OK);
  };
  push(EncodeByLibrary(canvas, std::nullopt), 0, 0, 70);
  push(patch_file, 4, 6, 100000);
  WebPMuxSetCanvasSize(mux, kWidth, kHeight);
  const WebPMuxAnimParams params{0xFFFFFFFF, 3};
  WebPMuxSetAnimationParams(mux, &params);
  WebPData data;
  WebPMuxAssemble(mux, &data);
  Bytes file(data.bytes, data.bytes + data.size);
  WebPDataClear(&data);
  WebPMuxDelete(mux);
  return file;
}

TEST(WebpDecoder, PutsFramesOfAnimationsTogetherInAnyOrderAndTellsTheirTimes) {
  const Bytes canvas = NoisePixels(1, true);
  std::uint8_t* out = nullptr;
  const Bytes noise = NoisePixels(2, true);
  const Bytes patch(noise.begin(), noise.begin() + 8 * 2 * 4);  // 8 by 2 pixels
  const std::size_t size = WebPEncodeLosslessRGBA(patch.data(), 8, 2, 32, &out);
  const Bytes file = PatchAnimation(canvas, Bytes(out, out + size));
  WebPFree(out);

  Bytes second(canvas.size(), 0);
  for (std::size_t y = 0; y < 2; ++y) {
    std::memcpy(&second[((y + 6) * kWidth + 4) * 4], &patch[y * 32], 32);
  }
  for (const UINT frame : {0u, 1u, 0u}) {
    const DecodedPicture decoded = DecodeFrame(file, frame, GUID_WICPixelFormat32bppRGBA);
    EXPECT_EQ(decoded.count, 2u);
    EXPECT_EQ(decoded.pixels, frame == 0 ? canvas : second);
  }

  CComPtr<IWICBitmapDecoder> decoder;
  CComPtr<IWICBitmapFrameDecode> frame;
  CComPtr<IWICMetadataQueryReader> of_file;
  CComPtr<IWICMetadataQueryReader> of_frame;
  ASSERT_EQ(OpenDecoder(MakeStream(file), &decoder), S_OK);
  ASSERT_EQ(decoder->GetFrame(1, &frame), S_OK);
  ASSERT_EQ(decoder->GetMetadataQueryReader(&of_file), S_OK);
  ASSERT_EQ(frame->GetMetadataQueryReader(&of_frame), S_OK);
  PROPVARIANT value{};
  EXPECT_EQ(of_file->GetMetadataByName(L"/ANIM/LoopCount", &value), S_OK);
  EXPECT_EQ(value.vt, VT_UI2);
  EXPECT_EQ(value.uiVal, 3);
  EXPECT_EQ(of_frame->GetMetadataByName(L"/ANMF/FrameDuration", &value), S_OK);
  EXPECT_EQ(value.vt, VT_UI4);
  EXPECT_EQ(value.ulVal, 100000u);
  EXPECT_EQ(of_frame->GetMetadataByName(L"/grctlext/Delay", &value), WINCODEC_ERR_PROPERTYNOTFOUND);

  // The second frame cannot be drawn once its pixels are broken, and the first still can.
  Bytes broken = file;
  for (std::size_t i = broken.size() - 20; i < broken.size(); ++i) broken[i] = 0xFF;
  EXPECT_EQ(DecodeFrame(broken, 1).copied, WINCODEC_ERR_BADIMAGE);
  EXPECT_EQ(DecodeFrame(broken, 0).copied, S_OK);
  EXPECT_EQ(DecodeFrame({file.data(), file.size() - 8}).opened, WINCODEC_ERR_BADHEADER);
}

TEST(WebpEncoder, KeepsEveryPixel) {
  const Bytes pixels = NoisePixels(4, false);
  const Bytes file = EncodeRgba(GUID_ContainerFormatWebp, kWidth, kHeight, pixels);
  int width = 0;
  int height = 0;
  std::uint8_t* decoded = WebPDecodeRGBA(file.data(), file.size(), &width, &height);
  ASSERT_NE(decoded, nullptr);
  EXPECT_EQ(width, static_cast<int>(kWidth));
  EXPECT_EQ(height, static_cast<int>(kHeight));
  EXPECT_EQ(std::memcmp(decoded, pixels.data(), pixels.size()), 0);
  WebPFree(decoded);
}

TEST(WebpEncoder, RefusesSidesThatTheFormatHasNot) {
  std::unique_ptr<PictureWriter> writer;
  const auto sink = [](const BYTE*, std::size_t) { return S_OK; };
  EXPECT_EQ(kWebpEncoding.open(sink, 16384, 1, &writer), WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
  EXPECT_EQ(writer, nullptr);
}

TEST(WebpAnimationWriter, WritesFramesWithTheirTimes) {
  for (const bool lossless : {true, false}) {
    Bytes file;
    const auto sink = [&file](const BYTE* bytes, std::size_t size) {
      file.insert(file.end(), bytes, bytes + size);
      return S_OK;
    };
    std::unique_ptr<WebpAnimationWriter> writer;
    const WebpAnimationOptions options = {
        .loops = 5, .quality = lossless ? std::nullopt : std::optional(95.0f)};
    ASSERT_EQ(WebpAnimationWriter::Open(sink, kWidth, kHeight, options, &writer), S_OK);
    EXPECT_EQ(writer->Finish(), WINCODEC_ERR_FRAMEMISSING);
    std::vector<Bytes> frames;
    const UINT times[] = {40, 1000, 25};
    for (UINT i = 0; i < 3; ++i) {
      Bytes frame = lossless ? NoisePixels(i, true) : Ramp();
      if (!lossless) {
        for (BYTE& value : frame) value = static_cast<BYTE>(value < 255 ? value / (i + 1) : 255);
      }
      ASSERT_EQ(writer->AddFrame(frame.data(), kWidth * 4, times[i]), S_OK);
      frames.push_back(std::move(frame));
    }
    EXPECT_EQ(writer->AddFrame(nullptr, kWidth * 4, 1), E_INVALIDARG);
    EXPECT_EQ(writer->AddFrame(frames[0].data(), kWidth * 4 - 1, 1), E_INVALIDARG);
    EXPECT_EQ(writer->AddFrame(frames[0].data(), kWidth * 4, 1 << 24), E_INVALIDARG);
    ASSERT_EQ(writer->Finish(), S_OK);

    const WebPData data = {file.data(), file.size()};
    WebPAnimDecoderOptions decoding;
    WebPAnimDecoderOptionsInit(&decoding);
    decoding.color_mode = MODE_BGRA;
    WebPAnimDecoder* decoder = WebPAnimDecoderNew(&data, &decoding);
    ASSERT_NE(decoder, nullptr);
    WebPAnimInfo info;
    WebPAnimDecoderGetInfo(decoder, &info);
    EXPECT_EQ(info.loop_count, 5u);
    ASSERT_EQ(info.frame_count, 3u);
    int expected_time = 0;
    for (UINT i = 0; i < 3; ++i) {
      std::uint8_t* pixels = nullptr;
      int time = 0;
      ASSERT_EQ(WebPAnimDecoderGetNext(decoder, &pixels, &time), 1);
      expected_time += static_cast<int>(times[i]);
      EXPECT_EQ(time, expected_time);
      for (std::size_t at = 0; at < frames[i].size(); ++at) {
        ASSERT_NEAR(pixels[at], frames[i][at], lossless ? 0 : 20) << i << " " << at;
      }
    }
    WebPAnimDecoderDelete(decoder);
  }
}

TEST(WebpAnimationWriter, RefusesWhatAFileCannotHold) {
  std::unique_ptr<WebpAnimationWriter> writer;
  const auto sink = [](const BYTE*, std::size_t) { return S_OK; };
  EXPECT_EQ(WebpAnimationWriter::Open(sink, 0, 1, {}, &writer), E_INVALIDARG);
  EXPECT_EQ(WebpAnimationWriter::Open(sink, 1, 1, {.loops = 65536, .quality = {}}, &writer),
            E_INVALIDARG);
  EXPECT_EQ(WebpAnimationWriter::Open(sink, 1, 1, {.loops = 0, .quality = 101.0f}, &writer),
            E_INVALIDARG);
  EXPECT_EQ(WebpAnimationWriter::Open(sink, 1, 1, {.loops = 0, .quality = std::nanf("")}, &writer),
            E_INVALIDARG);
  EXPECT_EQ(WebpAnimationWriter::Open(sink, 16384, 1, {}, &writer),
            WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
}

}  // namespace
}  // namespace Vantra::Platform
