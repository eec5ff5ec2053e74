#pragma once

// The shape of a program's flow: dominators, loops, and in each loop the order and the control
// dependence of its parts.
//
// A loop's body is looked at as a graph without cycles, its region: inner loops count as one node,
// named by their header, and all that leaves the body or starts it anew goes to one end. The whole
// program is region 0.

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "ir.h"

namespace Vantra::Pixelc {

using LoopId = std::uint32_t;

struct Edge {
  BlockId from = kNone;
  BlockId to = kNone;
};

struct Loop {
  BlockId header = kNone;
  LoopId parent = kNone;
  std::vector<Edge> exits;
  // In reverse postorder: blocks, and headers of the loops within.
  std::vector<BlockId> nodes;
};

// The targets of a block, each once.
std::vector<BlockId> SuccessorsOf(const Block& block);

// Blocks that block 0 reaches, in reverse postorder.
std::vector<BlockId> ReversePostorder(const Program& program);

class FlowRegions {
 public:
  explicit FlowRegions(const Program& program);

  // The program is region 0, the others are its loops, outer ones first.
  const std::vector<Loop>& Loops() const { return loops_; }
  LoopId InnermostLoop(BlockId block) const { return loop_of_[block]; }
  bool Contains(LoopId loop, BlockId block) const;
  // The node of `loop` that holds a block of it.
  BlockId NodeOf(LoopId loop, BlockId block) const;
  bool IsLoopNode(LoopId loop, BlockId node) const { return loop_of_[node] != loop; }
  // Of a node that is a loop.
  LoopId LoopAt(LoopId region, BlockId node) const;

  bool Dominates(BlockId dominator, BlockId block) const;
  // Of a block that is not the first.
  BlockId ImmediateDominator(BlockId block) const { return immediate_dominator_[block]; }
  // The node of the region that dominates this one closest; kNone for the region's first.
  BlockId ParentNode(LoopId region, BlockId node) const;

  // Nodes that follow in the region; kEnd is one.
  const std::vector<BlockId>& NodeSuccessors(LoopId region, BlockId node) const;
  // Whether each way from `node` through the region passes `later`.
  bool AlwaysReaches(LoopId region, BlockId node, BlockId later) const;
  // Nodes that decide whether `node` is passed.
  const std::set<BlockId>& Deciders(LoopId region, BlockId node) const;

  bool IsBackEdge(BlockId from, BlockId to) const;

  static constexpr BlockId kEnd = kNone;

 private:
  struct Region {
    std::map<BlockId, std::vector<BlockId>> successors;
    std::map<BlockId, std::set<BlockId>> always_reached;
    std::map<BlockId, std::set<BlockId>> deciders;
  };

  void FindDominators(const Program& program);
  void FindLoops(const Program& program);
  void BuildRegion(const Program& program, LoopId loop);

  std::vector<BlockId> immediate_dominator_;
  std::vector<LoopId> loop_of_;
  std::vector<Loop> loops_;
  std::vector<Region> regions_;
};

}  // namespace Vantra::Pixelc
