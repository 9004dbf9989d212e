#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace velto {

/// Whether a message carries the W-bit, which asks for a reply.
enum class WBit : uint8_t { Any, Required, Forbidden };

/// The local side that may receive a message: an equipment-to-host message comes to the host.
enum class Side : uint8_t { Both, Equipment, Host };

/// What a reply builder fills into its text, in order: "%u" numbers and "%s" texts.
using ReplyArguments = std::array<std::string_view, 3>;

/// One message of SEMI E5: everything that its verification and its building need.
struct MessageRow {
  uint8_t stream;
  uint8_t function;
  WBit wbit; ///< of a primary; replies carry none
  Side side;
  const char *body; ///< its structure in the notation of structure.h; null: built, never received
  const char *name; ///< as SEMI E5 calls it

  /// Where the body differs on the host side.
  const char *hostBody = nullptr;
  /// The SML that builds it; null for messages that nobody here builds. Where a side is not that of
  /// an equipment, hostText instead.
  const char *text = nullptr;
  const char *hostText = nullptr;
  /// Of a primary with a required W-bit: the arguments of the reply proposed to it.
  ReplyArguments proposal = {};
  /// Of a primary whose wrong body has a reply of its own: the arguments of that reply.
  ReplyArguments refusal = {};
};

/// All messages, in order of stream and function.
std::span<const MessageRow> messageTable();

/// The row of a message; null when the standard knows none.
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
