#include <algorithm>
#include <cstring>
#include <limits>
#include <random>

#include "tests/harness/device_fixture.h"

namespace Vantra {
namespace {

using namespace Testing;
using Bytes = std::vector<unsigned char>;

constexpr DXGI_FORMAT kAllFormats[] = {DXGI_FORMAT_NV12, DXGI_FORMAT_420_OPAQUE, DXGI_FORMAT_YUY2,
                                       DXGI_FORMAT_AYUV, DXGI_FORMAT_R8_UNORM};

struct Yuva {
  int y, u, v, a;
};

template <class Real>
std::uint8_t Truncate(Real value) {
  return static_cast<std::uint8_t>(std::clamp(value, Real{0}, Real{255}));
}

// The published formula, clamped and truncated.
template <class Real>
Pixel Convert(const Yuva& sample) {
  const Real y = static_cast<Real>(sample.y - 16);
  const Real u = static_cast<Real>(sample.u - 128);
  const Real v = static_cast<Real>(sample.v - 128);
  return {Truncate(Real(1.164384) * y + Real(2.017232) * u),
          Truncate(Real(1.164384) * y - Real(0.8129677) * v - Real(0.3917623) * u),
          Truncate(Real(1.164384) * y + Real(1.596027) * v), static_cast<std::uint8_t>(sample.a)};
}

std::size_t Index(int value) { return static_cast<std::size_t>(value); }

// A frame of random bytes that ends with its last byte, so that reading on is noticed.
struct Frame {
  DXGI_FORMAT format;
  int width;
  int height;
  int stride;
  Bytes bytes;

  Frame(DXGI_FORMAT f, int w, int h, int padding, unsigned seed)
      : format(f), width(w), height(h), stride(RowBytes() + padding) {
    bytes.resize(Size());
    std::mt19937 random(seed);
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
  }

  int RowBytes() const {
    return format == DXGI_FORMAT_AYUV ? width * 4 : format == DXGI_FORMAT_YUY2 ? width * 2 : width;
  }
  std::size_t Size() const {
    const auto rows = [this](int count) { return Index((count - 1) * stride + RowBytes()); };
    if (format == DXGI_FORMAT_NV12) return rows(height + height / 2);
    if (format != DXGI_FORMAT_420_OPAQUE) return rows(height);
    return std::max(rows(height),
                    Index(width * height + width * height / 4 + width / 2 * (height / 2)));
  }

  // The samples of a pixel; 0 for chroma that the frame does not have.
  Yuva At(int x, int y) const {
    const unsigned char* row = &bytes[Index(y * stride)];
    const int half_x = x / 2;
    const int half_y = y / 2;
    switch (format) {
      case DXGI_FORMAT_NV12: {
        const int chroma = (height + half_y) * stride + half_x * 2;
        const bool has_row = half_y < height / 2;
        return {row[x], has_row ? bytes[Index(chroma)] : 0,
                has_row && half_x * 2 + 1 < width ? bytes[Index(chroma + 1)] : 0, 255};
      }
      case DXGI_FORMAT_420_OPAQUE: {
        const int u = width * height + half_y * (width / 2) + half_x;
        const bool has = half_y < height / 2 && half_x < width / 2;
        return {row[x], has ? bytes[Index(u)] : 0, has ? bytes[Index(u + width * height / 4)] : 0,
                255};
      }
      case DXGI_FORMAT_YUY2: {
        const int pair = half_x * 4;
        return {row[pair], row[pair + 1], pair + 3 < width * 2 ? row[pair + 3] : 0, 255};
      }
      default:
        return {row[x * 4 + 2], row[x * 4 + 1], row[x * 4], row[x * 4 + 3]};
    }
  }
  Pixel Expected(int x, int y) const {
    if (format != DXGI_FORMAT_R8_UNORM) return Convert<double>(At(x, y));
    const std::uint8_t gray = bytes[Index(y * stride + x)];
    return {gray, gray, gray, 255};
  }
};

class ColorSpaceConversion : public DeviceFixture {
 protected:
  void SetUp() override {
    DeviceFixture::SetUp();
    converter_.Create(&device_);
  }

  // Converts into rows with padding, which must stay as it was, and compares every pixel.
  void Check(const Frame& frame) {
    SCOPED_TRACE(testing::Message() << "format " << frame.format << ", " << frame.width << " x "
                                    << frame.height << ", stride " << frame.stride);
    constexpr unsigned char kUntouched = 0xA5;
    const int stride = frame.width * 4 + 12;
    Bytes result(Index(stride * frame.height), kUntouched);
    converter_.Apply(frame.bytes.data(), frame.width, frame.height, frame.stride, result.data(),
                     stride, frame.format);
    for (int y = 0; y < frame.height; ++y) {
      const unsigned char* row = &result[Index(y * stride)];
      for (int x = 0; x < frame.width; ++x) {
        Pixel pixel;
        std::memcpy(pixel.data(), row + x * 4, 4);
        ASSERT_EQ(pixel, frame.Expected(x, y)) << "at (" << x << ", " << y << ")";
      }
      ASSERT_EQ(std::count(row + frame.width * 4, row + stride, kUntouched), 12);
    }
  }
  void CheckFresh(const Frame& frame) {
    // Another size in between, so that the frame's textures start as zeros.
    Check(Frame(DXGI_FORMAT_R8_UNORM, 5, 3, 0, 1));
    Check(frame);
  }
  // Whether anything is written.
  bool Writes(const unsigned char* source, int width, int height, int stride,
              int destination_stride, DXGI_FORMAT format) {
    Bytes result(4096, 0xA5);
    converter_.Apply(source, width, height, stride, result.data(), destination_stride, format);
    return std::count(result.begin(), result.end(), 0xA5) != 4096;
  }
  std::string FailureOf(int width, int height, DXGI_FORMAT format) {
    Bytes nothing(16);
    try {
      converter_.Apply(nothing.data(), width, height, width, nothing.data(), width, format);
    } catch (const DException& error) {
      EXPECT_EQ(error.GetError(), DException::kTexture);
      const std::string text = error.what();
      return text.substr(text.find("[function] ") + 11);
    }
    return "no failure";
  }

  ColorSpaceConverter converter_;
};

TEST_F(ColorSpaceConversion, EveryYuvTripleEqualsTheFormulaInDoublePrecision) {
  constexpr int kSide = 4096;
  Frame frame(DXGI_FORMAT_AYUV, kSide, kSide, 0, 1);
  for (std::uint32_t i = 0; i < 1u << 24; ++i) {
    unsigned char* pixel = &frame.bytes[std::size_t{i} * 4];
    pixel[0] = static_cast<unsigned char>(i);
    pixel[1] = static_cast<unsigned char>(i >> 8);
    pixel[2] = static_cast<unsigned char>(i >> 16);
    pixel[3] = static_cast<unsigned char>(i * 2654435761u >> 24);
  }
  Bytes result(frame.bytes.size());
  converter_.Apply(frame.bytes.data(), kSide, kSide, kSide * 4, result.data(), kSide * 4,
                   DXGI_FORMAT_AYUV);
  int wrong = 0;
  int single_precision_differs = 0;
  for (std::size_t i = 0; i < frame.bytes.size(); i += 4) {
    const unsigned char* in = &frame.bytes[i];
    const Yuva sample{in[2], in[1], in[0], in[3]};
    const Pixel expected = Convert<double>(sample);
    if (std::memcmp(&result[i], expected.data(), 4) != 0) {
      ADD_FAILURE() << "Y " << sample.y << ", U " << sample.u << ", V " << sample.v;
      if (++wrong > 10) break;
    }
    if (Convert<float>(sample) != expected) ++single_precision_differs;
  }
  // Why the programs do not compute in floats.
  EXPECT_EQ(single_precision_differs, 111);
}

TEST_F(ColorSpaceConversion, EveryFormatAtOddSizesAndWideStrides) {
  unsigned seed = 1;
  for (const DXGI_FORMAT format : kAllFormats) {
    for (const auto& [width, height] :
         {std::pair{1, 1}, {2, 2}, {33, 17}, {32, 16}, {31, 15}, {64, 1}, {1, 40}, {130, 66}}) {
      CheckFresh(Frame(format, width, height, 0, ++seed));
      CheckFresh(Frame(format, width, height, 7, ++seed));
    }
  }
}

TEST_F(ColorSpaceConversion, AFrameMayBeOverwrittenByItsPixels) {
  for (const DXGI_FORMAT format : kAllFormats) {
    const Frame frame(format, 70, 40, 0, 3);
    Bytes apart(70 * 40 * 4);
    converter_.Apply(frame.bytes.data(), 70, 40, frame.stride, apart.data(), 280, format);
    Bytes shared = apart;
    // At the end, so that the pixels' memory starts before the frame's.
    unsigned char* const source = shared.data() + (shared.size() - frame.bytes.size());
    std::copy(frame.bytes.begin(), frame.bytes.end(), source);
    converter_.Apply(source, 70, 40, frame.stride, shared.data(), 280, format);
    EXPECT_EQ(shared, apart) << format;
  }
}

TEST_F(ColorSpaceConversion, ChangesOfFormatAndOfTheFrameAtOneSize) {
  for (int round = 0; round < 3; ++round) {
    for (const DXGI_FORMAT format : kAllFormats) {
      Check(Frame(format, 48, 20, 0, static_cast<unsigned>(round)));
      Check(Frame(format, 48, 20, 3, static_cast<unsigned>(round + 7)));
    }
  }
}

TEST_F(ColorSpaceConversion, BlackWhiteAndAlphaComeOutAsTheyAre) {
  const auto convert = [this](std::array<unsigned char, 4> vuya) {
    Pixel pixel;
    converter_.Apply(vuya.data(), 1, 1, 4, pixel.data(), 4, DXGI_FORMAT_AYUV);
    return pixel;
  };
  EXPECT_EQ(convert({128, 128, 16, 255}), (Pixel{0, 0, 0, 255}));
  EXPECT_EQ(convert({128, 128, 235, 0}), (Pixel{255, 255, 255, 0}));
  EXPECT_EQ(convert({128, 128, 126, 77}), (Pixel{128, 128, 128, 77}));
  // 1.164384 (81 - 16) + 1.596027 (240 - 128) = 254.44; green and blue fall below 0 and on it.
  EXPECT_EQ(convert({240, 90, 81, 1}), (Pixel{0, 0, 254, 1}));
}

TEST_F(ColorSpaceConversion, ArgumentsThatMakeNoFrameWriteNothing) {
  const Bytes source(4096, 200);
  const DXGI_FORMAT gray = DXGI_FORMAT_R8_UNORM;
  constexpr int kLeast = std::numeric_limits<int>::min();
  EXPECT_TRUE(Writes(source.data(), 8, 4, 8, 32, gray));
  EXPECT_FALSE(Writes(nullptr, 8, 4, 8, 32, gray));
  converter_.Apply(source.data(), 8, 4, 8, nullptr, 32, gray);
  for (const int none : {0, -1, -64, kLeast}) {
    EXPECT_FALSE(Writes(source.data(), none, 4, 8, 32, gray));
    EXPECT_FALSE(Writes(source.data(), 8, none, 8, 32, gray));
    EXPECT_FALSE(Writes(source.data(), none, none, none, none, gray));
    EXPECT_FALSE(Writes(source.data(), 8, 4, none, 32, gray));
    EXPECT_FALSE(Writes(source.data(), 8, 4, 8, none, gray));
  }
  EXPECT_FALSE(Writes(source.data(), 8, 4, 8, 31, gray));
  for (const DXGI_FORMAT format : kAllFormats) {
    const int row = Frame(format, 8, 4, 0, 1).RowBytes();
    EXPECT_FALSE(Writes(source.data(), 8, 4, row - 1, 32, format)) << format;
    EXPECT_TRUE(Writes(source.data(), 8, 4, row, 32, format)) << format;
  }
  EXPECT_FALSE(Writes(source.data(), 8, 4, 32, 32, DXGI_FORMAT_B8G8R8A8_UNORM));
  Check(Frame(DXGI_FORMAT_NV12, 8, 4, 0, 1));
}

TEST_F(ColorSpaceConversion, TexturesThatCannotBeAreReportedByName) {
  const int limit = static_cast<int>(Engine().MaximumTextureSize());
  const std::string luminance = "Vantra::ColorSpaceConverterContext::CreateLuminanceTexture\n";
  const std::string chrominance = "Vantra::ColorSpaceConverterContext::CreateChrominanceTexture\n";
  const auto is = [](const std::string& report, const std::string& function,
                     const std::string& text) {
    EXPECT_EQ(report.substr(0, function.size()), function);
    EXPECT_EQ(report.substr(report.rfind('\n') + 1), text);
  };
  is(FailureOf(limit + 1, 1, DXGI_FORMAT_NV12), luminance,
     "Create luminance texture failed: 0x80070057");
  is(FailureOf(1, 2 * limit + 1, DXGI_FORMAT_NV12), chrominance,
     "Create luminance texture failed: 0x80070057");
  constexpr int kMost = std::numeric_limits<int>::max();
  is(FailureOf(kMost, kMost, DXGI_FORMAT_YUY2), luminance,
     "Create luminance texture failed: 0x80070057");
  // What could not be prepared does nothing until the size changes.
  EXPECT_EQ(FailureOf(kMost, kMost, DXGI_FORMAT_YUY2), "no failure");
  Check(Frame(DXGI_FORMAT_NV12, 8, 4, 0, 1));

  // The two buffers, then creating and clearing the second plane come before the third.
  Platform::InjectDeviceLoss(device_.GetD3D11Device(), 4);
  is(FailureOf(16, 8, DXGI_FORMAT_420_OPAQUE), chrominance,
     "Create luminance extra texture failed: 0x887a0005");
}

TEST_F(ColorSpaceConversion, ALossAtAnyCallLeavesNoHalfFrameAndTheNextOneIsRight) {
  const Frame frame(DXGI_FORMAT_420_OPAQUE, 40, 18, 3, 5);
  const std::uint64_t before = Engine().CallCount();
  Check(frame);
  const std::uint64_t calls = Engine().CallCount() - before;
  for (std::uint64_t at = 0; at < calls; ++at) {
    const Frame small(DXGI_FORMAT_R8_UNORM, 8, 4, 0, 1);
    Check(small);
    Platform::InjectDeviceLoss(device_.GetD3D11Device(), static_cast<unsigned>(at));
    Bytes result(40 * 18 * 4, 0xA5);
    try {
      converter_.Apply(frame.bytes.data(), 40, 18, frame.stride, result.data(), 160, frame.format);
    } catch (const DException& error) {
      EXPECT_EQ(error.GetError(), DException::kTexture);
    }
    EXPECT_EQ(std::count(result.begin(), result.end(), 0xA5), 40 * 18 * 4) << "at call " << at;
    device_.BeginDraw(nullptr);
    device_.EndDrawNoCallback();
    ASSERT_FALSE(Engine().Lost());
    Check(frame);
  }
}

TEST_F(ColorSpaceConversion, WorksOnlyBetweenCreateAndDestroyAndBesideADrawingSession) {
  const Frame frame(DXGI_FORMAT_NV12, 12, 6, 0, 3);
  device_.BeginDraw(nullptr, {1, 0, 0, 1});
  Check(frame);
  device_.EndDrawNoCallback();
  converter_.Destroy();
  EXPECT_TRUE(converter_.IsEmpty());
  const auto writes = [&] {
    return Writes(frame.bytes.data(), 12, 6, frame.stride, 48, frame.format);
  };
  EXPECT_FALSE(writes());
  converter_.Create(&device_);
  Check(frame);
  device_.Cleanup();
  EXPECT_FALSE(writes());
  device_.Intialize(nullptr);
  converter_.Create(&device_);
  Check(frame);
}

TEST_F(ColorSpaceConversion, ASteadyStreamMakesNoNewObjects) {
  for (const DXGI_FORMAT format : kAllFormats) {
    Check(Frame(format, 70, 40, 0, 1));
    const std::uint64_t objects = ObjectsMade();
    for (unsigned i = 0; i < 10; ++i) Check(Frame(format, 70, 40, 0, i));
    EXPECT_EQ(ObjectsMade(), objects);
  }
}

}  // namespace
}  // namespace Vantra
