#pragma once

#include "apps/velto/command.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

/// An option of a command line: `--name`, or `--name VALUE` when it takes a value.
struct Option {
  std::string_view name;        ///< with its dashes
  bool *given = nullptr;        ///< set when the option is there; null for one with a value
  std::string *value = nullptr; ///< takes the value
};

/// Takes the options out of a command line; `rest` gets the other arguments. Returns what is wrong
/// with it, an empty text for nothing.
std::string readOptions(const CommandArguments &arguments, std::span<const Option> options,
                        std::vector<std::string> &rest);

/// The whole of a text as a decimal number; nothing when it is none or out of range.
std::optional<int32_t> wholeNumber(std::string_view text, int32_t low, int32_t high);

} // namespace velto
