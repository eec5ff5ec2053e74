#include "instruction_writer.h"

#include <algorithm>

namespace Vantra::Pixelc {

std::vector<Record> RecordsOf(const Analysis& analysis, BlockId block) {
  // Records have to stay well below 4 KiB.
  constexpr std::size_t kValues = 128;
  constexpr std::size_t kReads = 32;
  const std::vector<ValueId>& values = analysis.needs.TapeValues(block);
  const std::vector<ValueId>& reads = analysis.needs.TapeReads(block);
  std::vector<Record> records;
  for (std::size_t part = 0; part * kValues < values.size() || part * kReads < reads.size();
       ++part) {
    const std::string suffix =
        std::to_string(block) + (part == 0 ? "" : "_" + std::to_string(part));
    Record record{.type = analysis.program.name + "_Record" + suffix,
                  .name = "t" + suffix,
                  .values = {},
                  .reads = {}};
    const auto take = [&](const std::vector<ValueId>& from, std::size_t most,
                          std::vector<ValueId>& to) {
      for (std::size_t i = part * most; i < std::min((part + 1) * most, from.size()); ++i) {
        to.push_back(from[i]);
      }
    };
    take(values, kValues, record.values);
    take(reads, kReads, record.reads);
    records.push_back(std::move(record));
  }
  return records;
}

bool InstructionWriter::IsNeeded(const Instruction& instruction) const {
  return std::any_of(instruction.results.begin(), instruction.results.end(), [&](ValueId value) {
    return analysis_.needs.Value(function_, value);
  });
}

std::string InstructionWriter::Leaf(ValueId value) const {
  const Instruction& leaf = Definition(value);
  switch (leaf.op) {
    case Op::kConstant:
      return Literal(leaf.type, leaf.bits);
    case Op::kPixelX:
      return "pixel_x";
    case Op::kPixelY:
      return "pixel_y";
    case Op::kOriginX:
      return "arguments.origin_x";
    case Op::kOriginY:
      return "arguments.origin_y";
    case Op::kPixelSizeX:
      return "arguments.pixel_size_x";
    case Op::kPixelSizeY:
      return "arguments.pixel_size_y";
    case Op::kInvocationX:
      return "invocation_x";
    case Op::kInvocationY:
      return "invocation_y";
    case Op::kTextureSize:
      return TextureOf(leaf) + (value == leaf.results[0] ? ".width" : ".height");
    default:
      return Literal(leaf.type, 0);
  }
}

std::string InstructionWriter::NameOf(ValueId value, char prefix) const {
  const Instruction& definition = Definition(value);
  if (definition.results.size() == 1) return prefix + std::to_string(value);
  const auto place = std::find(definition.results.begin(), definition.results.end(), value) -
                     definition.results.begin();
  return "c" + std::to_string(definition.results[0]) + "." + "rgba"[place];
}

std::string InstructionWriter::Scalar(ValueId value) const {
  if (analysis_.needs.IsLeafValue(value)) return Leaf(value);
  if (function_ != Function::kRow && analysis_.needs.IsRowValue(value)) return OnTape(value);
  return NameOf(value, 'u');
}

std::vector<std::string> InstructionWriter::Scalars(const std::vector<ValueId>& values) const {
  std::vector<std::string> texts;
  texts.reserve(values.size());
  for (const ValueId value : values) texts.push_back(Scalar(value));
  return texts;
}

std::string InstructionWriter::TextureOf(const Instruction& read) const {
  return "arguments.textures[" + std::to_string(read.index) + "]";
}

std::string InstructionWriter::SamplerOf(const Instruction& read) const {
  return "arguments.samplers[" + std::to_string(read.second_index) + "]";
}

std::string InstructionWriter::ReadCall(const Instruction& read,
                                        const std::vector<std::string>& place) const {
  std::vector<std::string> arguments = {TextureOf(read)};
  if (read.op == Op::kSample) arguments.push_back(SamplerOf(read));
  arguments.insert(arguments.end(), place.begin(), place.end());
  return Call(FunctionOf(read.op), arguments);
}

void InstructionWriter::WriteUniform(const Instruction& instruction, CodeText& out) const {
  const std::vector<std::string> operands = Scalars(instruction.operands);
  if (instruction.op == Op::kSample || instruction.op == Op::kFetch) {
    out.Line("const UniformColor c" + std::to_string(instruction.results[0]) + " = " +
             ReadCall(instruction, operands) + ";");
    return;
  }
  const std::string type(ScalarType(instruction.type));
  const std::string name = NameOf(instruction.results[0], 'u');
  std::string value;
  if (instruction.op == Op::kLoadConstant) {
    static constexpr std::string_view kLoads[] = {"LoadFloat", "LoadInt", "LoadUint", "LoadBool"};
    value = Call(kLoads[static_cast<std::size_t>(instruction.type)],
                 {"arguments.constants", operands[0]});
  } else if (instruction.op == Op::kLoadArray) {
    value = "array" + std::to_string(instruction.index) + "[" +
            Call("Min", {operands[0],
                         std::to_string(analysis_.program.arrays[instruction.index].size - 1) +
                             "u"}) +
            "]";
  } else {
    value = Call(FunctionOf(instruction.op), operands);
  }
  out.Line("const " + type + " " + name + " = " + value + ";");
}

FlowWriter::Variable InstructionWriter::UniformVariable(const Instruction& phi) const {
  return {.type = std::string(ScalarType(phi.type)),
          .name = NameOf(phi.results[0], 'u'),
          .initial = Literal(phi.type, 0),
          .operands = Scalars(phi.operands),
          .is_lanes = false};
}

}  // namespace Vantra::Pixelc
