#pragma once

// A started render engine, as the 3D and 2D objects of the layer share it.

#include <vantrix/platform/dxgi.h>

#include <map>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "render/engine.h"

namespace Vantra::Platform {

class GraphicsDevice {
 public:
  explicit GraphicsDevice(std::unique_ptr<Render::Engine> engine) : engine_(std::move(engine)) {}
  GraphicsDevice(const GraphicsDevice&) = delete;
  GraphicsDevice& operator=(const GraphicsDevice&) = delete;

  Render::Engine& GetEngine() { return *engine_; }

  // The program of these bytes, made at their first use and kept; owned by the device.
  Render::Status GetProgram(std::span<const std::byte> spirv, const Render::Program** program);
  Render::Status GetComputeProgram(std::span<const std::byte> spirv,
                                   const Render::ComputeProgram** program);
  // Why a program was last refused, in one sentence, and forgets it. Empty when none was since the
  // last call, or the engine told no more than its status.
  std::string TakeRefusal() { return std::exchange(refusal_, {}); }

  // Textures for results between passes, kept from frame to frame. One is free for the next taker
  // as soon as it is given back, since the engine runs its work in order.
  Render::Status TakeIntermediate(const Render::TextureDesc& desc,
                                  std::unique_ptr<Render::Texture>* texture);
  void GiveBack(std::unique_ptr<Render::Texture> texture) noexcept;
  // Frees intermediates that no session has used for a while.
  void EndSession();

 private:
  template <class Program>
  using Programs = std::map<std::string, std::unique_ptr<Program>, std::less<>>;

  // The program of these bytes among `programs`, else a new one that `make` makes.
  template <class Program, class Make>
  Render::Status FindOrMake(Programs<Program>& programs, std::span<const std::byte> spirv,
                            const Program** program, Make make);

  struct Spare {
    std::unique_ptr<Render::Texture> texture;
    std::uint64_t last_session = 0;
  };

  // Programs and textures must go before their engine.
  std::unique_ptr<Render::Engine> engine_;
  Programs<Render::Program> programs_;
  Programs<Render::ComputeProgram> compute_programs_;
  std::string refusal_;
  std::vector<Spare> spares_;
  std::uint64_t session_ = 0;
};

// An image on the device, shared by all interfaces to it.
struct Surface {
  std::shared_ptr<GraphicsDevice> device;
  std::unique_ptr<Render::Texture> texture;
  // All pixels are known to be transparent black, so that drawing over them equals replacing them.
  bool transparent = false;
};

// Makes a surface from rows of pixels, or of transparent black where `pixels` is null.
Render::Status CreateSurface(const std::shared_ptr<GraphicsDevice>& device,
                             const Render::TextureDesc& desc, const void* pixels, std::size_t pitch,
                             std::shared_ptr<Surface>* surface);

// Starts the engine that was chosen with `SelectEngine`. Null when there is none.
std::shared_ptr<GraphicsDevice> StartGraphicsDevice();

// The engine's form of a format of pictures; false for any other.
bool ToEngineFormat(DXGI_FORMAT format, Render::Format* out);

// The result codes of the 2D objects for an engine's status.
HRESULT ToResult(Render::Status status);

}  // namespace Vantra::Platform
