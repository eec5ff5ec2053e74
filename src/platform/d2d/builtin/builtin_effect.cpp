#include "platform/d2d/builtin/builtin_effect.h"

#include "platform/d2d/image_pass.h"

namespace Vantra::Platform {

std::shared_ptr<const EffectIdentity> MakeIdentity(REFCLSID id, const wchar_t* name,
                                                   const wchar_t* category,
                                                   const wchar_t* description) {
  auto identity = std::make_shared<EffectIdentity>();
  *identity = {id, name, L"Vantrix", category, description, 1};
  return identity;
}

HRESULT BuiltInEffect2D::MapInputsToOutput(const RECT* inputs, RECT* output) {
  input_ = ToEngine(inputs[0]);
  *output = input_.Empty() ? RECT{} : ToContract(MapBounds(input_));
  return S_OK;
}

HRESULT BuiltInEffect2D::MapOutputToInputs(const RECT& output, RECT* inputs) {
  inputs[0] = ToContract(Intersect(MapPart(ToEngine(output), input_), input_));
  return S_OK;
}

HRESULT BuiltInEffect2D::MapChange(UINT32, const RECT& changed, RECT* output) {
  *output = input_.Empty() ? RECT{} : ToContract(MapChange(ToEngine(changed), input_));
  return S_OK;
}

HRESULT BuiltInEffect2D::Draw(Evaluation& evaluation, const Images& inputs, const Target& target) {
  return DrawInTiles({evaluation, inputs[0], input_, target});
}

HRESULT BuiltInEffect2D::DrawInTiles(const Drawing& drawing) {
  const HRESULT result = Draw(drawing);
  const Render::Rect& all = drawing.target.rect;
  if (result != D2DERR_MAX_TEXTURE_SIZE_EXCEEDED || (all.Width() < 2 && all.Height() < 2)) {
    return result;
  }
  // What is made between passes reaches beyond what is drawn. Less of it is needed for a half.
  Drawing first = drawing, second = drawing;
  if (all.Width() > all.Height()) {
    first.target.rect.right = second.target.rect.left = all.left + all.Width() / 2;
  } else {
    first.target.rect.bottom = second.target.rect.top = all.top + all.Height() / 2;
  }
  const HRESULT half = DrawInTiles(first);
  return FAILED(half) ? half : DrawInTiles(second);
}

HRESULT BuiltInEffect2D::RunPass(std::span<const std::byte> program, const RenderedImage& source,
                                 std::span<const std::byte> constants, const Target& target,
                                 Render::Filter filter) {
  GraphicsDevice& device = *GetGraphicsDevice();
  Render::Pass pass;
  const HRESULT result = ToResult(device.GetProgram(program, &pass.program));
  if (FAILED(result)) return result;
  pass.target = target.texture;
  pass.rect = target.rect;
  pass.origin_x = static_cast<float>(target.origin_x - source.bounds.left);
  pass.origin_y = static_cast<float>(target.origin_y - source.bounds.top);
  if (source.texture) {
    pass.extent_x = static_cast<float>(source.bounds.Width());
    pass.extent_y = static_cast<float>(source.bounds.Height());
  }
  pass.bindings[0] = {source.texture, {.filter = filter}};
  pass.constants = constants;
  return ToResult(device.GetEngine().Draw(pass));
}

HRESULT BuiltInEffect2D::RunPasses(const EdgePrograms& programs, const Render::Rect& inner,
                                   const RenderedImage& source,
                                   std::span<const std::byte> constants, const Target& target) {
  const Render::Rect& all = target.rect;
  const std::int32_t x = target.origin_x - source.bounds.left;
  const std::int32_t y = target.origin_y - source.bounds.top;
  const Render::Rect middle =
      Intersect({inner.left - x, inner.top - y, inner.right - x, inner.bottom - y}, all);
  if (middle.Empty()) return RunPass(programs.around, source, constants, target);
  const Render::Rect parts[] = {middle,
                                {all.left, all.top, all.right, middle.top},
                                {all.left, middle.bottom, all.right, all.bottom},
                                {all.left, middle.top, middle.left, middle.bottom},
                                {middle.right, middle.top, all.right, middle.bottom}};
  for (const Render::Rect& part : parts) {
    if (part.Empty()) continue;
    Target place = target;
    place.rect = part;
    const HRESULT result =
        RunPass(&part == parts ? programs.inside : programs.around, source, constants, place);
    if (FAILED(result)) return result;
  }
  return S_OK;
}

bool BuiltInEffect2D::HasOwnAlgorithm(std::span<const std::byte> spirv) const {
  const Render::Program* program = nullptr;
  return GetGraphicsDevice()->GetProgram(spirv, &program) == Render::Status::kOk &&
         program->HasOwnAlgorithm();
}

HRESULT BuiltInEffect2D::Copy(const Drawing& drawing) {
  GraphicsDevice& device = *GetGraphicsDevice();
  Render::Pass pass;
  const HRESULT result =
      PrepareCopy(device, drawing.source, drawing.target.origin_x, drawing.target.origin_y, &pass);
  if (FAILED(result)) return result;
  pass.target = drawing.target.texture;
  pass.rect = drawing.target.rect;
  return ToResult(device.GetEngine().Draw(pass));
}

HRESULT BuiltInEffect2D::NewImage(Evaluation& evaluation, const Render::Rect& bounds,
                                  Render::Format format, Target* target, RenderedImage* image) {
  Render::Texture* texture = nullptr;
  const HRESULT result = evaluation.NewTexture(bounds, &texture, format);
  if (FAILED(result)) return result;
  *target = {texture, texture->Bounds(), bounds.left, bounds.top};
  *image = {texture, bounds};
  return S_OK;
}

Render::Rect PartWithin(const Render::Rect& part, const Render::Rect& input, Edges::Mode x,
                        Edges::Mode y) {
  // What is read beyond an edge comes from elsewhere in the row or column, mostly from near by;
  // taking the whole of it is simple and right.
  Render::Rect within = part;
  if (x != Edges::Mode::kTransparent && (part.left < input.left || part.right > input.right)) {
    within.left = input.left;
    within.right = input.right;
  }
  if (y != Edges::Mode::kTransparent && (part.top < input.top || part.bottom > input.bottom)) {
    within.top = input.top;
    within.bottom = input.bottom;
  }
  return Intersect(within, input);
}

MakeBuiltInEffect* FindBuiltInEffect(REFCLSID id) {
  struct Row {
    CLSID id;
    MakeBuiltInEffect* make;
  };
  // One effect a line.
  // clang-format off
  static constexpr Row kEffects[] = {
      {CLSID_D2D13DTransform, Make3DTransform},
      {CLSID_D2D1Border, MakeBorder},
      {CLSID_D2D1ColorMatrix, MakeColorMatrix},
      {CLSID_D2D1ConvolveMatrix, MakeConvolveMatrix},
      {CLSID_D2D1DirectionalBlur, MakeDirectionalBlur},
      {CLSID_D2D1GammaTransfer, MakeGammaTransfer},
      {CLSID_D2D1GaussianBlur, MakeGaussianBlur},
      {CLSID_D2D1LinearTransfer, MakeLinearTransfer},
      {CLSID_D2D1Morphology, MakeMorphology},
  };
  // clang-format on
  for (const Row& row : kEffects) {
    if (row.id == id) return row.make;
  }
  return nullptr;
}

}  // namespace Vantra::Platform
