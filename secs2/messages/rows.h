#pragma once

#include "secs2/message_table.h"

#include <optional>

namespace velto::messages {

/// Where the current edition differs from the early one.
struct Current {
  std::optional<WBit> wbit = {};
  std::optional<Side> side = {};
  const char *body = nullptr;
  const char *text = nullptr;
  bool echoes = false;
};

/// What few rows state beyond the rest.
struct RowExtras {
  const char *text = nullptr;     ///< of a primary that is built here
  const char *hostText = nullptr; ///< where the side is not that of an equipment
  const char *hostBody = nullptr;
  ReplyArguments refusal = {};
  Current current = {};
};

/// A primary whose reply has become optional.
inline constexpr RowExtras kReplyOptional{.current = {.wbit = WBit::Optional}};

/// A reply that was once a header alone, and the SML that builds it now.
constexpr RowExtras now(const char *text) { return {.current = {.text = text}}; }

namespace detail {

constexpr MessageRow row(uint8_t stream, uint8_t function, WBit wbit, Side side, const char *body,
                         const char *name, ReplyArguments proposal, const RowExtras &extras) {
  const MessageRule early{.wbit = wbit,
                          .side = side,
                          .body = body,
                          .hostBody = extras.hostBody,
                          .text = extras.text,
                          .hostText = extras.hostText,
                          .proposal = proposal,
                          .refusal = extras.refusal};
  const Current &change = extras.current;
  MessageRule current = early;
  current.wbit = change.wbit.value_or(wbit);
  current.side = change.side.value_or(side);
  current.body = change.body != nullptr ? change.body : body;
  current.text = change.text != nullptr ? change.text : extras.text;
  current.echoes = change.echoes;
  return {.stream = stream, .function = function, .name = name, .rules = {early, current}};
}

} // namespace detail

/// A primary that asks for a reply: its W-bit is required. `proposal` holds the arguments of that
/// reply's text; those left out are empty.
constexpr MessageRow primary(uint8_t stream, uint8_t function, Side side, const char *body,
                             const char *name, ReplyArguments proposal = {},
                             const RowExtras &extras = {}) {
  return detail::row(stream, function, WBit::Required, side, body, name, proposal, extras);
}

/// A primary without a reply: it must not carry the W-bit.
constexpr MessageRow notice(uint8_t stream, uint8_t function, Side side, const char *body,
                            const char *name, const RowExtras &extras = {}) {
  return detail::row(stream, function, WBit::Forbidden, side, body, name, {}, extras);
}

/// A reply, and the SML that builds it; none for a reply that is only received.
constexpr MessageRow reply(uint8_t stream, uint8_t function, Side side, const char *body,
                           const char *name, const char *text = nullptr, RowExtras extras = {}) {
  extras.text = text;
  return detail::row(stream, function, WBit::Any, side, body, name, {}, extras);
}

/// A message that only the current edition knows.
constexpr MessageRow added(MessageRow row) {
  row.rules[0] = {};
  return row;
}

} // namespace velto::messages
