#pragma once

#include "module/velto.h"

#include <string>
#include <string_view>

// Values of the C interface, from and to those of C++.
inline velto_value integer(int64_t number) { return {VELTO_INTEGER, number, 0, nullptr, 0}; }
inline velto_value text(std::string_view value) {
  return {VELTO_TEXT, 0, 0, value.data(), value.size()};
}
inline std::string textOf(const velto_value &value) { return {value.text, value.length}; }
