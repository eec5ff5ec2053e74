#pragma once

// Passes that put an image at its place in a target.

#include <array>
#include <span>

#include "platform/d2d/image_graph.h"
#include "platform/d2d/projection.h"

namespace Vantra::Platform {

// The constants of `shaders/transform.glsl`.
struct TransformConstants {
  using Row = std::array<float, 3>;
  Row u, v, w;
  Row left, top, right, bottom;
  std::array<float, 4> reach;
  std::array<float, 4> color;
  std::array<float, 4> outside;
  float opacity;
  float aliased;
  std::array<float, 2> detail;
};

// Prepares a pass that draws `part` of an image, in the image's coordinates, at its placement. The
// pass reads `constants`, which may be changed until it is drawn.
HRESULT PrepareTransform(GraphicsDevice& device, const RenderedImage& image, const Area& part,
                         const Placement& placement, D2D1_INTERPOLATION_MODE interpolation,
                         bool aliased, TransformConstants* constants, Render::Pass* pass);

// The part of an image that drawing `part` of it at its placement reads, with any interpolation.
Render::Rect ReadPart(const Placement& placement, const Area& part);

// Prepares a pass that copies an image on whole pixels: place in the image = pixel of the target +
// origin.
HRESULT PrepareCopy(GraphicsDevice& device, const RenderedImage& image, double origin_x,
                    double origin_y, Render::Pass* pass);

// Prepares a pass that gives all pixels one premultiplied colour.
HRESULT PrepareFill(GraphicsDevice& device, const std::array<float, 4>& color,
                    TransformConstants* constants, Render::Pass* pass);

}  // namespace Vantra::Platform
