#include "transport/message_links.h"

#include "transport/hsms/hsms_engine.h"
#include "transport/secsi/secsi_message_link.h"

#include <utility>

namespace velto {

Handle<MessageLink> makeMessageLink(LinkProtocol protocol, EventLoop &loop, MessageLinkOwner &owner,
                                    std::shared_ptr<LinkSettings> settings,
                                    const SerialPorts &ports) {
  using Medium = CHSecsIMessageLink::Medium;
  const auto secsI = [&](Medium medium) {
    return std::make_shared<CHSecsIMessageLink>(loop, owner, medium, std::move(settings), ports);
  };
  switch (protocol) {
  case LinkProtocol::Hsms:
    break;
  case LinkProtocol::SecsISerial:
    return Handle<MessageLink>(secsI(Medium::Serial));
  case LinkProtocol::SecsITcp:
    return Handle<MessageLink>(secsI(Medium::Tcp));
  }
  return Handle<MessageLink>(std::make_shared<CHHsms>(loop, owner, std::move(settings)));
}

} // namespace velto
