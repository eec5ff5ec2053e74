#include "bench/peers/compare.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>

#include "bench/measure.h"

namespace Vantra::Bench {
namespace {

constexpr std::size_t kMinimumRounds = 5;
// More tell nothing new.
constexpr std::size_t kMaximumRounds = 1000;

// Of 255. Sides differ by rounding, filters and edges; other work on the noise of the scene differs
// by more.
constexpr double kSameWork = 4;

double Median(std::vector<double>* times) {
  const auto middle = times->begin() + static_cast<std::ptrdiff_t>(times->size() / 2);
  std::nth_element(times->begin(), middle, times->end());
  return *middle;
}

double MeanDifference(const unsigned char* a, const unsigned char* b) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < kFrameBytes; ++i) {
    if (i % 4 != 3) sum += static_cast<std::uint64_t>(std::abs(a[i] - b[i]));
  }
  constexpr double kColors = kFrameBytes * 0.75;
  return static_cast<double>(sum) / kColors;
}

const char* Bound(Kind kind, double of_copy) {
  if (of_copy >= 0.5) return "memory";
  return kind == Kind::kFreeReads ? "gathers" : "arithmetic";
}

}  // namespace

Run MakeCopy(const Scene& scene) {
  // Memory of its own on both sides, so that no other work warms the caches for it.
  const auto source = std::make_shared<Bytes>(scene.picture);
  const auto target = NewFrame();
  return {[team = scene.team, source, target] {
            team->Run([&](unsigned part) {
              const Rows rows = RowsOf(*team, part);
              const std::size_t first = static_cast<std::size_t>(rows.first) * kStride;
              std::memcpy(target->data() + first, source->data() + first,
                          static_cast<std::size_t>(rows.count) * kStride);
            });
          },
          {}};
}

void Compare(benchmark::State& state, const Row& row, const Run& ours, const Run& theirs,
             const Run& copy, double seconds) {
  std::vector<const Run*> sides = {&ours, &copy};
  if (theirs.work) sides.insert(sides.begin() + 1, &theirs);
  std::vector<std::vector<double>> times(sides.size());
  std::vector<double> medians;
  for (auto _ : state) {
    // Makes pipelines, textures and pages.
    for (const Run* side : sides) side->work();
    const Clock::time_point begin = Clock::now();
    while (times[0].size() < kMinimumRounds ||
           (times[0].size() < kMaximumRounds && Seconds(Clock::now() - begin) < seconds)) {
      for (std::size_t i = 0; i < sides.size(); ++i) {
        const Clock::time_point start = Clock::now();
        sides[i]->work();
        times[i].push_back(Seconds(Clock::now() - start));
      }
    }
    for (std::vector<double>& each : times) medians.push_back(Median(&each));
    state.SetIterationTime(medians[0]);
  }
  const double ratio = medians[0] / medians[1];
  const double of_copy = static_cast<double>(row.bytes) / medians[0] /
                         (static_cast<double>(kFrameBytes) * 2 / medians.back());
  state.counters["ours_ms"] = medians[0] * 1e3;
  state.counters["theirs_ms"] = medians[1] * 1e3;
  state.counters["ratio"] = ratio;
  state.counters["limit"] = row.limit;
  state.counters["holds"] = ratio <= row.limit ? 1 : 0;
  state.counters["GB/s"] = static_cast<double>(row.bytes) / medians[0] / 1e9;
  state.counters["of_copy"] = of_copy;
  if (ours.pixels && theirs.pixels) {
    const double difference = MeanDifference(ours.pixels(), theirs.pixels());
    state.counters["difference"] = difference;
    if (difference > kSameWork) state.SkipWithError("the results are not of the same work");
  }
  state.SetLabel(Bound(row.kind, of_copy));
}

namespace {

class Table final : public benchmark::BenchmarkReporter {
 public:
  explicit Table(const std::string& title) : title_(title) {}

  bool ReportContext(const Context&) override {
    GetOutputStream() << title_ << "\n\n"
                      << fmt::format(
                             "{:<20} {:<24} {:>9} {:>9} {:>7} {:>8} {:<7} {:>6} {:>8} {:<11}{}\n",
                             "work", "beside", "ours ms", "theirs ms", "ratio", "at most", "",
                             "GB/s", "of copy", "limited by", "difference");
    return true;
  }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      const std::string& name = run.run_name.function_name;
      const std::size_t slash = name.find('/');
      const std::string title = fmt::format("{:<20} {:<24} ", name.substr(0, slash),
                                            slash < name.size() ? name.substr(slash + 1) : "");
      GetOutputStream() << title << (run.error_occurred ? run.error_message : Numbers(run)) << '\n'
                        << std::flush;
      ++count_;
      if (!run.error_occurred && run.counters.at("holds") != 0) ++holding_;
    }
  }

  void Finalize() override {
    GetOutputStream() << fmt::format("\n{} of {} hold\n", holding_, count_);
  }

 private:
  static std::string Numbers(const Run& run) {
    const auto value = [&run](const char* name) {
      const auto at = run.counters.find(name);
      return at == run.counters.end() ? 0.0 : static_cast<double>(at->second);
    };
    return fmt::format(
        "{:>9.3f} {:>9.3f} {:>7.2f} {:>8.2f} {:<7} {:>6.1f} {:>8.2f} {:<11}{}", value("ours_ms"),
        value("theirs_ms"), value("ratio"), value("limit"),
        value("holds") != 0 ? "holds" : "missed", value("GB/s"), value("of_copy"), run.report_label,
        run.counters.contains("difference") ? fmt::format("{:.2f}", value("difference"))
                                            : std::string());
  }

  std::string title_;
  int count_ = 0;
  int holding_ = 0;
};

}  // namespace

std::unique_ptr<benchmark::BenchmarkReporter> MakeTable(const std::string& title) {
  return std::make_unique<Table>(title);
}

}  // namespace Vantra::Bench
