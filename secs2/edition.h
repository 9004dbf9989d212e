#pragma once

#include <cstddef>
#include <cstdint>

namespace velto {

/// The editions of SEMI E5 by which messages are judged and built.
enum class E5Edition : uint8_t {
  Early = 0,   ///< texts as short as they once were (MDLN 6 characters), replies mostly a header
  Current = 1, ///< longer texts, optional replies, the standard's own reply bodies
};

inline constexpr size_t kE5Editions = 2;

/// Whether there is an edition of that number.
constexpr bool isE5Edition(int32_t number) { return number == 0 || number == 1; }

} // namespace velto
