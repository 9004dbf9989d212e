// SECS-II messages through the C interface, without a control.

#include "module/objects.h"
#include "secs2/message.h"
#include "secs2/sml_printer.h"
#include "secs2/verifier.h"

using namespace velto;
using namespace velto::module;

namespace {

thread_local std::string result;

velto_status give(std::string text, velto_value *to) {
  result = std::move(text);
  *to = textToC(result);
  return VELTO_OK;
}

// Checks what every call has, and does the work: `work(text)`.
template <typename Work>
velto_status convert(const void *bytes, size_t length, velto_value *to, Work work) {
  return guarded([&] {
    if (to == nullptr || (bytes == nullptr && length != 0))
      return fail(VELTO_WRONG_ARGUMENTS, "a text and a place for the result are due");
    *to = {VELTO_EMPTY, 0, 0, nullptr, 0};
    return work(length == 0 ? std::string_view()
                            : std::string_view(static_cast<const char *>(bytes), length));
  });
}

bool parse(std::string_view sml, CHSecsMessage &message) {
  SmlError error;
  if (message.SetFromSml(sml, &error)) {
    if (message.header.sType() == 0)
      message.header.idWord = 0; // the device of a fresh message
    return true;
  }
  fail(VELTO_FAILED, error.whatAndWhere());
  return false;
}

ByteView bytesOf(std::string_view text) {
  return {reinterpret_cast<const uint8_t *>(text.data()), text.size()};
}

velto_status noMessage() {
  return fail(VELTO_FAILED, "a message has ten bytes of header, or 20 hexadecimal digits");
}

velto_status tooLong() { return fail(VELTO_FAILED, "the message is longer than 10 MiB"); }

bool decode(std::string_view text, CHSecsMessage &message) {
  return text.size() <= UINT32_MAX && message.Decode(bytesOf(text));
}

} // namespace

velto_status velto_sml_to_hex(const char *sml, size_t length, velto_value *to) {
  return convert(sml, length, to, [to](std::string_view text) {
    CHSecsMessage message;
    if (!parse(text, message))
      return VELTO_FAILED;
    std::string hex = message.GetMsg();
    return hex.empty() ? tooLong() : give(std::move(hex), to);
  });
}

velto_status velto_hex_to_sml(const char *hex, size_t length, velto_value *to) {
  return convert(hex, length, to, [to](std::string_view text) {
    CHSecsMessage message;
    return message.SetMsg(text) ? give(RenderSml(message), to) : noMessage();
  });
}

velto_status velto_sml_to_bytes(const char *sml, size_t length, velto_value *to) {
  return convert(sml, length, to, [to](std::string_view text) {
    CHSecsMessage message;
    if (!parse(text, message))
      return VELTO_FAILED;
    Bytes bytes;
    return message.Encode(bytes) ? give(std::string(bytes.begin(), bytes.end()), to) : tooLong();
  });
}

velto_status velto_bytes_to_sml(const void *bytes, size_t length, velto_value *to) {
  return convert(bytes, length, to, [to](std::string_view text) {
    CHSecsMessage message;
    return decode(text, message) ? give(RenderSml(message), to) : noMessage();
  });
}

velto_status velto_verify(const void *bytes, size_t length, int edition, int equipment_side,
                          int *verification, velto_value *to) {
  return convert(bytes, length, to, [=](std::string_view text) {
    if (verification == nullptr || edition < 0 || edition > 1)
      return fail(VELTO_WRONG_ARGUMENTS, "an edition (0 or 1) and a place for the outcome are due");
    CHSecsVerifier slot;
    slot.edition = static_cast<E5Edition>(edition);
    slot.isEquipmentSide = equipment_side != 0;
    if (!decode(text, slot.message))
      return noMessage();
    *verification = slot.Verify(true);
    return give(slot.FindingText(true), to);
  });
}
