#include <fmt/format.h>

#include "lowering.h"

namespace Vantra::Pixelc {
namespace {

constexpr std::uint32_t kRegisters = 3;
constexpr std::uint32_t kFirstSampler = 3;

}  // namespace

void Lowering::LoadHandle(const SpirvInstruction& instruction, std::uint32_t variable) {
  const SpirvDecorations& decorations = module_.DecorationsOf(variable);
  const SpirvType::Kind kind = module_.TypeOf(module_.FindVariable(variable)->type).kind;
  const std::uint32_t binding = decorations.binding.value_or(kNone);
  Handle handle;
  if (kind == SpirvType::Kind::kImage && binding < kRegisters) {
    handle.texture = binding;
  } else if (kind == SpirvType::Kind::kSampler && binding >= kFirstSampler &&
             binding < kFirstSampler + kRegisters) {
    handle.sampler = binding - kFirstSampler;
  } else {
    Fail(instruction, "textures have bindings 0 to 2, samplers 3 to 5");
  }
  if (decorations.descriptor_set != 0) Fail(instruction, "textures and samplers lie in set 0");
  handles_[instruction.result] = handle;
}

const Lowering::Handle& Lowering::HandleOf(const SpirvInstruction& at, std::uint32_t id) const {
  const auto found = handles_.find(id);
  if (found == handles_.end() || found->second.texture == kNone) {
    Fail(at, fmt::format("%{} is no texture here", id));
  }
  return found->second;
}

bool Lowering::LowerImage(const SpirvInstruction& instruction) {
  switch (instruction.op) {
    case spv::Op::OpSampledImage: {
      Handle handle = HandleOf(instruction, Operand(instruction, 0));
      const auto sampler = handles_.find(Operand(instruction, 1));
      if (sampler == handles_.end() || sampler->second.sampler == kNone) {
        Fail(instruction, "there is no sampler");
      }
      handle.sampler = sampler->second.sampler;
      handles_[instruction.result] = handle;
      return true;
    }
    case spv::Op::OpImage:
      handles_[instruction.result] = HandleOf(instruction, Operand(instruction, 0));
      return true;
    case spv::Op::OpImageSampleImplicitLod:
    case spv::Op::OpImageSampleExplicitLod:
      LowerSample(instruction, false);
      return true;
    case spv::Op::OpImageSampleProjImplicitLod:
    case spv::Op::OpImageSampleProjExplicitLod:
      LowerSample(instruction, true);
      return true;
    case spv::Op::OpImageFetch:
      LowerFetch(instruction);
      return true;
    case spv::Op::OpImageQuerySize:
    case spv::Op::OpImageQuerySizeLod: {
      const auto size =
          builder_.TextureSize(HandleOf(instruction, Operand(instruction, 0)).texture);
      SetResult(instruction, {size[0], size[1]});
      return true;
    }
    case spv::Op::OpImageQueryLevels:
      HandleOf(instruction, Operand(instruction, 0));
      SetResult(instruction, {builder_.Int(1)});
      return true;
    default:
      return false;
  }
}

// Textures have one level, so a level and a bias change nothing. Returns where the offset stands
// among the operands, or 0.
std::size_t Lowering::CheckImageOperands(const SpirvInstruction& at, std::size_t first) {
  if (at.operands.size() <= first) return 0;
  constexpr auto kBias = static_cast<std::uint32_t>(spv::ImageOperandsMask::Bias);
  constexpr auto kLod = static_cast<std::uint32_t>(spv::ImageOperandsMask::Lod);
  constexpr auto kOffset = static_cast<std::uint32_t>(spv::ImageOperandsMask::ConstOffset) |
                           static_cast<std::uint32_t>(spv::ImageOperandsMask::Offset);
  const std::uint32_t mask = at.operands[first];
  if ((mask & ~(kBias | kLod | kOffset)) != 0) {
    Fail(at, "of its options, only a level, a bias and an offset are supported");
  }
  if ((mask & kOffset) == 0) return 0;
  return first + 1 + ((mask & kBias) != 0 ? 1 : 0) + ((mask & kLod) != 0 ? 1 : 0);
}

void Lowering::LowerSample(const SpirvInstruction& instruction, bool projected) {
  const Handle handle = HandleOf(instruction, Operand(instruction, 0));
  const Values place = ValuesOf(instruction, Operand(instruction, 1));
  if (handle.sampler == kNone || place.size() < (projected ? 3u : 2u) ||
      builder_.TypeOf(place[0]) != Type::kFloat) {
    Fail(instruction, "it has no sampler, or no place");
  }
  if (CheckImageOperands(instruction, 2) != 0) {
    Fail(instruction, "an offset is supported for fetches alone");
  }
  ValueId u = place[0];
  ValueId v = place[1];
  if (projected) {
    u = builder_.Emit(Op::kDiv, {u, place.back()});
    v = builder_.Emit(Op::kDiv, {v, place.back()});
  }
  const auto color = builder_.Read(Op::kSample, u, v, handle.texture, handle.sampler);
  SetResult(instruction, {color.begin(), color.end()});
}

void Lowering::LowerFetch(const SpirvInstruction& instruction) {
  const Handle handle = HandleOf(instruction, Operand(instruction, 0));
  const Values place = OperandValues(instruction, 1, 2);
  ValueId x = builder_.As(place[0], Type::kInt);
  ValueId y = builder_.As(place[1], Type::kInt);
  if (const std::size_t at = CheckImageOperands(instruction, 2); at != 0) {
    const Values offset = OperandValues(instruction, at, 2);
    x = builder_.Add(x, builder_.As(offset[0], Type::kInt));
    y = builder_.Add(y, builder_.As(offset[1], Type::kInt));
  }
  const auto color = builder_.Read(Op::kFetch, x, y, handle.texture, 0);
  SetResult(instruction, {color.begin(), color.end()});
}

}  // namespace Vantra::Pixelc
