#pragma once

// Writes the functions that run for each vector of pixels of a row.

#include <map>
#include <set>
#include <string>
#include <string_view>

#include "instruction_writer.h"

namespace Vantra::Pixelc {

class LaneWriter : public InstructionWriter {
 public:
  // `function` is kLanes or kAnywhere.
  LaneWriter(const Analysis& analysis, Function function);

  // The whole function, of this name.
  CodeText Write(const std::string& name, bool has_tape);

 private:
  CodeText WriteBlock(BlockId block, const std::string& mask) override;
  std::vector<Variable> VariablesOf(BlockId block) override;
  std::string OnTape(ValueId value) const override;
  std::string Condition(ValueId value) override;

  // Under which condition all reads are of bytes as they stand, and the results go into the target
  // as they are. Empty where it does not pay to ask.
  std::string ConditionToBePlain() const;
  CodeText WriteBody();
  // Of a type of lanes.
  std::string TypeName(std::string_view type) const;
  std::string StoreCall(const std::string& color, const std::string& read) const;

  // An expression of lanes.
  std::string Lanes(ValueId value) const;
  std::string LaneName(ValueId value) const;
  void WriteLanes(const Instruction& instruction, CodeText& out) const;
  // What the row function prepared of the read that gives the value. Empty where it prepared none.
  std::string PreparedRead(ValueId value) const;
  void WriteRead(const Instruction& read, CodeText& out) const;
  void WriteEffect(const Instruction& instruction, BlockId block, const std::string& mask,
                   CodeText& out) const;
  std::string LaneValue(const Instruction& instruction) const;

  // Of a sum that is computed together with a product, which of its operands that is.
  std::map<ValueId, std::size_t> products_;
  std::set<ValueId> within_sums_;
  // Whether the function under way is that for plain rows.
  bool is_plain_ = false;
};

}  // namespace Vantra::Pixelc
