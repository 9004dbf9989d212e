#include "gem/messages/gate.h"

#include "gem/messages/stream1.h"
#include "secs2/transaction.h"

namespace velto {

std::optional<bool> CHGemGate::stop(const CHSecsMessage &message) {
  return mayPass(message.header) ? std::nullopt : std::optional(false);
}

// Complaints pass whenever there are communications at all, or an attempt to establish them.
bool CHGemGate::mayPass(const CHSecsHeader &header) const {
  using enum stream1::Function;
  const bool complains = header.stream() == kErrorStream;
  const int function = stream1::functionOf(header);
  switch (owner_.communicationState()) {
  case CommunicationState::NotCommunicating:
    return complains || function == EstablishAcknowledge ||
           (function == EstablishCommunications &&
            !owner_.awaitsAnswer(1, EstablishCommunications));
  case CommunicationState::Communicating:
    return complains || isOnline(owner_.controlState()) || function == AreYouThere ||
           function == EstablishCommunications || function == EstablishAcknowledge ||
           function == OnlineAcknowledge;
  default:
    return false;
  }
}

} // namespace velto
