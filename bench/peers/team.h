#pragma once

// Threads that divide a work among themselves: what a host does with libraries that have no threads
// of their own.

#include <barrier>
#include <functional>
#include <thread>
#include <vector>

namespace Vantra::Bench {

class Team {
 public:
  using Work = std::function<void(unsigned part)>;

  /// At least 1 thread, this one included.
  explicit Team(unsigned size) : size_(size), start_(size), finish_(size) {
    for (unsigned part = 1; part < size; ++part) {
      threads_.emplace_back([this, part] {
        while (true) {
          start_.arrive_and_wait();
          if (!work_) return;
          (*work_)(part);
          finish_.arrive_and_wait();
        }
      });
    }
  }
  Team(const Team&) = delete;
  Team& operator=(const Team&) = delete;
  ~Team() {
    work_ = nullptr;
    start_.arrive_and_wait();
  }

  unsigned Size() const { return size_; }

  /// Calls `work` for the parts from 0 to `Size() - 1`, each on a thread of its own, and returns
  /// when all are done.
  void Run(const Work& work) {
    work_ = &work;
    start_.arrive_and_wait();
    work(0);
    finish_.arrive_and_wait();
  }

 private:
  unsigned size_;
  // Written between two rounds only, while the threads wait for the start.
  const Work* work_ = nullptr;
  std::barrier<> start_;
  std::barrier<> finish_;
  std::vector<std::jthread> threads_;
};

}  // namespace Vantra::Bench
