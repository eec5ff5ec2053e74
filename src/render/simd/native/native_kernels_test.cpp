#include "render/simd/native/native_kernels.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <string_view>
#include <vector>

#include "render/running_sums.h"
#include "render/simd/kernel_registry.h"
#include "render/simd/native/sliding_cosines.h"
#include "render/simd/targets.h"
// After the choice of targets.
#include "render/simd/target_tests.h"

namespace Vantra::Render::Simd {
namespace {

const NativeKernel& Find(std::string_view name) {
  for (const NativeKernel& kernel : GetNativeKernelTable()) {
    if (name == kernel.name) return kernel;
  }
  throw std::out_of_range("no such kernel");
}

// Pixels in memory as an engine's textures have them. Around them are bytes that must stay.
class Image {
 public:
  static constexpr std::byte kAround{0xa5};

  Image(std::int32_t columns, std::int32_t rows, Format of_pixels)
      : width(columns), height(rows), format(of_pixels) {
    const std::size_t row = static_cast<std::size_t>(width) * BytesPerPixel(format) + kRowPadding;
    pitch = (row + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
    memory_.resize(static_cast<std::size_t>(height) * pitch + kRowAlignment, kAround);
    const auto address = reinterpret_cast<std::uintptr_t>(memory_.data());
    first_ = (kRowAlignment - address % kRowAlignment) % kRowAlignment;
  }

  std::byte* At(std::int32_t x, std::int32_t y) {
    return memory_.data() + first_ + static_cast<std::size_t>(y) * pitch +
           static_cast<std::size_t>(x) * BytesPerPixel(format);
  }
  TextureView View() { return {At(0, 0), pitch, width, height, format}; }
  TargetView Target() { return {At(0, 0), pitch, format}; }

  // Red, green, blue or alpha, in levels.
  double Level(std::int32_t x, std::int32_t y, std::size_t channel) {
    const std::byte* pixel = At(x, y);
    if (format == Format::kRgba16Float) {
      std::uint16_t bits;
      std::memcpy(&bits, pixel + 2 * channel, sizeof(bits));
      const int exponent = bits >> 10 & 31, fraction = bits & 1023;
      const double size =
          exponent == 0 ? std::ldexp(fraction, -24) : std::ldexp(1024 + fraction, exponent - 25);
      return 255 * (bits & 0x8000 ? -size : size);
    }
    const bool swapped = format == Format::kBgra8 && channel < 3;
    return static_cast<double>(pixel[swapped ? 2 - channel : channel]);
  }

  // Noise with plain parts; as floats, of whole levels and of others.
  void Draw(unsigned seed) {
    std::mt19937 random(seed);
    const std::size_t channels = BytesPerPixel(format) / (format == Format::kRgba16Float ? 2 : 1);
    for (std::int32_t y = 0; y < height; ++y) {
      for (std::int32_t x = 0; x < width; ++x) {
        const bool is_plain = (x / 16 + y / 16) % 3 == 0;
        for (std::size_t c = 0; c < channels; ++c) {
          const auto value = static_cast<unsigned>(is_plain ? (x + y) % 2 * 0xffffffff : random());
          if (format == Format::kRgba16Float) {
            // Up to 1.
            const auto half = static_cast<std::uint16_t>(value % 0x3c01);
            std::memcpy(At(x, y) + 2 * c, &half, sizeof(half));
          } else {
            At(x, y)[c] = static_cast<std::byte>(value);
          }
        }
      }
    }
  }

  friend bool operator==(const Image& a, const Image& b) {
    return std::equal(a.memory_.begin() + static_cast<std::ptrdiff_t>(a.first_),
                      a.memory_.end() - static_cast<std::ptrdiff_t>(kRowAlignment - a.first_),
                      b.memory_.begin() + static_cast<std::ptrdiff_t>(b.first_));
  }

  std::int32_t width, height;
  Format format;
  std::size_t pitch;

 private:
  std::vector<std::byte> memory_;
  std::size_t first_;
};

// The constants of the programs.
struct Gaussian {
  Rect extent;
  std::int32_t edge_x, edge_y;
  std::int32_t axis_x, axis_y;
  std::int32_t reach;
  float centre, falloff;
  std::uint32_t to_half = 0;
};
struct Extremum {
  Rect extent;
  std::int32_t axis_x, axis_y;
  std::int32_t first, stride, last, count;
  std::uint32_t dilates;
};
struct Convolution {
  Rect extent;
  std::int32_t edge_x, edge_y;
  std::int32_t columns, rows;
  float first_x, first_y;
  float unit_x, unit_y;
  float divisor, bias;
  std::int32_t reading;
  std::uint32_t preserves_alpha, clamps;
  float elements[1000];
};

struct Transform {
  float u[3], v[3], w[3];
  float edges[4][3];
  float reach[4];
  float color[4], outside[4];
  float opacity, aliased;
  float detail[2];
};

Gaussian MakeGaussian(const Rect& extent, double deviation, bool mirrors, bool in_columns) {
  Gaussian constants = {extent, mirrors, mirrors, !in_columns, in_columns, 0, 0, 0};
  constants.reach = static_cast<std::int32_t>(std::ceil(3 * deviation));
  constants.falloff = static_cast<float>(-1 / (2 * std::log(2.0) * deviation * deviation));
  double sum = 0;
  for (std::int32_t n = -constants.reach; n <= constants.reach; ++n) {
    sum += std::exp(-n * n / (2 * deviation * deviation));
  }
  constants.centre = static_cast<float>(1 / sum);
  return constants;
}

// A pass, and its constants' memory.
struct Pass {
  template <class Constants>
  Pass(const Constants& values, Image& source, Image& target, const Rect& rect,
       std::int32_t offset_x = 0, std::int32_t offset_y = 0) {
    std::memcpy(constants, &values, sizeof(values));
    arguments.textures[0] = source.View();
    arguments.constants = constants;
    arguments.origin_x = static_cast<float>(offset_x);
    arguments.origin_y = static_cast<float>(offset_y);
    arguments.target = target.Target();
    arguments.left = rect.left;
    arguments.top = rect.top;
    arguments.right = rect.right;
    arguments.bottom = rect.bottom;
  }

  // Draws it in bands of some rows, or columns.
  void Run(const NativeKernel& kernel, std::int32_t size = 1 << 20) const {
    Bands bands = Bands::kRows;
    ASSERT_TRUE(kernel.accepts(arguments, &bands));
    PixelArguments band = arguments;
    if (bands == Bands::kRows) {
      for (std::int32_t y = arguments.top; y < arguments.bottom; y += size) {
        ASSERT_TRUE(kernel.run(band, y, std::min(arguments.bottom, y + size)));
      }
    } else {
      for (std::int32_t x = arguments.left; x < arguments.right; x += size) {
        band.left = x;
        band.right = std::min(arguments.right, x + size);
        ASSERT_TRUE(kernel.run(band, arguments.top, arguments.bottom));
      }
    }
  }

  alignas(64) std::byte constants[kMaximumConstantBytes] = {};
  PixelArguments arguments;
};

// The place in a line that is found at any place.
std::int32_t Mirror(std::int32_t place, std::int32_t first, std::int32_t end) {
  while (place < first || place >= end) {
    place = place < first ? 2 * first - 1 - place : 2 * end - 1 - place;
  }
  return place;
}

using Formula = std::function<double(std::int32_t x, std::int32_t y, std::size_t channel)>;

Formula FormulaOf(const Gaussian& constants, Image& source) {
  return [=, &source](std::int32_t x, std::int32_t y, std::size_t channel) {
    double sum = 0;
    for (std::int32_t n = -constants.reach; n <= constants.reach; ++n) {
      std::int32_t px = x + n * constants.axis_x, py = y + n * constants.axis_y;
      if (constants.edge_x == 1) {
        px = Mirror(px, constants.extent.left, constants.extent.right);
        py = Mirror(py, constants.extent.top, constants.extent.bottom);
      } else if (px < constants.extent.left || px >= constants.extent.right ||
                 py < constants.extent.top || py >= constants.extent.bottom) {
        continue;
      }
      sum += static_cast<double>(constants.centre) *
             std::exp2(static_cast<double>(constants.falloff) * n * n) *
             source.Level(px, py, channel);
    }
    return sum;
  };
}

Formula FormulaOf(const Extremum& constants, Image& source) {
  return [=, &source](std::int32_t x, std::int32_t y, std::size_t channel) {
    const Rect& extent = constants.extent;
    double value = constants.dilates ? 0 : 255;
    for (std::int32_t n = constants.first; n <= constants.last; ++n) {
      const double level = source.Level(
          std::clamp(x + n * constants.axis_x, extent.left, extent.right - 1),
          std::clamp(y + n * constants.axis_y, extent.top, extent.bottom - 1), channel);
      value = constants.dilates ? std::max(value, level) : std::min(value, level);
    }
    return value;
  };
}

// The image turned and seen in perspective, with edges where its own are.
Transform MakeTransform(const Image& source, float turn, float depth) {
  const float width = static_cast<float>(source.width), height = static_cast<float>(source.height);
  const float c = std::cos(turn), s = std::sin(turn);
  Transform constants = {{c, s, std::floor(0.3f * width) - 30 * s},
                         {-s, c, 14.3f * s},
                         {depth, depth / 3, 1},
                         {},
                         {0.5f, 0.5f, width - 0.5f, height - 0.5f},
                         {},
                         {},
                         1,
                         0,
                         {1, 1}};
  for (std::size_t i = 0; i < 3; ++i) {
    constants.edges[0][i] = constants.u[i];
    constants.edges[1][i] = constants.v[i];
    constants.edges[2][i] = width * constants.w[i] - constants.u[i];
    constants.edges[3][i] = height * constants.w[i] - constants.v[i];
  }
  return constants;
}

Formula FormulaOf(const Transform& constants, Image& source) {
  return [=, &source](std::int32_t column, std::int32_t row, std::size_t channel) {
    const auto at = [&](const float(&line)[3]) {
      return double{line[0]} * (column + 0.5) + double{line[1]} * (row + 0.5) + double{line[2]};
    };
    const auto& edges = constants.edges;
    double covered = 1;
    for (std::size_t i = 0; i < 2; ++i) {
      const double from = at(edges[i]), to = at(edges[i + 2]);
      covered *=
          constants.aliased != 0
              ? from >= 0 && to > 0
              : std::max(std::clamp(from + 0.5, 0., 1.) + std::clamp(to + 0.5, 0., 1.) - 1, 0.);
    }
    const auto place = [&](const float(&line)[3], float least, float most) {
      return std::clamp(at(line) / at(constants.w), double{least}, double{most}) - 0.5;
    };
    const double x = place(constants.u, constants.reach[0], constants.reach[2]);
    const double y = place(constants.v, constants.reach[1], constants.reach[3]);
    const auto left = static_cast<std::int32_t>(x), top = static_cast<std::int32_t>(y);
    const auto line = [&](std::int32_t of_row) {
      const double from = source.Level(left, of_row, channel);
      const double to = source.Level(std::min(left + 1, source.width - 1), of_row, channel);
      return from + (x - left) * (to - from);
    };
    const double from = line(top), to = line(std::min(top + 1, source.height - 1));
    const double image = 255 * double{constants.color[channel]} +
                         double{constants.opacity} * (from + (y - top) * (to - from));
    return (1 - covered) * 255 * double{constants.outside[channel]} + covered * image;
  };
}

// What the formula makes of the drawn rectangle.
std::vector<double> Evaluate(const PixelArguments& pass, const Formula& formula) {
  std::vector<double> levels;
  for (std::int32_t y = pass.top; y < pass.bottom; ++y) {
    for (std::int32_t x = pass.left; x < pass.right; ++x) {
      for (std::size_t channel = 0; channel < 4; ++channel) {
        levels.push_back(formula(x + static_cast<std::int32_t>(pass.origin_x),
                                 y + static_cast<std::int32_t>(pass.origin_y), channel));
      }
    }
  }
  return levels;
}

// How far the drawn rectangle is from that, in levels beyond what rounding makes.
double Difference(const PixelArguments& pass, const std::vector<double>& wanted, Image& target) {
  double largest = -1;
  auto level = wanted.begin();
  for (std::int32_t y = pass.top; y < pass.bottom; ++y) {
    for (std::int32_t x = pass.left; x < pass.right; ++x) {
      for (std::size_t channel = 0; channel < 4; ++channel, ++level) {
        const double rounding =
            target.format == Format::kRgba16Float ? std::max(*level * 0x1p-11, 1e-4) : 0.5;
        largest = std::max(largest, std::abs(target.Level(x, y, channel) - *level) - rounding);
      }
    }
  }
  return largest;
}

// Takes away what was drawn.
void Wipe(const PixelArguments& pass, Image& target) {
  for (std::int32_t y = pass.top; y < pass.bottom; ++y) {
    std::fill(target.At(pass.left, y), target.At(pass.right, y), Image::kAround);
  }
}

TEST(NativeKernels, CosinesMakeTheGaussian) {
  for (double deviation = 0.02; deviation <= 250; deviation *= 1.07) {
    const Gaussian constants = MakeGaussian({}, deviation, false, false);
    const SlidingCosines cosines(constants.reach, static_cast<double>(constants.centre),
                                 static_cast<double>(constants.falloff));
    // What all errors of weights together can move a result by.
    double sum = 0;
    for (std::int32_t n = -constants.reach; n <= constants.reach; ++n) {
      double weight = static_cast<double>(cosines.constant);
      for (const float part : cosines.start[static_cast<std::size_t>(n + constants.reach)].sums) {
        weight += static_cast<double>(part);
      }
      sum += std::abs(weight - static_cast<double>(constants.centre) *
                                   std::exp2(static_cast<double>(constants.falloff) * n * n));
    }
    EXPECT_LE(255 * sum, constants.reach == 5 ? 0.22 : 0.1) << deviation;
  }
}

constexpr Format kFormats[][2] = {{Format::kBgra8, Format::kRgba16Float},
                                  {Format::kRgba16Float, Format::kBgra8},
                                  {Format::kRgba16Float, Format::kRgba16Float},
                                  {Format::kBgra8, Format::kRgba8},
                                  {Format::kRgba8, Format::kRgba16Float}};

TEST(NativeKernels, GaussianLinesFollowTheFormula) {
  const NativeKernel& kernel = Find("platform_d2d_builtin_gaussian_line");
  // The weights' errors together, in the worst case, and those of the sums.
  constexpr double kMargin = 0.1 + 0.01;
  const struct {
    std::int32_t along, across;
    double deviation;
  } kCases[] = {{1, 1, 3},     {2, 3, 0.3},  {40, 9, 0.01}, {61, 17, 1},
                {70, 11, 2.4}, {300, 5, 20}, {1300, 9, 31}, {700, 3, 250}};
  std::size_t turn = 0;
  for (const auto& test : kCases) {
    for (const bool in_columns : {false, true}) {
      for (const bool mirrors : {false, true}) {
        const auto& [from, to] = kFormats[turn++ % std::size(kFormats)];
        // The image begins in the texture at (2, 1), and the target's pixels lie otherwise.
        const std::int32_t width = in_columns ? test.across : test.along;
        const std::int32_t height = in_columns ? test.along : test.across;
        Image source(width + 3, height + 1, from);
        source.Draw(static_cast<unsigned>(turn));
        const Rect extent = {2, 1, 2 + width, 1 + height};
        // Beyond the ends, too.
        const std::int32_t beyond = std::min(test.along, 20);
        const std::int32_t around_x = in_columns ? 0 : beyond, around_y = in_columns ? beyond : 0;
        Image target(width + 2 * around_x + 7, height + 2 * around_y + 2, to);
        const Image before = target;
        const Rect rect = {5, 2, 5 + width + 2 * around_x, 2 + height + 2 * around_y};
        const Gaussian constants = MakeGaussian(extent, test.deviation, mirrors, in_columns);
        const Pass pass(constants, source, target, rect, 2 - 5 - around_x, 1 - 2 - around_y);
        const std::vector<double> wanted = Evaluate(pass.arguments, FormulaOf(constants, source));
        OnEachTarget([&] {
          pass.Run(kernel);
          EXPECT_LE(Difference(pass.arguments, wanted, target), kMargin)
              << width << "x" << height << " by " << test.deviation << ", columns " << in_columns
              << ", mirrors " << mirrors;
          // Nothing else was written.
          Wipe(pass.arguments, target);
          EXPECT_EQ(target, before);
        });
      }
    }
  }
}

TEST(NativeKernels, GaussianLinesDoNotDependOnBandsAndParts) {
  const NativeKernel& kernel = Find("platform_d2d_builtin_gaussian_line");
  constexpr std::int32_t kAlong = 1400, kAcross = 37;
  OnEachTarget([&] {
    for (const bool in_columns : {false, true}) {
      for (const bool mirrors : {false, true}) {
        const std::int32_t width = in_columns ? kAcross : kAlong;
        const std::int32_t height = in_columns ? kAlong : kAcross;
        Image source(width, height, Format::kBgra8);
        source.Draw(7);
        Image whole(width, height, Format::kRgba16Float), bands = whole, part = whole;
        const Rect all = {0, 0, width, height};
        const Gaussian constants = MakeGaussian(all, 40, mirrors, in_columns);
        Pass(constants, source, whole, all).Run(kernel);
        Pass(constants, source, bands, all).Run(kernel, 5);
        EXPECT_EQ(bands, whole);
        // A part, drawn from what it has to be drawn from.
        constexpr std::int32_t kFirst = 1000, kEnd = 1100;
        const std::int32_t from =
            RunningSumStart(kFirst, 0, mirrors, constants.reach) - constants.reach;
        const Rect read = in_columns ? Rect{3, from, 20, kEnd + constants.reach}
                                     : Rect{from, 3, kEnd + constants.reach, 20};
        Image cut(read.Width(), read.Height(), source.format);
        for (std::int32_t y = 0; y < cut.height; ++y) {
          std::memcpy(cut.At(0, y), source.At(read.left, read.top + y),
                      static_cast<std::size_t>(cut.width) * 4);
        }
        Gaussian moved = constants;
        moved.extent = {-read.left, -read.top, width - read.left, height - read.top};
        const Rect drawn = in_columns ? Rect{3, kFirst, 20, kEnd} : Rect{kFirst, 3, kEnd, 20};
        Pass(moved, cut, part, drawn, -read.left, -read.top).Run(kernel);
        for (std::int32_t y = drawn.top; y < drawn.bottom; ++y) {
          EXPECT_EQ(std::memcmp(part.At(drawn.left, y), whole.At(drawn.left, y),
                                static_cast<std::size_t>(drawn.Width()) * 8),
                    0)
              << y;
        }
      }
    }
  });
}

TEST(NativeKernels, GaussianLinesSurviveWhatIsNoNumber) {
  OnEachTarget([&] {
    Image source(900, 2, Format::kRgba16Float), target(900, 2, Format::kBgra8);
    source.Draw(1);
    const std::uint16_t strange[] = {0x7e00, 0x7c00, 0xfc00, 0xffff};
    std::memcpy(source.At(3, 0), strange, sizeof(strange));
    const Gaussian constants = MakeGaussian({0, 0, 900, 2}, 2, false, false);
    const Pass pass(constants, source, target, {0, 0, 900, 2});
    pass.Run(Find("platform_d2d_builtin_gaussian_line"));
    // Another row, and where sums have begun anew.
    PixelArguments clean = pass.arguments;
    clean.top = 1;
    EXPECT_LE(Difference(clean, Evaluate(clean, FormulaOf(constants, source)), target), 0.11);
    clean.top = 0;
    clean.left = RunningSumPeriod(constants.reach) + constants.reach;
    EXPECT_LE(Difference(clean, Evaluate(clean, FormulaOf(constants, source)), target), 0.11);
  });
}

TEST(NativeKernels, MorphologyTakesTheExtremaOfWindows) {
  const NativeKernel& kernel = Find("platform_d2d_builtin_morphology");
  const struct {
    std::int32_t width, height, window;
  } kCases[] = {{1, 1, 1}, {3, 2, 2}, {37, 45, 7}, {133, 70, 64}, {50, 9, 100}, {9, 50, 33}};
  std::uint32_t turn = 0;
  for (const auto& test : kCases) {
    for (const bool in_columns : {false, true}) {
      for (const std::int32_t band : {3, 1 << 20}) {
        Image source(test.width + 3, test.height + 1, Format::kBgra8);
        source.Draw(++turn);
        Image target(test.width + 7, test.height + 2, turn % 3 ? Format::kBgra8 : Format::kRgba8);
        const Image before = target;
        const Rect rect = {5, 2, 5 + test.width, 2 + test.height};
        const std::int32_t first = -(test.window / 2);
        const Extremum constants = {{2, 1, 2 + test.width, 1 + test.height},
                                    !in_columns,
                                    in_columns,
                                    first,
                                    1,
                                    first + test.window - 1,
                                    test.window,
                                    turn % 2};
        const Pass pass(constants, source, target, rect, 2 - 5, 1 - 2);
        const std::vector<double> wanted = Evaluate(pass.arguments, FormulaOf(constants, source));
        OnEachTarget([&] {
          pass.Run(kernel, band);
          EXPECT_LE(Difference(pass.arguments, wanted, target), -0.5 + 1e-9)
              << test.width << "x" << test.height << " by " << test.window;
          Wipe(pass.arguments, target);
          EXPECT_EQ(target, before);
        });
      }
    }
  }
}

TEST(NativeKernels, TransformsFilterAndCover) {
  const NativeKernel& kernel = Find("platform_d2d_transform_samples");
  using Change = std::function<void(Transform&)>;
  const Change kChanges[] = {
      [](Transform&) {},
      [](Transform& constants) { constants.aliased = 1; },
      [](Transform& constants) {
        constants.opacity = 0.5f;
        constants.color[0] = 0.25f;
        constants.outside[1] = 1;
      },
      [](Transform& constants) { constants.reach[2] = constants.reach[0]; },
  };
  struct Case {
    std::int32_t width, height;
    float turn, depth;
  };
  std::uint32_t turn = 0;
  for (const Case& test : {Case{1, 1, 0, 0},
                           {40, 1, 0.1f, 0},
                           {1, 40, 0.1f, 0},
                           {90, 60, 0, 0},
                           {90, 60, 0.7f, 0},
                           {101, 77, -0.4f, 0.004f},
                           {101, 77, 3, -0.01f}}) {
    for (const Change& change : kChanges) {
      Image source(test.width, test.height, ++turn % 2 ? Format::kBgra8 : Format::kRgba8);
      source.Draw(turn);
      Image target(131, 83, turn % 3 ? Format::kBgra8 : Format::kRgba8);
      const Image before = target;
      Transform constants = MakeTransform(source, test.turn, test.depth);
      change(constants);
      Pass pass(constants, source, target, {3, 2, 121, 80}, 7, -5);
      // On whole pixels it is the same.
      if (test.turn == 0 && turn % 4 < 2) pass.arguments.samplers[0].filter = Filter::kNearest;
      pass.arguments.pixel_size_x = 1 / static_cast<float>(test.width);
      pass.arguments.pixel_size_y = 1 / static_cast<float>(test.height);
      const std::vector<double> wanted = Evaluate(pass.arguments, FormulaOf(constants, source));
      std::vector<Image> results;
      OnEachTarget([&] {
        pass.Run(kernel, 7);
        // What places and weights are rounded to, between the blackest and the whitest texels.
        EXPECT_LE(Difference(pass.arguments, wanted, target), 0.1)
            << test.width << "x" << test.height << ", change " << &change - kChanges;
        results.push_back(target);
        Wipe(pass.arguments, target);
        EXPECT_EQ(target, before);
      });
      for (const Image& result : results) EXPECT_EQ(result, results[0]);
    }
  }
}

TEST(NativeKernels, LeaveToTheProgramWhatTheyDoNotDo) {
  Image source(20, 10, Format::kBgra8), target(20, 10, Format::kBgra8);
  const Rect all = {0, 0, 20, 10};
  const Gaussian gaussian = MakeGaussian(all, 3, false, false);
  const Extremum extremum = {all, 0, 1, -2, 1, 2, 5, 0};
  Bands bands;

  using Change = std::function<void(PixelArguments&)>;
  const Change kChanges[] = {[](auto& pass) { pass.textures[0] = {}; },
                             [](auto& pass) { pass.textures[0].format = Format::kRg8; },
                             [](auto& pass) { pass.target.format = Format::kR8; },
                             [](auto& pass) { pass.blend = Blend::kSourceOver; },
                             [](auto& pass) { pass.origin_x = 0.5f; },
                             [](auto& pass) { pass.origin_y = NAN; },
                             // Lines beyond the image.
                             [](auto& pass) { pass.origin_x = pass.origin_y = -1; }};
  for (const auto& [name, pass] :
       {std::pair("platform_d2d_builtin_gaussian_line", Pass(gaussian, source, target, all)),
        std::pair("platform_d2d_builtin_morphology", Pass(extremum, source, target, all))}) {
    const NativeKernel& kernel = Find(name);
    PixelArguments arguments = pass.arguments;
    arguments.constants = pass.constants;
    ASSERT_TRUE(kernel.accepts(arguments, &bands));
    for (const Change& change : kChanges) {
      PixelArguments changed = arguments;
      change(changed);
      EXPECT_FALSE(kernel.accepts(changed, &bands)) << name << " " << &change - kChanges;
    }
  }

  const auto gaussian_with = [&](auto change) {
    Gaussian constants = gaussian;
    change(constants);
    const Pass pass(constants, source, target, all);
    return Find("platform_d2d_builtin_gaussian_line").accepts(pass.arguments, &bands);
  };
  EXPECT_FALSE(gaussian_with([](auto& constants) { constants.edge_x = 2; }));
  EXPECT_FALSE(gaussian_with([](auto& constants) { constants.axis_y = 1; }));
  EXPECT_FALSE(gaussian_with([](auto& constants) { constants.reach = 0; }));
  EXPECT_FALSE(gaussian_with([](auto& constants) { constants.falloff = 0; }));
  EXPECT_FALSE(gaussian_with([](auto& constants) { constants.falloff = -INFINITY; }));
  EXPECT_FALSE(gaussian_with([](auto& constants) { constants.extent.right = 0; }));
  const auto extremum_with = [&](auto change) {
    Extremum constants = extremum;
    change(constants);
    const Pass pass(constants, source, target, all);
    return Find("platform_d2d_builtin_morphology").accepts(pass.arguments, &bands);
  };
  EXPECT_FALSE(extremum_with([](auto& constants) { constants.stride = 2; }));
  EXPECT_FALSE(extremum_with([](auto& constants) { constants.last = 1; }));
  EXPECT_FALSE(extremum_with([](auto& constants) { constants.extent.bottom = 11; }));
  const auto transform_with = [&](auto change) {
    Transform constants = MakeTransform(source, 1, 0);
    PixelArguments arguments = Pass(constants, source, target, all).arguments;
    arguments.samplers[0].filter = Filter::kLinear;
    arguments.pixel_size_x = 1 / 20.0f;
    arguments.pixel_size_y = 1 / 10.0f;
    change(constants, arguments);
    const Pass pass(constants, source, target, all);
    arguments.constants = pass.constants;
    return Find("platform_d2d_transform_samples").accepts(arguments, &bands);
  };
  EXPECT_TRUE(transform_with([](auto&, auto&) {}));
  EXPECT_FALSE(transform_with([](auto& constants, auto&) { constants.detail[0] = 0; }));
  EXPECT_FALSE(transform_with([](auto& constants, auto&) { constants.opacity = 0; }));
  EXPECT_FALSE(transform_with([](auto& constants, auto&) { constants.w[1] = NAN; }));
  // Turned by what is not a right angle.
  EXPECT_FALSE(
      transform_with([](auto&, auto& pass) { pass.samplers[0].filter = Filter::kNearest; }));
  EXPECT_FALSE(
      transform_with([](auto&, auto& pass) { pass.samplers[0].extend_y = Extend::kWrap; }));
  EXPECT_FALSE(transform_with([](auto&, auto& pass) { pass.pixel_size_x = 1 / 16.0f; }));
  EXPECT_FALSE(transform_with([](auto&, auto& pass) { pass.textures[0].format = Format::kR8; }));
}

PixelKernel Translated(const NativeKernel& kernel) {
  const auto found = std::ranges::find_if(GetKernelTable(), [&](const Kernel& program) {
    return std::string_view(program.name) == kernel.name;
  });
  return found == GetKernelTable().end() ? nullptr : found->pixel;
}

// The edge lies at 45 degrees, where the products of a place cancel out in each pixel's centre.
TEST(NativeKernels, EdgesThroughCentresOfPixelsCoverAllOfThemAsInTheProgram) {
  const NativeKernel& kernel = Find("platform_d2d_transform_samples");
  const PixelKernel translated = Translated(kernel);
  ASSERT_TRUE(translated);
  Image source(90, 60, Format::kBgra8);
  source.Draw(5);
  Transform constants = MakeTransform(source, 0, 0);
  const float slope = std::sqrt(0.5f);
  constants.edges[0][0] = slope;
  constants.edges[0][1] = -slope;
  constants.edges[0][2] = 0;
  for (std::size_t edge = 1; edge < 4; ++edge) {
    constants.edges[edge][0] = constants.edges[edge][1] = 0;
    constants.edges[edge][2] = 1;
  }
  constants.aliased = 1;
  constants.opacity = 0;
  std::fill_n(constants.color, 4, 1.0f);
  std::fill_n(constants.outside, 4, 0.0f);
  constexpr int kSide = 64;
  Image target(kSide, kSide, Format::kBgra8);
  const Pass pass(constants, source, target, {0, 0, kSide, kSide}, 0, 0);
  const auto expect_lower_left_empty = [&] {
    for (int y = 0; y < kSide; ++y) {
      for (int x = 0; x < kSide; ++x) {
        const std::byte* const alpha = pass.arguments.target.data +
                                       static_cast<std::size_t>(y) * pass.arguments.target.pitch +
                                       static_cast<std::size_t>(x) * 4 + 3;
        ASSERT_EQ(std::to_integer<int>(*alpha), x >= y ? 255 : 0) << x << ", " << y;
      }
    }
  };
  OnEachTarget([&] {
    ASSERT_TRUE(translated(pass.arguments, 0, kSide));
    expect_lower_left_empty();
    Wipe(pass.arguments, target);
    Bands bands;
    if (!kernel.accepts(pass.arguments, &bands)) return;
    pass.Run(kernel, 4);
    expect_lower_left_empty();
  });
}

TEST(NativeKernels, ConvolutionsAreTheProgramsToTheBit) {
  const NativeKernel& kernel = Find("platform_d2d_builtin_convolve_matrix");
  const PixelKernel translated = Translated(kernel);
  ASSERT_TRUE(translated);
  const struct {
    std::int32_t columns, rows;
    float first_x, first_y, divisor, bias;
  } kCases[] = {{3, 3, -1, -1, 9, 0},   {1, 1, 0, 0, -0.5f, 1}, {5, 2, -4, 0.25f, 3, 0.25f},
                {1, 7, 2, -3, 0, 0},    {2, 2, 0, -1, 2, 0},    {15, 2, -7, 0, 20, 0},
                {16, 3, -8, -1, 20, 0}, {17, 2, -8, -1, 20, 0}, {31, 32, -15, -16, 40, 0.5f}};
  std::size_t turn = 0;
  for (const auto& test : kCases) {
    for (const bool preserves_alpha : {false, true}) {
      Image source(640, 45, turn % 2 == 0 ? Format::kBgra8 : Format::kRgba8);
      source.Draw(static_cast<unsigned>(++turn));
      Convolution constants = {};
      constants.extent = {0, 0, source.width, source.height};
      constants.columns = test.columns;
      constants.rows = test.rows;
      constants.first_x = test.first_x;
      constants.first_y = test.first_y;
      constants.unit_x = constants.unit_y = 1;
      constants.divisor = test.divisor;
      constants.bias = test.bias;
      constants.preserves_alpha = preserves_alpha;
      constants.clamps = turn % 3 == 0;
      std::mt19937 random(static_cast<unsigned>(turn));
      for (float& element : constants.elements) {
        // Some are none.
        element = random() % 3 == 0 ? 0 : static_cast<float>(random() % 4001) / 1000 - 1.5f;
      }
      // Off the beginning of the target's vectors, and of the texture.
      const Rect rect = {19, 16, 600, 27};
      Image drawn(700, 40, Format::kBgra8);
      Image wanted = drawn;
      const Pass pass(constants, source, drawn, rect, 5, 2);
      Pass reference(constants, source, wanted, rect, 5, 2);
      OnEachTarget([&] {
        Wipe(pass.arguments, drawn);
        pass.Run(kernel, 4);
        ASSERT_TRUE(translated(reference.arguments, rect.top, rect.bottom));
        EXPECT_EQ(drawn, wanted) << test.columns << "x" << test.rows << ", preserves alpha "
                                 << preserves_alpha;
      });
      // What reaches beyond the texture is the program's.
      Bands bands;
      reference.arguments.right = source.width - 5 + 1;
      EXPECT_FALSE(kernel.accepts(reference.arguments, &bands));
    }
  }
}

}  // namespace
}  // namespace Vantra::Render::Simd
