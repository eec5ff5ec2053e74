#include "flow.h"

#include <algorithm>
#include <array>
#include <utility>

#include "tidy.h"

namespace Vantra::Pixelc {
namespace {

std::vector<BlockId> ReversePostorder(const Program& program) {
  struct Visit {
    BlockId block;
    std::size_t next;
  };
  std::vector<bool> seen(program.blocks.size(), false);
  std::vector<BlockId> order;
  std::vector<Visit> stack = {{0, 0}};
  seen[0] = true;
  while (!stack.empty()) {
    Visit& visit = stack.back();
    const auto& targets = program.blocks[visit.block].terminator.targets;
    if (visit.next == targets.size()) {
      order.push_back(visit.block);
      stack.pop_back();
      continue;
    }
    // The second target first, for the first one to follow its block.
    const BlockId target = targets[targets.size() - 1 - visit.next++];
    if (target != kNone && !seen[target]) {
      seen[target] = true;
      stack.push_back({target, 0});
    }
  }
  std::ranges::reverse(order);
  return order;
}

// Keeps the blocks of `order`, in this order.
void Permute(const std::vector<BlockId>& order, Program* program) {
  std::vector<BlockId> number(program->blocks.size(), kNone);
  for (std::size_t place = 0; place < order.size(); ++place) {
    number[order[place]] = static_cast<BlockId>(place);
  }
  std::vector<Block> blocks;
  blocks.reserve(order.size());
  for (const BlockId old : order) {
    blocks.push_back(std::move(program->blocks[old]));
    for (BlockId& target : blocks.back().terminator.targets) {
      target = target == kNone ? kNone : number[target];
    }
    for (BlockId& predecessor : blocks.back().predecessors) predecessor = number[predecessor];
  }
  program->blocks = std::move(blocks);
}

void DropWaysThatAreGone(Program* program) {
  for (BlockId id = 0; id < program->blocks.size(); ++id) {
    Block& block = program->blocks[id];
    std::vector<std::size_t> kept;
    std::vector<BlockId> predecessors;
    for (std::size_t place = 0; place < block.predecessors.size(); ++place) {
      const BlockId predecessor = block.predecessors[place];
      if (predecessor == kNone) continue;
      const auto& targets = program->blocks[predecessor].terminator.targets;
      if (std::ranges::count(predecessors, predecessor) < std::ranges::count(targets, id)) {
        predecessors.push_back(predecessor);
        kept.push_back(place);
      }
    }
    for (Instruction& phi : block.instructions) {
      if (phi.op != Op::kPhi) break;
      std::vector<ValueId> operands;
      for (const std::size_t place : kept) operands.push_back(phi.operands[place]);
      phi.operands = std::move(operands);
    }
    block.predecessors = std::move(predecessors);
  }
}

// For each block the header of the innermost loop that it is in, itself if it is one, or kNone; and
// for each header that of the loop around.
struct Loops {
  std::vector<BlockId> innermost;
  std::vector<BlockId> around;
};

Loops FindLoops(const Program& program, const std::vector<BlockId>& dominators) {
  Loops loops{std::vector<BlockId>(program.blocks.size(), kNone),
              std::vector<BlockId>(program.blocks.size(), kNone)};
  // Inner headers come later, so that the last one to claim a block is the outermost.
  for (BlockId header = static_cast<BlockId>(program.blocks.size()); header-- > 0;) {
    std::vector<BlockId> left;
    for (const BlockId predecessor : program.blocks[header].predecessors) {
      if (predecessor >= header && Dominates(dominators, header, predecessor)) {
        left.push_back(predecessor);
      }
    }
    if (left.empty()) continue;
    std::vector<bool> seen(program.blocks.size(), false);
    seen[header] = true;
    loops.innermost[header] = header;
    while (!left.empty()) {
      const BlockId block = left.back();
      left.pop_back();
      if (seen[block]) continue;
      seen[block] = true;
      if (loops.innermost[block] == kNone) {
        loops.innermost[block] = header;
      } else if (loops.innermost[block] == block && loops.around[block] == kNone) {
        loops.around[block] = header;
      }
      left.insert(left.end(), program.blocks[block].predecessors.begin(),
                  program.blocks[block].predecessors.end());
    }
  }
  return loops;
}

bool IsWithin(const Loops& loops, BlockId block, BlockId header) {
  if (header == kNone) return true;
  for (BlockId loop = loops.innermost[block]; loop != kNone; loop = loops.around[loop]) {
    if (loop == header) return true;
  }
  return false;
}

// An order in which all blocks but loop headers follow their predecessors, and a loop's blocks
// stand together. Fewer blocks than there are when the flow is not reducible.
std::vector<BlockId> OrderWithLoopsTogether(const Program& program) {
  const std::vector<BlockId> dominators = Dominators(program);
  const Loops loops = FindLoops(program, dominators);
  std::vector<std::size_t> missing(program.blocks.size(), 0);
  for (BlockId id = 0; id < program.blocks.size(); ++id) {
    for (const BlockId predecessor : program.blocks[id].predecessors) {
      missing[id] += Dominates(dominators, id, predecessor) ? 0 : 1;
    }
  }
  std::vector<BlockId> order;
  std::vector<BlockId> ready = {0};
  BlockId loop = kNone;
  while (!ready.empty()) {
    auto found = ready.rend();
    while ((found = std::find_if(ready.rbegin(), ready.rend(), [&](BlockId block) {
              return IsWithin(loops, block, loop);
            })) == ready.rend()) {
      loop = loops.around[loop];
    }
    const BlockId next = *found;
    ready.erase(std::next(found).base());
    order.push_back(next);
    loop = loops.innermost[next];
    const auto& targets = program.blocks[next].terminator.targets;
    for (std::size_t place = targets.size(); place-- > 0;) {
      const BlockId target = targets[place];
      if (target != kNone && !Dominates(dominators, target, next) && --missing[target] == 0) {
        ready.push_back(target);
      }
    }
  }
  return order;
}

bool IsInteger(Type type) { return type == Type::kInt || type == Type::kUint; }

// Whether an instruction's operands and result are of types that it is there for.
bool HasFittingTypes(const Program& program, const Instruction& instruction) {
  const auto type_of = [&](std::size_t index) {
    return program.types[instruction.operands[index]];
  };
  const auto all_are = [&](std::size_t first, std::size_t count, Type type) {
    if (instruction.operands.size() != first + count) return false;
    for (std::size_t index = first; index < instruction.operands.size(); ++index) {
      if (type_of(index) != type) return false;
    }
    return true;
  };
  const auto array_type = [&] { return program.arrays[instruction.index].type; };
  switch (instruction.op) {
    case Op::kSample:
      return all_are(0, 2, Type::kFloat);
    case Op::kFetch:
      return all_are(0, 2, Type::kInt);
    case Op::kLoadConstant:
      return all_are(0, 1, Type::kUint) && instruction.type != Type::kBool;
    case Op::kLoadArray:
      return all_are(0, 1, Type::kUint) && instruction.type == array_type();
    case Op::kStoreArray:
      return type_of(0) == Type::kUint && all_are(1, 1, array_type());
    case Op::kResult:
      return all_are(0, 4, Type::kFloat);
    case Op::kWriteWord:
      return all_are(0, 2, Type::kUint);
    case Op::kPhi:
      return all_are(0, instruction.operands.size(), instruction.type);
    case Op::kSelect:
      return type_of(0) == Type::kBool && all_are(1, 2, instruction.type);
    case Op::kLdexp:
      return type_of(0) == Type::kFloat && all_are(1, 1, Type::kInt);
    default:
      break;
  }
  if (instruction.operands.empty()) return true;
  const Type first = type_of(0);
  if (!all_are(0, instruction.operands.size(), first)) return false;
  switch (instruction.op) {
    case Op::kAnd:
    case Op::kOr:
    case Op::kXor:
    case Op::kNot:
      return first != Type::kFloat;
    case Op::kEqual:
    case Op::kNotEqual:
    case Op::kBitsToFloat:
    case Op::kBitsToInt:
    case Op::kBitsToUint:
      return true;
    case Op::kShiftLeft:
    case Op::kShiftRight:
    case Op::kBitCount:
    case Op::kBitReverse:
    case Op::kFindLowestBit:
    case Op::kFindHighestBit:
    case Op::kMulHigh:
      return IsInteger(first);
    case Op::kIntToFloat:
      return first == Type::kInt;
    case Op::kUintToFloat:
    case Op::kHalfToFloat:
      return first == Type::kUint;
    default:
      return instruction.op >= Op::kIsNan ? first == Type::kFloat : first != Type::kBool;
  }
}

}  // namespace

void LinkPredecessors(Program* program) {
  for (Block& block : program->blocks) block.predecessors.clear();
  for (BlockId id = 0; id < program->blocks.size(); ++id) {
    for (const BlockId target : program->blocks[id].terminator.targets) {
      if (target != kNone) program->blocks[target].predecessors.push_back(id);
    }
  }
}

void OrderBlocks(Program* program) {
  Permute(ReversePostorder(*program), program);
  DropWaysThatAreGone(program);
  const std::vector<BlockId> order = OrderWithLoopsTogether(*program);
  if (order.size() == program->blocks.size()) Permute(order, program);
}

std::vector<BlockId> Dominators(const Program& program) {
  std::vector<BlockId> dominators(program.blocks.size(), kNone);
  dominators[0] = 0;
  for (bool changed = true; changed;) {
    changed = false;
    for (BlockId id = 1; id < program.blocks.size(); ++id) {
      BlockId dominator = kNone;
      for (BlockId other : program.blocks[id].predecessors) {
        if (dominators[other] == kNone) continue;
        if (dominator == kNone) dominator = other;
        while (dominator != other) {
          if (dominator > other) {
            dominator = dominators[dominator];
          } else {
            other = dominators[other];
          }
        }
      }
      changed = changed || dominators[id] != dominator;
      dominators[id] = dominator;
    }
  }
  return dominators;
}

bool Dominates(const std::vector<BlockId>& dominators, BlockId upper, BlockId lower) {
  while (lower > upper) lower = dominators[lower];
  return lower == upper;
}

std::string FaultOf(const Program& program) {
  const std::vector<BlockId> dominators = Dominators(program);
  std::vector<BlockId> home(program.types.size(), kNone);
  for (BlockId id = 0; id < program.blocks.size(); ++id) {
    for (const Instruction& instruction : program.blocks[id].instructions) {
      for (const ValueId result : instruction.results) home[result] = id;
    }
  }
  const std::string late = "a value is used where it is not known";
  std::vector<bool> is_known(program.types.size(), false);
  for (BlockId id = 0; id < program.blocks.size(); ++id) {
    const Block& block = program.blocks[id];
    std::size_t ways_back = 0;
    for (const BlockId predecessor : block.predecessors) {
      if (predecessor >= id) {
        ++ways_back;
        if (!Dominates(dominators, id, predecessor)) return "the flow is not reducible";
      }
    }
    if (ways_back > 1) return "a loop has more than one way back";
    const auto knows = [&](ValueId value) {
      return value < home.size() && is_known[value] && Dominates(dominators, home[value], id);
    };
    for (const Instruction& instruction : block.instructions) {
      if (instruction.op == Op::kPhi) {
        for (std::size_t place = 0; place < instruction.operands.size(); ++place) {
          const ValueId operand = instruction.operands[place];
          if (operand >= home.size() || home[operand] == kNone ||
              !Dominates(dominators, home[operand], block.predecessors[place])) {
            return late;
          }
        }
      } else if (!std::ranges::all_of(instruction.operands, knows)) {
        return late;
      }
      if (!HasFittingTypes(program, instruction)) {
        return "an operand is not of a type that it may be of";
      }
      for (const ValueId result : instruction.results) is_known[result] = true;
    }
    if (block.terminator.condition != kNone && !knows(block.terminator.condition)) return late;
  }
  return {};
}

}  // namespace Vantra::Pixelc
