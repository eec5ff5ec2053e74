// GIF files that are written, read back.

#include "platform/imaging/gif_writer.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

#include "platform/imaging/test_gifs.h"

namespace Vantra::Platform {
namespace {

// Blue, green, red, alpha bytes of a picture, and the file that it becomes.
struct Written {
  UINT width;
  UINT height;
  Bytes pixels;

  BYTE* At(UINT x, UINT y) { return &pixels[(std::size_t{y} * width + x) * 4]; }
};

Written MakeBlank(UINT width, UINT height) {
  return {width, height, Bytes(std::size_t{width} * height * 4)};
}

Bytes Encode(Written& picture) {
  Bytes file(picture.pixels.size() * 2 + 2000);
  const auto stream = MakeStream(file);
  CComPtr<IWICBitmapEncoder> encoder;
  CComPtr<IWICBitmapFrameEncode> frame;
  EXPECT_EQ(MakeFactory()->CreateEncoder(GUID_ContainerFormatGif, nullptr, &encoder), S_OK);
  EXPECT_EQ(encoder->Initialize(stream, WICBitmapEncoderNoCache), S_OK);
  EXPECT_EQ(encoder->CreateNewFrame(&frame, nullptr), S_OK);
  EXPECT_EQ(frame->Initialize(nullptr), S_OK);
  EXPECT_EQ(frame->SetSize(picture.width, picture.height), S_OK);
  EXPECT_EQ(frame->WritePixels(picture.height, picture.width * 4,
                               static_cast<UINT>(picture.pixels.size()), picture.pixels.data()),
            S_OK);
  EXPECT_EQ(frame->Commit(), S_OK);
  EXPECT_EQ(encoder->Commit(), S_OK);
  ULARGE_INTEGER end{};
  EXPECT_EQ(stream->Seek({0}, STREAM_SEEK_CUR, &end), S_OK);
  file.resize(end.QuadPart);
  return file;
}

// What a picture without colours to lose becomes: red first, and transparent or opaque.
Bytes Exact(Written& picture) {
  Bytes rgba;
  for (std::size_t i = 0; i < picture.pixels.size(); i += 4) {
    const BYTE* p = &picture.pixels[i];
    if (p[3] < 128) {
      rgba.insert(rgba.end(), 4, 0);
    } else {
      rgba.insert(rgba.end(), {p[2], p[1], p[0], 255});
    }
  }
  return rgba;
}

TEST(GifEncoder, KeepsThePixelsOfPicturesOfFewColoursAndOneBitOfAlpha) {
  Noise noise(5);
  for (const unsigned colours : {1u, 2u, 3u, 100u, 255u, 256u}) {
    const GifPalette palette = MakeGifPalette(colours, colours);
    for (const bool transparent : {false, true}) {
      // The transparent one is one of the 256.
      if (transparent && colours == 256) continue;
      Written picture = MakeBlank(150, 131);
      for (std::size_t i = 0; i < picture.pixels.size(); i += 4) {
        const auto& colour = palette[noise.Below(colours)];
        std::copy(colour.begin(), colour.end(), &picture.pixels[i]);
        picture.pixels[i + 3] =
            static_cast<BYTE>(transparent ? noise.Below(256) : 128 + noise.Below(128));
      }
      const DecodedPicture read = DecodePicture(Encode(picture));
      ASSERT_TRUE(read.Succeeded());
      EXPECT_EQ(read.pixels, Exact(picture)) << colours << " colours";
    }
  }
  Written nothing = MakeBlank(3, 1);
  EXPECT_EQ(DecodePicture(Encode(nothing)).pixels, Bytes(12, 0));
}

// A picture of smooth shades, of which a corner is transparent.
Written MakeShades() {
  Written picture = MakeBlank(320, 240);
  for (UINT y = 0; y < picture.height; ++y) {
    for (UINT x = 0; x < picture.width; ++x) {
      const double ring = 0.5 + 0.5 * std::cos(std::hypot(x - 160.0, y - 120.0) / 40);
      BYTE* pixel = picture.At(x, y);
      pixel[0] = static_cast<BYTE>(60 + 120 * ring);
      pixel[1] = static_cast<BYTE>(255 * y / picture.height);
      pixel[2] = static_cast<BYTE>(200 * ring);
      pixel[3] = x + y < 60 ? 0 : 255;
    }
  }
  return picture;
}

TEST(GifEncoder, ReducesManyColoursToPixelsNearThemWhoseMeansStay) {
  Written picture = MakeShades();
  const Bytes file = Encode(picture);
  const DecodedPicture read = DecodePicture(file);
  ASSERT_TRUE(read.Succeeded());
  double squares = 0;
  int count = 0;
  double mean_offs = 0;
  int blocks = 0;
  for (UINT top = 0; top < picture.height; top += 16) {
    for (UINT left = 0; left < picture.width; left += 16) {
      std::array<double, 3> sums{};
      int opaque = 0;
      for (UINT y = top; y < top + 16; ++y) {
        for (UINT x = left; x < left + 16; ++x) {
          const BYTE* in = picture.At(x, y);
          const BYTE* out = &read.pixels[(y * picture.width + x) * 4];
          ASSERT_EQ(out[3], in[3]);
          if (in[3] == 0) continue;
          ++opaque;
          for (std::size_t c = 0; c < 3; ++c) {
            const double off = out[c] - in[2 - c];
            sums[c] += off;
            squares += off * off;
            ++count;
          }
        }
      }
      if (opaque < 256) continue;
      for (const double sum : sums) mean_offs += std::abs(sum / 256);
      ++blocks;
    }
  }
  const double decibels = 10 * std::log10(255.0 * 255 / (squares / count));
  // Even steps of 6 by 7 by 6 levels of a channel, undithered, come to 25.
  EXPECT_GT(decibels, 34);
  // Without its errors spread it would be off by more.
  EXPECT_LT(mean_offs / blocks / 3, 0.4);
}

TEST(GifWriter, WritesAnimationsThatTellTheirDelaysPlacesDisposalsAndRepetitions) {
  Bytes file;
  const ByteSink sink = [&file](const BYTE* bytes, std::size_t size) {
    file.insert(file.end(), bytes, bytes + size);
    return S_OK;
  };
  std::unique_ptr<GifWriter> writer;
  EXPECT_EQ(GifWriter::Open(sink, 0, 5, 0, &writer), E_INVALIDARG);
  EXPECT_EQ(GifWriter::Open(sink, 5, 65536, 0, &writer), E_INVALIDARG);
  ASSERT_EQ(GifWriter::Open(sink, 100, 80, 0x0203, &writer), S_OK);
  EXPECT_EQ(writer->Finish(), WINCODEC_ERR_FRAMEMISSING);

  Written pictures[] = {MakeBlank(100, 80), MakeBlank(30, 20), MakeBlank(1, 1)};
  Noise noise(9);
  for (Written& picture : pictures) {
    const GifPalette palette = MakeGifPalette(60, picture.width);
    for (std::size_t i = 0; i < picture.pixels.size(); i += 4) {
      const auto& colour = palette[noise.Below(60)];
      std::copy(colour.begin(), colour.end(), &picture.pixels[i]);
      picture.pixels[i + 3] = &picture != pictures && noise.Below(2) == 0 ? 0 : 255;
    }
  }
  const auto frame = [&](UINT i, UINT left, UINT top, WORD delay, GifDisposal disposal) {
    return writer->AddFrame({.pixels = pictures[i].pixels.data(),
                             .stride = pictures[i].width * 4,
                             .left = left,
                             .top = top,
                             .width = pictures[i].width,
                             .height = pictures[i].height,
                             .delay = delay,
                             .disposal = disposal});
  };
  EXPECT_EQ(frame(0, 1, 0, 10, GifDisposal::kNone), E_INVALIDARG);
  EXPECT_EQ(frame(0, 0, 0, 10, GifDisposal::kKeep), S_OK);
  EXPECT_EQ(frame(1, 70, 60, 300, GifDisposal::kRestorePrevious), S_OK);
  EXPECT_EQ(frame(2, 99, 79, 0, GifDisposal::kClear), S_OK);
  ASSERT_EQ(writer->Finish(), S_OK);
  EXPECT_EQ(frame(0, 0, 0, 10, GifDisposal::kKeep), WINCODEC_ERR_WRONGSTATE);

  CComPtr<IWICBitmapDecoder> decoder;
  ASSERT_EQ(OpenDecoder(MakeStream(file), &decoder), S_OK);
  UINT count = 0;
  EXPECT_EQ(decoder->GetFrameCount(&count), S_OK);
  ASSERT_EQ(count, 3u);
  EXPECT_EQ(Describe(decoder, L"/appext/data"), "bytes 3 1 3 2");
  const std::pair<LPCWSTR, std::array<const char*, 3>> expected[] = {
      {L"/imgdesc/Left", {"ui2 0", "ui2 70", "ui2 99"}},
      {L"/imgdesc/Top", {"ui2 0", "ui2 60", "ui2 79"}},
      {L"/grctlext/Delay", {"ui2 10", "ui2 300", "ui2 0"}},
      {L"/grctlext/Disposal", {"ui1 1", "ui1 3", "ui1 2"}}};
  for (UINT i = 0; i < 3; ++i) {
    CComPtr<IWICBitmapFrameDecode> read;
    ASSERT_EQ(decoder->GetFrame(i, &read), S_OK);
    for (const auto& [name, values] : expected) EXPECT_EQ(Describe(read, name), values[i]);
    Bytes pixels(pictures[i].pixels.size());
    ASSERT_EQ(AsRgba(read)->CopyPixels(nullptr, pictures[i].width * 4,
                                       static_cast<UINT>(pixels.size()), pixels.data()),
              S_OK);
    EXPECT_EQ(pixels, Exact(pictures[i])) << i;
  }
}

TEST(GifWriter, ReportsAFullSinkWhereverItHappens) {
  Written picture = MakeShades();
  std::size_t whole = 0;
  for (std::size_t room = SIZE_MAX;; room = room == SIZE_MAX ? 0 : room + whole / 7) {
    std::size_t taken = 0;
    const ByteSink sink = [&](const BYTE*, std::size_t size) {
      taken += size;
      return taken <= room ? S_OK : STG_E_MEDIUMFULL;
    };
    std::unique_ptr<GifWriter> writer;
    ASSERT_EQ(GifWriter::Open(sink, 320, 240, std::nullopt, &writer), S_OK);
    HRESULT result = S_OK;
    for (int i = 0; i < 3 && SUCCEEDED(result); ++i) {
      result = writer->AddFrame(
          {.pixels = picture.pixels.data(), .stride = 320 * 4, .width = 320, .height = 240});
    }
    if (SUCCEEDED(result)) result = writer->Finish();
    if (room == SIZE_MAX) {
      whole = taken;
      EXPECT_EQ(result, S_OK);
    } else if (room >= whole) {
      EXPECT_EQ(result, S_OK);
      break;
    } else {
      EXPECT_EQ(result, STG_E_MEDIUMFULL) << room;
      EXPECT_EQ(writer->Finish(), STG_E_MEDIUMFULL);
    }
  }
}

}  // namespace
}  // namespace Vantra::Platform
