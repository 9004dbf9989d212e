#pragma once

#include "gem/messages/items.h"
#include "secs2/sml_printer.h"

#include <cstdint>
#include <string>
#include <utility>

namespace velto::stream7 {

// Process programs (SEMI E5 stream 7).

inline constexpr uint8_t kStream = 7;
enum Function : uint8_t {
  Inquire = 1,
  SendBody = 3,
  RequestBody = 5,
  DeleteBodies = 17,
  Directory = 19,
  SendFormatted = 23,
  RequestFormatted = 25,
  Verification = 27,
  RequestVerification = 31,
};

/// A PPID: the bytes of an ASCII or Binary item.
inline std::string programName(const CHSecsItem &item) { return std::string(item.text()); }

/// The body that is kept of S7F3, S7F6, S7F23 or S7F26: a formatted one is all of it.
inline const CHSecsItem &keptBody(const CHSecsItem &message) {
  return message.count() == 2 ? childOf(message, 2) : message;
}

/// The body of the message that carries what was kept.
inline CHSecsItem sentBody(std::string_view ppid, CHSecsItem &&body) {
  return body.isList() ? std::move(body) : listItem(textItem(ppid), std::move(body));
}

/// What was kept as SML, a line each item.
inline std::string smlOf(const CHSecsItem &body) {
  Bytes bytes(bytesOf(body));
  EncodeItem(body, bytes.data());
  std::string lines;
  SmlItemPlace place;
  RenderItems(lines, bytes, place, nullptr, 0);
  return lines;
}

/// LENGTH of S7F1: the bytes of a body.
inline uint32_t lengthOf(const CHSecsItem &body) {
  return static_cast<uint32_t>(body.isList() ? bytesOf(body) : body.bytes().size());
}

/// An acknowledge code; `otherwise` when the item is none.
inline uint8_t acknowledgeOf(const CHSecsItem &item, uint8_t otherwise) {
  return item.isList() || item.count() != 1 ? otherwise : static_cast<uint8_t>(numberOf(item));
}

} // namespace velto::stream7
