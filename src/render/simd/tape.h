#pragma once

// What a program computes once a row, in the order in which the lanes of the row read it again.

#include <cassert>
#include <cstddef>
#include <cstring>
#include <new>
#include <type_traits>

namespace Vantra::Render::Simd {

class Tape {
 public:
  Tape() = default;
  Tape(const Tape&) = delete;
  Tape& operator=(const Tape&) = delete;
  ~Tape() {
    if (memory_ != first_) Free(memory_);
  }

  // Starts anew.
  void Clear() {
    position_ = memory_;
    failed_ = false;
  }

  // A record to be written, valid until the next one. When memory has run out the records are of no
  // use, but can be written all the same.
  template <class Record>
  Record* Push() {
    Check<Record>();
    if (static_cast<std::size_t>(end_ - position_) < BytesOf<Record>()) Grow();
    std::byte* const record = position_ + kMarkBytes;
    position_ += BytesOf<Record>();
    if constexpr (kMarkBytes != 0) {
      *reinterpret_cast<const char**>(record - kMarkBytes) = &kMark<Record>;
    }
    return reinterpret_cast<Record*>(record);
  }

  // The records from the first on, of the types, and in the order, in which they were pushed. The
  // place is the reader's own, so that it can stay in a register.
  class Records {
   public:
    explicit Records(const std::byte* first) : position_(first) {}

    template <class Record>
    const Record* Next() {
      Check<Record>();
      const std::byte* const record = position_ + kMarkBytes;
      position_ += BytesOf<Record>();
      assert(*reinterpret_cast<const char* const*>(record - kMarkBytes) == &kMark<Record>);
      return reinterpret_cast<const Record*>(record);
    }

   private:
    const std::byte* position_;
  };
  Records Read() const { return Records(memory_); }

  bool Failed() const { return failed_; }

 private:
  static constexpr std::size_t kAlignment = 16;
  static constexpr std::size_t kFirstBytes = 4096;
  // A loop over constants that make no sense would fill the machine's memory.
  static constexpr std::size_t kMostBytes = std::size_t{256} << 20;
  // Where assertions hold, each record stands behind the address of its type's mark, by which the
  // readers are known to be in step.
#ifdef NDEBUG
  static constexpr std::size_t kMarkBytes = 0;
#else
  static constexpr std::size_t kMarkBytes = kAlignment;
#endif
  template <class Record>
  static constexpr char kMark = 0;

  template <class Record>
  static constexpr void Check() {
    static_assert(std::is_trivially_copyable_v<Record>);
    static_assert(alignof(Record) <= kAlignment && BytesOf<Record>() <= kFirstBytes);
  }

  template <class Record>
  static constexpr std::size_t BytesOf() {
    return kMarkBytes + (sizeof(Record) + kAlignment - 1) / kAlignment * kAlignment;
  }

  [[gnu::noinline, gnu::cold]] void Grow() {
    const auto used = static_cast<std::size_t>(position_ - memory_);
    const std::size_t bytes = 2 * static_cast<std::size_t>(end_ - memory_);
    void* const larger = bytes > kMostBytes
                             ? nullptr
                             : ::operator new (bytes, std::align_val_t{kAlignment}, std::nothrow);
    if (larger == nullptr) {
      failed_ = true;
      position_ = memory_;
      return;
    }
    std::memcpy(larger, memory_, used);
    if (memory_ != first_) Free(memory_);
    memory_ = static_cast<std::byte*>(larger);
    position_ = memory_ + used;
    end_ = memory_ + bytes;
  }

  static void Free(std::byte* memory) { ::operator delete (memory, std::align_val_t{kAlignment}); }

  alignas(kAlignment) std::byte first_[kFirstBytes];
  std::byte* memory_ = first_;
  std::byte* position_ = first_;
  std::byte* end_ = first_ + kFirstBytes;
  bool failed_ = false;
};

// The calling thread's tape. It keeps its memory, so that a row like one before allocates nothing.
inline Tape& ThreadTape() {
  thread_local Tape tape;
  return tape;
}

}  // namespace Vantra::Render::Simd
