#include "row_writer.h"

#include <utility>

namespace Vantra::Pixelc {

namespace {

bool IsName(const std::string& expression) {
  return expression.find_first_of("( ") == std::string::npos;
}

}  // namespace

CodeText RowWriter::Write() {
  const Program& program = analysis_.program;
  const CodeText flow = WriteProgram();
  if (!flow.Mentions("tape") && !flow.Mentions("interval")) return {};
  CodeText head;
  if (flow.Mentions("pixel_y")) head.Line("const float pixel_y = static_cast<float>(y) + 0.5f;");
  if (flow.Mentions("invocation_y")) {
    head.Line("const uint32_t invocation_y = static_cast<uint32_t>(y);");
  }
  for (std::size_t i = 0; i < program.arrays.size(); ++i) {
    const std::string name = "array" + std::to_string(i);
    if (!flow.Mentions(name)) continue;
    head.Line(std::string(ScalarType(program.arrays[i].type)) + " " + name + "[" +
              std::to_string(program.arrays[i].size) + "] = {};");
  }
  head.Append(flow);
  CodeText function;
  const std::string interval = analysis_.needs.HasRowReads() ? ", Interval* interval" : "";
  function.Block("static void " + program.name + "_Row([[maybe_unused]] const " +
                     (program.is_compute ? "ComputeArguments" : "PixelArguments") +
                     "& arguments, [[maybe_unused]] int32_t y, Tape& tape" + interval + ")",
                 head);
  return function;
}

CodeText RowWriter::WriteBlock(BlockId block, const std::string& /*mask*/) {
  CodeText out;
  for (const Instruction& instruction : analysis_.program.blocks[block].instructions) {
    if (instruction.op == Op::kPhi) continue;
    if (instruction.op == Op::kStoreArray &&
        analysis_.divergence.IsUniformArray(instruction.index)) {
      const std::string element = Scalar(instruction.operands[0]);
      out.Line("if (" + element + " < " +
               std::to_string(analysis_.program.arrays[instruction.index].size) + "u) array" +
               std::to_string(instruction.index) + "[" + element +
               "] = " + Scalar(instruction.operands[1]) + ";");
      continue;
    }
    if (instruction.results.empty()) continue;
    const ValueId value = instruction.results[0];
    if (analysis_.needs.IsLeafValue(value)) continue;
    if (IsNeeded(instruction)) WriteUniform(instruction, out);
    if (!analysis_.needs.IsLeafValue(value) && analysis_.needs.Shape(value))
      WriteShape(instruction, out);
  }
  for (const Record& record : RecordsOf(analysis_, block)) {
    std::vector<std::string> fields;
    for (const ValueId value : record.values) fields.push_back(Scalar(value));
    for (const ValueId value : record.reads) {
      WritePreparation(Definition(value), out);
      fields.push_back("read" + std::to_string(value));
    }
    std::string list;
    for (const std::string& field : fields) list += (list.empty() ? "" : ", ") + field;
    out.Line("*tape.Push<" + record.type + ">() = {" + list + "};");
  }
  return out;
}

std::vector<FlowWriter::Variable> RowWriter::VariablesOf(BlockId block) {
  std::vector<Variable> variables;
  for (const Instruction& phi : analysis_.program.blocks[block].instructions) {
    if (phi.op != Op::kPhi) break;
    const ValueId value = phi.results[0];
    if (IsNeeded(phi)) variables.push_back(UniformVariable(phi));
    if (!analysis_.needs.Shape(value)) continue;
    const bool is_linear = analysis_.divergence.KindOf(value) == Kind::kLinear;
    const std::string number = std::to_string(value);
    std::vector<std::string> slopes;
    std::vector<std::string> offsets;
    for (const ValueId operand : phi.operands) {
      slopes.push_back(SlopeOf(operand));
      offsets.push_back(OffsetOf(operand));
    }
    if (is_linear) {
      variables.push_back({.type = "float",
                           .name = "slope" + number,
                           .initial = "0.0f",
                           .operands = std::move(slopes),
                           .is_lanes = false});
    }
    variables.push_back({.type = is_linear ? "float" : "int32_t",
                         .name = "offset" + number,
                         .initial = is_linear ? "0.0f" : "0",
                         .operands = std::move(offsets),
                         .is_lanes = false});
  }
  return variables;
}

std::string RowWriter::SlopeOf(ValueId value) const {
  if (analysis_.divergence.IsUniform(value)) return "0.0f";
  if (Definition(value).op == Op::kPixelX) return "1.0f";
  const auto known = slopes_.find(value);
  return known == slopes_.end() ? "slope" + std::to_string(value) : known->second;
}

std::string RowWriter::OffsetOf(ValueId value) const {
  if (analysis_.divergence.IsUniform(value)) {
    const std::string offset = Scalar(value);
    return analysis_.program.types[value] == Type::kUint ? "BitsToInt(" + offset + ")" : offset;
  }
  if (Definition(value).op == Op::kPixelX) return "0.0f";
  if (Definition(value).op == Op::kInvocationX) return "0";
  const auto known = offsets_.find(value);
  return known == offsets_.end() ? "offset" + std::to_string(value) : known->second;
}

void RowWriter::SetSlope(ValueId value, const std::string& expression, CodeText& out) {
  if (IsName(expression)) {
    slopes_[value] = expression;
  } else {
    out.Line("const float slope" + std::to_string(value) + " = " + expression + ";");
  }
}

void RowWriter::SetOffset(ValueId value, const std::string& expression, CodeText& out) {
  if (IsName(expression)) {
    offsets_[value] = expression;
    return;
  }
  const bool is_float = analysis_.program.types[value] == Type::kFloat;
  out.Line(std::string("const ") + (is_float ? "float" : "int32_t") + " offset" +
           std::to_string(value) + " = " + expression + ";");
}

void RowWriter::WriteShape(const Instruction& instruction, CodeText& out) {
  const ValueId value = instruction.results[0];
  const std::vector<ValueId>& operands = instruction.operands;
  const auto is_uniform = [&](std::size_t i) {
    return analysis_.divergence.IsUniform(operands[i]);
  };
  const auto slope = [&](std::size_t i) { return SlopeOf(operands[i]); };
  const auto offset = [&](std::size_t i) { return OffsetOf(operands[i]); };
  const auto sum = [&](const std::string& a, const std::string& b) {
    if (a == "0.0f" || a == "0") return b;
    return b == "0.0f" || b == "0" ? a : Call("Add", {a, b});
  };
  const auto product = [&](const std::string& a, const std::string& b) {
    if (a == "0.0f" || b == "0.0f") return std::string("0.0f");
    if (a == "1.0f") return b;
    return b == "1.0f" ? a : Call("Mul", {a, b});
  };
  const bool is_linear = analysis_.divergence.KindOf(value) == Kind::kLinear;
  const auto set = [&](const std::string& new_slope, const std::string& new_offset) {
    if (is_linear) SetSlope(value, new_slope, out);
    SetOffset(value, new_offset, out);
  };
  switch (instruction.op) {
    case Op::kNeg:
      return set(Call("Neg", {slope(0)}), Call("Neg", {offset(0)}));
    case Op::kAdd:
      return set(is_linear ? sum(slope(0), slope(1)) : "", sum(offset(0), offset(1)));
    case Op::kSub:
      return set(is_linear && is_uniform(1) ? slope(0)
                 : is_linear                ? Call("Sub", {slope(0), slope(1)})
                                            : "",
                 offset(1) == "0.0f" ? offset(0) : Call("Sub", {offset(0), offset(1)}));
    case Op::kMul: {
      const std::size_t factor = is_uniform(0) ? 0 : 1;
      return set(product(slope(1 - factor), Scalar(operands[factor])),
                 product(offset(1 - factor), Scalar(operands[factor])));
    }
    case Op::kFma: {
      const std::size_t factor = is_uniform(0) ? 0 : 1;
      return set(sum(product(slope(1 - factor), Scalar(operands[factor])), slope(2)),
                 sum(product(offset(1 - factor), Scalar(operands[factor])), offset(2)));
    }
    case Op::kDiv:
      return set(Call("Div", {slope(0), offset(1)}), Call("Div", {offset(0), offset(1)}));
    case Op::kSelect: {
      const std::string condition = Scalar(operands[0]);
      return set(Call("Select", {condition, slope(1), slope(2)}),
                 Call("Select", {condition, offset(1), offset(2)}));
    }
    case Op::kMin:
    case Op::kMax:
      return WriteBound(instruction, out);
    case Op::kBitsToInt:
    case Op::kBitsToUint:
      return set("", offset(0));
    case Op::kIntToFloat:
      // The column is X - 0.5.
      slopes_[value] = "1.0f";
      offsets_[value] = "IntToFloat(" + offset(0) + ") - 0.5f";
      return;
    default:
      return WriteOffsetOfWhole(instruction, out);
  }
}

// kFloor, kTrunc, kRound and kFloatToInt.
void RowWriter::WriteOffsetOfWhole(const Instruction& instruction, CodeText& out) {
  const ValueId value = instruction.results[0];
  const ValueId operand = instruction.operands[0];
  const std::string shape = SlopeOf(operand) + ", " + OffsetOf(operand) + ", interval)";
  if (instruction.op == Op::kFloatToInt) {
    switch (Definition(operand).op) {
      case Op::kFloor:
      case Op::kTrunc:
      case Op::kRound:
      case Op::kIntToFloat:
        if (analysis_.divergence.KindOf(operand) == Kind::kLinear) {
          offsets_[value] = Definition(operand).op == Op::kIntToFloat
                                ? OffsetOf(Definition(operand).operands[0])
                                : "whole" + std::to_string(operand);
          return;
        }
        break;
      default:
        break;
    }
    SetOffset(value, "TruncOffset(" + shape, out);
    return;
  }
  const std::string whole = "whole" + std::to_string(value);
  const std::string function(FunctionOf(instruction.op));
  out.Line("const int32_t " + whole + " = " + function + "Offset(" + shape + ";");
  slopes_[value] = "1.0f";
  offsets_[value] = "IntToFloat(" + whole + ") - 0.5f";
}

// Inside the interval a bound changes nothing.
void RowWriter::WriteBound(const Instruction& instruction, CodeText& out) {
  const ValueId value = instruction.results[0];
  const std::size_t bound = analysis_.divergence.IsUniform(instruction.operands[0]) ? 0 : 1;
  const ValueId inner = instruction.operands[1 - bound];
  const bool is_linear = analysis_.divergence.KindOf(value) == Kind::kLinear;
  std::vector<std::string> arguments;
  if (is_linear) arguments.push_back(SlopeOf(inner));
  arguments.push_back(OffsetOf(inner));
  arguments.push_back(Scalar(instruction.operands[bound]));
  arguments.push_back("interval");
  out.Line(Call(instruction.op == Op::kMin ? "NarrowToAtMost" : "NarrowToAtLeast", arguments) +
           ";");
  if (is_linear) SetSlope(value, SlopeOf(inner), out);
  SetOffset(value, OffsetOf(inner), out);
}

void RowWriter::WritePreparation(const Instruction& read, CodeText& out) const {
  const ValueId along = read.operands[0];
  std::vector<std::string> arguments = {TextureOf(read)};
  if (read.op == Op::kSample) {
    arguments.push_back(SamplerOf(read));
    arguments.push_back(SlopeOf(along));
  }
  arguments.push_back(OffsetOf(along));
  arguments.push_back(Scalar(read.operands[1]));
  arguments.push_back("interval");
  out.Line("const RowRead read" + std::to_string(read.results[0]) + " = " +
           Call(read.op == Op::kSample ? "PrepareSample" : "PrepareFetch", arguments) + ";");
}

}  // namespace Vantra::Pixelc
