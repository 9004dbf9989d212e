#pragma once

#include "base/bytes.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

namespace velto {

/// Bytes of a stream in their order: added at the end, taken from the front. Grows on demand; its
/// memory is never cleared first, so that a socket can read straight into it.
class ByteQueue {
public:
  size_t size() const { return end_ - begin_; }
  bool empty() const { return begin_ == end_; }
  ByteView view() const { return {bytes_.get() + begin_, size()}; }

  /// Room behind the contents: at least one and at most `limit` bytes (`limit` is not 0).
  std::span<uint8_t> space(size_t limit) {
    const size_t wanted = std::min(limit, kStep);
    if (capacity_ - end_ < wanted)
      makeRoom(wanted);
    return {bytes_.get() + end_, std::min(limit, capacity_ - end_)};
  }
  /// Counts the first bytes of space() in.
  void added(size_t count) { end_ += count; }

  void append(ByteView bytes) {
    if (bytes.empty())
      return;
    if (capacity_ - end_ < bytes.size())
      makeRoom(bytes.size());
    std::memcpy(bytes_.get() + end_, bytes.data(), bytes.size());
    end_ += bytes.size();
  }

  void drop(size_t count) {
    begin_ += count;
    if (empty())
      clear();
  }

  /// Empties the queue; memory beyond kKept is given back.
  void clear() {
    begin_ = end_ = 0;
    if (capacity_ > kKept)
      *this = ByteQueue();
  }

  /// Moves the first `count` bytes to a queue of their own, so that they stay in place while this
  /// one goes on. Copies whichever part is smaller.
  ByteQueue take(size_t count) {
    ByteQueue taken;
    if (size() - count < count) {
      std::swap(taken, *this);
      append(taken.view().subspan(count));
      taken.end_ = taken.begin_ + count;
    } else {
      taken.append(view().first(count));
      drop(count);
    }
    return taken;
  }

  /// Takes over the memory that a take() moved out, when none took its place meanwhile.
  void reuse(ByteQueue &&taken) {
    if (bytes_ != nullptr)
      return;
    taken.clear();
    *this = std::move(taken);
  }

private:
  static constexpr size_t kStep = 4096;
  static constexpr size_t kKept = size_t{256} * 1024;

  // Moves the contents to the front when that pays off, else doubles the memory.
  void makeRoom(size_t wanted) {
    const size_t kept = size();
    if (begin_ >= kept && capacity_ - kept >= wanted) {
      if (kept != 0)
        std::memcpy(bytes_.get(), bytes_.get() + begin_, kept);
    } else {
      const size_t capacity = std::max({kStep, 2 * kept, kept + wanted});
      auto bytes = std::make_unique_for_overwrite<uint8_t[]>(capacity);
      if (kept != 0)
        std::memcpy(bytes.get(), bytes_.get() + begin_, kept);
      bytes_ = std::move(bytes);
      capacity_ = capacity;
    }
    begin_ = 0;
    end_ = kept;
  }

  std::unique_ptr<uint8_t[]> bytes_;
  size_t capacity_ = 0;
  size_t begin_ = 0;
  size_t end_ = 0;
};

} // namespace velto
