// Draws random programs as kernels of the CPU engine, with each set of vector instructions, and
// compares each pixel with the reference.
//
//   translator_fuzz FOLDER SEED COUNT [vulkan]
//
// FOLDER holds the programs as SEED.spv and so on; one that is not there is left out. With `vulkan`
// they are drawn by the Vulkan engine too, whose functions of floats are less accurate: what it
// draws is reported only, unless the program is an exact one.

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <span>
#include <string>

#include "reference.h"
#include "render/simd/instruction_sets.h"
#include "render/simd/kernel.h"
#include "render/vulkan/vulkan_engine.h"

namespace Vantra::Render::Simd {
// The programs that were built with this one.
std::span<const Kernel> GetFuzzKernelTable();
}  // namespace Vantra::Render::Simd

namespace Vantra::TranslatorFuzz {
namespace {

using Render::Format;
using Render::Status;
using Bytes = std::vector<std::byte>;

// A picture in memory as the CPU engine lays it out, with bytes between rows that nothing may use.
struct Plane {
  int width = 0;
  int height = 0;
  Format format = Format::kRgba8;
  std::size_t pitch = 0;
  Bytes storage;
  std::byte* data = nullptr;

  Plane(int w, int h, Format f, std::byte fill) : width(w), height(h), format(f) {
    using namespace Render::Simd;
    pitch = (Row() + kRowPadding + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
    storage.assign(pitch * static_cast<std::size_t>(h) + kRowAlignment, fill);
    void* start = storage.data();
    std::size_t space = storage.size();
    data = static_cast<std::byte*>(std::align(kRowAlignment, space - kRowAlignment, start, space));
  }
  Plane(Plane&&) = default;
  std::size_t Row() const {
    return static_cast<std::size_t>(width) * Render::BytesPerPixel(format);
  }
  std::byte* At(int x, int y) const {
    return data + static_cast<std::size_t>(y) * pitch +
           static_cast<std::size_t>(x) * Render::BytesPerPixel(format);
  }
  // Red to alpha.
  std::array<int, 4> Pixel(int x, int y) const {
    const std::byte* const at = At(x, y);
    const auto channel = [&](std::size_t i) { return std::to_integer<int>(at[i]); };
    switch (format) {
      case Format::kR8:
        return {channel(0), 0, 0, 255};
      case Format::kRg8:
        return {channel(0), channel(1), 0, 255};
      case Format::kBgra8:
        return {channel(2), channel(1), channel(0), channel(3)};
      default:
        return {channel(0), channel(1), channel(2), channel(3)};
    }
  }
};

// What one program is drawn with.
struct Scene {
  Inputs inputs;
  std::vector<Plane> textures;
  int width = 0;
  int height = 0;
  Format format = Format::kRgba8;
  Render::Rect rect;
  float extent_x = 1;
  float extent_y = 1;
};

void AppendConstants(const Program& program, const Type& type, std::mt19937_64& random,
                     std::vector<Word>& words) {
  for (int i = 0; i < std::max(type.length, 1); ++i) {
    if (type.structure >= 0) {
      for (const Type& field : program.structures[static_cast<std::size_t>(type.structure)]) {
        AppendConstants(program, field, random, words);
      }
      continue;
    }
    for (int k = 0; k < type.Components(); ++k) {
      switch (type.scalar) {
        case Scalar::kBool:
          words.push_back(random() % 2);
          break;
        case Scalar::kFloat:
          words.push_back(ToWord(static_cast<float>(random() % 129) / 8 - 8));
          break;
        default:
          words.push_back(static_cast<Word>(random() % 40) - (type.scalar == Scalar::kInt ? 8 : 0));
      }
    }
  }
}

Scene MakeScene(const Program& program, int number) {
  static constexpr std::array<std::array<int, 2>, 4> kSizes = {{{37, 23}, {64, 9}, {5, 3}, {1, 7}}};
  std::mt19937_64 random(program.seed * 4 + static_cast<std::uint64_t>(number));
  const auto below = [&](int count) {
    return static_cast<int>(random() % static_cast<unsigned>(count));
  };
  Scene scene;
  const auto size = kSizes[static_cast<std::size_t>(number < 2 ? number : 2 + below(2))];
  scene.width = size[0];
  scene.height = size[1];
  scene.rect = {0, 0, scene.width, scene.height};
  scene.format = below(2) ? Format::kBgra8 : Format::kRgba8;
  int extent_x = scene.width;
  int extent_y = scene.height;
  if (number == 1) {
    // A part of a larger image.
    extent_x += 11;
    extent_y += 9;
    scene.inputs.origin_x = static_cast<float>(below(12));
    scene.inputs.origin_y = static_cast<float>(below(10));
    scene.rect = {below(9), below(3), scene.width - below(9), scene.height - below(3)};
  }
  scene.extent_x = static_cast<float>(extent_x);
  scene.extent_y = static_cast<float>(extent_y);
  scene.inputs.pixel_size_x = 1 / scene.extent_x;
  scene.inputs.pixel_size_y = 1 / scene.extent_y;
  scene.inputs.sampler = {below(2) ? Render::Filter::kLinear : Render::Filter::kNearest,
                          static_cast<Render::Extend>(below(3)),
                          static_cast<Render::Extend>(below(3))};
  for (const Variable& variable : program.variables) {
    if (variable.kind == Variable::Kind::kConstant) {
      AppendConstants(program, variable.type, random, scene.inputs.constants);
    }
  }
  for (std::size_t i = 0; i < Render::kRegisterCount; ++i) {
    static constexpr std::array<Format, 4> kFormats = {Format::kRgba8, Format::kBgra8, Format::kR8,
                                                       Format::kRg8};
    const Format format = kFormats[static_cast<std::size_t>(below(i == 0 ? 2 : 4))];
    scene.textures.emplace_back(i == 0 ? extent_x : 1 + below(21),
                                i == 0 ? extent_y : 1 + below(21), format, std::byte{0xA5});
    const Plane& plane = scene.textures.back();
    Image& image = scene.inputs.images[i];
    image.width = plane.width;
    image.height = plane.height;
    for (int y = 0; y < plane.height; ++y) {
      std::generate_n(plane.At(0, y), plane.Row(),
                      [&] { return static_cast<std::byte>(random()); });
      for (int x = 0; x < plane.width; ++x) {
        Color color;
        std::ranges::transform(plane.Pixel(x, y), color.begin(),
                               [](int channel) { return static_cast<float>(channel) / 255; });
        image.texels.push_back(color);
      }
    }
  }
  return scene;
}

int Quantized(double value) {
  return static_cast<int>(std::floor(std::clamp(value, 0.0, 1.0) * 255 + 0.5));
}

// Whether rounding explains what an engine drew: results of a reference whose operations are off by
// as much as engines may be spread around it.
bool IsExplained(Reference& reference, int x, int y, const std::array<int, 4>& drawn) {
  static constexpr std::uint32_t kTrials = 64;
  Color low = reference.Evaluate(x, y);
  Color high = low;
  for (std::uint32_t trial = 1; trial <= kTrials; ++trial) {
    const Color color = reference.Evaluate(x, y, trial % 2 ? 1.0F : 2.0F, trial);
    bool inside = true;
    for (std::size_t i = 0; i < 4; ++i) {
      low[i] = std::min(low[i], color[i]);
      high[i] = std::max(high[i], color[i]);
      // Trials find the middle of what is possible rather than its ends, and what lies between two
      // steps, as exactly as floats tell, may go to either.
      const double margin = (double{high[i]} - low[i]) / 2 + 1e-7;
      inside = inside && drawn[i] >= Quantized(low[i] - margin) &&
               drawn[i] <= Quantized(high[i] + margin);
    }
    if (inside) return true;
  }
  return false;
}

class Checker {
 public:
  // Compares what an engine drew.
  void Compare(const std::string& engine, const Program& program, int number, const Scene& scene,
               const Plane& target) {
    Record& record = records_[engine];
    record.programs.insert(program.seed);
    Reference reference(program, scene.inputs);
    std::uint64_t wrong = 0;
    for (int y = scene.rect.top; y < scene.rect.bottom; ++y) {
      for (int x = scene.rect.left; x < scene.rect.right; ++x) {
        ++record.pixels;
        const std::array<int, 4> drawn = target.Pixel(x, y);
        const std::array<int, 4>& expected = Expected(program, number, scene, reference, x, y);
        if (drawn == expected) continue;
        if (!program.exact && IsExplained(reference, x, y, drawn)) {
          ++record.explained;
        } else if (wrong++ == 0) {
          std::printf("seed %" PRIu64
                      "%s, scene %d, %s: at (%d, %d) drawn %d %d %d %d, expected "
                      "%d %d %d %d\n",
                      program.seed, program.exact ? " (exact)" : "", number, engine.c_str(), x, y,
                      drawn[0], drawn[1], drawn[2], drawn[3], expected[0], expected[1], expected[2],
                      expected[3]);
        }
      }
    }
    if (wrong == 0) return;
    record.unexplained += wrong;
    record.wrong.insert(program.seed);
    right_ = right_ && engine == "Vulkan" && !program.exact;
  }
  void Fail(const Program& program, const std::string& engine) {
    std::printf("seed %" PRIu64 ": %s failed\n", program.seed, engine.c_str());
    right_ = false;
  }
  // True when all is well.
  bool Report() const {
    for (const auto& [engine, record] : records_) {
      std::printf("%s: %zu programs, %zu of them wrong; %" PRIu64 " pixels, %" PRIu64
                  " differ by rounding, %" PRIu64 " are wrong\n",
                  engine.c_str(), record.programs.size(), record.wrong.size(), record.pixels,
                  record.explained, record.unexplained);
    }
    return right_ && !records_.empty();
  }

 private:
  // The same for all engines, so computed once.
  const std::array<int, 4>& Expected(const Program& program, int number, const Scene& scene,
                                     Reference& reference, int x, int y) {
    if (program.seed != seed_ || number != number_) {
      seed_ = program.seed;
      number_ = number;
      expected_.clear();
      for (int row = scene.rect.top; row < scene.rect.bottom; ++row) {
        for (int column = scene.rect.left; column < scene.rect.right; ++column) {
          std::array<int, 4> pixel;
          std::ranges::transform(reference.Evaluate(column, row), pixel.begin(),
                                 [](float value) { return Quantized(double{value}); });
          expected_.push_back(pixel);
        }
      }
    }
    return expected_[static_cast<std::size_t>((y - scene.rect.top) * scene.rect.Width() +
                                              (x - scene.rect.left))];
  }

  struct Record {
    std::set<std::uint64_t> programs;
    std::set<std::uint64_t> wrong;
    std::uint64_t pixels = 0;
    std::uint64_t explained = 0;
    std::uint64_t unexplained = 0;
  };

  std::map<std::string, Record> records_;
  bool right_ = true;
  std::vector<std::array<int, 4>> expected_;
  std::uint64_t seed_ = 0;
  int number_ = -1;
};

bool DrawOnVulkan(Render::Engine& engine, const Render::Program& program, const Scene& scene,
                  Plane& target) {
  std::vector<std::unique_ptr<Render::Texture>> textures;
  Render::Pass pass;
  bool done = true;
  const auto make = [&](int width, int height, Format format, Render::Usage usage) {
    std::unique_ptr<Render::Texture> texture;
    done = done && engine.CreateTexture({static_cast<std::uint32_t>(width),
                                         static_cast<std::uint32_t>(height), format, usage},
                                        &texture) == Status::kOk;
    textures.push_back(std::move(texture));
    return textures.back().get();
  };
  for (std::size_t i = 0; i < scene.textures.size(); ++i) {
    const Plane& plane = scene.textures[i];
    Render::Texture* const texture =
        make(plane.width, plane.height, plane.format, Render::Usage::kDevice);
    done =
        done && engine.Upload(*texture, texture->Bounds(), plane.data, plane.pitch) == Status::kOk;
    pass.bindings[i] = {texture, scene.inputs.sampler};
  }
  Render::Texture* const drawn =
      make(scene.width, scene.height, scene.format, Render::Usage::kDevice);
  Render::Texture* const readback =
      make(scene.width, scene.height, scene.format, Render::Usage::kReadback);
  if (!done) return false;
  pass.program = &program;
  pass.target = drawn;
  pass.rect = scene.rect;
  pass.origin_x = scene.inputs.origin_x;
  pass.origin_y = scene.inputs.origin_y;
  pass.extent_x = scene.extent_x;
  pass.extent_y = scene.extent_y;
  pass.constants = std::as_bytes(std::span(scene.inputs.constants));
  Render::Mapping mapping;
  if (engine.Clear(*drawn, {}) != Status::kOk || engine.Draw(pass) != Status::kOk ||
      engine.Copy(*readback, 0, 0, *drawn, drawn->Bounds()) != Status::kOk ||
      engine.Map(*readback, &mapping) != Status::kOk) {
    return false;
  }
  for (int y = 0; y < scene.height; ++y) {
    std::memcpy(target.At(0, y), mapping.data + static_cast<std::size_t>(y) * mapping.pitch,
                target.Row());
  }
  engine.Unmap(*readback);
  return true;
}

bool DrawOnKernel(Render::Simd::PixelKernel kernel, const Scene& scene, Plane& target) {
  alignas(64) std::array<std::byte, Render::kMaximumConstantBytes> constants = {};
  std::memcpy(constants.data(), scene.inputs.constants.data(),
              scene.inputs.constants.size() * sizeof(Word));
  Render::Simd::PixelArguments arguments;
  for (std::size_t i = 0; i < scene.textures.size(); ++i) {
    const Plane& plane = scene.textures[i];
    arguments.textures[i] = {plane.data, plane.pitch, plane.width, plane.height, plane.format};
    arguments.samplers[i] = scene.inputs.sampler;
  }
  arguments.constants = constants.data();
  arguments.origin_x = scene.inputs.origin_x;
  arguments.origin_y = scene.inputs.origin_y;
  arguments.pixel_size_x = scene.inputs.pixel_size_x;
  arguments.pixel_size_y = scene.inputs.pixel_size_y;
  arguments.target = {target.data, target.pitch, target.format};
  arguments.left = scene.rect.left;
  arguments.right = scene.rect.right;
  arguments.top = scene.rect.top;
  arguments.bottom = scene.rect.bottom;
  // In bands, from the last to the first.
  const int middle = (scene.rect.top + scene.rect.bottom) / 2;
  const Bytes before = target.storage;
  if (!kernel(arguments, middle, scene.rect.bottom) || !kernel(arguments, scene.rect.top, middle)) {
    return false;
  }
  // Around the rectangle nothing may have changed.
  Bytes after = target.storage;
  for (int y = scene.rect.top; y < scene.rect.bottom; ++y) {
    const std::ptrdiff_t at = target.At(scene.rect.left, y) - target.storage.data();
    std::copy_n(before.begin() + at, scene.rect.Width() * static_cast<int>(Render::kBytesPerPixel),
                after.begin() + at);
  }
  if (after != before) std::printf("Bytes around the rectangle were written\n");
  return after == before;
}

Bytes ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  const std::span<const std::byte> result = std::as_bytes(std::span(bytes));
  return {result.begin(), result.end()};
}

const Render::Simd::Kernel* FindKernel(const Bytes& spirv) {
  const std::uint64_t hash = Render::Simd::HashOfProgram(spirv);
  for (const Render::Simd::Kernel& kernel : Render::Simd::GetFuzzKernelTable()) {
    if (kernel.program_hash == hash) return &kernel;
  }
  return nullptr;
}

// The sets of vector instructions that this CPU has, or the one that is asked for.
std::vector<std::string> InstructionSets() {
  std::vector<std::string> sets = {"sse4", "avx2", "avx512", "neon"};
  if (const char* const asked = std::getenv("VANTRIX_SIMD_TARGET")) sets = {asked};
  std::erase_if(sets, [](const std::string& name) {
    std::string error;
    setenv("VANTRIX_SIMD_TARGET", name.c_str(), 1);
    return !Render::Simd::ChooseInstructionSet(&error);
  });
  return sets;
}

int Main(const std::filesystem::path& folder, std::uint64_t first, std::uint64_t count,
         bool with_vulkan) {
  static constexpr int kScenes = 3;
  std::string error;
  std::unique_ptr<Render::Engine> vulkan;
  if (with_vulkan && !(vulkan = Render::CreateVulkanEngine(0, {}, &error))) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 2;
  }
  const std::vector<std::string> sets = InstructionSets();
  Checker checker;
  for (std::uint64_t seed = first; seed < first + count; ++seed) {
    const Bytes spirv = ReadFile(folder / (std::to_string(seed) + ".spv"));
    if (spirv.empty()) continue;
    const Program program = Generate(seed);
    const Render::Simd::Kernel* const kernel = FindKernel(spirv);
    std::unique_ptr<Render::Program> on_vulkan;
    if (vulkan && vulkan->CreateProgram(spirv, &on_vulkan) != Status::kOk)
      checker.Fail(program, "Vulkan");
    if (!kernel) checker.Fail(program, "translator");
    for (int number = 0; number < kScenes; ++number) {
      const Scene scene = MakeScene(program, number);
      const auto draw = [&](const std::string& engine, const auto& function) {
        Plane target(scene.width, scene.height, scene.format, std::byte{0x5A});
        if (!function(target)) {
          checker.Fail(program, engine);
        } else {
          checker.Compare(engine, program, number, scene, target);
        }
      };
      if (on_vulkan) {
        draw("Vulkan",
             [&](Plane& target) { return DrawOnVulkan(*vulkan, *on_vulkan, scene, target); });
      }
      for (const std::string& set : sets) {
        if (!kernel) break;
        setenv("VANTRIX_SIMD_TARGET", set.c_str(), 1);
        Render::Simd::ChooseInstructionSet(&error);
        draw(set, [&](Plane& target) { return DrawOnKernel(kernel->pixel, scene, target); });
      }
    }
  }
  return checker.Report() ? 0 : 1;
}

}  // namespace
}  // namespace Vantra::TranslatorFuzz

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: translator_fuzz FOLDER SEED COUNT [vulkan]\n");
    return 2;
  }
  return Vantra::TranslatorFuzz::Main(argv[1], std::strtoull(argv[2], nullptr, 10),
                                      std::strtoull(argv[3], nullptr, 10),
                                      argc > 4 && std::strcmp(argv[4], "vulkan") == 0);
}
