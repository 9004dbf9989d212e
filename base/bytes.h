#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace velto {

using Bytes = std::vector<uint8_t>;
using ByteView = std::span<const uint8_t>;

/// Reads a big-endian number of any width from the front of `bytes` (which must be long enough).
template <typename T> T readBigEndian(const uint8_t *bytes) {
  T value = 0;
  for (unsigned i = 0; i < sizeof(T); ++i)
    value = static_cast<T>((static_cast<uint64_t>(value) << 8) | bytes[i]);
  return value;
}

/// Writes `value` big-endian to `out`.
template <typename T> void writeBigEndian(uint8_t *out, T value) {
  for (unsigned i = 0; i < sizeof(T); ++i)
    out[i] = static_cast<uint8_t>(value >> (8 * (sizeof(T) - 1 - i)));
}

} // namespace velto
