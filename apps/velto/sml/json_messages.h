#pragma once

#include "base/bytes.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

/// Whether this program can read JSON; if not, what it was built without.
extern const char *const kJsonMissing; ///< null: it can

/// Why a JSON text was refused, and in which of its lines, from 1.
struct JsonProblem {
  int line = 1;
  std::string text;
};

/// An object of a text.
struct JsonObject {
  std::string_view text;
  int line; ///< where it begins
};

/// Cuts a text into its objects, which stand one behind the other, each on a line or on several.
/// Nothing when something else stands between them, the last does not end, or one nests deeper than
/// any message.
std::optional<std::vector<JsonObject>> splitJson(std::string_view text, JsonProblem &problem);

/// The message, header and body, that an object states in the form of messageJsonMembers(). Other
/// members are left aside. Nothing when it states none.
std::optional<Bytes> messageFromJson(const JsonObject &object, JsonProblem &problem);

} // namespace velto
