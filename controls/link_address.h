#pragma once

#include "controls/gem_ctrl.h"
#include "transport/message_links.h"

#include <optional>
#include <string>
#include <string_view>

namespace velto {

/// How the partner of a `VeltoGem` is reached, as people write it:
///
///     [hsms:]HOST[:PORT]      connects by HSMS
///     secsi:HOST:PORT         connects by SECS-I over TCP, to a terminal server for example
///     listen:[secsi:]PORT     waits for the partner to connect; port 0: any free one
///     serial:DEVICE[:RATE]    SECS-I on a serial port, at 9600 bits per second if not stated
struct LinkAddress {
  static constexpr const char *kForms =
      "HOST[:PORT], secsi:HOST:PORT, listen:[secsi:]PORT or serial:DEVICE[:RATE]";

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

/// Whether a text begins as an address of one of the forms with a word in front.
bool isLinkAddress(std::string_view text);
/// Nothing when it is of none of the forms.
std::optional<LinkAddress> readLinkAddress(std::string_view text);
/// The same, with what is wrong with the text, or nothing.
std::string takeLinkAddress(const std::string &text, std::optional<LinkAddress> &address);

} // namespace velto
