#pragma once

// How the images of the 2D layer, bitmaps and effect outputs, are turned into pixels.

#include <vantrix/platform/d2d1.h>

#include <memory>
#include <vector>

#include "platform/engine/graphics_device.h"

namespace Vantra::Platform {

// A texture with pixels of an image; `bounds` is its place in the image's own coordinates. Null
// when no part of the image is used.
struct RenderedImage {
  const Render::Texture* texture = nullptr;
  Render::Rect bounds;
};

// Where an effect's last pass goes when it needs no texture of its own.
struct DirectTarget {
  Surface* surface;
  // Part of the target to draw.
  Render::Rect rect;
  // Place in the image = pixel of the target + origin.
  std::int32_t origin_x;
  std::int32_t origin_y;
};

class Effect2D;

// What evaluations use in turn, so that they do not allocate.
struct EvaluationStorage {
  std::vector<std::unique_ptr<Render::Texture>> textures;
  std::vector<Effect2D*> effects;
};

// One drawing of an image graph. A node that feeds several others is rendered once; its result
// lives until the evaluation ends.
class Evaluation {
 public:
  // `target` is what the drawing goes to; null when nothing is drawn.
  Evaluation(GraphicsDevice& device, const Surface* target, EvaluationStorage& storage)
      : device_(device), target_(target), storage_(storage), id_(++s_last_id) {}
  Evaluation(const Evaluation&) = delete;
  Evaluation& operator=(const Evaluation&) = delete;
  ~Evaluation();

  GraphicsDevice& Device() { return device_; }
  // Number of this evaluation, never 0, by which nodes know results of their own.
  std::uint64_t Id() const { return id_; }

  // False for one that only asks for rectangles.
  bool Draws() const { return target_ != nullptr; }
  bool IsTarget(const Surface& surface) const { return &surface == target_; }

  // A texture for a result of that size, owned by the evaluation.
  // `D2DERR_MAX_TEXTURE_SIZE_EXCEEDED` for a larger one than the device has.
  HRESULT NewTexture(const Render::Rect& bounds, Render::Texture** texture,
                     Render::Format format = Render::Format::kBgra8);

  // A list for a walk over the graph, empty.
  std::vector<Effect2D*>& TakeList() {
    storage_.effects.clear();
    return storage_.effects;
  }

 private:
  static std::uint64_t s_last_id;

  GraphicsDevice& device_;
  const Surface* target_;
  EvaluationStorage& storage_;
  std::uint64_t id_;
};

// What every image of the layer has beside its interface.
class ImageNode {
 public:
  virtual const std::shared_ptr<GraphicsDevice>& GetGraphicsDevice() const = 0;

  // The extent of the image in its own coordinates. `D2DERR_CYCLIC_GRAPH` when the image feeds
  // itself, `D2DERR_INVALID_GRAPH_CONFIGURATION` when an input is missing,
  // `D2DERR_BITMAP_BOUND_AS_TARGET` when the target is part of the image.
  virtual HRESULT GetBounds(Evaluation& evaluation, Render::Rect* bounds) = 0;

  // Tells which part of the image the evaluation is going to use, before it is rendered.
  virtual HRESULT Require(Evaluation& evaluation, const Render::Rect& part) = 0;

  // Brings at least the required part of the image into a texture.
  virtual HRESULT Render(Evaluation& evaluation, RenderedImage* image) = 0;

  // Replaces a part of a target, within the required one, by the image's pixels. `S_FALSE` when the
  // image has no faster way than `Render`; nothing was drawn then.
  virtual HRESULT RenderDirectly(Evaluation& evaluation, const DirectTarget& target) = 0;

 protected:
  ~ImageNode() = default;
};

}  // namespace Vantra::Platform
