#include "transport/message_links.h"

#include "transport/hsms/hsms_engine.h"

namespace velto {

Handle<MessageLink> makeMessageLink(LinkProtocol protocol, EventLoop &loop,
                                    MessageLinkOwner &owner) {
  switch (protocol) {
  case LinkProtocol::Hsms:
    break;
  }
  return Handle<MessageLink>(std::make_shared<CHHsms>(loop, owner));
}

} // namespace velto
