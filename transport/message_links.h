#pragma once

#include "base/handle.h"
#include "platform/event_loop.h"
#include "transport/link/message_link.h"

namespace velto {

/// The protocols that carry SECS-II messages. A new one is a class and a line in makeMessageLink().
enum class LinkProtocol { Hsms };

/// A new link, closed. It reports to `owner`, which outlives it.
Handle<MessageLink> makeMessageLink(LinkProtocol protocol, EventLoop &loop,
                                    MessageLinkOwner &owner);

} // namespace velto
