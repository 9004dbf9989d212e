#pragma once

#include "secs2/item.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace velto::gateway {

/// Writes one JSON object, member by member.
class JsonObject {
public:
  JsonObject &text(std::string_view key, std::string_view value);
  JsonObject &number(std::string_view key, uint64_t value);
  JsonObject &flag(std::string_view key, bool value);
  /// A value that is JSON already.
  JsonObject &json(std::string_view key, std::string_view value);
  std::string take() { return std::move(out_) + '}'; }

private:
  void key(std::string_view name);

  std::string out_ = "{";
};

/// The value of an item as people mean it: a number, a text, true or false; several elements and
/// lists as arrays. A number that JSON, or a reader that takes numbers as doubles, cannot have is a
/// text.
void appendItemJson(std::string &out, const CHSecsItem &item);
std::string itemJson(const CHSecsItem &item);

} // namespace velto::gateway
