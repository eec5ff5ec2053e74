#include "flow_writer.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace Vantra::Pixelc {

namespace {

std::string FlagOf(BlockId block) { return "b" + std::to_string(block); }
std::string MaskOf(BlockId block) { return "at" + std::to_string(block); }
std::string LoopMaskOf(BlockId header) { return "in" + std::to_string(header); }
std::string NextMaskOf(BlockId header) { return "next" + std::to_string(header); }

bool Mentions(const std::string& text, const std::string& word) {
  CodeText line;
  line.Line(text);
  return line.Mentions(word);
}

}  // namespace

CodeText FlowWriter::WriteProgram() {
  CodeText text;
  WriteNode(0, 0, "", text);
  return text;
}

LoopId FlowWriter::EntryRegion(BlockId block) const {
  const LoopId loop = analysis_.flow.InnermostLoop(block);
  const Loop& innermost = analysis_.flow.Loops()[loop];
  return loop != 0 && innermost.header == block ? innermost.parent : loop;
}

FlowWriter::Activity FlowWriter::ActivityOf(LoopId region, BlockId node) const {
  const BlockId parent = analysis_.flow.ParentNode(region, node);
  if (analysis_.flow.AlwaysReaches(region, parent, node)) return Activity::kAlways;
  return analysis_.divergence.PartsBetween(region, parent, node) ? Activity::kUnderMask
                                                                 : Activity::kUnderCondition;
}

bool FlowWriter::PassesOver(LoopId region, BlockId node) const {
  return SkipsMasked() &&
         analysis_.divergence.PartsBetween(region, analysis_.flow.Loops()[region].header, node);
}

bool FlowWriter::IsWithinBranch(LoopId region, BlockId node) const {
  const std::vector<BlockId>& predecessors = analysis_.program.blocks[node].predecessors;
  return predecessors.size() == 1 && analysis_.flow.InnermostLoop(predecessors[0]) == region &&
         analysis_.program.blocks[predecessors[0]].terminator.kind == Terminator::Kind::kBranchIf;
}

bool FlowWriter::LeadsStraight(BlockId from, BlockId to) const {
  if (analysis_.program.blocks[from].terminator.kind != Terminator::Kind::kBranch ||
      analysis_.flow.InnermostLoop(from) != EntryRegion(to)) {
    return false;
  }
  const std::vector<BlockId>& predecessors = analysis_.program.blocks[to].predecessors;
  return std::all_of(predecessors.begin(), predecessors.end(), [&](BlockId predecessor) {
    return predecessor == from || analysis_.flow.IsBackEdge(predecessor, to);
  });
}

bool FlowWriter::IsLive(BlockId node) const {
  const auto known = live_.find(node);
  if (known != live_.end()) return known->second;
  // What a block does may be no more than to lead on: to set the flag of one that it does not
  // dominate, to leave a loop or to start it anew.
  const auto leads_on = [&](BlockId block, BlockId to) {
    const LoopId loop = analysis_.flow.InnermostLoop(block);
    if (analysis_.flow.IsBackEdge(block, to) || !analysis_.flow.Contains(loop, to)) {
      if (analysis_.needs.Loop(function_, loop)) return true;
      if (analysis_.flow.IsBackEdge(block, to)) return false;
    }
    return !analysis_.flow.Dominates(node, to) && IsLive(to);
  };
  for (BlockId block = node; block < analysis_.program.blocks.size(); ++block) {
    if (!analysis_.flow.Dominates(node, block)) continue;
    const std::vector<BlockId> next = SuccessorsOf(analysis_.program.blocks[block]);
    if (analysis_.needs.Block(function_, block) ||
        std::any_of(next.begin(), next.end(), [&](BlockId to) { return leads_on(block, to); })) {
      return live_[node] = true;
    }
  }
  return live_[node] = false;
}

void FlowWriter::WriteNode(LoopId region, BlockId node, const std::string& mask, CodeText& out) {
  const FlowRegions& flow = analysis_.flow;
  const bool is_loop = flow.IsLoopNode(region, node);
  const bool skipped = SkipsMasked() && !analysis_.divergence.IsUniformBlock(node);
  if (skipped && !is_loop) return;

  CodeText own;
  if (!is_loop) own = WriteBlock(node, mask);
  out.Append(own);
  std::vector<BlockId> children;
  for (const BlockId child : flow.Loops()[region].nodes) {
    if (flow.ParentNode(region, child) != node || IsWithinBranch(region, child)) continue;
    if (!IsLive(child)) continue;
    if (SkipsMasked() && !analysis_.divergence.IsUniformBlock(child) &&
        !flow.IsLoopNode(region, child)) {
      continue;
    }
    children.push_back(child);
    Declare(region, node, child, out);
  }
  if (is_loop) {
    if (skipped) {
      WriteMeeting(region, node, out);
    } else {
      WriteLoop(flow.LoopAt(region, node), mask, out);
    }
  } else {
    WriteTerminator(region, node, mask, out);
  }
  for (const BlockId child : children) {
    CodeText text;
    switch (ActivityOf(region, child)) {
      case Activity::kAlways:
        WriteNode(region, child, mask, out);
        break;
      case Activity::kUnderCondition:
        WriteNode(region, child, mask, text);
        out.Block("if (" + FlagOf(child) + ")", text);
        break;
      case Activity::kUnderMask:
        WriteNode(region, child, SkipsMasked() ? "" : MaskOf(child), text);
        if (!SkipsMasked()) out.Block("if (Any(" + MaskOf(child) + "))", text);
        break;
    }
  }
}

// The flag or mask of a node, and its phis, stand before all that leads to it.
void FlowWriter::Declare(LoopId region, BlockId parent, BlockId node, CodeText& out) {
  switch (ActivityOf(region, node)) {
    case Activity::kAlways:
      break;
    case Activity::kUnderCondition:
      out.Line("bool " + FlagOf(node) + " = false;");
      break;
    case Activity::kUnderMask:
      if (!SkipsMasked()) out.Line("M " + MaskOf(node) + " = Broadcast(false);");
      break;
  }
  if (!analysis_.flow.IsLoopNode(region, parent) && LeadsStraight(parent, node)) return;
  for (const Variable& variable : VariablesOf(node)) {
    out.Line(variable.type + " " + variable.name + " = " + variable.initial + ";");
  }
}

void FlowWriter::WriteLoop(LoopId loop, const std::string& mask, CodeText& out) {
  if (!analysis_.needs.Loop(function_, loop)) return;
  const BlockId header = analysis_.flow.Loops()[loop].header;
  CodeText body;
  if (!analysis_.divergence.LeavesApart(loop)) {
    WriteNode(loop, header, mask, body);
    if (body.EndsWith("continue;")) {
      body.DropLast();
    } else if (!body.EndsWith("break;")) {
      body.Line("break;");
    }
    out.Block("for (;;)", body);
    return;
  }
  const std::string lanes = LoopMaskOf(header);
  const std::string next = NextMaskOf(header);
  out.Line("M " + lanes + " = " + (mask.empty() ? "Broadcast(true)" : mask) + ";");
  body.Line("M " + next + " = Broadcast(false);");
  // Lanes that leave later in the text take the values of this time round.
  const std::vector<Variable> variables = VariablesOf(header);
  for (const Variable& variable : variables) {
    body.Line(variable.type + " next_" + variable.name + " = " + variable.name + ";");
  }
  WriteNode(loop, header, lanes, body);
  body.Line("if (!Any(" + next + ")) break;");
  body.Line(lanes + " = " + next + ";");
  for (const Variable& variable : variables) {
    body.Line(variable.name + " = next_" + variable.name + ";");
  }
  out.Block("for (;;)", body);
}

void FlowWriter::WriteTerminator(LoopId region, BlockId block, const std::string& mask,
                                 CodeText& out) {
  const Terminator& terminator = analysis_.program.blocks[block].terminator;
  switch (terminator.kind) {
    case Terminator::Kind::kReturn:
      return;
    case Terminator::Kind::kBranch:
      WriteEdge(block, terminator.targets[0], mask, out);
      return;
    case Terminator::Kind::kBranchIf:
      break;
  }
  if (analysis_.divergence.IsUniform(terminator.condition)) {
    if (analysis_.needs.Branch(function_, block)) WriteUniformBranch(region, block, mask, out);
    return;
  }
  if (SkipsMasked()) {
    WriteMeeting(region, block, out);
    return;
  }
  if (!analysis_.needs.Branch(function_, block)) return;
  const std::string condition = Condition(terminator.condition);
  WriteParting(region, block, terminator.targets[0],
               mask.empty() ? condition : "And(" + mask + ", " + condition + ")", out);
  WriteParting(region, block, terminator.targets[1],
               mask.empty() ? "Not(" + condition + ")" : "AndNot(" + condition + ", " + mask + ")",
               out);
}

CodeText FlowWriter::WriteWay(LoopId region, BlockId block, BlockId target,
                              const std::string& mask) {
  CodeText text;
  const bool is_within = analysis_.flow.Contains(region, target) &&
                         target != analysis_.flow.Loops()[region].header &&
                         IsWithinBranch(region, analysis_.flow.NodeOf(region, target));
  if (is_within) {
    WriteNode(region, target, mask, text);
  } else {
    WriteEdge(block, target, mask, text);
  }
  return text;
}

void FlowWriter::WriteUniformBranch(LoopId region, BlockId block, const std::string& mask,
                                    CodeText& out) {
  const Terminator& terminator = analysis_.program.blocks[block].terminator;
  const std::string condition = Condition(terminator.condition);
  const CodeText yes = WriteWay(region, block, terminator.targets[0], mask);
  const CodeText no = WriteWay(region, block, terminator.targets[1], mask);
  const auto leaves = [](const CodeText& text) {
    return text.EndsWith("break;") || text.EndsWith("continue;");
  };
  const std::string not_condition = "!" + condition;
  if (yes.Empty() && no.Empty()) return;
  // A way out stands first, so that the loop's body goes on without a step to the right.
  if (no.EndsWith("break;") || (leaves(no) && !leaves(yes))) {
    out.Block("if (" + not_condition + ")", no);
    out.Append(yes);
  } else if (leaves(yes)) {
    out.Block("if (" + condition + ")", yes);
    out.Append(no);
  } else if (no.Empty()) {
    out.Block("if (" + condition + ")", yes);
  } else if (yes.Empty()) {
    out.Block("if (" + not_condition + ")", no);
  } else {
    out.Block("if (" + condition + ")", yes);
    out.ElseBlock(no);
  }
}

// One way of a branch that lanes part at; `condition` is the mask of those that go it.
void FlowWriter::WriteParting(LoopId region, BlockId block, BlockId target,
                              const std::string& condition, CodeText& out) {
  const bool leaves = !analysis_.flow.Contains(region, target);
  const std::string name =
      leaves ? "from" + std::to_string(block) + "to" + std::to_string(target) : MaskOf(target);
  const CodeText way = WriteWay(region, block, target, name);
  if (way.Empty()) return;
  const bool only_copies = leaves || (analysis_.program.blocks[target].instructions.empty() &&
                                      SuccessorsOf(analysis_.program.blocks[target]).size() == 1 &&
                                      analysis_.needs.TapeValues(target).empty());
  if (!only_copies || way.Mentions(name)) out.Line("const M " + name + " = " + condition + ";");
  if (only_copies) {
    out.Append(way);
  } else {
    out.Block("if (Any(" + name + "))", way);
  }
}

// Says that a block comes to a node.
void FlowWriter::WriteArrival(LoopId region, BlockId from, BlockId node, const std::string& mask,
                              CodeText& out) {
  switch (ActivityOf(region, node)) {
    case Activity::kAlways:
      return;
    case Activity::kUnderCondition:
      out.Line(FlagOf(node) + " = true;");
      return;
    case Activity::kUnderMask:
      break;
  }
  const std::string lanes = mask.empty() ? "Broadcast(true)" : mask;
  const bool is_first =
      assigned_.insert(MaskOf(node)).second && analysis_.flow.InnermostLoop(from) == region;
  out.Line(MaskOf(node) + " = " + (is_first ? lanes : "Or(" + MaskOf(node) + ", " + lanes + ")") +
           ";");
}

// The row function's way from a node that it passes over, or at which pixels part, to the first
// that all of them come to.
void FlowWriter::WriteMeeting(LoopId region, BlockId node, CodeText& out) {
  for (const BlockId later : analysis_.flow.Loops()[region].nodes) {
    if (later == node || !analysis_.flow.AlwaysReaches(region, node, later) ||
        PassesOver(region, later)) {
      continue;
    }
    if (IsLive(later)) WriteArrival(region, node, later, "", out);
    return;
  }
}

std::size_t FlowWriter::WayOf(BlockId from, BlockId to) const {
  const std::vector<BlockId>& predecessors = analysis_.program.blocks[to].predecessors;
  return static_cast<std::size_t>(std::find(predecessors.begin(), predecessors.end(), from) -
                                  predecessors.begin());
}

void FlowWriter::WriteEdge(BlockId from, BlockId to, const std::string& mask, CodeText& out) {
  const FlowRegions& flow = analysis_.flow;
  const LoopId loop = flow.InnermostLoop(from);
  const bool apart = analysis_.divergence.LeavesApart(loop);
  if (flow.IsBackEdge(from, to)) {
    if (!analysis_.needs.Loop(function_, loop)) return;
    if (!apart) {
      WriteCopies(from, to, mask, out);
      out.Line("continue;");
      return;
    }
    const std::size_t way = WayOf(from, to);
    for (const Variable& variable : VariablesOf(to)) {
      if (variable.operands[way] == variable.name) continue;
      out.Line("next_" + variable.name + " = " + variable.operands[way] + ";");
    }
    out.Line(NextMaskOf(to) + " = " + mask + ";");
    return;
  }
  const LoopId region = EntryRegion(to);
  if (PassesOver(region, to)) {
    WriteMeeting(region, to, out);
  } else if (IsLive(to)) {
    WriteCopies(from, to, mask, out);
    WriteArrival(region, from, to, mask, out);
  }
  if (loop != 0 && !flow.Contains(loop, to) && !apart && analysis_.needs.Loop(function_, loop)) {
    out.Line("break;");
  }
}

void FlowWriter::WriteCopies(BlockId from, BlockId to, const std::string& mask, CodeText& out) {
  const std::size_t way = WayOf(from, to);
  const std::vector<Variable> variables = VariablesOf(to);
  if (LeadsStraight(from, to) && !analysis_.flow.IsBackEdge(from, to)) {
    for (const Variable& variable : variables) {
      assigned_.insert(variable.name);
      out.Line(variable.type + " " + variable.name + " = " + variable.operands[way] + ";");
    }
    return;
  }
  // All are assigned at once: one that a later one reads is kept.
  std::vector<std::string> sources;
  for (std::size_t i = 0; i < variables.size(); ++i) {
    std::string source = variables[i].operands[way];
    const bool is_overwritten =
        std::any_of(variables.begin(), variables.begin() + static_cast<std::ptrdiff_t>(i),
                    [&](const Variable& earlier) { return Mentions(source, earlier.name); });
    if (is_overwritten) {
      const std::string kept = "new_" + variables[i].name;
      out.Line("const " + variables[i].type + " " + kept + " = " + source + ";");
      source = kept;
    }
    sources.push_back(source);
  }
  // Lanes that do not go this way keep what they have, unless they have nothing yet, or have left
  // the loop for which the variable is.
  const bool once = analysis_.flow.InnermostLoop(from) == EntryRegion(to);
  for (std::size_t i = 0; i < variables.size(); ++i) {
    const std::string& name = variables[i].name;
    const bool is_first = assigned_.insert(name).second && once;
    const bool whole =
        !variables[i].is_lanes || mask.empty() || is_first || analysis_.flow.IsBackEdge(from, to);
    if (sources[i] == name) continue;
    out.Line(name + " = " +
             (whole ? sources[i] : "Select(" + mask + ", " + sources[i] + ", " + name + ")") + ";");
  }
}

}  // namespace Vantra::Pixelc
