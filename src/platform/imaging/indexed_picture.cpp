#include "platform/imaging/indexed_picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <unordered_map>

#include "platform/imaging/pixels.h"

namespace Vantra::Platform {
namespace {

constexpr std::size_t kMostColours = 256;
constexpr BYTE kLeastOpaque = 128;
constexpr int kChannels = 3;  // blue, green, red

using Channels = std::array<int, kChannels>;

struct Pixels {
  const BYTE* data;
  std::size_t stride;
  UINT width;
  UINT height;

  const BYTE* At(UINT x, UINT y) const { return data + y * stride + x * kBytesPerPixel; }
};

WICColor ToColour(const BYTE* pixel) {
  return WICColor{0xFF000000} | static_cast<WICColor>(pixel[2]) << 16 |
         static_cast<WICColor>(pixel[1]) << 8 | pixel[0];
}

Channels ToChannels(WICColor colour) {
  return {static_cast<int>(colour & 255), static_cast<int>(colour >> 8 & 255),
          static_cast<int>(colour >> 16 & 255)};
}

bool HasTransparency(const Pixels& pixels) {
  for (UINT y = 0; y < pixels.height; ++y) {
    for (UINT x = 0; x < pixels.width; ++x) {
      if (pixels.At(x, y)[3] < kLeastOpaque) return true;
    }
  }
  return false;
}

// The picture with its own colours, if there are no more than `most`.
std::optional<IndexedPicture> KeepColours(const Pixels& pixels, bool transparency,
                                          std::size_t most) {
  IndexedPicture picture;
  std::unordered_map<WICColor, BYTE> known;
  picture.indexes.reserve(std::size_t{pixels.width} * pixels.height);
  for (UINT y = 0; y < pixels.height; ++y) {
    WICColor last = 0;
    BYTE index = 0;
    for (UINT x = 0; x < pixels.width; ++x) {
      const BYTE* pixel = pixels.At(x, y);
      if (pixel[3] < kLeastOpaque) {
        picture.indexes.push_back(0);
        continue;
      }
      const WICColor colour = ToColour(pixel);
      if (colour != last) {
        const auto [entry, added] =
            known.try_emplace(colour, static_cast<BYTE>(picture.palette.size()));
        if (added && picture.palette.size() == most) return std::nullopt;
        if (added) picture.palette.push_back(colour);
        last = colour;
        index = entry->second;
      }
      picture.indexes.push_back(index);
    }
  }
  picture.has_transparency = transparency;
  if (transparency) {
    BYTE* index = picture.indexes.data();
    for (UINT y = 0; y < pixels.height; ++y) {
      for (UINT x = 0; x < pixels.width; ++x, ++index) {
        if (pixels.At(x, y)[3] < kLeastOpaque) *index = static_cast<BYTE>(picture.palette.size());
      }
    }
    picture.palette.push_back(0);
  }
  return picture;
}

// The pixels whose channels have the same five upper bits.
struct Bin {
  std::uint64_t count = 0;
  std::array<std::uint64_t, kChannels> sums{};

  double Mean(int channel) const {
    return static_cast<double>(sums[static_cast<std::size_t>(channel)]) /
           static_cast<double>(count);
  }
};

std::vector<Bin> CountColours(const Pixels& pixels) {
  std::vector<Bin> bins(1 << 15);
  for (UINT y = 0; y < pixels.height; ++y) {
    for (UINT x = 0; x < pixels.width; ++x) {
      const BYTE* pixel = pixels.At(x, y);
      if (pixel[3] < kLeastOpaque) continue;
      Bin& bin =
          bins[static_cast<std::size_t>(pixel[2] >> 3 << 10 | pixel[1] >> 3 << 5 | pixel[0] >> 3)];
      ++bin.count;
      for (std::size_t c = 0; c < kChannels; ++c) bin.sums[c] += pixel[c];
    }
  }
  std::erase_if(bins, [](const Bin& bin) { return bin.count == 0; });
  return bins;
}

// Bins that share a colour of the palette, and how far they lie from it.
class Box {
 public:
  explicit Box(std::span<Bin> bins) : bins_(bins) {
    for (int c = 0; c < kChannels; ++c) {
      double count = 0;
      double sum = 0;
      double squares = 0;
      for (const Bin& bin : bins) {
        const auto weight = static_cast<double>(bin.count);
        count += weight;
        sum += weight * bin.Mean(c);
        squares += weight * bin.Mean(c) * bin.Mean(c);
      }
      const double error = squares - sum * sum / count;
      error_ += error;
      if (error > widest_error_) {
        widest_error_ = error;
        widest_ = c;
      }
      mean_[static_cast<std::size_t>(c)] = static_cast<int>(std::lround(sum / count));
    }
  }

  // The sum of squares.
  double Error() const { return bins_.size() > 1 ? error_ : 0; }

  WICColor Colour() const {
    return WICColor{0xFF000000} | static_cast<WICColor>(mean_[2]) << 16 |
           static_cast<WICColor>(mean_[1]) << 8 | static_cast<WICColor>(mean_[0]);
  }

  // Splits along the channel of the largest error where the two parts have the least.
  std::pair<Box, Box> Split() const {
    std::ranges::sort(bins_, {}, [this](const Bin& bin) { return bin.Mean(widest_); });
    double all_count = 0;
    double all_sum = 0;
    for (const Bin& bin : bins_) {
      all_count += static_cast<double>(bin.count);
      all_sum += static_cast<double>(bin.count) * bin.Mean(widest_);
    }
    std::size_t best = 1;
    double best_gain = -1;
    double count = 0;
    double sum = 0;
    for (std::size_t i = 1; i < bins_.size(); ++i) {
      count += static_cast<double>(bins_[i - 1].count);
      sum += static_cast<double>(bins_[i - 1].count) * bins_[i - 1].Mean(widest_);
      const double rest = all_sum - sum;
      const double gain = sum * sum / count + rest * rest / (all_count - count);
      if (gain > best_gain) {
        best_gain = gain;
        best = i;
      }
    }
    return {Box(bins_.first(best)), Box(bins_.subspan(best))};
  }

 private:
  std::span<Bin> bins_;
  double error_ = 0;
  double widest_error_ = -1;
  int widest_ = 0;
  Channels mean_{};
};

std::vector<WICColor> SplitColours(std::span<Bin> bins, std::size_t most) {
  std::vector<Box> boxes = {Box(bins)};
  while (boxes.size() < most) {
    const auto widest = std::ranges::max_element(boxes, {}, &Box::Error);
    if (widest->Error() <= 0) break;
    const auto [lower, upper] = widest->Split();
    *widest = lower;
    boxes.push_back(upper);
  }
  std::vector<WICColor> colours;
  colours.reserve(boxes.size());
  for (const Box& box : boxes) colours.push_back(box.Colour());
  return colours;
}

std::size_t FindNearest(std::span<const Channels> colours, const Channels& wanted) {
  std::size_t nearest = 0;
  int least = std::numeric_limits<int>::max();
  for (std::size_t i = 0; i < colours.size(); ++i) {
    int distance = 0;
    for (std::size_t c = 0; c < kChannels; ++c) {
      const int off = colours[i][c] - wanted[c];
      distance += off * off;
    }
    if (distance < least) {
      least = distance;
      nearest = i;
    }
  }
  return nearest;
}

// Moves each colour to the mean of the bins that it is nearest to.
void Settle(std::span<const Bin> bins, std::vector<WICColor>* palette) {
  std::vector<Channels> colours;
  for (const WICColor colour : *palette) colours.push_back(ToChannels(colour));
  std::vector<Bin> gathered(colours.size());
  for (const Bin& bin : bins) {
    Channels mean;
    for (int c = 0; c < kChannels; ++c) {
      mean[static_cast<std::size_t>(c)] = static_cast<int>(std::lround(bin.Mean(c)));
    }
    Bin& nearest = gathered[FindNearest(colours, mean)];
    nearest.count += bin.count;
    for (std::size_t c = 0; c < kChannels; ++c) nearest.sums[c] += bin.sums[c];
  }
  for (std::size_t i = 0; i < gathered.size(); ++i) {
    if (gathered[i].count == 0) continue;
    BYTE mean[kChannels];
    for (int c = 0; c < kChannels; ++c)
      mean[c] = static_cast<BYTE>(std::lround(gathered[i].Mean(c)));
    (*palette)[i] = ToColour(mean);
  }
}

// Finds the nearest colour of a palette, to within a few levels of what is wanted.
class Nearest {
 public:
  explicit Nearest(std::span<const WICColor> palette) {
    for (const WICColor colour : palette) colours_.push_back(ToChannels(colour));
  }

  std::size_t Find(const Channels& wanted) {
    const auto at =
        static_cast<std::size_t>(wanted[2] >> 2 << 12 | wanted[1] >> 2 << 6 | wanted[0] >> 2);
    if (found_[at] < 0) {
      const Channels middle = {wanted[0] | 2, wanted[1] | 2, wanted[2] | 2};
      found_[at] = static_cast<std::int16_t>(FindNearest(colours_, middle));
    }
    return static_cast<std::size_t>(found_[at]);
  }

  const Channels& Colour(std::size_t index) const { return colours_[index]; }

 private:
  std::vector<Channels> colours_;
  std::vector<std::int16_t> found_ = std::vector<std::int16_t>(1 << 18, -1);
};

// Gives each pixel a colour near it and its error to the neighbours that are still to come, by
// turns from the left and from the right: 7, 3, 5 and 1 sixteenths to the next one, and to those
// below it, behind, beside and ahead.
void SpreadErrors(const Pixels& pixels, IndexedPicture* picture) {
  const std::size_t opaque = picture->palette.size() - (picture->has_transparency ? 1 : 0);
  Nearest nearest(std::span(picture->palette).first(opaque));
  picture->indexes.resize(std::size_t{pixels.width} * pixels.height);
  // In sixteenths, with a place beyond either edge.
  std::vector<Channels> here(std::size_t{pixels.width} + 2);
  std::vector<Channels> below(here.size());
  for (UINT y = 0; y < pixels.height; ++y) {
    const int step = y % 2 == 0 ? 1 : -1;
    std::fill(below.begin(), below.end(), Channels{});
    for (UINT i = 0; i < pixels.width; ++i) {
      const UINT x = step > 0 ? i : pixels.width - 1 - i;
      const BYTE* pixel = pixels.At(x, y);
      BYTE& index = picture->indexes[std::size_t{y} * pixels.width + x];
      if (pixel[3] < kLeastOpaque) {
        index = static_cast<BYTE>(opaque);
        continue;
      }
      const std::ptrdiff_t at = std::ptrdiff_t{x} + 1;
      Channels wanted;
      for (std::size_t c = 0; c < kChannels; ++c) {
        const int error = here[static_cast<std::size_t>(at)][c];
        wanted[c] = std::clamp(pixel[c] + (error + (error < 0 ? -8 : 8)) / 16, 0, 255);
      }
      index = static_cast<BYTE>(nearest.Find(wanted));
      const Channels& given = nearest.Colour(index);
      for (std::size_t c = 0; c < kChannels; ++c) {
        const int error = wanted[c] - given[c];
        here[static_cast<std::size_t>(at + step)][c] += error * 7;
        below[static_cast<std::size_t>(at - step)][c] += error * 3;
        below[static_cast<std::size_t>(at)][c] += error * 5;
        below[static_cast<std::size_t>(at + step)][c] += error;
      }
    }
    here.swap(below);
  }
}

}  // namespace

IndexedPicture ReduceColours(const BYTE* data, std::size_t stride, UINT width, UINT height) {
  const Pixels pixels{data, stride, width, height};
  const bool transparency = HasTransparency(pixels);
  const std::size_t most = kMostColours - (transparency ? 1 : 0);
  if (auto kept = KeepColours(pixels, transparency, most)) return std::move(*kept);
  IndexedPicture picture;
  picture.has_transparency = transparency;
  std::vector<Bin> bins = CountColours(pixels);
  picture.palette = SplitColours(bins, most);
  constexpr int kRounds = 3;
  for (int round = 0; round < kRounds; ++round) Settle(bins, &picture.palette);
  if (transparency) picture.palette.push_back(0);
  SpreadErrors(pixels, &picture);
  return picture;
}

}  // namespace Vantra::Platform
