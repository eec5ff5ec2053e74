#pragma once

// What a program's result has to be: its tree evaluated for one pixel, a float operation at a time.

#include "program.h"
#include "render/engine.h"

namespace Vantra::TranslatorFuzz {

using Color = std::array<float, 4>;

struct Image {
  int width = 0;
  int height = 0;
  std::vector<Color> texels;
};

struct Inputs {
  std::vector<Word> constants;
  std::array<Image, Render::kRegisterCount> images;
  Render::Sampler sampler;
  float origin_x = 0;
  float origin_y = 0;
  float pixel_size_x = 1;
  float pixel_size_y = 1;
};

class Reference {
 public:
  Reference(const Program& program, const Inputs& inputs);

  // The result at pixel (x, y) of the target. With a strength of 0 each operation is rounded to the
  // nearest. Above, each result that had to be rounded is off by up to so many times what engines
  // may be off: how far results of different `noise` lie apart shows how much a pixel hangs on it.
  Color Evaluate(int x, int y, float strength = 0, std::uint32_t noise = 0);

 private:
  // The most that a structure or an array of the generator's has.
  static constexpr std::size_t kWords = 64;
  using Value = std::array<Word, kWords>;
  struct Place {
    std::size_t address = 0;
    bool swizzled = false;
  };
  enum class Flow { kNext, kBreak, kContinue, kReturn };

  float Noisy(double exact, double ulps = 1, double absolute = 0);

  Flow Run(const Block& block);
  Flow Run(const Statement& statement);
  Flow RunLoop(const Statement& statement);
  void Call(const Statement& statement);

  Place Find(const Expression& expression);
  void Store(const Expression& target, const Value& value);
  Value Evaluate(const Expression& expression);
  Value Construct(const Expression& expression);
  Value Operate(const Expression& expression);
  bool OperateOnWhole(const Expression& e, const std::array<Value, 4>& operands, Value& result);
  bool OperateOnMatrices(const Expression& e, const std::array<Value, 4>& operands, Value& result);
  Word OperateOnFloats(Op op, float a, float b, float c);
  static Word OperateOnIntegers(Op op, bool is_signed, Word a, Word b, Word c, Word d);
  Word Convert(Word word, Scalar from, Scalar to);
  float Dot(const Value& a, const Value& b, int count);
  float Determinant(const Value& matrix, int size, int without_row, int without_column, int full);
  Color Sample(const Image& image, float u, float v);
  static Color Fetch(const Image& image, int x, int y);

  Word& At(int variable) {
    return memory_[static_cast<std::size_t>(
        program_.variables[static_cast<std::size_t>(variable)].address)];
  }

  const Program& program_;
  const Inputs& inputs_;
  std::vector<Word> start_;
  std::vector<Word> memory_;
  Value returned_ = {};
  float strength_ = 0;
  std::uint64_t noise_ = 0;
  float position_x_ = 0;
  float position_y_ = 0;
};

}  // namespace Vantra::TranslatorFuzz
