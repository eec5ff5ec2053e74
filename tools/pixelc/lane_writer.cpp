#include "lane_writer.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace Vantra::Pixelc {

LaneWriter::LaneWriter(const Analysis& analysis, Function function)
    : InstructionWriter(analysis, function) {
  const Program& program = analysis.program;
  std::vector<std::uint32_t> uses(program.types.size());
  for (const Block& block : program.blocks) {
    for (const Instruction& instruction : block.instructions) {
      for (const ValueId operand : instruction.operands) ++uses[operand];
    }
  }
  const auto is_open = [&](const Instruction& instruction) {
    return instruction.type == Type::kFloat && !instruction.is_precise &&
           !analysis.divergence.IsUniform(instruction.results[0]);
  };
  for (BlockId block = 0; block < program.blocks.size(); ++block) {
    for (const Instruction& sum : program.blocks[block].instructions) {
      if ((sum.op != Op::kAdd && sum.op != Op::kSub) || !is_open(sum)) continue;
      for (const std::size_t side : {1u, 0u}) {
        const ValueId product = sum.operands[side];
        if (uses[product] == 1 && Definition(product).op == Op::kMul &&
            is_open(Definition(product)) && analysis.needs.BlockOf(product) == block) {
          products_[sum.results[0]] = side;
          within_sums_.insert(product);
          break;
        }
      }
    }
  }
}

CodeText LaneWriter::Write(const std::string& name, bool has_tape) {
  const bool is_compute = analysis_.program.is_compute;
  const std::string arguments = std::string("[[maybe_unused]] const ") +
                                (is_compute ? "ComputeArguments" : "PixelArguments") +
                                "& arguments, ";
  const std::string place = "int32_t x, int32_t end, [[maybe_unused]] int32_t y" +
                            std::string(has_tape ? ", [[maybe_unused]] Tape::Records first)" : ")");
  CodeText out;
  CodeText vectors;
  if (is_compute) {
    vectors.Block("for (; x < end; x += kLanes)", WriteBody());
  } else {
    vectors.Line("const ResultRow row(arguments, y);");
    CodeText step;
    const std::string plain = ConditionToBePlain();
    if (!plain.empty()) {
      is_plain_ = true;
      CodeText wide;
      wide.Block("for (; end - x >= kWideLanes; x += kWideLanes)", WriteBody());
      wide.Line("return x;");
      is_plain_ = false;
      out.Line("// All of them that fill vectors. Returns the first column of the rest.");
      out.Block("static int32_t " + name + "Plain(" + arguments + "const ResultRow& row, " + place,
                wide);
      out.Line("");
      vectors.Line("const bool is_plain = " + plain + ";");
      CodeText whole;
      whole.Line("x = " + name + "Plain(arguments, row, x, end, y, first);");
      whole.Line("if (x >= end) break;");
      step.Block("if (is_plain && x % kLanes == 0)", whole);
    }
    step.Line("count = VectorLength(x, end);");
    step.Append(WriteBody());
    vectors.Block("for (int32_t count = 0; x < end; x += count)", step);
  }
  out.Block("static void " + name + "(" + arguments + place, vectors);
  return out;
}

std::string LaneWriter::ConditionToBePlain() const {
  // Lanes that part, or read for themselves, are not worth it, and neither is much code.
  constexpr std::size_t kMostInstructions = 160;
  if (function_ != Function::kLanes || analysis_.program.is_compute) return {};
  std::size_t instructions = 0;
  std::string condition = "row.IsPlain()";
  for (BlockId block = 0; block < analysis_.program.blocks.size(); ++block) {
    if (!analysis_.divergence.IsUniformBlock(block)) return {};
    for (const Instruction& instruction : analysis_.program.blocks[block].instructions) {
      const Op op = instruction.op;
      ++instructions;
      if (op == Op::kResult) continue;
      if (instruction.results.empty()) return {};
      const ValueId value = instruction.results[0];
      if (!IsNeeded(instruction) || analysis_.divergence.IsUniform(value)) continue;
      if (op == Op::kSample || op == Op::kFetch) {
        // The entry's record is the first.
        if (block != 0 || !analysis_.divergence.IsRowRead(instruction, block)) return {};
        const Record record = RecordsOf(analysis_, block).front();
        if (std::ranges::find(record.reads, value) == record.reads.end()) return {};
        condition += " && Tape::Records(first).Next<" + record.type + ">()->read" +
                     std::to_string(value) + ".plain";
      } else if (op != Op::kPhi && (op < Op::kNeg || op > Op::kFma)) {
        return {};
      }
    }
  }
  return instructions <= kMostInstructions ? condition : "";
}

CodeText LaneWriter::WriteBody() {
  const Program& program = analysis_.program;
  const CodeText flow = WriteProgram();
  CodeText head;
  if (flow.Mentions("pixel_y")) head.Line("const float pixel_y = static_cast<float>(y) + 0.5f;");
  if (flow.Mentions("invocation_y")) {
    head.Line("const uint32_t invocation_y = static_cast<uint32_t>(y);");
  }
  if (flow.Mentions("pixel_x")) {
    head.Line("const F pixel_x = Add(IntToFloat(Iota(x)), Broadcast(0.5f));");
  }
  if (flow.Mentions("invocation_x")) head.Line("const U invocation_x = BitsToUint(Iota(x));");
  if (flow.Mentions("inside")) {
    head.Line("const M inside = Less(Iota(x), Broadcast(arguments.width));");
  }
  for (std::size_t i = 0; i < program.arrays.size(); ++i) {
    const std::string array = "array" + std::to_string(i);
    if (!flow.Mentions(array)) continue;
    const Type type = program.arrays[i].type;
    head.Line("LocalArray<" + std::string(type == Type::kBool ? "U" : LaneType(type)) + ", " +
              std::to_string(program.arrays[i].size) + "> " + array + ";");
  }
  if (flow.Mentions("records")) head.Line("Tape::Records records = first;");
  if (flow.Mentions("result")) {
    head.Line(is_plain_ ? "WideColor result = {};" : "Color result = TransparentBlack();");
  }
  head.Append(flow);
  if (flow.Mentions("result")) head.Line(StoreCall("result", ""));
  return head;
}

std::string LaneWriter::StoreCall(const std::string& color, const std::string& read) const {
  std::vector<std::string> arguments = {"x"};
  if (!read.empty()) arguments.insert(arguments.begin(), read);
  if (!is_plain_) arguments.push_back("count");
  arguments.push_back(color);
  return Call(std::string("row.Store") + (is_plain_ ? "Plain" : "") +
                  (read.empty() ? "" : "KeepingAlpha"),
              arguments) +
         ";";
}

std::string LaneWriter::TypeName(std::string_view type) const {
  return (is_plain_ ? "Wide" : "") + std::string(type);
}

CodeText LaneWriter::WriteBlock(BlockId block, const std::string& mask) {
  CodeText own;
  for (const Instruction& instruction : analysis_.program.blocks[block].instructions) {
    if (instruction.results.empty()) {
      WriteEffect(instruction, block, mask, own);
      continue;
    }
    const ValueId value = instruction.results[0];
    if (instruction.op == Op::kPhi || analysis_.needs.IsLeafValue(value) ||
        !IsNeeded(instruction) || analysis_.needs.IsRowValue(value) ||
        within_sums_.contains(value)) {
      continue;
    }
    if (analysis_.divergence.IsUniform(value)) {
      WriteUniform(instruction, own);
    } else if (instruction.op == Op::kSample || instruction.op == Op::kFetch) {
      WriteRead(instruction, own);
    } else {
      WriteLanes(instruction, own);
    }
  }
  CodeText out;
  for (const Record& record : RecordsOf(analysis_, block)) {
    out.Line("[[maybe_unused]] const auto& " + record.name + " = *records.Next<" + record.type +
             ">();");
  }
  out.Append(own);
  return out;
}

std::vector<FlowWriter::Variable> LaneWriter::VariablesOf(BlockId block) {
  std::vector<Variable> variables;
  for (const Instruction& phi : analysis_.program.blocks[block].instructions) {
    if (phi.op != Op::kPhi) break;
    const ValueId value = phi.results[0];
    if (!IsNeeded(phi) || analysis_.needs.IsRowValue(value)) continue;
    if (analysis_.divergence.IsUniform(value)) {
      variables.push_back(UniformVariable(phi));
      continue;
    }
    std::vector<std::string> operands;
    for (const ValueId operand : phi.operands) operands.push_back(Lanes(operand));
    variables.push_back({.type = TypeName(LaneType(phi.type)),
                         .name = LaneName(value),
                         .initial = Call("Broadcast", {Literal(phi.type, 0)}),
                         .operands = std::move(operands),
                         .is_lanes = true});
  }
  return variables;
}

std::string LaneWriter::OnTape(ValueId value) const {
  for (const Record& record : RecordsOf(analysis_, analysis_.needs.BlockOf(value))) {
    if (std::find(record.values.begin(), record.values.end(), value) != record.values.end()) {
      return record.name + ".u" + std::to_string(value);
    }
  }
  return {};
}

std::string LaneWriter::Condition(ValueId value) {
  return analysis_.divergence.IsUniform(value) ? Scalar(value) : Lanes(value);
}

std::string LaneWriter::LaneName(ValueId value) const {
  return NameOf(value, analysis_.program.types[value] == Type::kBool ? 'm' : 'v');
}

std::string LaneWriter::Lanes(ValueId value) const {
  if (analysis_.divergence.IsUniform(value)) return Call("Broadcast", {Scalar(value)});
  return analysis_.needs.IsLeafValue(value) ? Leaf(value) : LaneName(value);
}

std::string LaneWriter::PreparedRead(ValueId value) const {
  const Instruction& read = Definition(value);
  if (read.results.size() != 4) return {};
  const BlockId block = analysis_.needs.BlockOf(value);
  if (function_ != Function::kLanes || !analysis_.divergence.IsRowRead(read, block)) return {};
  for (const Record& record : RecordsOf(analysis_, block)) {
    if (std::ranges::find(record.reads, read.results[0]) != record.reads.end()) {
      return record.name + ".read" + std::to_string(read.results[0]);
    }
  }
  return {};
}

void LaneWriter::WriteRead(const Instruction& read, CodeText& out) const {
  std::string value = PreparedRead(read.results[0]);
  if (!value.empty()) {
    value = Call(is_plain_ ? "ReadPlainRow" : "ReadRow", {value, "x"});
  } else {
    const ValueId y = read.operands[1];
    value = ReadCall(
        read, {Lanes(read.operands[0]), analysis_.divergence.IsUniform(y) ? Scalar(y) : Lanes(y)});
  }
  out.Line("const " + TypeName("Color") + " c" + std::to_string(read.results[0]) + " = " + value +
           ";");
}

void LaneWriter::WriteLanes(const Instruction& instruction, CodeText& out) const {
  out.Line("const " + TypeName(LaneType(instruction.type)) + " " +
           LaneName(instruction.results[0]) + " = " + LaneValue(instruction) + ";");
}

std::string LaneWriter::LaneValue(const Instruction& instruction) const {
  std::vector<std::string> operands;
  for (const ValueId operand : instruction.operands) operands.push_back(Lanes(operand));
  const auto scalar_if_uniform = [&](std::size_t i) {
    if (analysis_.divergence.IsUniform(instruction.operands[i])) {
      operands[i] = Scalar(instruction.operands[i]);
    }
  };
  switch (instruction.op) {
    case Op::kAdd:
    case Op::kSub: {
      const auto product = products_.find(instruction.results[0]);
      if (product == products_.end()) break;
      const Instruction& factors = Definition(instruction.operands[product->second]);
      return Call(
          instruction.op == Op::kAdd ? "MulAdd"
          : product->second == 0     ? "MulSub"
                                     : "NegMulAdd",
          {Lanes(factors.operands[0]), Lanes(factors.operands[1]), operands[1 - product->second]});
    }
    case Op::kLoadConstant: {
      static constexpr std::string_view kLoads[] = {"LoadFloat", "LoadInt", "LoadUint", "LoadBool"};
      return Call(kLoads[static_cast<std::size_t>(instruction.type)],
                  {"arguments.constants", operands[0]});
    }
    case Op::kLoadArray: {
      scalar_if_uniform(0);
      const std::string element =
          Call("array" + std::to_string(instruction.index) + ".Load", {operands[0]});
      return instruction.type == Type::kBool ? Call("NotEqual", {element, "Broadcast(0u)"})
                                             : element;
    }
    case Op::kSelect:
      scalar_if_uniform(0);
      break;
    case Op::kShiftLeft:
    case Op::kShiftRight:
      if (!analysis_.divergence.IsUniform(instruction.operands[0])) scalar_if_uniform(1);
      break;
    default:
      break;
  }
  return Call(FunctionOf(instruction.op), operands);
}

void LaneWriter::WriteEffect(const Instruction& instruction, BlockId block, const std::string& mask,
                             CodeText& out) const {
  const std::string all = mask.empty() ? "Broadcast(true)" : mask;
  switch (instruction.op) {
    case Op::kResult: {
      if (block == 0 ||
          (analysis_.flow.InnermostLoop(block) == 0 && analysis_.flow.AlwaysReaches(0, 0, block))) {
        std::string color;
        for (const ValueId channel : instruction.operands) {
          color += (color.empty() ? "" : ", ") + Lanes(channel);
        }
        const ValueId alpha = instruction.operands[3];
        const std::string read =
            alpha == Definition(alpha).results.back() ? PreparedRead(alpha) : "";
        out.Line(StoreCall(TypeName("Color") + "{" + color + "}", read));
        return;
      }
      for (std::size_t channel = 0; channel < 4; ++channel) {
        const std::string place = std::string("result.") + "rgba"[channel];
        const std::string value = Lanes(instruction.operands[channel]);
        out.Line(place + " = " + (mask.empty() ? value : Call("Select", {mask, value, place})) +
                 ";");
      }
      return;
    }
    case Op::kWriteWord:
      out.Line(Call("WriteWords",
                    {"arguments", Lanes(instruction.operands[0]), Lanes(instruction.operands[1]),
                     mask.empty() ? "inside" : Call("And", {"inside", mask})}) +
               ";");
      return;
    case Op::kStoreArray: {
      if (analysis_.divergence.IsUniformArray(instruction.index)) return;
      const ValueId element = instruction.operands[0];
      std::string value = Lanes(instruction.operands[1]);
      if (analysis_.program.arrays[instruction.index].type == Type::kBool) {
        value = Call("Select", {value, "Broadcast(1u)", "Broadcast(0u)"});
      }
      out.Line(Call("array" + std::to_string(instruction.index) + ".Store",
                    {analysis_.divergence.IsUniform(element) ? Scalar(element) : Lanes(element),
                     value, all}) +
               ";");
      return;
    }
    default:
      return;
  }
}

}  // namespace Vantra::Pixelc
