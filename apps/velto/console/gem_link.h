#pragma once

#include "apps/velto/console/gem_console.h"
#include "controls/link_address.h"

#include <string>

namespace velto {

// The link of a program to its partner.

/// For the help of the programs: the forms of an address.
inline constexpr const char *kAddressHelp =
    "Addresses:\n"
    "  [hsms:]HOST[:PORT]    connects by HSMS (port 5001 if not given)\n"
    "  secsi:HOST:PORT       connects by SECS-I over TCP\n"
    "  listen:[secsi:]PORT   lets the other end connect; 0: any free port\n"
    "  serial:DEVICE[:RATE]  SECS-I on a serial port (/dev/ttyUSB0, com1), at\n"
    "                        9600 bit/s if not given\n\n"
    "docs/tools.md tells more and has examples.";

/// Opens the control's link and prints what that does: "connecting to 127.0.0.1:5001", "listening
/// on port 5001", "opening /dev/ttyUSB0 at 9600 bit/s". False when a listener cannot be there in
/// time.
bool openLink(CVeltoGemCtrl &control, EventLoop &loop, GemConsole &console,
              const LinkAddress &address);

/// Why a port cannot be listened on now; empty when it can.
std::string listenProblem(int32_t port);
/// Ends what a program does with its partner: lets what waits for the line go out for a moment,
/// sends Separate.req (SEMI E37 7.6), which only HSMS knows, and closes the link.
void separate(CVeltoGemCtrl &control, EventLoop &loop);

} // namespace velto
