#include "cli/sample_drawing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace Vantrix::Command {
namespace {

struct Rgb {
  float r, g, b;
};

Rgb operator+(const Rgb& a, const Rgb& b) { return {a.r + b.r, a.g + b.g, a.b + b.b}; }
Rgb operator*(const Rgb& a, float f) { return {a.r * f, a.g * f, a.b * f}; }
Rgb Mix(const Rgb& a, const Rgb& b, float t) { return a * (1 - t) + b * t; }

// A place in units of the picture's height, so that circles are round: x from 0 to `width`, y from
// 0 at the top to 1.
struct Place {
  float x, y, width;
};

float Clamp(float value) { return std::clamp(value, 0.0f, 1.0f); }

// Rises from 0 at `low` to 1 at `high` without corners.
float Ramp(float low, float high, float value) {
  const float t = Clamp((value - low) / (high - low));
  return t * t * (3 - 2 * t);
}

float Distance(const Place& place, float x, float y) {
  return std::hypot(place.x - x, place.y - y);
}

// 0 to 1, unrelated from one whole place to the next.
float Hash(int x, int y) {
  auto h =
      static_cast<std::uint32_t>(x) * 0x9E3779B1u ^ static_cast<std::uint32_t>(y) * 0x85EBCA77u;
  h = (h ^ h >> 15) * 0x2C1B3C6Du;
  h = (h ^ h >> 12) * 0x297A2D39u;
  return static_cast<float>((h ^ h >> 15) >> 8) / 16777216.0f;
}

// 0 to 1, smooth, with features of size 1.
float Noise(float x, float y) {
  // Nearly all the time of a drawing goes by here, and the library's functions take most of it.
  const auto floor = [](float value) {
    const int whole = static_cast<int>(value);
    return static_cast<float>(whole) > value ? whole - 1 : whole;
  };
  const auto ramp = [](float t) { return t * t * (3 - 2 * t); };
  const auto mix = [](float a, float b, float t) { return a + (b - a) * t; };
  const int i = floor(x);
  const int j = floor(y);
  const float s = ramp(x - static_cast<float>(i));
  const float top = mix(Hash(i, j), Hash(i + 1, j), s);
  const float bottom = mix(Hash(i, j + 1), Hash(i + 1, j + 1), s);
  return mix(top, bottom, ramp(y - static_cast<float>(j)));
}

// Noise of several sizes, each half of the one before.
float Turbulence(float x, float y) {
  float sum = 0;
  float weight = 0.5f;
  for (int octave = 0; octave < 5; ++octave, weight /= 2) {
    sum += weight * Noise(x, y);
    x = 2 * x + 17.3f;
    y = 2 * y + 5.1f;
  }
  return sum;
}

constexpr float kHorizon = 0.50f;

float SunX(const Place& place) { return 0.70f * place.width; }

Rgb Sky(const Place& place) {
  Rgb color = Mix({0.13f, 0.34f, 0.74f}, {0.97f, 0.84f, 0.70f}, Ramp(0, kHorizon, place.y));
  const float cloud = Ramp(0.48f, 0.72f, Turbulence(place.x * 2.4f + 3, place.y * 7));
  color = Mix(color, {0.98f, 0.96f, 0.95f}, 0.75f * cloud);
  const float distance = Distance(place, SunX(place), 0.15f);
  color = color + Rgb{1.0f, 0.86f, 0.55f} * (0.8f * std::exp(-11 * distance));
  return distance < 0.055f ? Rgb{1, 1, 1} : color;
}

Rgb Hills(const Place& place, Rgb color) {
  const float grain = Turbulence(place.x * 30, place.y * 30);
  const float peaks = 0.50f - 0.42f * std::pow(Turbulence(place.x * 2.1f + 40, 1), 1.4f);
  if (place.y > peaks) {
    const float snow = Ramp(0.10f, 0.02f, place.y - peaks + 0.14f * (grain - 0.5f));
    color = Mix(Mix({0.34f, 0.40f, 0.55f}, {0.62f, 0.66f, 0.74f}, Ramp(0.2f, 0.5f, place.y)),
                {0.95f, 0.96f, 1.0f}, snow);
  }
  const float woods = 0.50f - 0.16f * Turbulence(place.x * 4 + 11, 5) - 0.02f * grain;
  if (place.y > woods) color = Mix({0.05f, 0.16f, 0.10f}, {0.27f, 0.42f, 0.20f}, grain);
  return color;
}

// The mirrored landscape under ripples, and the sun's glitter.
Rgb Lake(const Place& place) {
  const float depth = place.y - kHorizon;
  const float ripple = Noise(place.x * 9 / (0.1f + depth), place.y * 160) - 0.5f;
  const Place mirrored{place.x + 0.03f * ripple, kHorizon - 2.2f * depth + 0.02f * ripple,
                       place.width};
  const Rgb color = Mix(Hills(mirrored, Sky(mirrored)), {0.06f, 0.20f, 0.30f}, 0.35f);
  const float away = std::abs(place.x - SunX(place)) / (0.05f + depth);
  return ripple > 0.12f + 0.3f * away ? Rgb{1.0f, 0.98f, 0.90f} : color;
}

Rgb Meadow(const Place& place) {
  const float grain = Turbulence(place.x * 60, place.y * 25);
  Rgb color = Mix({0.15f, 0.33f, 0.08f}, {0.55f, 0.68f, 0.22f}, grain);
  // A flower in some of the cells of a grid.
  const int i = static_cast<int>(place.x * 34);
  const int j = static_cast<int>(place.y * 34);
  const float choice = Hash(i, j);
  const float x = (static_cast<float>(i) + 0.3f + 0.4f * Hash(j, i)) / 34;
  const float y = (static_cast<float>(j) + 0.5f) / 34;
  if (choice < 0.3f && Distance(place, x, y) < 0.007f) {
    color = choice < 0.1f   ? Rgb{0.95f, 0.12f, 0.15f}
            : choice < 0.2f ? Rgb{1.0f, 0.85f, 0.05f}
                            : Rgb{0.97f, 0.95f, 0.98f};
  }
  return color;
}

bool Within(float value, float low, float high) { return value >= low && value < high; }

// The position within a period, from 0 to 1.
float Phase(float value, float period) { return value / period - std::floor(value / period); }

Rgb HouseAndFence(const Place& place, Rgb color) {
  const float x = place.x - 0.47f * place.width;
  const float roof = (place.y - 0.44f) * 1.3f;
  if (Within(place.y, 0.44f, 0.53f) && std::abs(x) < roof) color = {0.70f, 0.15f, 0.10f};
  if (Within(place.y, 0.53f, 0.64f) && std::abs(x) < 0.10f) {
    color = Mix({0.96f, 0.92f, 0.84f}, {0.80f, 0.74f, 0.66f}, Ramp(-0.1f, 0.1f, x));
    const bool window = Within(place.y, 0.555f, 0.60f) && Within(std::abs(x), 0.03f, 0.075f);
    const bool bar = Within(std::abs(x), 0.050f, 0.055f) || Within(place.y, 0.575f, 0.580f);
    if (window && !bar) color = {0.12f, 0.16f, 0.24f};
    if (Within(place.y, 0.575f, 0.64f) && std::abs(x) < 0.018f) color = {0.35f, 0.20f, 0.11f};
  }
  const bool post = Within(place.y, 0.655f, 0.73f) && Phase(place.x, 0.045f) < 0.2f;
  const bool rail = Within(place.y, 0.672f, 0.680f) || Within(place.y, 0.702f, 0.710f);
  return post || rail ? Rgb{0.88f, 0.83f, 0.76f} : color;
}

// A colour of full saturation; `hue` goes round once from 0 to 1.
Rgb Hue(float hue) {
  const auto channel = [hue](float shift) {
    return Clamp(std::abs(Phase(hue + shift, 1) * 6 - 3) - 1);
  };
  return {channel(0), channel(2.0f / 3), channel(1.0f / 3)};
}

// Gores of the six pure colours, lit from the sun's side.
Rgb Balloon(const Place& place, Rgb color) {
  constexpr float kRadius = 0.15f;
  const float x = (place.x - 0.22f * place.width) / kRadius;
  const float y = (place.y - 0.22f) / kRadius;
  const float ropes = std::abs(std::abs(x) - (0.62f - 0.3f * y));
  if (Within(y, 0.8f, 1.5f) && ropes < 0.03f) color = {0.25f, 0.18f, 0.12f};
  if (Within(y, 1.45f, 1.75f) && std::abs(x) < 0.2f) {
    color = Phase(x + y, 0.12f) < 0.5f ? Rgb{0.55f, 0.36f, 0.18f} : Rgb{0.40f, 0.25f, 0.12f};
  }
  // The lower half narrows to the basket.
  const float half = std::sqrt(std::max(0.0f, 1 - y * y)) * (y > 0 ? 1 - 0.25f * y : 1);
  if (std::abs(x) >= half) return color;
  const float side = x / half;
  const float gore = std::floor((std::asin(side) / 3.1416f + 0.5f) * 6);
  const float light = 0.62f + 0.38f * Clamp(0.7f * side - 0.4f * y + 0.5f);
  const float gloss = std::exp(-14 * (std::pow(x - 0.42f, 2.0f) + std::pow(y + 0.42f, 2.0f)));
  return Mix(Hue(gore / 6) * light, {1, 1, 1}, 0.8f * gloss);
}

Rgb ChartAndWheel(const Place& place, Rgb color) {
  constexpr float kPatch = 0.07f;
  constexpr int kColumns = 6;
  constexpr std::array<Rgb, kColumns> kSkins = {{{0.96f, 0.84f, 0.77f},
                                                 {0.91f, 0.72f, 0.59f},
                                                 {0.82f, 0.61f, 0.46f},
                                                 {0.66f, 0.44f, 0.30f},
                                                 {0.48f, 0.29f, 0.19f},
                                                 {0.29f, 0.17f, 0.11f}}};
  const float x = (place.x - 0.04f) / kPatch;
  const float y = (place.y - 0.755f) / kPatch;
  if (Within(x, -0.12f, kColumns + 0.12f) && Within(y, -0.12f, 3.12f))
    color = {0.98f, 0.98f, 0.98f};
  if (Within(x, 0, kColumns) && Within(y, 0, 3)) {
    const int column = static_cast<int>(x);
    const float share = static_cast<float>(column) / kColumns;
    const float grey = static_cast<float>(column) / (kColumns - 1);
    color = y < 1   ? Hue(share)
            : y < 2 ? kSkins[static_cast<std::size_t>(column)]
                    : Rgb{grey, grey, grey};
  }
  const float wheel_x = place.width - 0.16f;
  const float distance = Distance(place, wheel_x, 0.855f) / 0.115f;
  if (distance >= 1.06f) return color;
  if (distance >= 1) return {0.98f, 0.98f, 0.98f};
  const float angle = std::atan2(place.y - 0.855f, place.x - wheel_x) / 6.2832f;
  return Mix({1, 1, 1}, Hue(angle), distance);
}

Rgb Landscape(const Place& place) {
  const bool near = place.y > 0.63f + 0.02f * std::sin(place.x * 5 + 1);
  Rgb color = near ? Meadow(place) : place.y < kHorizon ? Hills(place, Sky(place)) : Lake(place);
  color = HouseAndFence(place, color);
  color = Balloon(place, color);
  return ChartAndWheel(place, color);
}

unsigned char ToByte(float value) {
  return static_cast<unsigned char>(std::lround(Clamp(value) * 255));
}

}  // namespace

Picture DrawSample(Size size) {
  // Samples of each pixel, against jagged edges: three a side, or two on the diagonal where there
  // are so many pixels that the drawing would take long.
  constexpr std::size_t kMany = 1024 * 1024;
  const bool many = std::size_t{size.width} * size.height > kMany;
  const int side = many ? 2 : 3;
  const int samples = many ? 2 : 9;
  const auto height = static_cast<float>(size.height);
  const float width = static_cast<float>(size.width) / height;
  Picture picture{size.width, size.height, {}};
  picture.pixels.reserve(std::size_t{size.width} * size.height * 4);
  for (unsigned y = 0; y < size.height; ++y) {
    for (unsigned x = 0; x < size.width; ++x) {
      Rgb sum{0, 0, 0};
      for (int i = 0; i < samples; ++i) {
        const int column = i % side;
        const int row = many ? i : i / side;
        const float right = (static_cast<float>(column) + 0.5f) / static_cast<float>(side);
        const float down = (static_cast<float>(row) + 0.5f) / static_cast<float>(side);
        const Rgb color = Landscape({(static_cast<float>(x) + right) / height,
                                     (static_cast<float>(y) + down) / height, width});
        // A highlight is cut off at each sample, as its edge would be jagged otherwise.
        sum = sum + Rgb{Clamp(color.r), Clamp(color.g), Clamp(color.b)};
      }
      const Rgb color = sum * (1.0f / static_cast<float>(samples));
      picture.pixels.insert(picture.pixels.end(),
                            {ToByte(color.b), ToByte(color.g), ToByte(color.r), 255});
    }
  }
  return picture;
}

void FadeOut(Picture& picture) {
  for (std::size_t i = 0; i < picture.pixels.size(); ++i) {
    const std::size_t x = i / 4 % picture.width;
    picture.pixels[i] =
        static_cast<unsigned char>(picture.pixels[i] * (picture.width - x) / picture.width);
  }
}

}  // namespace Vantrix::Command
