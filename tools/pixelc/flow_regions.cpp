#include "flow_regions.h"

#include <algorithm>
#include <functional>
#include <iterator>

namespace Vantra::Pixelc {

std::vector<BlockId> SuccessorsOf(const Block& block) {
  switch (block.terminator.kind) {
    case Terminator::Kind::kReturn:
      return {};
    case Terminator::Kind::kBranch:
      return {block.terminator.targets[0]};
    case Terminator::Kind::kBranchIf:
      break;
  }
  if (block.terminator.targets[0] == block.terminator.targets[1]) {
    return {block.terminator.targets[0]};
  }
  return {block.terminator.targets[0], block.terminator.targets[1]};
}

std::vector<BlockId> ReversePostorder(const Program& program) {
  std::vector<BlockId> order;
  std::vector<bool> seen(program.blocks.size());
  const std::function<void(BlockId)> visit = [&](BlockId block) {
    seen[block] = true;
    std::vector<BlockId> successors = SuccessorsOf(program.blocks[block]);
    std::reverse(successors.begin(), successors.end());
    for (const BlockId next : successors) {
      if (!seen[next]) visit(next);
    }
    order.push_back(block);
  };
  visit(0);
  std::reverse(order.begin(), order.end());
  return order;
}

FlowRegions::FlowRegions(const Program& program) {
  FindDominators(program);
  FindLoops(program);
  regions_.resize(loops_.size());
  for (LoopId loop = 0; loop < loops_.size(); ++loop) BuildRegion(program, loop);
}

void FlowRegions::FindDominators(const Program& program) {
  immediate_dominator_.assign(program.blocks.size(), kNone);
  immediate_dominator_[0] = 0;
  // Blocks are in reverse postorder, so that the walk up goes to smaller numbers.
  const auto common = [&](BlockId a, BlockId b) {
    while (a != b) {
      if (a > b) {
        a = immediate_dominator_[a];
      } else {
        b = immediate_dominator_[b];
      }
    }
    return a;
  };
  for (bool changed = true; changed;) {
    changed = false;
    for (BlockId block = 1; block < program.blocks.size(); ++block) {
      BlockId dominator = kNone;
      for (const BlockId predecessor : program.blocks[block].predecessors) {
        if (immediate_dominator_[predecessor] == kNone) continue;
        dominator = dominator == kNone ? predecessor : common(dominator, predecessor);
      }
      if (immediate_dominator_[block] != dominator) {
        immediate_dominator_[block] = dominator;
        changed = true;
      }
    }
  }
}

bool FlowRegions::Dominates(BlockId dominator, BlockId block) const {
  while (block > dominator) block = immediate_dominator_[block];
  return block == dominator;
}

bool FlowRegions::IsBackEdge(BlockId from, BlockId to) const {
  return from >= to && Dominates(to, from);
}

void FlowRegions::FindLoops(const Program& program) {
  const auto& blocks = program.blocks;
  loop_of_.assign(blocks.size(), 0);
  loops_.push_back({.header = 0, .parent = kNone, .exits = {}, .nodes = {}});
  // Headers come in reverse postorder, so outer loops before inner ones, which overwrite.
  for (BlockId header = 0; header < blocks.size(); ++header) {
    std::vector<BlockId> pending;
    for (const BlockId predecessor : blocks[header].predecessors) {
      if (IsBackEdge(predecessor, header)) pending.push_back(predecessor);
    }
    if (pending.empty()) continue;
    const LoopId loop = static_cast<LoopId>(loops_.size());
    loops_.push_back({.header = header, .parent = loop_of_[header], .exits = {}, .nodes = {}});
    loop_of_[header] = loop;
    while (!pending.empty()) {
      const BlockId block = pending.back();
      pending.pop_back();
      if (loop_of_[block] == loop) continue;
      loop_of_[block] = loop;
      for (const BlockId predecessor : blocks[block].predecessors) pending.push_back(predecessor);
    }
  }
  // An empty block on the way out of a loop belongs to it, so that what leaves by several ways to
  // the same place is one exit, unless that place is reached without the loop, too.
  const auto comes_from = [&](LoopId loop, BlockId block) {
    const Block& leaving = blocks[block];
    return Contains(loop, block) ||
           (leaving.instructions.empty() && leaving.predecessors.size() == 1 &&
            Contains(loop, leaving.predecessors[0]));
  };
  for (BlockId block = 1; block < blocks.size(); ++block) {
    const Block& leaving = blocks[block];
    if (!leaving.instructions.empty() || leaving.predecessors.size() != 1 ||
        leaving.terminator.kind != Terminator::Kind::kBranch) {
      continue;
    }
    const LoopId loop = loop_of_[leaving.predecessors[0]];
    const BlockId target = leaving.terminator.targets[0];
    const std::vector<BlockId>& arriving = blocks[target].predecessors;
    if (loop != 0 && !Contains(loop, block) && !Contains(loop, target) &&
        !IsBackEdge(block, target) &&
        std::all_of(arriving.begin(), arriving.end(),
                    [&](BlockId from) { return comes_from(loop, from); })) {
      loop_of_[block] = loop;
    }
  }
  for (BlockId block = 0; block < blocks.size(); ++block) {
    for (LoopId loop = loop_of_[block]; loop != kNone; loop = loops_[loop].parent) {
      if (NodeOf(loop, block) == block) loops_[loop].nodes.push_back(block);
      for (const BlockId next : SuccessorsOf(blocks[block])) {
        if (!Contains(loop, next)) loops_[loop].exits.push_back({block, next});
      }
    }
  }
}

bool FlowRegions::Contains(LoopId loop, BlockId block) const {
  LoopId inner = loop_of_[block];
  while (inner != kNone && inner > loop) inner = loops_[inner].parent;
  return inner == loop;
}

BlockId FlowRegions::NodeOf(LoopId loop, BlockId block) const {
  LoopId inner = loop_of_[block];
  if (inner == loop) return block;
  while (loops_[inner].parent != loop) inner = loops_[inner].parent;
  return loops_[inner].header;
}

LoopId FlowRegions::LoopAt(LoopId region, BlockId node) const {
  LoopId inner = loop_of_[node];
  while (loops_[inner].parent != region) inner = loops_[inner].parent;
  return inner;
}

BlockId FlowRegions::ParentNode(LoopId region, BlockId node) const {
  if (node == loops_[region].header) return kNone;
  return NodeOf(region, immediate_dominator_[node]);
}

const std::vector<BlockId>& FlowRegions::NodeSuccessors(LoopId region, BlockId node) const {
  return regions_[region].successors.at(node);
}

bool FlowRegions::AlwaysReaches(LoopId region, BlockId node, BlockId later) const {
  return regions_[region].always_reached.at(node).count(later) != 0;
}

const std::set<BlockId>& FlowRegions::Deciders(LoopId region, BlockId node) const {
  return regions_[region].deciders.at(node);
}

void FlowRegions::BuildRegion(const Program& program, LoopId loop) {
  Region& region = regions_[loop];
  const std::vector<BlockId>& nodes = loops_[loop].nodes;
  for (const BlockId node : nodes) {
    std::set<BlockId> successors;
    const auto add = [&](BlockId to) {
      const bool leaves = !Contains(loop, to) || to == loops_[loop].header;
      successors.insert(leaves ? kEnd : NodeOf(loop, to));
    };
    if (IsLoopNode(loop, node)) {
      for (const Edge& exit : loops_[LoopAt(loop, node)].exits) add(exit.to);
    } else {
      for (const BlockId next : SuccessorsOf(program.blocks[node])) add(next);
    }
    if (successors.empty()) successors.insert(kEnd);
    region.successors[node].assign(successors.begin(), successors.end());
  }
  region.always_reached[kEnd] = {kEnd};
  for (auto node = nodes.rbegin(); node != nodes.rend(); ++node) {
    std::set<BlockId> reached;
    bool first = true;
    for (const BlockId next : region.successors[*node]) {
      const std::set<BlockId>& others = region.always_reached[next];
      if (first) {
        reached = others;
        first = false;
        continue;
      }
      std::set<BlockId> both;
      std::set_intersection(reached.begin(), reached.end(), others.begin(), others.end(),
                            std::inserter(both, both.end()));
      reached = std::move(both);
    }
    reached.insert(*node);
    region.always_reached[*node] = std::move(reached);
  }
  for (const BlockId node : nodes) region.deciders[node];
  for (const BlockId decider : nodes) {
    const std::set<BlockId>& unconditional = region.always_reached[decider];
    for (const BlockId next : region.successors[decider]) {
      for (const BlockId node : region.always_reached[next]) {
        if (node != kEnd && (node == decider || unconditional.count(node) == 0)) {
          region.deciders[node].insert(decider);
        }
      }
    }
  }
}

}  // namespace Vantra::Pixelc
