#pragma once

// Writes the functions that run for each vector of pixels of a row.

#include <string>

#include "instruction_writer.h"

namespace Vantra::Pixelc {

class LaneWriter : public InstructionWriter {
 public:
  // `function` is kLanes or kAnywhere.
  LaneWriter(const Analysis& analysis, Function function) : InstructionWriter(analysis, function) {}

  // The whole function, of this name.
  CodeText Write(const std::string& name, bool has_tape);

 private:
  CodeText WriteBlock(BlockId block, const std::string& mask) override;
  std::vector<Variable> VariablesOf(BlockId block) override;
  std::string OnTape(ValueId value) const override;
  std::string Condition(ValueId value) override;

  // An expression of lanes.
  std::string Lanes(ValueId value) const;
  std::string LaneName(ValueId value) const;
  void WriteLanes(const Instruction& instruction, CodeText& out) const;
  void WriteRead(const Instruction& read, BlockId block, CodeText& out) const;
  void WriteEffect(const Instruction& instruction, BlockId block, const std::string& mask,
                   CodeText& out) const;
  std::string LaneValue(const Instruction& instruction) const;
};

}  // namespace Vantra::Pixelc
