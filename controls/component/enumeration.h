#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace velto {

/// One number of an enumeration.
struct EnumerationValue {
  int32_t number;
  std::string name; ///< for programs: an identifier in every language
  std::string help;
};

/// The numbers that a property, a result or an argument may have, and what they mean.
struct Enumeration {
  std::string name;
  std::string help;
  std::vector<EnumerationValue> values;
  bool flags = false; ///< the numbers are bits, of which any may be there together
};

} // namespace velto
