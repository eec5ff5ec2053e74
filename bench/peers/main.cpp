// The library's work beside the same work by libraries that others know, in one run: 1920 x 1080
// pixels of four channels, the same picture for both, warm, and as many threads on either side.

#include <vantrix/vantrix.h>

#include <CLI/CLI.hpp>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <exception>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "bench/peers/compare.h"
#include "bench/peers/ours.h"
#include "bench/peers/peer.h"

namespace Vantra::Bench {
namespace {

struct Options {
  std::string engine = "automatic";
  unsigned threads = 2;
  double seconds = 1;
};

using Sides = std::function<std::pair<Run, Run>()>;

// The rows, and what they share. It has to outlive their run.
class Registration {
 public:
  Registration(const Options& options, const Scene& scene)
      : options_(options), scene_(scene), copy_(MakeCopy(scene)), peers_(ListPeers()) {}
  Registration(const Registration&) = delete;
  Registration& operator=(const Registration&) = delete;

  void Register() {
    for (const Subject& subject : ListSubjects()) {
      if (subject.kind == Kind::kPointwise) AddPointwise(subject);
    }
    for (const Task task : {Task::kColorMatrix, Task::kBlur8, Task::kBlur64, Task::kErode64,
                            Task::kConvolve3, Task::kPerspective}) {
      const Subject subject = SubjectOf(task);
      AddPeers(subject, task, [this, subject] { return Pass(subject); });
    }
    // A blur's cost must not grow with its deviation.
    const Subject wide = SubjectOf(Task::kBlur64);
    const Subject narrow = SubjectOf(Task::kBlur8);
    Add({wide.name, "ours of deviation 8", 1.2, kPassBytes, wide.kind},
        [=, this] { return std::pair(WithoutPixels(Pass(wide)), Pass(narrow)); });
    AddConversion(Task::kNv12, "NV12 to BGRA", scene_.nv12.size());
    AddConversion(Task::kPlanar, "planar to BGRA", scene_.planar.size());
    AddConversion(Task::kYuy2, "YUY2 to BGRA", scene_.yuy2.size());
    AddConversion(Task::kAyuv, "AYUV to BGRA", scene_.picture.size());
    AddConversion(Task::kGrey, "grey to BGRA", kFrameBytes / 4);
    Add({"whole frame", "plain copy", 4.0, kPassBytes, Kind::kPointwise}, [this] {
      return std::pair(MakeFrame(options_.engine, scene_, SubjectOf(Task::kPosterize)), Run{});
    });
    AddOverlay("bitmap over", 1, Kind::kPointwise);
    AddOverlay("scaled bitmap over", 1.5f, Kind::kFreeReads);
    std::vector<Subject> subjects = ListSubjects();
    for (Subject& variant : ListVariants()) subjects.push_back(std::move(variant));
    for (const Subject& subject : subjects) {
      Add({subject.name, "lavapipe", LimitBesideLavapipe(subject.kind), kPassBytes, subject.kind},
          [=, this] { return std::pair(Pass(subject), MakePass("lavapipe", scene_, subject)); });
    }
  }

 private:
  // Each pixel read once and written once.
  static constexpr std::size_t kPassBytes = kFrameBytes * 2;

  static double LimitBesideLavapipe(Kind kind) {
    switch (kind) {
      case Kind::kPointwise:
        return 1 / 10.0;
      case Kind::kConvolution:
        return 1 / 5.0;
      case Kind::kArithmetic:
      case Kind::kFreeReads:
        break;
    }
    return 1 / 1.5;
  }

  // For sides whose results are not to be compared.
  static Run WithoutPixels(Run run) {
    run.pixels = {};
    return run;
  }

  Run Pass(const Subject& subject) const { return MakePass(options_.engine, scene_, subject); }

  void AddPointwise(const Subject& subject) {
    Add({subject.name, "plain copy", 2.0, kPassBytes, subject.kind},
        [=, this] { return std::pair(Pass(subject), Run{}); });
    const bool same_work = subject.name == SubjectOf(Task::kPosterize).name;
    AddPeers(subject, Task::kPosterize,
             [=, this] { return same_work ? Pass(subject) : WithoutPixels(Pass(subject)); });
  }

  void AddConversion(Task task, const std::string& name, std::size_t bytes) {
    const auto ours = [=, this](const std::string& engine) {
      return MakeConversion(engine, scene_, task);
    };
    const Subject subject = {name, Kind::kPointwise, {}};
    const std::size_t moved = bytes + kFrameBytes;
    AddPeers(
        subject, task, [=, this] { return ours(options_.engine); }, moved);
    Add({name, "lavapipe", 1.0, moved, subject.kind},
        [=, this] { return std::pair(ours(options_.engine), ours("lavapipe")); });
  }

  void AddOverlay(const std::string& name, float scale, Kind kind) {
    Add({name, "lavapipe", LimitBesideLavapipe(kind), kPassBytes, kind}, [=, this] {
      return std::pair(MakeOverlay(options_.engine, scene_, scale),
                       MakeOverlay("lavapipe", scene_, scale));
    });
  }

  void AddPeers(const Subject& subject, Task task, const std::function<Run()>& ours,
                std::size_t bytes = kPassBytes) {
    for (const Peer& peer : peers_) {
      if (peer.task != task) continue;
      Add({subject.name, peer.name, peer.limit, bytes, subject.kind},
          [=, this] { return std::pair(ours(), peer.make(scene_)); });
    }
  }

  void Add(const Row& row, const Sides& make) {
    const std::string name = row.work + '/' + row.beside;
    const auto measure = [=, this](benchmark::State& state) {
      try {
        const auto [ours, theirs] = make();
        Compare(state, row, ours, theirs, copy_, options_.seconds);
      } catch (const std::exception& error) {
        state.SkipWithError(error.what());
      }
    };
    benchmark::RegisterBenchmark(name.c_str(), measure)
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  }

  const Options& options_;
  const Scene& scene_;
  Run copy_;
  std::vector<Peer> peers_;
};

}  // namespace
}  // namespace Vantra::Bench

int main(int argc, char** argv) {
  using namespace Vantra::Bench;
  benchmark::Initialize(&argc, argv);
  Options options;
  CLI::App app("Times the library beside others. Google Benchmark's options are taken, too.");
  app.add_option("--engine", options.engine, "Ours: automatic, cpu or vulkan");
  app.add_option("--threads", options.threads, "Of either side")->check(CLI::Range(1, 64));
  app.add_option("--seconds", options.seconds, "For which each row is measured");
  CLI11_PARSE(app, argc, argv);

  SetEngineThreads(options.threads);
  std::string engine;
  try {
    engine = DescribeEngine(options.engine);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vantrix_peers: %s\n", error.what());
    return 1;
  }
  benchmark::AddCustomContext("engine", engine);
  benchmark::AddCustomContext("threads", std::to_string(options.threads));
  Team team(options.threads);
  const Scene scene = MakeScene(&team);
  Registration registration(options, scene);
  registration.Register();
  benchmark::RunSpecifiedBenchmarks(
      MakeTable(engine + ", " + std::to_string(options.threads) + " threads").get());
  benchmark::Shutdown();
}
