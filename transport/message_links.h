#pragma once

#include "base/handle.h"
#include "platform/event_loop.h"
#include "transport/link/message_link.h"
#include "transport/secsi/serial_ports.h"

#include <memory>

namespace velto {

/// The protocols that carry SECS-II messages, by their numbers in settings. A new one is a class
/// and a line in makeMessageLink().
enum class LinkProtocol : int32_t { Hsms = 0, SecsISerial = 1, SecsITcp = 2 };

constexpr bool isLinkProtocol(int32_t number) { return number >= 0 && number <= 2; }

/// A new link, closed, with settings that outlive it. It reports to `owner`, which outlives it as
/// `ports` do.
Handle<MessageLink> makeMessageLink(LinkProtocol protocol, EventLoop &loop, MessageLinkOwner &owner,
                                    std::shared_ptr<LinkSettings> settings,
                                    const SerialPorts &ports = systemPorts());

} // namespace velto
