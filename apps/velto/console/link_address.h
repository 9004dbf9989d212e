#pragma once

#include "apps/velto/console/gem_console.h"
#include "transport/message_links.h"

#include <optional>
#include <string>
#include <string_view>

namespace velto {

/// How the partner of a program is reached, as people write it:
///
///     [hsms:]HOST[:PORT]      connects by HSMS
///     secsi:HOST:PORT         connects by SECS-I over TCP, to a terminal server for example
///     listen:[secsi:]PORT     waits for the partner to connect; port 0: any free one
///     serial:DEVICE[:RATE]    SECS-I on a serial port, at 9600 bits per second if not stated
struct LinkAddress {
  static constexpr const char *kForms =
      "HOST[:PORT], secsi:HOST:PORT, listen:[secsi:]PORT or serial:DEVICE[:RATE]";
  /// For the help of the programs.
  static constexpr const char *kHelp =
      "Addresses:\n"
      "  [hsms:]HOST[:PORT]    connects by HSMS (port 5001 if not given)\n"
      "  secsi:HOST:PORT       connects by SECS-I over TCP\n"
      "  listen:[secsi:]PORT   lets the other end connect; 0: any free port\n"
      "  serial:DEVICE[:RATE]  SECS-I on a serial port (/dev/ttyUSB0, com1), at\n"
      "                        9600 bit/s if not given\n\n"
      "docs/tools.md tells more and has examples.";

  LinkProtocol protocol = LinkProtocol::Hsms;
  bool listens = false;
  std::string host;
  int32_t port = 5001;
  std::string device;
  int32_t rate = 9600;

  bool isSerial() const { return protocol == LinkProtocol::SecsISerial; }
  /// Sets what the next opening of the control's link depends on.
  void apply(CVeltoGemCtrl &control) const;
  /// The partner: "127.0.0.1:5001", "/dev/ttyUSB0", "port 5001".
  std::string partner() const;
};

/// Opens the control's link and prints what that does: "connecting to 127.0.0.1:5001", "listening
/// on port 5001", "opening /dev/ttyUSB0 at 9600 bit/s". False when a listener cannot be there in
/// time.
bool openLink(CVeltoGemCtrl &control, EventLoop &loop, GemConsole &console,
              const LinkAddress &address);

/// Whether a text begins as an address of one of the forms with a word in front.
bool isLinkAddress(std::string_view text);
/// Nothing when it is of none of the forms.
std::optional<LinkAddress> readLinkAddress(std::string_view text);
/// The same for a command line: what is wrong with the text, or nothing.
std::string takeLinkAddress(const std::string &text, std::optional<LinkAddress> &address);
/// Why a port cannot be listened on now; empty when it can.
std::string listenProblem(int32_t port);
/// Ends what a program does with its partner: lets what waits for the line go out for a moment,
/// sends Separate.req (SEMI E37 7.6), which only HSMS knows, and closes the link.
void separate(CVeltoGemCtrl &control, EventLoop &loop);

} // namespace velto
