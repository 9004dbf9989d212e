#pragma once

#include "base/bytes.h"
#include "secs2/message.h"

#include <optional>
#include <string>

namespace velto {

/// Names of an equipment's variables and collection events, for the annotations of printed SML.
class SmlContext {
public:
  virtual ~SmlContext() = default;
  virtual std::optional<std::string> variableName(int32_t id) const = 0;
  virtual std::optional<std::string> eventName(int32_t id) const = 0;
};

/// The message as SML text: a header line, then one line per item, lists in braces, each line ended
/// by "\r\n" and indented by two blanks a level. Items of well-known messages get their name behind
/// " * ". Empty when the message is too long to encode. Indentation takes at most 32 blanks for
/// each byte of the body, and 65,536; lines beyond that have none. A text longer than `most` bytes
/// is not printed to its end: it stops there with a line that says so (a comment in SML).
std::string RenderSml(const CHSecsMessage &message, const SmlContext *context = nullptr,
                      size_t most = std::string::npos);

/// What names the items of a rendering.
struct SmlItemPlace {
  uint8_t stream = 0;
  uint8_t function = 0;
  std::string path; ///< of the item, as node paths are written
};

/// Appends one encoded item and all below it to `out`; returns the count of bytes consumed, 0 when
/// there are none. Lengths that run past the bytes are cut to them.
size_t RenderItems(std::string &out, ByteView bytes, SmlItemPlace &place, const SmlContext *context,
                   size_t depth);

} // namespace velto
