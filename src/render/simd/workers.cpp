#include "render/simd/workers.h"

#include <algorithm>
#include <atomic>
#include <oneapi/tbb/info.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>

namespace Vantra::Render::Simd {
namespace {

// More than one, for rows that cost more than others and threads that are busy elsewhere.
constexpr std::uint64_t kBandsPerThread = 4;

}  // namespace

unsigned CountThreads(unsigned wanted) {
  const auto most = static_cast<unsigned>(std::max(tbb::info::default_concurrency(), 1));
  return wanted == 0 ? most : std::min(wanted, most);
}

struct Workers::Arena {
  explicit Arena(unsigned threads) : arena(static_cast<int>(threads)) { arena.initialize(); }
  tbb::task_arena arena;
};

Workers::Workers(unsigned threads) : threads_(CountThreads(threads)) {
  if (threads_ > 1) arena_ = std::make_unique<Arena>(threads_);
}

Workers::~Workers() = default;

bool Workers::RunBands(std::int32_t top, std::int32_t bottom, std::uint64_t work_per_row,
                       std::uint64_t least_work, BodyRef body) noexcept {
  const auto guarded = [&body](std::int32_t first, std::int32_t last) {
    try {
      return body.call(body.context, first, last);
    } catch (...) {
      return false;
    }
  };
  const auto rows = static_cast<std::uint64_t>(bottom - top);
  const std::uint64_t bands =
      std::min({rows, rows * work_per_row / least_work, std::uint64_t{threads_} * kBandsPerThread});
  if (!arena_ || bands <= 1) return guarded(top, bottom);

  std::atomic<bool> succeeded = true;
  const auto run_band = [&](std::uint64_t band) {
    const auto first = top + static_cast<std::int32_t>(rows * band / bands);
    const auto last = top + static_cast<std::int32_t>(rows * (band + 1) / bands);
    if (!guarded(first, last)) succeeded.store(false, std::memory_order_relaxed);
  };
  try {
    arena_->arena.execute(
        [&] { tbb::parallel_for(std::uint64_t{0}, bands, run_band, tbb::simple_partitioner()); });
  } catch (...) {
    return false;
  }
  return succeeded;
}

}  // namespace Vantra::Render::Simd
