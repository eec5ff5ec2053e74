#include "tidy.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <tuple>
#include <utility>

#include "evaluate.h"
#include "flow.h"

namespace Vantra::Pixelc {
namespace {

bool IsLeaf(Op op) { return op < Op::kPhi; }

bool HasEffect(Op op) { return op == Op::kStoreArray || op == Op::kResult || op == Op::kWriteWord; }

// What may be computed once for two places.
bool IsPure(Op op) { return !HasEffect(op) && op != Op::kPhi && op != Op::kLoadArray; }

class Tidier {
 public:
  explicit Tidier(Program* program) : program_(*program) {}

  void Run() {
    // Folding can decide branches, which can leave phis with one value, and so on.
    do {
      OrderBlocks(&program_);
      changed_ = false;
      replacement_.assign(program_.types.size(), kNone);
      JoinPhis();
      Fold();
      // Ways that were folded away are told from those that merged blocks bring.
      OrderBlocks(&program_);
      MergeBlocks();
    } while (changed_);
    RemoveUnused();
    RemoveUnusedArrays();
    Renumber();
  }

 private:
  ValueId Find(ValueId value) {
    while (replacement_[value] != kNone) value = replacement_[value];
    return value;
  }

  void Replace(ValueId value, ValueId by) {
    replacement_[value] = by;
    changed_ = true;
  }

  // Phis of one value, and of itself.
  void JoinPhis() {
    for (bool again = true; again;) {
      again = false;
      for (Block& block : program_.blocks) {
        std::erase_if(block.instructions, [&](Instruction& phi) {
          if (phi.op != Op::kPhi) return false;
          ValueId only = kNone;
          for (ValueId& operand : phi.operands) {
            operand = Find(operand);
            if (operand == phi.results[0] || operand == only) continue;
            if (only != kNone) return false;
            only = operand;
          }
          if (only == kNone) return false;
          Replace(phi.results[0], only);
          again = true;
          return true;
        });
      }
    }
  }

  // Computes what is constant, and joins what is the same, where one place dominates the other.
  void Fold() {
    constant_of_.assign(program_.types.size(), std::nullopt);
    constants_.clear();
    for (const Instruction& instruction : program_.blocks[0].instructions) {
      if (instruction.op == Op::kConstant) NoteConstant(instruction);
    }
    std::vector<Instruction> new_constants;
    const std::vector<BlockId> dominators = Dominators(program_);
    std::vector<std::vector<BlockId>> children(program_.blocks.size());
    for (BlockId block = 1; block < program_.blocks.size(); ++block) {
      children[dominators[block]].push_back(block);
    }
    struct Visit {
      BlockId block;
      bool is_leaving;
    };
    std::vector<std::vector<Key>> added(program_.blocks.size());
    std::vector<Visit> stack = {{0, false}};
    while (!stack.empty()) {
      const Visit visit = stack.back();
      stack.pop_back();
      if (visit.is_leaving) {
        for (const Key& key : added[visit.block]) known_.erase(key);
        continue;
      }
      std::erase_if(program_.blocks[visit.block].instructions, [&](Instruction& instruction) {
        return FoldInstruction(instruction, &new_constants, &added[visit.block]);
      });
      stack.push_back({visit.block, true});
      for (const BlockId child : children[visit.block]) stack.push_back({child, false});
    }
    for (Block& block : program_.blocks) {
      for (Instruction& instruction : block.instructions) {
        for (ValueId& operand : instruction.operands) operand = Find(operand);
      }
      FoldBranch(&block.terminator);
    }
    auto& entry = program_.blocks[0].instructions;
    entry.insert(entry.begin(), std::make_move_iterator(new_constants.begin()),
                 std::make_move_iterator(new_constants.end()));
  }

  using Key = std::tuple<Op, Type, std::vector<ValueId>, std::uint32_t, std::uint32_t, bool>;

  void NoteConstant(const Instruction& constant) {
    constant_of_[constant.results[0]] = constant.bits;
    constants_[{constant.type, constant.bits}] = constant.results[0];
  }

  // True when the instruction is no longer needed.
  bool FoldInstruction(Instruction& instruction, std::vector<Instruction>* new_constants,
                       std::vector<Key>* added) {
    if (IsLeaf(instruction.op)) return false;
    for (ValueId& operand : instruction.operands) operand = Find(operand);
    if (!IsPure(instruction.op)) return false;
    if (const ValueId same = Simplified(instruction, new_constants); same != kNone) {
      Replace(instruction.results[0], same);
      return true;
    }
    Key key(instruction.op, instruction.type, instruction.operands, instruction.index,
            instruction.second_index, instruction.is_precise);
    const auto [found, is_new] = known_.try_emplace(key, instruction.results);
    if (is_new) {
      added->push_back(std::move(key));
      return false;
    }
    for (std::size_t index = 0; index < instruction.results.size(); ++index) {
      Replace(instruction.results[index], found->second[index]);
    }
    return true;
  }

  std::optional<std::uint32_t> ConstantOf(ValueId value) const {
    // Those made by this very folding have the largest numbers.
    return value < constant_of_.size() ? constant_of_[value] : std::nullopt;
  }

  // A value that the instruction's result always equals, or kNone.
  ValueId Simplified(const Instruction& instruction, std::vector<Instruction>* new_constants) {
    const auto& operands = instruction.operands;
    std::vector<TypedBits> bits;
    for (const ValueId operand : operands) {
      if (const auto constant = ConstantOf(operand)) {
        bits.push_back({program_.types[operand], *constant});
      }
    }
    if (!operands.empty() && bits.size() == operands.size() &&
        IsExact(instruction.op, instruction.type, bits)) {
      if (const auto value = Evaluate(instruction.op, instruction.type, bits)) {
        return Constant(instruction.type, *value, new_constants);
      }
    }
    if (instruction.op == Op::kSelect) {
      if (const auto condition = ConstantOf(operands[0])) return operands[*condition != 0 ? 1 : 2];
      return operands[1] == operands[2] ? operands[1] : kNone;
    }
    return operands.size() == 2 ? SimplifiedPair(instruction, new_constants) : kNone;
  }

  ValueId SimplifiedPair(const Instruction& instruction, std::vector<Instruction>* new_constants) {
    constexpr std::uint32_t kOneAsFloat = 0x3F800000;
    const ValueId a = instruction.operands[0];
    const ValueId b = instruction.operands[1];
    const auto left = ConstantOf(a);
    const auto right = ConstantOf(b);
    const bool is_float = instruction.type == Type::kFloat;
    const bool is_bool = instruction.type == Type::kBool;
    const std::uint32_t one = is_float ? kOneAsFloat : 1;
    const std::uint32_t all = is_bool ? 1 : ~0u;
    switch (instruction.op) {
      case Op::kMul:
        if (left == one || right == one) return left == one ? b : a;
        return !is_float && (left == 0u || right == 0u)
                   ? Constant(instruction.type, 0, new_constants)
                   : kNone;
      case Op::kDiv:
        return right == one ? a : kNone;
      case Op::kAdd:
        // A sum of floats with 0 is not always the other: -0 + 0 is 0.
        if (is_float) return kNone;
        return right == 0u ? a : left == 0u ? b : kNone;
      case Op::kSub:
        return right == 0u ? a : kNone;
      case Op::kShiftLeft:
      case Op::kShiftRight:
        return right == 0u ? a : kNone;
      case Op::kAnd:
        if (left == 0u || right == 0u) return left == 0u ? a : b;
        return right == all ? a : left == all ? b : a == b ? a : kNone;
      case Op::kOr:
        if (left == all || right == all) return left == all ? a : b;
        return right == 0u ? a : left == 0u ? b : a == b ? a : kNone;
      default:
        return kNone;
    }
  }

  ValueId Constant(Type type, std::uint32_t bits, std::vector<Instruction>* new_constants) {
    const auto value = static_cast<ValueId>(program_.types.size());
    const auto [found, is_new] = constants_.try_emplace({type, bits}, value);
    if (is_new) {
      program_.types.push_back(type);
      replacement_.push_back(kNone);
      constant_of_.push_back(bits);
      new_constants->push_back(
          {.op = Op::kConstant, .type = type, .results = {value}, .bits = bits});
    }
    return found->second;
  }

  void FoldBranch(Terminator* terminator) {
    if (terminator->kind != Terminator::Kind::kBranchIf) return;
    terminator->condition = Find(terminator->condition);
    const auto condition = ConstantOf(terminator->condition);
    if (!condition && terminator->targets[0] != terminator->targets[1]) return;
    const BlockId target = terminator->targets[condition.value_or(1) != 0 ? 0 : 1];
    *terminator = {.kind = Terminator::Kind::kBranch, .targets = {target, kNone}};
    changed_ = true;
  }

  // Takes a block with one way to it, from a block with one way out, into that one.
  void MergeBlocks() {
    std::vector<std::uint32_t> ways(program_.blocks.size());
    for (const Block& block : program_.blocks) {
      for (const BlockId target : block.terminator.targets) {
        if (target != kNone) ++ways[target];
      }
    }
    for (BlockId id = 0; id < program_.blocks.size(); ++id) {
      Block& block = program_.blocks[id];
      while (block.terminator.kind == Terminator::Kind::kBranch) {
        const BlockId next_id = block.terminator.targets[0];
        Block& next = program_.blocks[next_id];
        const bool has_phis = !next.instructions.empty() && next.instructions[0].op == Op::kPhi;
        if (ways[next_id] != 1 || next_id <= id || has_phis) break;
        block.instructions.insert(block.instructions.end(),
                                  std::make_move_iterator(next.instructions.begin()),
                                  std::make_move_iterator(next.instructions.end()));
        block.terminator = next.terminator;
        for (const BlockId target : block.terminator.targets) {
          if (target != kNone) {
            auto& predecessors = program_.blocks[target].predecessors;
            std::ranges::replace(predecessors, next_id, id);
          }
        }
        next = {};
        ways[next_id] = 0;
        changed_ = true;
      }
    }
  }

  void RemoveUnused() {
    std::vector<const Instruction*> source(program_.types.size(), nullptr);
    std::vector<bool> is_used(program_.types.size(), false);
    std::vector<bool> is_loaded(program_.arrays.size(), false);
    std::vector<ValueId> left;
    std::map<std::uint32_t, std::vector<const Instruction*>> stores;
    const auto use = [&](ValueId value) {
      if (!is_used[value]) {
        is_used[value] = true;
        left.push_back(value);
      }
    };
    for (const Block& block : program_.blocks) {
      for (const Instruction& instruction : block.instructions) {
        for (const ValueId result : instruction.results) source[result] = &instruction;
        if (instruction.op == Op::kStoreArray) {
          stores[instruction.index].push_back(&instruction);
        } else if (HasEffect(instruction.op)) {
          std::ranges::for_each(instruction.operands, use);
        }
      }
      if (block.terminator.condition != kNone) use(block.terminator.condition);
    }
    while (!left.empty()) {
      const Instruction* instruction = source[left.back()];
      left.pop_back();
      if (instruction == nullptr) continue;
      std::ranges::for_each(instruction->operands, use);
      if (instruction->op == Op::kLoadArray && !is_loaded[instruction->index]) {
        is_loaded[instruction->index] = true;
        for (const Instruction* store : stores[instruction->index]) {
          std::ranges::for_each(store->operands, use);
        }
      }
    }
    for (Block& block : program_.blocks) {
      std::erase_if(block.instructions, [&](const Instruction& instruction) {
        if (instruction.op == Op::kStoreArray) return !is_loaded[instruction.index];
        return !HasEffect(instruction.op) &&
               std::ranges::none_of(instruction.results,
                                    [&](ValueId result) { return is_used[result]; });
      });
    }
  }

  void RemoveUnusedArrays() {
    std::vector<std::uint32_t> number(program_.arrays.size(), kNone);
    std::vector<Array> arrays;
    for (Block& block : program_.blocks) {
      for (Instruction& instruction : block.instructions) {
        if (instruction.op != Op::kLoadArray && instruction.op != Op::kStoreArray) continue;
        std::uint32_t& place = number[instruction.index];
        if (place == kNone) {
          place = static_cast<std::uint32_t>(arrays.size());
          arrays.push_back(program_.arrays[instruction.index]);
        }
        instruction.index = place;
      }
    }
    program_.arrays = std::move(arrays);
  }

  void Renumber() {
    std::vector<ValueId> number(program_.types.size(), kNone);
    std::vector<Type> types;
    for (Block& block : program_.blocks) {
      for (Instruction& instruction : block.instructions) {
        for (ValueId& result : instruction.results) {
          types.push_back(program_.types[result]);
          result = number[result] = static_cast<ValueId>(types.size() - 1);
        }
      }
    }
    for (Block& block : program_.blocks) {
      for (Instruction& instruction : block.instructions) {
        for (ValueId& operand : instruction.operands) operand = number[operand];
      }
      if (block.terminator.condition != kNone) {
        block.terminator.condition = number[block.terminator.condition];
      }
    }
    program_.types = std::move(types);
  }

  Program& program_;
  bool changed_ = false;
  std::vector<ValueId> replacement_;
  std::vector<std::optional<std::uint32_t>> constant_of_;
  std::map<std::pair<Type, std::uint32_t>, ValueId> constants_;
  std::map<Key, std::vector<ValueId>> known_;
};

}  // namespace

void Tidy(Program* program) { Tidier(program).Run(); }

}  // namespace Vantra::Pixelc
