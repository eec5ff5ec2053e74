#include "testing/ir_interpreter.h"

#include <algorithm>
#include <bit>
#include <stdexcept>

#include "evaluate.h"
#include "ir_text.h"

namespace Vantra::Pixelc {
namespace {

constexpr std::size_t kMaximumSteps = 10'000'000;

std::uint32_t Bits(float value) { return std::bit_cast<std::uint32_t>(value); }

class Interpreter {
 public:
  Interpreter(const Program& program, const Invocation& invocation)
      : program_(program), invocation_(invocation), values_(program.types.size()) {
    for (const Array& array : program.arrays) arrays_.emplace_back(array.size);
  }

  Outcome Run() {
    BlockId before = kNone;
    BlockId block = 0;
    while (steps_ < kMaximumSteps) {
      const Terminator& terminator = program_.blocks[block].terminator;
      RunBlock(program_.blocks[block], before);
      if (terminator.kind == Terminator::Kind::kReturn) {
        outcome_.has_ended = true;
        break;
      }
      const bool is_second =
          terminator.kind == Terminator::Kind::kBranchIf && values_[terminator.condition] == 0;
      before = block;
      block = terminator.targets[is_second ? 1 : 0];
    }
    return outcome_;
  }

 private:
  void RunBlock(const Block& block, BlockId before) {
    // Phis read what their operands were before any of them changes.
    std::vector<std::uint32_t> phis;
    const auto way = std::ranges::find(block.predecessors, before) - block.predecessors.begin();
    for (const Instruction& phi : block.instructions) {
      if (phi.op != Op::kPhi) break;
      phis.push_back(values_[phi.operands.at(static_cast<std::size_t>(way))]);
    }
    for (std::size_t index = 0; index < phis.size(); ++index) {
      values_[block.instructions[index].results[0]] = phis[index];
    }
    steps_ += block.instructions.size() + 1;
    for (std::size_t index = phis.size(); index < block.instructions.size(); ++index) {
      RunInstruction(block.instructions[index]);
    }
  }

  void RunInstruction(const Instruction& instruction) {
    const auto operand = [&](std::size_t index) { return values_[instruction.operands[index]]; };
    const auto number = [&](std::size_t index) { return std::bit_cast<float>(operand(index)); };
    const auto whole = [&](std::size_t index) { return static_cast<std::int32_t>(operand(index)); };
    const auto set = [&](std::uint32_t bits) { values_[instruction.results[0]] = bits; };
    const auto set_color = [&](const Color& color) {
      for (std::size_t index = 0; index < color.size(); ++index) {
        values_[instruction.results[index]] = Bits(color[index]);
      }
    };
    switch (instruction.op) {
      case Op::kConstant:
        return set(instruction.bits);
      case Op::kUndefined:
        return set(0);
      case Op::kPixelX:
        return set(Bits(invocation_.pixel_x));
      case Op::kPixelY:
        return set(Bits(invocation_.pixel_y));
      case Op::kOriginX:
        return set(Bits(invocation_.origin_x));
      case Op::kOriginY:
        return set(Bits(invocation_.origin_y));
      case Op::kPixelSizeX:
        return set(Bits(invocation_.pixel_size_x));
      case Op::kPixelSizeY:
        return set(Bits(invocation_.pixel_size_y));
      case Op::kInvocationX:
        return set(invocation_.x);
      case Op::kInvocationY:
        return set(invocation_.y);
      case Op::kSample:
        return set_color(
            invocation_.sample(instruction.index, instruction.second_index, number(0), number(1)));
      case Op::kFetch:
        return set_color(invocation_.fetch(instruction.index, whole(0), whole(1)));
      case Op::kTextureSize: {
        const auto size = invocation_.size(instruction.index);
        values_[instruction.results[0]] = static_cast<std::uint32_t>(size[0]);
        values_[instruction.results[1]] = static_cast<std::uint32_t>(size[1]);
        return;
      }
      case Op::kLoadConstant: {
        const std::size_t word = operand(0) / 4;
        return set(word < invocation_.constants.size() ? invocation_.constants[word] : 0);
      }
      case Op::kLoadArray: {
        const auto& array = arrays_[instruction.index];
        return set(operand(0) < array.size() ? array[operand(0)] : 0);
      }
      case Op::kStoreArray: {
        auto& array = arrays_[instruction.index];
        if (operand(0) < array.size()) array[operand(0)] = operand(1);
        return;
      }
      case Op::kResult:
        ++outcome_.results;
        outcome_.color = {number(0), number(1), number(2), number(3)};
        return;
      case Op::kWriteWord:
        outcome_.words[operand(0)] = operand(1);
        return;
      default:
        break;
    }
    std::vector<TypedBits> operands;
    for (const ValueId id : instruction.operands) {
      operands.push_back({program_.types[id], values_[id]});
    }
    const auto bits = Evaluate(instruction.op, instruction.type, operands);
    if (!bits) throw std::logic_error(std::string("no rule for ") + NameOf(instruction.op));
    set(*bits);
  }

  const Program& program_;
  const Invocation& invocation_;
  std::vector<std::uint32_t> values_;
  std::vector<std::vector<std::uint32_t>> arrays_;
  std::size_t steps_ = 0;
  Outcome outcome_;
};

}  // namespace

Outcome Interpret(const Program& program, const Invocation& invocation) {
  return Interpreter(program, invocation).Run();
}

}  // namespace Vantra::Pixelc
