#pragma once

// What the row function and the lane functions have in common: names of values, and expressions of
// uniform ones.
//
// In the generated code u12 is a uniform value, v12 one of lanes, m12 a truth value of lanes, c12
// a colour. b3 tells whether block 3 runs, at3 for which lanes, in3 which lanes are in the loop
// that starts with it. t3 is block 3's record on the tape.

#include <string>
#include <vector>

#include "flow_writer.h"

namespace Vantra::Pixelc {

// A part of what a block leaves on the tape.
struct Record {
  std::string type;
  std::string name;
  std::vector<ValueId> values;
  std::vector<ValueId> reads;
};

std::vector<Record> RecordsOf(const Analysis& analysis, BlockId block);

class InstructionWriter : public FlowWriter {
 protected:
  using FlowWriter::FlowWriter;

  const Instruction& Definition(ValueId value) const { return analysis_.needs.Definition(value); }
  bool IsNeeded(const Instruction& instruction) const;

  // An expression of a leaf, in the functions where it is uniform.
  std::string Leaf(ValueId value) const;
  // The name of a value that this function computes.
  std::string NameOf(ValueId value, char prefix) const;
  std::string Scalar(ValueId value) const;
  std::vector<std::string> Scalars(const std::vector<ValueId>& values) const;
  // Where a value is that the row function computed for the lanes.
  virtual std::string OnTape(ValueId value) const = 0;
  std::string Condition(ValueId value) override { return Scalar(value); }

  std::string TextureOf(const Instruction& read) const;
  std::string SamplerOf(const Instruction& read) const;
  // A read's first arguments.
  std::string ReadCall(const Instruction& read, const std::vector<std::string>& place) const;
  void WriteUniform(const Instruction& instruction, CodeText& out) const;
  Variable UniformVariable(const Instruction& phi) const;
};

}  // namespace Vantra::Pixelc
