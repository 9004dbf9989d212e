#pragma once

#include "secs2/message_table.h"

namespace velto::messages {

/// What few rows state beyond the rest.
struct RowExtras {
  const char *text = nullptr;     ///< of a primary that is built here
  const char *hostText = nullptr; ///< where the side is not that of an equipment
  const char *hostBody = nullptr;
  ReplyArguments refusal = {};
};

namespace detail {

constexpr MessageRow row(uint8_t stream, uint8_t function, WBit wbit, Side side, const char *body,
                         const char *name, ReplyArguments proposal, const RowExtras &extras) {
  return {.stream = stream,
          .function = function,
          .wbit = wbit,
          .side = side,
          .body = body,
          .name = name,
          .hostBody = extras.hostBody,
          .text = extras.text,
          .hostText = extras.hostText,
          .proposal = proposal,
          .refusal = extras.refusal};
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
                            const char *name) {
  return detail::row(stream, function, WBit::Forbidden, side, body, name, {}, {});
}

/// A reply, and the SML that builds it; none for a reply that is only received.
constexpr MessageRow reply(uint8_t stream, uint8_t function, Side side, const char *body,
                           const char *name, const char *text = nullptr, RowExtras extras = {}) {
  extras.text = text;
  return detail::row(stream, function, WBit::Any, side, body, name, {}, extras);
}

} // namespace velto::messages
