#include <vantrix/device/dexception.h>

#include <chrono>
#include <limits>

#include "images/bitmap_access.h"
#include "platform/imaging/test_gifs.h"
#include "tests/harness/file_fixture.h"

namespace Vantra {
namespace {

using namespace Testing;
using FileFormat = Bitmap::FileFormat;

class BitmapLoading : public FileFixture {
 protected:
  CComPtr<IWICStream> StreamOver(const Bytes& file) {
    CComPtr<IWICStream> stream;
    EXPECT_EQ(device_.GetWicImagingFactory()->CreateStream(&stream), S_OK);
    EXPECT_EQ(stream->InitializeFromMemory(const_cast<BYTE*>(file.data()),
                                           static_cast<DWORD>(file.size())),
              S_OK);
    return stream;
  }

  // Fails unless `load` reports, with the code and the place that belong to it.
  template <class Load>
  static void ExpectReport(Load load, const std::string& function, const std::string& text) {
    try {
      load();
      ADD_FAILURE() << "no report: " << text;
    } catch (const DException& exception) {
      EXPECT_EQ(exception.GetError(), 1000);
      const std::string report = exception.what();
      EXPECT_NE(report.find("bitmapload.cpp\n[function] Vantra::Bitmap::" + function + "\n"),
                std::string::npos)
          << report;
      EXPECT_TRUE(report.ends_with("[error] 1000\n" + text)) << report;
    }
  }

  void ExpectEmpty() {
    EXPECT_TRUE(bitmap_.IsEmpty());
    EXPECT_EQ(bitmap_.GetWidth(), 0);
    EXPECT_EQ(bitmap_.GetHeight(), 0);
    EXPECT_EQ(bitmap_.GetStride(), 0);
    EXPECT_EQ(bitmap_.GetBits(), nullptr);
  }

  std::pair<long, long> Size() const { return {bitmap_.GetWidth(), bitmap_.GetHeight()}; }
};

TEST_F(BitmapLoading, APictureComesPremultipliedIntoBothCopiesAndTellsItsFormat) {
  const Picture picture = Make("a.png", 37, 21);
  ASSERT_TRUE(bitmap_.LoadFile(Path("a.png")));
  EXPECT_EQ(bitmap_.GetFileFormat(), FileFormat::kPng);
  EXPECT_EQ(bitmap_.GetFrameCount(), 1);
  EXPECT_EQ(bitmap_.GetStride(), 37 * 4);
  EXPECT_TRUE(bitmap_.GetFrames().empty());
  EXPECT_EQ(std::memcmp(bitmap_.GetBits(), picture.Bytes(), picture.pixels.size() * 4), 0);
  EXPECT_EQ(Read(bitmap_).pixels, picture.pixels);

  Write("a.bmp", EncodeBmp(Platform::MakeBmp(24, 5, 4, false, false)));
  Write("a.jpg", EncodeJpeg(Platform::MakeJpeg(Platform::JpegColour::kYCbCr,
                                               Platform::JpegCoding::kSequential, 6, 3)));
  ASSERT_TRUE(bitmap_.LoadFile(Path("a.bmp")));
  EXPECT_EQ(bitmap_.GetFileFormat(), FileFormat::kBmp);
  ASSERT_TRUE(bitmap_.LoadFile(Path("a.jpg")));
  EXPECT_EQ(bitmap_.GetFileFormat(), FileFormat::kJpeg);
  EXPECT_EQ(Size(), (std::pair<long, long>{6, 3}));

  // The formats by their containers, as far as they have a value of their own.
  for (const auto& [container, format] : {std::pair{GUID_ContainerFormatTiff, FileFormat::kTiff},
                                          {GUID_ContainerFormatGif, FileFormat::kGif},
                                          {GUID_ContainerFormatWmp, FileFormat::kHdPhoto},
                                          {GUID_ContainerFormatDds, FileFormat::kDds},
                                          {GUID_ContainerFormatWebp, FileFormat::kUnknown},
                                          {GUID_NULL, FileFormat::kUnknown}}) {
    EXPECT_EQ(BitmapAccess::CheckFileFormat(container), format);
  }
}

TEST_F(BitmapLoading, OneSideAskedForGivesTheOtherInProportion) {
  struct Case {
    unsigned own_width, own_height;
    int width, height;
    long expected_width, expected_height;
  };
  constexpr Case kCases[] = {
      {200, 80, 0, 0, 200, 80},
      {200, 80, -7, -1, 200, 80},
      {200, 80, 100, 0, 100, 40},
      {200, 80, 0, 40, 100, 40},
      {200, 80, 0, 80, 200, 80},
      {200, 80, 200, 80, 200, 80},
      {200, 80, 100, 90, 100, 90},
      {200, 80, 201, -1, 201, 80},
      // 63 by exact arithmetic: the ratio is rounded to a float first.
      {20, 30, 42, 0, 42, 62},
      {30, 20, 0, 42, 62, 42},
  };
  for (const Case& c : kCases) {
    const Encoded encoded = Encode(c.own_width, c.own_height);
    bitmap_.LoadMemory(encoded.file.data(), encoded.file.size(), c.width, c.height);
    EXPECT_EQ(Size(), (std::pair{c.expected_width, c.expected_height}))
        << c.own_width << " by " << c.own_height << " to " << c.width << " by " << c.height;
    if (c.expected_width == 200 && c.expected_height == 80) {
      EXPECT_EQ(Read(bitmap_).pixels, encoded.picture.pixels);
    }
  }
}

TEST_F(BitmapLoading, ScalingIsCubic) {
  // A step between two greys overshoots on both of its sides, as it would with no other mode.
  Platform::PngPicture step = Platform::MakePng(Platform::PngColour::kGrey, 8, 8, 1, false, false);
  step.samples = {100, 100, 100, 100, 200, 200, 200, 200};
  const Bytes file = EncodePng(step);
  bitmap_.LoadMemory(file.data(), file.size(), 16, 1);
  const Picture scaled = Read(bitmap_);
  // Catmull-Rom at a quarter of a pixel: the weights of the outer two are -9/128 and -3/128.
  EXPECT_EQ(scaled.At(5, 0)[0], 100 - 2);
  EXPECT_EQ(scaled.At(6, 0)[0], 100 - 7);
  EXPECT_EQ(scaled.At(9, 0)[0], 200 + 7);
  EXPECT_EQ(scaled.At(2, 0)[0], 100);
}

TEST_F(BitmapLoading, AFailedLoadReportsAndNeverKeepsTheOldPicture) {
  Write("text.png", {'t', 'e', 'x', 't'});
  const Encoded thin = Encode(200, 2);
  const auto fail = [&](auto load, const char* function, const char* text) {
    Upload(bitmap_, DrawScene(4, 4));
    ExpectReport(load, function, text);
    ExpectEmpty();
  };
  fail([&] { bitmap_.LoadFile(Path("none.png")); }, "LoadFile",
       "Create Decoder From Filename Failed: 0x80070002");
  fail([&] { bitmap_.LoadFile(Path("text.png")); }, "LoadFile",
       "Create Decoder From Filename Failed: 0x88982f07");
  fail([&] { bitmap_.LoadStream(nullptr); }, "LoadStream",
       "Create Decoder From Filename Failed: 0x80070057");
  fail([&] { bitmap_.LoadMemory("text", 4); }, "LoadStream",
       "Create Decoder From Filename Failed: 0x88982f07");
  fail([&] { bitmap_.LoadMemory(nullptr, 100); }, "LoadStream",
       "Create Decoder From Filename Failed: 0x88982f72");
  // A program is no picture.
  fail([&] { bitmap_.LoadResource(L"IDR_PS_POSTERIZE"); }, "LoadStream",
       "Create Decoder From Filename Failed: 0x88982f07");
  // A hundredth of two rows is none, and two billion are too many.
  fail([&] { bitmap_.LoadMemory(thin.file.data(), thin.file.size(), 2, 0); }, "LoadStream",
       "Create Format Converter Failed: 0x88982f0c");
  constexpr int kMost = std::numeric_limits<int>::max();
  for (const auto& [width, height] :
       {std::pair{kMost, kMost}, {kMost, 0}, {0, kMost}, {65500, 65500}}) {
    fail([&] { bitmap_.LoadMemory(thin.file.data(), thin.file.size(), width, height); },
         "LoadStream", "Create Format Converter Failed: 0x88982f51");
  }
  EXPECT_EQ(bitmap_.GetFileFormat(), FileFormat::kPng);

  Bitmap idle;
  ExpectReport([&] { idle.LoadFile(Path("text.png")); }, "LoadFile",
               "Create Decoder From Filename Failed: 0x80004005");
}

TEST_F(BitmapLoading, ADamagedPictureIsReadAsFarAsItGoes) {
  const Encoded encoded = Encode(100, 200);
  for (const int width : {0, 100}) {
    Bytes cut = encoded.file;
    cut.resize(cut.size() / 2);
    bitmap_.LoadMemory(cut.data(), cut.size(), width, 0);
    ASSERT_EQ(Size(), (std::pair<long, long>{100, 200}));
    const Picture read = Read(bitmap_);
    EXPECT_EQ(read.At(99, 1), encoded.picture.At(99, 1));
    EXPECT_EQ(read.At(0, 199), Pixel{});
  }
}

TEST_F(BitmapLoading, ANameOfAMovieCountsOnlyForWhatIsNoPicture) {
  const Picture picture = Make("picture.swf", 7, 5);
  Upload(bitmap_, DrawScene(4, 4));
  EXPECT_TRUE(bitmap_.LoadFile(Path("picture.swf")));
  EXPECT_EQ(Read(bitmap_).pixels, picture.pixels);
  Write("movie.swf", {'F', 'W', 'S', 6});
  for (const char* name : {"movie.swf", "none.swf"}) {
    for (const auto& [width, height, size] :
         {std::tuple{0, -1, std::pair<long, long>{320, 240}}, {50, 0, {50, 240}}, {9, 8, {9, 8}}}) {
      EXPECT_FALSE(bitmap_.LoadFile(Path(name), width, height));
      EXPECT_EQ(Size(), size);
      EXPECT_EQ(bitmap_.GetStride(), size.first * 4);
      EXPECT_NE(bitmap_.GetBits(), nullptr);
      EXPECT_TRUE(bitmap_.IsEmpty());
      EXPECT_EQ(bitmap_.GetFileFormat(), FileFormat::kSwf);
      EXPECT_EQ(bitmap_.GetFrameCount(), 0);
      bitmap_.StartAnimation(0, true);
      bitmap_.Animation(1);
      bitmap_.StopAnimation();
    }
  }
  EXPECT_FALSE(bitmap_.LoadFile(Path("movie.swf"), 1 << 30, 1 << 30));
  ExpectEmpty();
  // The end of the name, in small letters, and nowhere before.
  for (const char* name : {"none.SWF", "none.swf.swf", "none.swf.png"}) {
    ExpectReport([&] { bitmap_.LoadFile(Path(name)); }, "LoadFile",
                 "Create Decoder From Filename Failed: 0x80070002");
  }
}

TEST_F(BitmapLoading, AStreamIsReadFromItsPositionAndAFrameFromItsStart) {
  const Encoded first = Encode(7, 5);
  const Encoded second = Encode(9, 4);
  Bytes both = first.file;
  both.insert(both.end(), second.file.begin(), second.file.end());
  const CComPtr<IWICStream> stream = StreamOver(both);
  stream->Seek({static_cast<std::int64_t>(first.file.size())}, STREAM_SEEK_SET, nullptr);
  bitmap_.LoadStream(stream);
  EXPECT_EQ(Read(bitmap_).pixels, second.picture.pixels);

  Write("a.bmp", EncodeBmp(Platform::MakeBmp(24, 5, 4, false, false)));
  bitmap_.LoadFile(Path("a.bmp"));
  stream->Seek({3}, STREAM_SEEK_SET, nullptr);
  for (const auto& frame :
       {bitmap_.LoadFrame(stream), bitmap_.LoadFrame(first.file.data(), first.file.size())}) {
    ASSERT_EQ(frame->width, 7u);
    ASSERT_EQ(frame->height, 5u);
    EXPECT_EQ(std::memcmp(frame->pixels.get(), first.picture.Bytes(), 7 * 5 * 4), 0);
    EXPECT_EQ(frame->delay, 0u);
    EXPECT_EQ(frame->rect.right, 0.0f);
  }
  EXPECT_EQ(bitmap_.GetFileFormat(), FileFormat::kPng);
  EXPECT_EQ(Size(), (std::pair<long, long>{5, 4}));
  ExpectReport([&] { bitmap_.LoadFrame("text", 4); }, "LoadFrame",
               "Create Decoder From Filename Failed: 0x88982f07");
}

TEST_F(BitmapLoading, AResourceThatIsNotThereChangesNothing) {
  const Picture picture = DrawNoise(4, 4, 2);
  Upload(bitmap_, picture);
  bitmap_.LoadResource(L"IDR_NONE");
  EXPECT_EQ(Read(bitmap_).pixels, picture.pixels);
}

TEST_F(BitmapLoading, APictureOfSeveralFramesIsScaledAndThenSplit) {
  const Picture picture = Make("a.png", 40, 6);
  const Bitmap::MultipleOptions four = {.layout = 0, .count = 4, .delay = 30};
  bitmap_.LoadFile(Path("a.png"), 0, 0, &four);
  EXPECT_EQ(bitmap_.GetFrameCount(), 4);
  EXPECT_EQ(Size(), (std::pair<long, long>{10, 6}));
  EXPECT_EQ(BitmapAccess::GetCurrentFrame(bitmap_), 2);
  EXPECT_EQ(Read(bitmap_).At(0, 0), picture.At(20, 0));
  bitmap_.StartAnimation(0, false);
  bitmap_.Animation(31);
  EXPECT_EQ(Read(bitmap_).At(9, 5), picture.At(39, 5));

  const Bitmap::MultipleOptions five = {.layout = 1, .count = 5, .delay = 0};
  bitmap_.LoadFile(Path("a.png"), 20, 10, &five);
  EXPECT_EQ(bitmap_.GetFrameCount(), 5);
  EXPECT_EQ(Size(), (std::pair<long, long>{20, 2}));
  EXPECT_EQ(BitmapAccess::GetCurrentFrame(bitmap_), 2);

  const Bitmap::MultipleOptions one = {.layout = 0, .count = 1, .delay = 0};
  bitmap_.LoadFile(Path("a.png"), 0, 0, &one);
  EXPECT_TRUE(bitmap_.GetFrames().empty());
  EXPECT_EQ(Read(bitmap_).pixels, picture.pixels);
}

TEST_F(BitmapLoading, FramesOfSeveralFilesShareTheLargestSize) {
  const Picture wide = Make("wide.png", 9, 2);
  const Picture high = Make("high.png", 3, 7);
  Write("empty.png", {});
  std::wstring backward = Path("high.png");
  std::replace(backward.begin(), backward.end(), L'/', L'\\');
  bitmap_.LoadFiles({Path("none.png"), Path("wide.png"), Path("empty.png"), folder_.wstring(),
                     L"\\\\?\\" + backward});
  ASSERT_EQ(bitmap_.GetFrameCount(), 2);
  EXPECT_EQ(Size(), (std::pair<long, long>{9, 7}));
  EXPECT_EQ(BitmapAccess::GetCurrentFrame(bitmap_), 0);
  EXPECT_EQ(bitmap_.GetFileFormat(), FileFormat::kPng);
  Picture shown = Read(bitmap_);
  EXPECT_EQ(shown.At(8, 1), wide.At(8, 1));
  EXPECT_EQ(shown.At(8, 2), Pixel{});
  bitmap_.SelectFrame(1);
  shown = Read(bitmap_);
  EXPECT_EQ(shown.At(2, 6), high.At(2, 6));
  EXPECT_EQ(shown.At(8, 1), wide.At(8, 1));

  bitmap_.LoadFiles({Path("none.png"), Path("empty.png")});
  ExpectEmpty();
  EXPECT_EQ(bitmap_.GetFrameCount(), 0);
  Upload(bitmap_, wide);
  bitmap_.LoadStreams({});
  ExpectEmpty();
}

TEST_F(BitmapLoading, AStreamThatCannotBeReadLeavesTheFramesBeforeIt) {
  const Encoded good = Encode(5, 3);
  const Bytes bad = {'b', 'a', 'd'};
  const CComPtr<IWICStream> first = StreamOver(good.file);
  const CComPtr<IWICStream> second = StreamOver(bad);
  for (const std::vector<IStream*>& streams :
       {std::vector<IStream*>{first, second, first}, {first, nullptr}}) {
    EXPECT_THROW(bitmap_.LoadStreams(streams), DException);
    ExpectEmpty();
    EXPECT_EQ(bitmap_.GetFrames().size(), 1u);
    EXPECT_EQ(bitmap_.GetFrameCount(), 1);
  }
  // Each is within the limits, and both together are not.
  const Encoded wide = Encode(65500, 1);
  const Encoded high = Encode(1, 65500);
  ExpectReport(
      [&] {
        bitmap_.LoadStreams({StreamOver(wide.file), StreamOver(high.file)});
      },
      "LoadStreams", "Create Format Converter Failed: 0x88982f51");
  ExpectEmpty();
  EXPECT_EQ(bitmap_.GetFrameCount(), 2);
}

TEST_F(BitmapLoading, AListThatEndsInAGifIsNotAnimated) {
  const Encoded encoded = Encode(5, 3);
  const Bytes gif = EncodeGif(Platform::MakeGif(16, false, false));
  bitmap_.LoadStreams({StreamOver(gif), StreamOver(encoded.file)});
  bitmap_.StartAnimation(0, true);
  bitmap_.Animation(100);
  EXPECT_EQ(BitmapAccess::GetCurrentFrame(bitmap_), 1);
  bitmap_.LoadStreams({StreamOver(encoded.file), StreamOver(gif)});
  EXPECT_EQ(bitmap_.GetFileFormat(), FileFormat::kGif);
  EXPECT_EQ(bitmap_.GetFrameCount(), 2);
  bitmap_.StartAnimation(0, true);
  bitmap_.Animation(100);
  EXPECT_EQ(BitmapAccess::GetCurrentFrame(bitmap_), 0);
}

}  // namespace
}  // namespace Vantra
