#pragma once

#include "secs2/edition.h"

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace velto {

/// Whether a message carries the W-bit, which asks for a reply. Any: no primary, or of no matter.
enum class WBit : uint8_t { Any, Required, Forbidden, Optional };

/// The local side that may receive a message: an equipment-to-host message comes to the host.
enum class Side : uint8_t { Both, Equipment, Host };

/// What a reply builder fills into its text, in order: "%u" numbers and "%s" texts.
using ReplyArguments = std::array<std::string_view, 3>;

/// What an edition says of a message: everything that its verification and its building need.
struct MessageRule {
  WBit wbit = WBit::Any; ///< of a primary; replies carry none
  Side side = Side::Both;
  /// Its structure in the notation of structure.h; null: the edition does not know the message as
  /// one that is received.
  const char *body = nullptr;

  /// Where the body differs on the host side.
  const char *hostBody = nullptr;
  /// The SML that builds it; null for messages that nobody here builds. Where a side is not that of
  /// an equipment, hostText instead.
  const char *text = nullptr;
  const char *hostText = nullptr;
  /// Of a primary with a reply: the arguments of the reply proposed to it.
  ReplyArguments proposal = {};
  bool echoes = false; ///< the reply proposed has the body of the message itself
  /// Of a primary whose wrong body has a reply of its own: the arguments of that reply.
  ReplyArguments refusal = {};

  bool hasReply() const { return wbit == WBit::Required || wbit == WBit::Optional; }
};

/// One message of SEMI E5, with a column for each edition.
struct MessageRow {
  uint8_t stream;
  uint8_t function;
  const char *name; ///< as SEMI E5 calls it
  std::array<MessageRule, kE5Editions> rules;

  constexpr const MessageRule &of(E5Edition edition) const {
    return rules[static_cast<size_t>(edition)];
  }
};

/// All messages, in order of stream and function.
std::span<const MessageRow> messageTable();

/// The row of a message; null when no edition of the standard knows it.
const MessageRow *findMessage(uint8_t stream, uint8_t function);

/// True for the streams that have messages: 1 to 10 and 12 to 18.
bool isKnownStream(uint8_t stream);

namespace messages {
// The rows by stream, one file each.
extern const std::span<const MessageRow> kStream1;
extern const std::span<const MessageRow> kStream2;
extern const std::span<const MessageRow> kStream3;
extern const std::span<const MessageRow> kStream4;
extern const std::span<const MessageRow> kStream5;
extern const std::span<const MessageRow> kStream6;
extern const std::span<const MessageRow> kStream7;
extern const std::span<const MessageRow> kStream8;
extern const std::span<const MessageRow> kStream9;
extern const std::span<const MessageRow> kStream10;
extern const std::span<const MessageRow> kStream12;
extern const std::span<const MessageRow> kStream13;
extern const std::span<const MessageRow> kStream14;
extern const std::span<const MessageRow> kStream15;
extern const std::span<const MessageRow> kStream16;
extern const std::span<const MessageRow> kStream17;
extern const std::span<const MessageRow> kStream18;
} // namespace messages

} // namespace velto
