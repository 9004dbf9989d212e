#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace velto::gateway {

/// Counts times by their length, eight classes for each doubling, so that percentiles are right to
/// an eighth.
class Latencies {
public:
  void add(uint64_t microseconds) {
    ++counts_[classOf(microseconds)];
    ++count_;
  }
  uint64_t count() const { return count_; }
  /// Microseconds within which so many of a hundred were; 0 when there are none.
  uint64_t percentile(unsigned hundredths) const {
    const uint64_t wanted = (count_ * hundredths + 99) / 100;
    uint64_t seen = 0;
    for (size_t i = 0; i < counts_.size() && count_ != 0; ++i)
      if ((seen += counts_[i]) >= wanted)
        return upperBound(i);
    return 0;
  }
  void clear() { *this = {}; }

private:
  static constexpr unsigned kSteps = 8;
  static constexpr size_t kClasses = 64 * kSteps;

  static size_t classOf(uint64_t value) {
    if (value < kSteps)
      return static_cast<size_t>(value);
    const auto power = static_cast<unsigned>(std::bit_width(value)) - 4; // of 8 to 15
    return static_cast<size_t>(power) * kSteps + static_cast<size_t>(value >> power);
  }
  static uint64_t upperBound(size_t index) {
    if (index < kSteps)
      return index;
    const size_t power = index / kSteps - 1;
    return ((uint64_t{index} % kSteps + kSteps + 1) << power) - 1;
  }

  std::array<uint64_t, kClasses> counts_{};
  uint64_t count_ = 0;
};

} // namespace velto::gateway
