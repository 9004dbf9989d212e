#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace velto {

class CHSecsItem;

/// What verification objects to in a message: the item, and the rule that it breaks.
struct VerifyFinding {
  std::string path; ///< node path of the item; empty: the root, or the message itself
  std::string text; ///< "MDLN longer than 6"; empty: there is no objection

  explicit operator bool() const { return !text.empty(); }
};

/// The node path of a child of children: 2, 1 is "2/1".
std::string nodePath(std::span<const uint32_t> numbers);

/// The first item of a decoded body that arrived malformed or ends before its length says.
VerifyFinding wireFinding(const CHSecsItem &body);

} // namespace velto
