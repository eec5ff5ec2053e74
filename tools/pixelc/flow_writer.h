#pragma once

// Writes a program's flow as nested statements of C++.
//
// What a block dominates stands behind or within it. A block that only part of the pixels reach
// runs under a mask of lanes, one that all or none reach under a condition, so that each statement
// comes once. A loop that its lanes leave at different times goes on until no lane is left.

#include <map>
#include <set>
#include <string>
#include <vector>

#include "code_text.h"
#include "divergence.h"
#include "flow_regions.h"
#include "ir.h"
#include "needs.h"

namespace Vantra::Pixelc {

struct Analysis {
  const Program& program;
  const FlowRegions& flow;
  const Divergence& divergence;
  const Needs& needs;
};

class FlowWriter {
 public:
  virtual ~FlowWriter() = default;

 protected:
  // What becomes of a phi in the generated code.
  struct Variable {
    std::string type;
    std::string name;
    std::string initial;
    // In the order of the block's predecessors.
    std::vector<std::string> operands;
    bool is_lanes = false;
  };

  FlowWriter(const Analysis& analysis, Function function)
      : analysis_(analysis), function_(function) {}

  CodeText WriteProgram();

  // The block's instructions. An empty mask stands for all lanes.
  virtual CodeText WriteBlock(BlockId block, const std::string& mask) = 0;
  virtual std::vector<Variable> VariablesOf(BlockId block) = 0;
  virtual std::string Condition(ValueId value) = 0;

  const Analysis& analysis_;
  const Function function_;

 private:
  // When a node runs, seen from the closest node that dominates it.
  enum class Activity { kAlways, kUnderCondition, kUnderMask };

  void WriteNode(LoopId region, BlockId node, const std::string& mask, CodeText& out);
  void WriteLoop(LoopId loop, const std::string& mask, CodeText& out);
  void WriteTerminator(LoopId region, BlockId block, const std::string& mask, CodeText& out);
  void WriteUniformBranch(LoopId region, BlockId block, const std::string& mask, CodeText& out);
  void WriteParting(LoopId region, BlockId block, BlockId target, const std::string& condition,
                    CodeText& out);
  CodeText WriteWay(LoopId region, BlockId block, BlockId target, const std::string& mask);
  void WriteArrival(LoopId region, BlockId from, BlockId node, const std::string& mask,
                    CodeText& out);
  void WriteMeeting(LoopId region, BlockId node, CodeText& out);
  void WriteEdge(BlockId from, BlockId to, const std::string& mask, CodeText& out);
  void WriteCopies(BlockId from, BlockId to, const std::string& mask, CodeText& out);
  void Declare(LoopId region, BlockId parent, BlockId node, CodeText& out);

  // Which of the predecessors of `to` an edge comes from.
  std::size_t WayOf(BlockId from, BlockId to) const;
  // The region in which a block is entered.
  LoopId EntryRegion(BlockId block) const;
  Activity ActivityOf(LoopId region, BlockId node) const;
  // Whether the row function leaves the node out, since only part of the pixels may come there.
  bool PassesOver(LoopId region, BlockId node) const;
  // Whether a block stands within the branch that leads to it.
  bool IsWithinBranch(LoopId region, BlockId node) const;
  // Whether only this block leads to the node, and to no other, and so declares its variables.
  bool LeadsStraight(BlockId from, BlockId to) const;
  // Whether the function has to do with anything that the node dominates.
  bool IsLive(BlockId node) const;
  bool SkipsMasked() const { return function_ == Function::kRow; }

  // What was assigned before, in the order of the text.
  mutable std::map<BlockId, bool> live_;
  std::set<std::string> assigned_;
};

}  // namespace Vantra::Pixelc
