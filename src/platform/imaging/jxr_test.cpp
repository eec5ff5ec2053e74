// The HD Photo decoder and encoder.

#include <bit>
#include <cmath>
#include <csignal>
#include <cstring>
#include <gtest/gtest.h>

#include "platform/imaging/child_process.h"
#include "platform/imaging/jxr_decoder.h"
#include "platform/imaging/test_jxrs.h"

namespace Vantra::Platform {
namespace {

struct Kind {
  BYTE number;
  JxrColour colour;
  JxrDepth depth;
  bool alpha = false;
  bool premultiplied = false;
};

constexpr Kind kKinds[] = {
    {0x05, JxrColour::kGrey, JxrDepth::kBit},
    {0x08, JxrColour::kGrey, JxrDepth::k8},
    {0x0B, JxrColour::kGrey, JxrDepth::k16},
    {0x13, JxrColour::kGrey, JxrDepth::kFixed16},
    {0x3E, JxrColour::kGrey, JxrDepth::kHalf},
    {0x3F, JxrColour::kGrey, JxrDepth::kFixed32},
    {0x11, JxrColour::kGrey, JxrDepth::kFloat},
    {0x09, JxrColour::kRgb, JxrDepth::kFive},
    {0x0A, JxrColour::kRgb, JxrDepth::kFiveSixFive},
    {0x14, JxrColour::kRgb, JxrDepth::kTen},
    {0x0D, JxrColour::kRgb, JxrDepth::k8},
    {0x0F, JxrColour::kRgb, JxrDepth::k8, true},
    {0x10, JxrColour::kRgb, JxrDepth::k8, true, true},
    {0x15, JxrColour::kRgb, JxrDepth::k16},
    {0x16, JxrColour::kRgb, JxrDepth::k16, true},
    {0x12, JxrColour::kRgb, JxrDepth::kFixed16},
    {0x3B, JxrColour::kRgb, JxrDepth::kHalf},
    {0x3A, JxrColour::kRgb, JxrDepth::kHalf, true},
    {0x18, JxrColour::kRgb, JxrDepth::kFixed32},
    {0x1B, JxrColour::kRgb, JxrDepth::kFloat},
    {0x19, JxrColour::kRgb, JxrDepth::kFloat, true},
    {0x3D, JxrColour::kRgbe, JxrDepth::k8},
    {0x1C, JxrColour::kCmyk, JxrDepth::k8},
    {0x1F, JxrColour::kCmyk, JxrDepth::k16},
    {0x2C, JxrColour::kCmyk, JxrDepth::k8, true},
};

// What the format defines as linear light, as sRGB.
double Encoded(double light) {
  if (light <= 0) return 0;
  if (light >= 1) return 1;
  return light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}

double HalfValue(std::uint32_t half) {
  if ((half & 0x7FFF) == 0) return 0;
  const double size =
      std::ldexp(1024 + static_cast<double>(half & 1023), static_cast<int>(half >> 10 & 31) - 25);
  return (half & 0x8000) != 0 ? -size : size;
}

bool IsLight(JxrDepth depth) {
  return depth == JxrDepth::kFixed16 || depth == JxrDepth::kFixed32 || depth == JxrDepth::kHalf ||
         depth == JxrDepth::kFloat;
}

// What a sample stands for, as light where it is that.
double ValueOf(JxrDepth depth, std::uint32_t sample) {
  switch (depth) {
    case JxrDepth::kBit:
      return sample;
    case JxrDepth::k8:
      return sample / 255.0;
    case JxrDepth::k16:
      return sample / 65535.0;
    case JxrDepth::kFixed16:
      return static_cast<std::int16_t>(sample) / 8192.0;
    case JxrDepth::kFixed32:
      return static_cast<std::int32_t>(sample) / 16777216.0;
    case JxrDepth::kHalf:
      return HalfValue(sample);
    default:
      return std::bit_cast<float>(sample);
  }
}

double Rounded(double value) { return std::floor(std::clamp(value, 0.0, 1.0) * 255 + 0.5); }

// A sample from -0.25 to 1.25, as far as its kind has such.
std::uint32_t RandomSample(JxrDepth depth, Noise& noise) {
  const double value = noise.Below(1 << 16) / 43690.0 - 0.25;
  switch (depth) {
    case JxrDepth::kBit:
      return noise.Below(2);
    case JxrDepth::k8:
      return noise.Below(256);
    case JxrDepth::kFixed16:
      return static_cast<std::uint16_t>(static_cast<std::int16_t>(value * 8192));
    case JxrDepth::kFixed32:
      // The library keeps less than 32 bits.
      return static_cast<std::uint32_t>(static_cast<std::int32_t>(value * 4096)) << 12;
    case JxrDepth::kHalf:
      return noise.Below(0x3C00) | noise.Below(2) << 15;
    case JxrDepth::kFloat:
      // With a mantissa that the library keeps.
      return std::bit_cast<std::uint32_t>(static_cast<float>(value)) & 0xFFFFE000;
    case JxrDepth::kTen:
      return noise.Below(1 << 30);
    default:
      return noise.Below(1 << 16);
  }
}

JxrPicture MakePicture(const Kind& kind, unsigned width, unsigned height) {
  JxrPicture picture;
  picture.format = JxrFormat(kind.number);
  picture.colour = kind.colour;
  picture.depth = kind.depth;
  picture.width = width;
  picture.height = height;
  Noise noise(kind.number);
  for (unsigned i = 0; i < width * height; ++i) {
    const std::uint32_t alpha = RandomSample(kind.depth, noise);
    if (kind.alpha) picture.alpha.push_back(alpha);
    for (unsigned c = 0; c < JxrChannels(picture); ++c) {
      std::uint32_t sample = RandomSample(kind.depth, noise);
      if (kind.premultiplied) sample = std::min(sample, alpha);
      if (kind.depth == JxrDepth::kFive) sample &= 0x7FFF;
      // The greatest of three shares an exponent that makes it half of the range at least.
      if (kind.colour == JxrColour::kRgbe) sample = c == 3 ? 120 + sample % 10 : sample | 128;
      picture.samples.push_back(sample);
    }
  }
  return picture;
}

// Red, green, blue of a pixel, as levels.
std::array<double, 3> ExpectedColour(const JxrPicture& picture, const std::uint32_t* samples) {
  std::array<double, 3> colour{};
  const auto fields = [&](unsigned low, unsigned middle, unsigned high) {
    const unsigned word = samples[0];
    const auto share = [](unsigned value, unsigned bits) {
      return Rounded((value & ((1u << bits) - 1)) / (std::ldexp(1.0, static_cast<int>(bits)) - 1));
    };
    colour = {share(word, low), share(word >> low, middle), share(word >> (low + middle), high)};
  };
  if (picture.depth == JxrDepth::kFive) {
    fields(5, 5, 5);
  } else if (picture.depth == JxrDepth::kFiveSixFive) {
    fields(5, 6, 5);
  } else if (picture.depth == JxrDepth::kTen) {
    fields(10, 10, 10);
  } else if (picture.colour == JxrColour::kRgbe) {
    for (std::size_t c = 0; c < 3; ++c) {
      const int exponent = static_cast<int>(samples[3]) - 136;
      colour[c] = Rounded(Encoded(std::ldexp(static_cast<double>(samples[c]), exponent)));
    }
  } else {
    const auto level = [&](std::size_t c) {
      const double value = ValueOf(picture.depth, samples[c]);
      return Rounded(IsLight(picture.depth) ? Encoded(value) : value);
    };
    for (std::size_t c = 0; c < 3; ++c) {
      if (picture.colour == JxrColour::kGrey) {
        colour[c] = level(0);
      } else if (picture.colour == JxrColour::kCmyk) {
        colour[c] = Rounded((255 - level(c)) * (255 - level(3)) / 255 / 255);
      } else {
        colour[c] = level(c);
      }
    }
  }
  return colour;
}

Bytes ExpectedPbgra(const JxrPicture& picture, bool premultiplied) {
  Bytes pixels;
  for (std::size_t i = 0; i < std::size_t{picture.width} * picture.height; ++i) {
    const auto colour = ExpectedColour(picture, &picture.samples[i * JxrChannels(picture)]);
    const double alpha =
        picture.alpha.empty() ? 255 : Rounded(ValueOf(picture.depth, picture.alpha[i]));
    for (std::size_t c = 3; c-- > 0;) {
      const bool as_it_is = picture.alpha.empty() || premultiplied;
      pixels.push_back(
          static_cast<BYTE>(as_it_is ? colour[c] : Rounded(colour[c] * alpha / 255 / 255)));
    }
    pixels.push_back(static_cast<BYTE>(alpha));
  }
  return pixels;
}

TEST(JxrDecoder, GivesTheExactPixelsOfAllSamples) {
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(testing::Message() << "format " << std::hex << int{kind.number});
    const JxrPicture picture = MakePicture(kind, 37, 21);
    const DecodedPicture decoded = DecodeFrame(EncodeJxr(picture));
    ASSERT_EQ(decoded.copied, S_OK);
    ASSERT_EQ(decoded.width, picture.width);
    ASSERT_EQ(decoded.height, picture.height);
    EXPECT_EQ(decoded.pixels, ExpectedPbgra(picture, kind.premultiplied));
  }
}

TEST(JxrDecoder, GivesTheSamePixelsInEveryOrderOfBands) {
  for (int variant = 0; variant < 6; ++variant) {
    JxrPicture picture = MakePicture(kKinds[10], 50, 35);
    picture.by_frequency = (variant & 1) != 0;
    picture.tiles_across = (variant & 2) != 0 ? 3 : 1;
    picture.overlap = static_cast<unsigned>(variant) / 2;
    const DecodedPicture decoded = DecodeFrame(EncodeJxr(picture));
    ASSERT_EQ(decoded.copied, S_OK) << variant;
    EXPECT_EQ(decoded.pixels, ExpectedPbgra(picture, false)) << variant;
  }
}

TEST(JxrDecoder, ReadsSubsampledColoursWithLoss) {
  for (const unsigned chroma : {1u, 2u}) {
    JxrPicture picture = MakePicture(kKinds[10], 48, 32);
    for (std::size_t i = 0; i < picture.samples.size(); ++i) {
      picture.samples[i] = static_cast<std::uint32_t>(i / 3 % 48 * 2 + i / 3 / 48 * 2 + i % 3 * 20);
    }
    picture.chroma = chroma;
    picture.quantiser = 20;
    const DecodedPicture decoded = DecodeFrame(EncodeJxr(picture));
    const Bytes expected = ExpectedPbgra(picture, false);
    ASSERT_EQ(decoded.copied, S_OK);
    for (std::size_t i = 0; i < expected.size(); ++i) {
      ASSERT_NEAR(decoded.pixels[i], expected[i], 12) << i;
    }
  }
}

TEST(JxrDecoder, RefusesHeadersThatDoNotFitTogether) {
  const Bytes file = EncodeJxr(MakePicture(kKinds[10], 37, 21));
  const std::size_t picture = 8 + 2 + 5 * 12 + 4 + 16;
  const struct {
    std::vector<std::pair<std::size_t, BYTE>> changes;
    HRESULT expected;
  } kCases[] = {
      {{{4, 0xFF}, {5, 0xFF}}, WINCODEC_ERR_BADHEADER},              // a directory beyond the end
      {{{8, 0}}, WINCODEC_ERR_BADHEADER},                            // without entries
      {{{8 + 2 + 12 + 4, 2}}, WINCODEC_ERR_BADHEADER},               // two offsets
      {{{picture, 'X'}}, WINCODEC_ERR_BADHEADER},                    // the signature
      {{{picture + 8, 0x21}}, WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT},  // the version
      {{{picture + 9, 0x03}}, WINCODEC_ERR_BADHEADER},               // an overlap that there is not
      {{{picture + 9, 0x80}}, WINCODEC_ERR_BADHEADER},               // tiles without a table
      {{{picture + 10, 0xA0}}, WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT},  // a window
      {{{picture + 10, 0x81}}, WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT},  // interleaved alpha
      {{{picture + 11, 0x72}}, WINCODEC_ERR_BADHEADER},  // 16 bits, against the directory
      {{{picture + 12, 0xFF}, {picture + 14, 0xFF}}, WINCODEC_ERR_IMAGESIZEOUTOFRANGE},
      {{{picture + 12, 0x3F}, {picture + 14, 0x1F}}, WINCODEC_ERR_BADHEADER},  // blocks, not bits
      {{{picture + 16, 0x00}}, WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT},           // grey inside
      {{{picture + 16, 0x6F}}, WINCODEC_ERR_BADHEADER},  // bands that there are not
  };
  for (const auto& [changes, expected] : kCases) {
    Bytes changed = file;
    for (const auto& [at, value] : changes) changed[at] = value;
    EXPECT_EQ(DecodeFrame(changed).opened, expected) << changes[0].first;
  }
  for (std::size_t size = 0; size < picture + 20; ++size) {
    EXPECT_TRUE(FAILED(DecodeFrame({file.data(), size}).opened)) << size;
  }
}

TEST(JxrDecoder, ReportsAPictureThatIsCutShort) {
  const Bytes file = EncodeJxr(MakePicture(kKinds[10], 200, 300));
  const DecodedPicture whole = DecodeFrame(file);
  const DecodedPicture cut = DecodeFrame({file.data(), file.size() / 2});
  EXPECT_EQ(cut.copied, WINCODEC_ERR_BADIMAGE);
  const std::size_t quarter = whole.pixels.size() / 4;
  EXPECT_TRUE(std::equal(whole.pixels.begin(), whole.pixels.begin() + static_cast<int>(quarter),
                         cut.pixels.begin()));
}

// Whatever the library does over noise ends neither the host nor in anything but a stated result.
TEST(JxrDecoder, OutlivesTheLibrary) {
  JxrPicture picture = MakePicture(kKinds[11], 64, 64);
  picture.quantiser = 60;
  const Bytes file = EncodeJxr(picture);
  Noise noise(1);
  for (int i = 0; i < 60; ++i) {
    Bytes changed = file;
    for (std::size_t at = 150; at < changed.size(); at += 1 + noise.Below(300)) {
      changed[at] = static_cast<BYTE>(noise.Below(256));
    }
    const DecodedPicture decoded = DecodeFrame(changed);
    ASSERT_TRUE(decoded.copied == S_OK || decoded.copied == WINCODEC_ERR_BADIMAGE ||
                FAILED(decoded.opened));
  }
}

TEST(ChildProcess, SendsUntilItCrashesAndTakesNothingWithIt) {
  ChildProcess process;
  int here = 1;
  ASSERT_EQ(process.Start([&here](const ChildProcess::Send& send) {
    here = 2;
    send(&here, sizeof here);
    std::raise(SIGSEGV);
    send(&here, sizeof here);
  }),
            S_OK);
  int received = 0;
  EXPECT_TRUE(process.Receive(&received, sizeof received));
  EXPECT_EQ(received, 2);
  EXPECT_EQ(here, 1);
  EXPECT_FALSE(process.Receive(&received, sizeof received));
}

TEST(ChildProcess, EndsWithItsObject) {
  ChildProcess process;
  ASSERT_EQ(process.Start([](const ChildProcess::Send& send) {
    const std::vector<BYTE> bytes(1 << 16);
    for (;;) send(bytes.data(), bytes.size());
  }),
            S_OK);
  BYTE byte = 1;
  EXPECT_TRUE(process.Receive(&byte, 1));
  EXPECT_EQ(byte, 0);
}

TEST(JxrEncoder, KeepsEveryPixel) {
  for (const auto& [width, height] : {std::pair(1u, 1u), {37u, 53u}, {64u, 32u}}) {
    Noise noise(width);
    Bytes pixels(std::size_t{width} * height * 4);
    for (BYTE& value : pixels) value = static_cast<BYTE>(noise.Below(256));
    const Bytes file = EncodeRgba(GUID_ContainerFormatWmp, width, height, pixels);
    const DecodedPicture decoded = DecodeFrame(file, 0, GUID_WICPixelFormat32bppRGBA);
    ASSERT_EQ(decoded.copied, S_OK);
    EXPECT_EQ(decoded.width, width);
    EXPECT_EQ(decoded.pixels, pixels);
  }
}

}  // namespace
}  // namespace Vantra::Platform
