#pragma once

// Writes the function that runs once a row.

#include <map>
#include <string>

#include "instruction_writer.h"

namespace Vantra::Pixelc {

class RowWriter : public InstructionWriter {
 public:
  explicit RowWriter(const Analysis& analysis)
      : InstructionWriter(analysis, Function::kRow) {}

  // The whole function; nothing for a program without anything to compute once a row.
  CodeText Write();

 private:
  CodeText WriteBlock(BlockId block, const std::string& mask) override;
  std::vector<Variable> VariablesOf(BlockId block) override;
  std::string OnTape(ValueId value) const override { return NameOf(value, 'u'); }

  void WriteShape(const Instruction& instruction, CodeText& out);
  void WriteOffsetOfWhole(const Instruction& instruction, CodeText& out);
  void WriteBound(const Instruction& instruction, CodeText& out);
  void WritePreparation(const Instruction& read, CodeText& out) const;
  // A linear value as slope * X + offset, a column as x + offset.
  std::string SlopeOf(ValueId value) const;
  std::string OffsetOf(ValueId value) const;
  void SetSlope(ValueId value, const std::string& expression, CodeText& out);
  void SetOffset(ValueId value, const std::string& expression, CodeText& out);

  // Where a shape is another value's, or a literal.
  std::map<ValueId, std::string> slopes_;
  std::map<ValueId, std::string> offsets_;
};

}  // namespace Vantra::Pixelc
