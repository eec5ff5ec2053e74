#pragma once

// Effects that belong to the layer. Each has one input, properties that are published as data, and
// one or more passes.

#include <vantrix/platform/d2d1effects.h>

#include <cstddef>
#include <span>
#include <vector>

#include "platform/d2d/d2d_effect.h"
#include "platform/d2d/embedded_program.h"

namespace Vantra::Platform {

struct BuiltInDescription {
  std::shared_ptr<const EffectIdentity> identity;
  // By index. Offsets are into the effect's structure of values.
  std::vector<Property> properties;
};

// The identity of an effect of the layer.
std::shared_ptr<const EffectIdentity> MakeIdentity(REFCLSID id, const wchar_t* name,
                                                   const wchar_t* category,
                                                   const wchar_t* description);

// Two programs that do the same: one where all that is read lies inside the image, which is faster,
// and one with a rule for what lies beyond.
struct EdgePrograms {
  std::span<const std::byte> inside;
  std::span<const std::byte> around;
};

class BuiltInEffect2D : public Effect2D {
 protected:
  // The effect's input and where its result goes.
  struct Drawing {
    Evaluation& evaluation;
    // Holds at least the part that `MapPart` told.
    RenderedImage source;
    // Extent of the whole input.
    Render::Rect input;
    Target target;

    // The part of the output that is drawn, in coordinates of the image.
    Render::Rect Part() const {
      const Render::Rect& rect = target.rect;
      return {rect.left + target.origin_x, rect.top + target.origin_y, rect.right + target.origin_x,
              rect.bottom + target.origin_y};
    }
  };

  using Effect2D::Effect2D;

  // The extent of the output, for an input of that extent, which is not empty.
  virtual Render::Rect MapBounds(const Render::Rect& input) const { return input; }
  // The part of the input that is read for a part of the output. It is cut to the input's extent.
  virtual Render::Rect MapPart(const Render::Rect& part, const Render::Rect& input) const = 0;
  // The part of the output that a change of a part of the input changes; at most all of it.
  virtual Render::Rect MapChange(const Render::Rect&, const Render::Rect& input) const {
    return MapBounds(input);
  }
  // Draws the target's rectangle. When an image between passes would be larger than a texture can
  // be, it returns the result of `NewImage`, and is called again for parts of the rectangle.
  virtual HRESULT Draw(const Drawing& drawing) = 0;

  // Runs a program over the target's rectangle. It counts places in texels of the source.
  HRESULT RunPass(std::span<const std::byte> program, const RenderedImage& source,
                  std::span<const std::byte> constants, const Target& target,
                  Render::Filter filter = Render::Filter::kNearest);
  template <class Constants>
  HRESULT RunPass(std::span<const std::byte> program, const RenderedImage& source,
                  const Constants& constants, const Target& target,
                  Render::Filter filter = Render::Filter::kNearest) {
    return RunPass(program, source, std::as_bytes(std::span(&constants, 1)), target, filter);
  }
  // The same with one program for the places in `inner`, in texels of the source, and one for those
  // around it.
  HRESULT RunPasses(const EdgePrograms& programs, const Render::Rect& inner,
                    const RenderedImage& source, std::span<const std::byte> constants,
                    const Target& target);
  // Whether the engine has an algorithm made for the program.
  bool HasOwnAlgorithm(std::span<const std::byte> program) const;
  // Puts the source where it is.
  HRESULT Copy(const Drawing& drawing);
  // A texture for a result between passes, as a place to draw to and as an image.
  HRESULT NewImage(Evaluation& evaluation, const Render::Rect& bounds, Render::Format format,
                   Target* target, RenderedImage* image);

 private:
  HRESULT MapInputsToOutput(const RECT* inputs, RECT* output) final;
  HRESULT MapOutputToInputs(const RECT& output, RECT* inputs) final;
  HRESULT MapChange(UINT32 input, const RECT& changed, RECT* output) final;
  Render::Rect PartToRender(const Render::Rect& required, const Render::Rect&) final {
    return required;
  }
  HRESULT Draw(Evaluation& evaluation, const Images& inputs, const Target& target) final;
  HRESULT DrawInTiles(const Drawing& drawing);

  Render::Rect input_;
};

// Base of the effect `E`, whose static function `Description` has the properties of the structure
// `Values`. Values start as the structure does.
template <class E, class Values>
class BuiltIn : public BuiltInEffect2D {
 public:
  BuiltIn(CComPtr<ID2D1Factory1> factory, std::shared_ptr<GraphicsDevice> device)
      : BuiltInEffect2D(std::move(factory), std::move(device), E::Description().identity) {
    static const Values start;
    properties_.Add(E::Description().properties, &values_, &start);
  }

 protected:
  Values values_;
};

// Base of an effect that makes each pixel of the one in its place. Its program `E::Program()` has
// the values for constants, as they are.
template <class E, class Values>
class BuiltInPixelwise : public BuiltIn<E, Values> {
  using Base = BuiltIn<E, Values>;

 public:
  using Base::Base;

 private:
  Render::Rect MapPart(const Render::Rect& part, const Render::Rect&) const final { return part; }
  Render::Rect MapChange(const Render::Rect& changed, const Render::Rect&) const final {
    return changed;
  }
  HRESULT Draw(const typename Base::Drawing& drawing) final {
    return this->RunPass(E::Program(), drawing.source, this->values_, drawing.target);
  }
};

// What a program of `shaders/edges.glsl` finds around the image: its first constants.
struct Edges {
  enum class Mode : std::int32_t { kTransparent, kMirror, kClamp, kWrap };

  // `extent` is the whole image, of which `source` holds a part.
  Edges(const Render::Rect& extent, const RenderedImage& source, Mode mode_x, Mode mode_y)
      : left(extent.left - source.bounds.left),
        top(extent.top - source.bounds.top),
        right(extent.right - source.bounds.left),
        bottom(extent.bottom - source.bounds.top),
        x(mode_x),
        y(mode_y) {}

  std::int32_t left, top, right, bottom;
  Mode x, y;
};

// What a border mode stands for.
constexpr Edges::Mode ToEdgeMode(UINT32 border_mode) {
  return border_mode == D2D1_BORDER_MODE_HARD ? Edges::Mode::kMirror : Edges::Mode::kTransparent;
}

// The part of an input that has to be rendered for reads of `part`, which may leave it.
Render::Rect PartWithin(const Render::Rect& part, const Render::Rect& input, Edges::Mode x,
                        Edges::Mode y);

using MakeBuiltInEffect = CComPtr<Effect2D>(CComPtr<ID2D1Factory1> factory,
                                            std::shared_ptr<GraphicsDevice> device);
// Null for an id that is not one of the layer's.
MakeBuiltInEffect* FindBuiltInEffect(REFCLSID id);

template <class E>
CComPtr<Effect2D> MakeBuiltIn(CComPtr<ID2D1Factory1> factory,
                              std::shared_ptr<GraphicsDevice> device) {
  return CComPtr<Effect2D>(MakeCom<E>(std::move(factory), std::move(device)));
}

MakeBuiltInEffect Make3DTransform;
MakeBuiltInEffect MakeBorder;
MakeBuiltInEffect MakeColorMatrix;
MakeBuiltInEffect MakeConvolveMatrix;
MakeBuiltInEffect MakeDirectionalBlur;
MakeBuiltInEffect MakeGammaTransfer;
MakeBuiltInEffect MakeGaussianBlur;
MakeBuiltInEffect MakeLinearTransfer;
MakeBuiltInEffect MakeMorphology;

}  // namespace Vantra::Platform
