#pragma once

#include "base/bytes.h"

#include <optional>
#include <string>

namespace velto {

/// How a body is written as JSON.
struct BodyJsonOptions {
  /// Whether two-byte character items state the code of their encoding. Not where the bytes are
  /// those of decoded items, which keep no code.
  bool encodings = true;
  size_t most = std::string::npos; ///< bytes of JSON; a longer body is not written
};

/// An encoded body (SEMI E5 9) as members of a JSON object, behind a comma each: `"body"` with an
/// object of "format" and "value" for each item, nothing for an empty body. When the bytes are not
/// just what the items say (cut short, an unknown format, a length that is longer than needed or no
/// multiple of the element size), `"raw"` holds them too, in hexadecimal. A body that takes more
/// than `most` is `"body_bytes"`, its size, alone. docs/sml.md describes the form.
std::string bodyJsonMembers(ByteView body, const BodyJsonOptions &options = {});

/// A message, header and body, as the members of a JSON object: "message" (its name, for people),
/// "stream", "function", "wbit", "session", "system_bytes", "ptype" and "stype" unless they are 0,
/// and the body. `message` has at least a header, in the form of HSMS (SEMI E37 8.2).
std::string messageJsonMembers(ByteView message, const BodyJsonOptions &options = {});

} // namespace velto
