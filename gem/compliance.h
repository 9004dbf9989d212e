#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>

namespace velto {

/// A message by its numbers.
struct MessageNumber {
  uint8_t stream;
  uint8_t function;
};

/// A line of the statement that SEMI E30 wants of an equipment: a requirement or capability, and
/// how it is met.
struct ComplianceRow {
  const char *name;    ///< as SEMI E30 calls it
  uint32_t capability; ///< the bits of `Capabilities` that it takes; 0: always there
  std::span<const MessageNumber> messages; ///< its primaries
  const char *how;
};

/// The fundamental requirements (SEMI E30 3), then the additional capabilities (SEMI E30 4).
std::span<const ComplianceRow> fundamentalRequirements();
std::span<const ComplianceRow> additionalCapabilities();

} // namespace velto
