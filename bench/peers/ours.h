#pragma once

// Our side of the comparison, at the level of a host.

#include <vantrix/vantrix.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/peers/peer.h"

namespace Vantra::Bench {

/// Takes the engine of that name for devices started from now on: "automatic", "cpu", "vulkan", or
/// "lavapipe", the first software device of Vulkan. Throws when there is none.
void ChooseEngine(const std::string& name);
/// How many threads the engines use that run on the CPU, if started from now on. To be called
/// before all else of this header.
void SetEngineThreads(unsigned threads);
/// Starts a device on the engine of that name, and tells what runs there.
std::string DescribeEngine(const std::string& name);

/// What a program does to a picture, which is what its time is made of.
enum class Kind {
  kPointwise,    // a formula of the own pixel, without transcendental functions
  kArithmetic,   // one with them
  kConvolution,  // the pixels around
  kFreeReads,    // pixels at places that the program computes
};

/// An effect with the values that it is measured with.
struct Subject {
  std::string name;
  Kind kind;
  std::function<std::unique_ptr<Effect>(Device&)> make;
  /// Leftmost column of the effect's output that is drawn.
  int left = 0;
};

/// Every effect of the catalogue, and those of the library that are made by class only.
std::vector<Subject> ListSubjects();
/// Effects with values that make other programs run than those of `ListSubjects` do.
std::vector<Subject> ListVariants();
/// The one for a task on a picture.
Subject SubjectOf(Task task);

/// One pass, from a bitmap on the device to another, and waiting for it. It is drawn as it comes
/// out, not over what the target holds. Throws when the objects cannot be made.
Run MakePass(const std::string& engine, const Scene& scene, const Subject& subject);

/// A video frame of the task's layout in host memory to pixels in host memory.
Run MakeConversion(const std::string& engine, const Scene& scene, Task task);

/// The scene's picture, half transparent and `scale` times as large, over what the target holds.
Run MakeOverlay(const std::string& engine, const Scene& scene, float scale);

/// Pixels of the host to the render callback, through an effect.
Run MakeFrame(const std::string& engine, const Scene& scene, const Subject& subject);

}  // namespace Vantra::Bench
