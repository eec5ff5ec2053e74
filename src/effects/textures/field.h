#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <vector>

namespace Vantra::Textures {

// A square of numbers that is seamless: beyond each side comes the opposite one. Sides are powers
// of two.
class Field {
 public:
  explicit Field(int size)
      : size_(size), values_(static_cast<std::size_t>(size) * static_cast<std::size_t>(size)) {}

  int Size() const { return size_; }
  std::int64_t& At(int x, int y) { return values_[Index(x, y)]; }
  std::int64_t At(int x, int y) const { return values_[Index(x, y)]; }
  std::span<const std::int64_t> Values() const { return values_; }

 private:
  std::size_t Index(int x, int y) const {
    return static_cast<std::size_t>(y & (size_ - 1)) * static_cast<std::size_t>(size_) +
           static_cast<std::size_t>(x & (size_ - 1));
  }

  int size_;
  std::vector<std::int64_t> values_;
};

// Noise of several wavelengths. The last amplitude is that of numbers which differ from one place
// to the next, each before it that of a grid of twice the step, laid smoothly over the places
// between.
Field MakeNoise(int size, std::span<const int> amplitudes, std::mt19937& random);

// The means of each number and its eight neighbours, the nearer weighing more.
Field Smooth(const Field& field);

// Replaces each number by the place that it has among all when they are sorted, in `levels` steps:
// all are there equally often.
Field Equalize(const Field& field, int levels);

}  // namespace Vantra::Textures
