#pragma once

// The threads of a CPU engine: they share the rows of a pass out among themselves, in bands.

#include <cstdint>
#include <memory>

namespace Vantra::Render::Simd {

// How many threads there are when so many are wanted: 0, and more than the machine has, stand for
// as many as it has.
unsigned CountThreads(unsigned wanted);

class Workers {
 public:
  // `CountThreads` of them, of which the calling thread is one.
  explicit Workers(unsigned threads);
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  unsigned Threads() const { return threads_; }

  // Runs `body(top, bottom)`, which gives false when memory has run out, over bands of rows that
  // together are those from `top` up to and without `bottom`. Bands of less than `least_work` are
  // not worth a thread's waking. Waits for all bands; false when one failed or threw. Takes no
  // memory of its own that lasts.
  template <class Body>
  bool Run(std::int32_t top, std::int32_t bottom, std::uint64_t work_per_row,
           std::uint64_t least_work, const Body& body) {
    const auto call = [](const void* context, std::int32_t first, std::int32_t last) {
      return (*static_cast<const Body*>(context))(first, last);
    };
    return RunBands(top, bottom, work_per_row, least_work, {&body, call});
  }

 private:
  struct BodyRef {
    const void* context;
    bool (*call)(const void* context, std::int32_t top, std::int32_t bottom);
  };
  struct Arena;

  bool RunBands(std::int32_t top, std::int32_t bottom, std::uint64_t work_per_row,
                std::uint64_t least_work, BodyRef body) noexcept;

  unsigned threads_;
  std::unique_ptr<Arena> arena_;  // none for a single thread
};

}  // namespace Vantra::Render::Simd
