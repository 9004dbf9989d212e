// Any message is verified on either side without being changed; what is suggested in reply is a
// message of the standard, and prints and reads back.
#include "secs2/sml_printer.h"
#include "secs2/verifier.h"

#include <cstdlib>

using namespace velto;

namespace {

void require(bool holds) {
  if (!holds)
    abort();
}

void checkReply(const CHSecsVerifier &slot) {
  const CHSecsMessage &reply = slot.partner()->message;
  const std::string sml = RenderSml(reply);
  CHSecsMessage back;
  back.header.hsms = reply.header.hsms;
  require(back.SetFromSml(sml));
  require(RenderSml(back) == sml);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0)
    return 0;
  CHSecsVerifier slot;
  slot.isEquipmentSide = (data[0] & 1) != 0;
  slot.message.header.hsms = (data[0] & 2) != 0;
  if (!slot.message.Decode({data + 1, size - 1}))
    return 0;
  const std::string before = RenderSml(slot.message);
  const auto result = slot.Verify(slot.message.header.hsms);
  require(result <= VerificationUnrecognizedFunction);
  require(RenderSml(slot.message) == before);
  if (slot.partner()->replyValid)
    checkReply(slot);

  // The same through SML gives the same verdict, but for what SML cannot hold.
  CHSecsVerifier again;
  again.isEquipmentSide = slot.isEquipmentSide;
  again.message.header.hsms = slot.message.header.hsms;
  if (again.message.SetFromSml(before) &&
      again.message.root.hasData() == slot.message.root.hasData())
    again.Verify(again.message.header.hsms);
  slot.MatchTemplate(before);
  return 0;
}
