// The GIF decoder: frames, metadata, palettes and limits.

#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>

#include "platform/imaging/test_gifs.h"

namespace Vantra::Platform {
namespace {

struct OpenedGif {
  HRESULT result = E_FAIL;
  UINT frames = 0;
  CComPtr<IWICBitmapDecoder> decoder;
};

OpenedGif Open(std::span<const BYTE> file) {
  OpenedGif gif;
  gif.result = OpenDecoder(MakeStream(file), &gif.decoder);
  if (SUCCEEDED(gif.result)) gif.decoder->GetFrameCount(&gif.frames);
  return gif;
}

TEST(GifDecoder, GivesTheExactPatchesOfEveryPaletteInAnyOrder) {
  for (const unsigned colours : {2u, 4u, 8u, 16u, 32u, 64u, 128u, 256u}) {
    for (int options = 0; options < 4; ++options) {
      const GifPicture made = MakeGif(colours, (options & 1) != 0, (options & 2) != 0);
      const Bytes file = EncodeGif(made);
      const OpenedGif gif = Open(file);
      ASSERT_EQ(gif.result, S_OK);
      ASSERT_EQ(gif.frames, 2u);
      for (const UINT index : {1u, 0u, 0u, 1u}) {
        const DecodedPicture frame = DecodeFrame(gif.decoder, index);
        ASSERT_EQ(frame.copied, S_OK) << colours << " colours, options " << options;
        ASSERT_EQ(frame.pixels, ExpectedRgba(made, made.frames[index]));
      }
    }
  }
}

TEST(GifDecoder, InterlacedFramesOfEveryHeightHaveTheirRowsInPlace) {
  for (unsigned height = 1; height <= 18; ++height) {
    GifPicture made;
    made.palette = MakeGifPalette(16, 1);
    made.frames = {MakeGifPatch(16, 3, height, true)};
    const Bytes file = EncodeGif(made);
    EXPECT_EQ(DecodeFrame(Open(file).decoder, 0).pixels, ExpectedRgba(made, made.frames[0]));
  }
}

TEST(GifDecoder, ColoursThatAreMissingAreBlackAndTheFirstTwoOfNoneBlackAndWhite) {
  GifPicture made;
  made.palette = MakeGifPalette(256, 1);
  made.frames = {MakeGifPatch(256, 16, 16, false)};
  Bytes file = EncodeGif(made);
  // The first four colours remain.
  file[10] = 0x81;
  file.erase(file.begin() + 13 + 12, file.begin() + 13 + 768);
  std::fill(made.palette.begin() + 4, made.palette.end(), std::array<BYTE, 3>{});
  EXPECT_EQ(DecodeFrame(Open(file).decoder, 0).pixels, ExpectedRgba(made, made.frames[0]));
  file[10] = 0;
  file.erase(file.begin() + 13, file.begin() + 13 + 12);
  made.palette.assign(256, {});
  made.palette[1] = {255, 255, 255};
  EXPECT_EQ(DecodeFrame(Open(file).decoder, 0).pixels, ExpectedRgba(made, made.frames[0]));
}

TEST(GifDecoder, TellsTheScreenAndEachFrameWithTheirTypes) {
  GifPicture made = MakeGif(8, false, true);
  made.background = 5;
  made.aspect = 113;
  made.frames[0].transparent.reset();
  const Bytes file = EncodeGif(made);
  const OpenedGif gif = Open(file);
  CComPtr<IWICBitmapFrameDecode> first;
  CComPtr<IWICBitmapFrameDecode> second;
  ASSERT_EQ(gif.decoder->GetFrame(0, &first), S_OK);
  ASSERT_EQ(gif.decoder->GetFrame(1, &second), S_OK);
  const std::string none = "88982f40";
  const std::pair<LPCWSTR, std::string> of_file[] = {
      {L"/logscrdesc/Width", "ui2 21"},
      {L"/logscrdesc/Height", "ui2 30"},
      {L"/logscrdesc/GlobalColorTableFlag", "bool 1"},
      {L"/logscrdesc/BackgroundColorIndex", "ui1 5"},
      {L"/logscrdesc/PixelAspectRatio", "ui1 113"},
      {L"/appext/application", none},
      {L"/appext/data", none},
      {L"/logscrdesc/width", none},
      {L"/imgdesc/Left", none},
      {nullptr, "80070057"}};
  for (const auto& [name, value] : of_file) EXPECT_EQ(Describe(gif.decoder, name), value);
  const struct {
    LPCWSTR name;
    std::string first;  // which has no control extension
    std::string second;
  } of_frames[] = {
      {L"/imgdesc/Left", "ui2 0", "ui2 5"},           {L"/imgdesc/Top", "ui2 0", "ui2 300"},
      {L"/imgdesc/Width", "ui2 21", "ui2 9"},         {L"/imgdesc/Height", "ui2 19", "ui2 17"},
      {L"/grctlext/Delay", none, "ui2 1000"},         {L"/grctlext/Disposal", none, "ui1 3"},
      {L"/grctlext/TransparencyFlag", none, "bool 1"}};
  for (const auto& value : of_frames) {
    EXPECT_EQ(Describe(first, value.name), value.first);
    EXPECT_EQ(Describe(second, value.name), value.second);
  }
}

TEST(GifDecoder, FindsTheExtensionThatTellsTheRepetitionAmongOthers) {
  const auto expect = [](const Bytes& before, std::string_view name, std::string_view data) {
    GifPicture made = MakeGif(2, false, false);
    made.before_frames = before;
    const Bytes file = EncodeGif(made);
    const OpenedGif gif = Open(file);
    EXPECT_EQ(DecodeFrame(gif.decoder, 1).pixels, ExpectedRgba(made, made.frames[1]));
    std::string bytes = "bytes";
    for (const char c : name) bytes += ' ' + std::to_string(c);
    EXPECT_EQ(Describe(gif.decoder, L"/appext/application"), bytes);
    EXPECT_EQ(Describe(gif.decoder, L"/appext/data").substr(0, data.size()), data);
  };
  const auto append = [](Bytes* to, const Bytes& more) {
    to->insert(to->end(), more.begin(), more.end());
  };
  expect(MakeGifApplication("NETSCAPE2.0", {1, 52, 18}), "NETSCAPE2.0", "bytes 3 1 52 18");
  expect(MakeGifApplication("NETSCAPE2.0", {}), "NETSCAPE2.0", "bytes 0");
  Bytes several = MakeGifApplication("XMP DataXMP", Bytes(1000, 7));
  expect(several, "XMP DataXMP", "bytes 255 7 7");
  append(&several, {0x21, 0xFE, 2, 'h', 'i', 0, 0});
  append(&several, MakeGifApplication("ANIMEXTS1.0", {1, 2, 0}));
  append(&several, MakeGifApplication("NETSCAPE2.0", {1, 3, 0}));
  expect(several, "ANIMEXTS1.0", "bytes 3 1 2 0");
}

TEST(GifDecoder, AControlExtensionIsForTheTextThatComesFirst) {
  GifPicture made = MakeGif(2, false, false);
  made.before_frames = {0x21, 0xF9, 4, 9, 1, 0, 0, 0, 0x21, 0x01, 1, 'x', 0};
  const Bytes file = EncodeGif(made);
  CComPtr<IWICBitmapFrameDecode> frame;
  ASSERT_EQ(Open(file).decoder->GetFrame(0, &frame), S_OK);
  EXPECT_EQ(Describe(frame, L"/grctlext/Delay"), "88982f40");
}

TEST(GifDecoder, GivesPalettesWithTheTransparentColourMarked) {
  const GifPicture made = MakeGif(4, false, true);
  const Bytes file = EncodeGif(made);
  const OpenedGif gif = Open(file);
  const auto factory = MakeFactory();
  CComPtr<IWICPalette> palette;
  ASSERT_EQ(factory->CreatePalette(&palette), S_OK);
  WICColor colours[256];
  UINT count = 99;
  EXPECT_EQ(palette->GetColors(256, colours, &count), WINCODEC_ERR_NOTINITIALIZED);
  EXPECT_EQ(palette->InitializeCustom(colours, 257), E_INVALIDARG);

  const auto expected = [](const std::array<BYTE, 3>& colour, WICColor alpha) {
    return alpha << 24 | WICColor{colour[0]} << 16 | WICColor{colour[1]} << 8 | colour[2];
  };
  ASSERT_EQ(gif.decoder->CopyPalette(palette), S_OK);
  ASSERT_EQ(palette->GetColors(256, colours, &count), S_OK);
  ASSERT_EQ(count, 4u);
  for (UINT i = 0; i < 4; ++i) EXPECT_EQ(colours[i], expected(made.palette[i], 255));
  ASSERT_EQ(palette->GetColors(3, colours, &count), S_OK);
  EXPECT_EQ(count, 3u);

  // In the middle of a copy, which goes on behind it.
  CComPtr<IWICBitmapFrameDecode> frame;
  ASSERT_EQ(gif.decoder->GetFrame(1, &frame), S_OK);
  const auto source = AsRgba(frame);
  Bytes pixels(9 * 17 * 4);
  const WICRect upper{0, 0, 9, 5};
  ASSERT_EQ(source->CopyPixels(&upper, 36, 36 * 5, pixels.data()), S_OK);
  ASSERT_EQ(frame->CopyPalette(palette), S_OK);
  const WICRect lower{0, 5, 9, 12};
  ASSERT_EQ(source->CopyPixels(&lower, 36, 36 * 12, pixels.data() + 36 * 5), S_OK);
  EXPECT_EQ(pixels, ExpectedRgba(made, made.frames[1]));
  ASSERT_EQ(palette->GetColors(256, colours, &count), S_OK);
  for (UINT i = 0; i < 4; ++i) {
    EXPECT_EQ(colours[i], expected(made.frames[1].palette[i], i == 2 ? 0 : 255));
  }
  CComPtr<IWICPalette> copy;
  ASSERT_EQ(factory->CreatePalette(&copy), S_OK);
  ASSERT_EQ(copy->InitializeFromPalette(palette), S_OK);
  EXPECT_EQ(copy->GetColorCount(&count), S_OK);
  EXPECT_EQ(count, 4u);

  GifPicture bare = made;
  bare.palette.clear();
  const Bytes bare_file = EncodeGif(bare);
  EXPECT_EQ(Open(bare_file).decoder->CopyPalette(palette), WINCODEC_ERR_PALETTEUNAVAILABLE);
}

TEST(GifDecoder, OtherFormatsHaveNoMetadataAndNoPalette) {
  const Bytes file = EncodePng(MakePng(PngColour::kRgb, 8, 2, 2, false, false));
  const OpenedGif png = Open(file);
  CComPtr<IWICBitmapFrameDecode> frame;
  ASSERT_EQ(png.decoder->GetFrame(0, &frame), S_OK);
  CComPtr<IWICMetadataQueryReader> reader;
  EXPECT_EQ(png.decoder->GetMetadataQueryReader(&reader), WINCODEC_ERR_UNSUPPORTEDOPERATION);
  EXPECT_EQ(frame->GetMetadataQueryReader(&reader), WINCODEC_ERR_UNSUPPORTEDOPERATION);
  CComPtr<IWICPalette> palette;
  ASSERT_EQ(MakeFactory()->CreatePalette(&palette), S_OK);
  EXPECT_EQ(png.decoder->CopyPalette(palette), WINCODEC_ERR_PALETTEUNAVAILABLE);
  EXPECT_EQ(frame->CopyPalette(palette), WINCODEC_ERR_PALETTEUNAVAILABLE);
}

TEST(GifDecoder, AFileCutOffAnywhereHasTheFramesBeforeTheCut) {
  for (const bool interlaced : {false, true}) {
    const GifPicture made = MakeGif(16, interlaced, true);
    const Bytes file = EncodeGif(made);
    UINT most_frames = 0;
    bool whole_rows_of_a_part = false;
    for (std::size_t size = 0; size < file.size(); ++size) {
      // A copy of its own size lets the address sanitizer see reads beyond the end.
      const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
      const OpenedGif gif = Open(cut);
      if (FAILED(gif.result)) {
        EXPECT_EQ(gif.result, size < 6 ? WINCODEC_ERR_UNKNOWNIMAGEFORMAT : WINCODEC_ERR_BADHEADER);
        EXPECT_EQ(most_frames, 0u);
        continue;
      }
      EXPECT_GE(gif.frames, most_frames);
      most_frames = gif.frames;
      for (UINT i = 0; i < gif.frames; ++i) {
        const DecodedPicture frame = DecodeFrame(gif.decoder, i);
        ASSERT_EQ(frame.frame, S_OK);
        const Bytes expected = ExpectedRgba(made, made.frames[i]);
        if (SUCCEEDED(frame.copied)) {
          ASSERT_EQ(frame.pixels, expected);
          continue;
        }
        EXPECT_EQ(i + 1, gif.frames) << "only the last is damaged";
        EXPECT_EQ(frame.copied, WINCODEC_ERR_BADIMAGE);
        const std::size_t row_bytes = made.frames[i].width * 4;
        for (std::size_t at = 0; at < expected.size(); at += row_bytes) {
          const auto row = std::span(frame.pixels).subspan(at, row_bytes);
          const bool right = std::ranges::equal(row, std::span(expected).subspan(at, row_bytes));
          const bool clear = std::ranges::all_of(row, [](BYTE value) { return value == 0; });
          ASSERT_TRUE(right || clear);
          whole_rows_of_a_part = whole_rows_of_a_part || right;
        }
      }
    }
    EXPECT_EQ(most_frames, 2u);
    EXPECT_TRUE(whole_rows_of_a_part);
  }
}

TEST(GifDecoder, RefusesWhatGoesBeyondTheLimitsQuicklyAndInLittleMemory) {
  const auto begin = std::chrono::steady_clock::now();
  const long before = PeakMemory();
  GifPicture made;
  made.palette = MakeGifPalette(2, 1);
  made.frames = {MakeGifPatch(2, 1, 1, false)};
  const Bytes one = EncodeGif(made);
  const std::ptrdiff_t frame_at = 13 + 6;
  const auto repeat = [&](std::size_t count, const Bytes& file) {
    Bytes many(file.begin(), file.begin() + frame_at);
    for (std::size_t i = 0; i < count; ++i) {
      many.insert(many.end(), file.begin() + frame_at, file.end() - 1);
    }
    return many;
  };
  const Bytes most = repeat(WIC_MAXIMUM_FRAMES, one);
  const OpenedGif legal = Open(most);
  EXPECT_EQ(legal.frames, WIC_MAXIMUM_FRAMES);
  EXPECT_EQ(DecodeFrame(legal.decoder, WIC_MAXIMUM_FRAMES - 1).pixels,
            ExpectedRgba(made, made.frames[0]));
  EXPECT_EQ(Open(repeat(WIC_MAXIMUM_FRAMES + 1, one)).result, WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
  EXPECT_EQ(Open(repeat(100000, one)).result, WINCODEC_ERR_IMAGESIZEOUTOFRANGE);

  // Frames and screens that claim to be 16384 pixels square and more.
  const auto claim = [](Bytes file, std::ptrdiff_t at, unsigned width, unsigned height) {
    const BYTE size[] = {static_cast<BYTE>(width), static_cast<BYTE>(width >> 8),
                         static_cast<BYTE>(height), static_cast<BYTE>(height >> 8)};
    std::copy(std::begin(size), std::end(size), file.begin() + at);
    return file;
  };
  for (const auto& [width, height] : {std::pair(1u << 14, (1u << 13) + 1), {64250u, 64250u}}) {
    EXPECT_EQ(Open(claim(one, 6, width, height)).result, WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
    const Bytes large = claim(one, frame_at + 5, width, height);
    const OpenedGif gif = Open(large);
    const HRESULT result = SUCCEEDED(gif.result) ? DecodeFrame(gif.decoder, 0).frame : gif.result;
    EXPECT_EQ(result, WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
  }
  for (const bool interlaced : {false, true}) {
    Bytes large = claim(one, frame_at + 5, 1 << 14, 1 << 13);
    if (interlaced) large[frame_at + 9] |= 0x40;
    EXPECT_EQ(Open(repeat(3, large)).result, WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
    const OpenedGif gif = Open(large);
    CComPtr<IWICBitmapFrameDecode> frame;
    ASSERT_EQ(gif.decoder->GetFrame(0, &frame), S_OK);
    const WICRect corner{(1 << 14) - 2, (1 << 13) - 2, 2, 2};
    Bytes pixels(16, 0xA5);
    EXPECT_EQ(frame->CopyPixels(&corner, 8, 16, pixels.data()), WINCODEC_ERR_BADIMAGE);
    EXPECT_EQ(pixels, Bytes(16, 0));
  }
  EXPECT_EQ(DecodeFrame(Open(claim(one, frame_at + 5, 0, 1)).decoder, 0).frame,
            WINCODEC_ERR_BADHEADER);
  EXPECT_LT(PeakMemory() - before, 100 * 1024);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
  EXPECT_LT(seconds.count(), 5.0) << "a second at most on a machine that has nothing else to do";
}

}  // namespace
}  // namespace Vantra::Platform
