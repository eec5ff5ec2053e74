#pragma once

// Two sides of one work, timed in turn.

#include <benchmark/benchmark.h>
#include <cstddef>
#include <memory>
#include <string>

#include "bench/peers/ours.h"
#include "bench/peers/peer.h"

namespace Vantra::Bench {

struct Row {
  std::string work;
  std::string beside;
  /// Our time may be this many times the other side's.
  double limit;
  /// What our side has to read and write at least.
  std::size_t bytes;
  Kind kind;
};

/// A plain copy of a frame by the team.
Run MakeCopy(const Scene& scene);

/// Runs `ours` and `theirs` in turn, and a plain copy beside them, for `seconds` and at least five
/// rounds, and reports the medians. Without `theirs` the copy is the other side.
///   ours_ms, theirs_ms
///   ratio, limit, holds   of ours to theirs
///   GB/s, of_copy         what our side moves, and that as a part of what the plain copy moves
///   difference            mean of the channels' differences, where both sides give pixels
/// Sides that give quite different pixels do not do the same work, which is an error. The label
/// says what holds our side up: memory where it moves at least half as much as the copy, else what
/// its kind does.
void Compare(benchmark::State& state, const Row& row, const Run& ours, const Run& theirs,
             const Run& copy, double seconds);

/// Prints the title, each result of `Compare` as a line of a table, and how many hold. Files of
/// results are written beside it as ever, with `--benchmark_out`.
std::unique_ptr<benchmark::BenchmarkReporter> MakeTable(const std::string& title);

}  // namespace Vantra::Bench
