#include "controls/link_address.h"

#include "base/quoted_text.h"
#include "base/text.h"

namespace velto {

namespace {

constexpr std::string_view kHsms = "hsms:";
constexpr std::string_view kSecsI = "secsi:";
constexpr std::string_view kListen = "listen:";
constexpr std::string_view kSerial = "serial:";
constexpr std::string_view kWords[] = {kHsms, kSecsI, kListen, kSerial};

constexpr int32_t kHighestRate = 4'000'000;

bool take(std::string_view &text, std::string_view word) {
  if (!text.starts_with(word))
    return false;
  text.remove_prefix(word.size());
  return true;
}

// HOST, or HOST:PORT.
bool readHost(std::string_view text, bool needsPort, LinkAddress &address) {
  const size_t colon = text.rfind(':');
  address.host = text.substr(0, colon);
  if (colon == std::string_view::npos)
    return !needsPort && !address.host.empty();
  const auto port = wholeNumber(text.substr(colon + 1), 1, 0xFFFF);
  address.port = port.value_or(0);
  return port && !address.host.empty();
}

// The names of devices may have colons in them; a rate is digits alone.
bool readDevice(std::string_view text, LinkAddress &address) {
  const size_t colon = text.rfind(':');
  const std::string_view rate =
      colon == std::string_view::npos ? std::string_view() : text.substr(colon + 1);
  const bool hasRate =
      !rate.empty() && rate.find_first_not_of("0123456789") == std::string_view::npos;
  address.device = hasRate ? text.substr(0, colon) : text;
  const auto number = hasRate ? wholeNumber(rate, 1, kHighestRate) : address.rate;
  address.rate = number.value_or(0);
  return number && !address.device.empty() && address.device.back() != ':';
}

} // namespace

bool isLinkAddress(std::string_view text) {
  for (const std::string_view word : kWords)
    if (text.starts_with(word))
      return true;
  return false;
}

std::optional<LinkAddress> readLinkAddress(std::string_view text) {
  LinkAddress address;
  bool good = false;
  if (take(text, kSerial)) {
    address.protocol = LinkProtocol::SecsISerial;
    good = readDevice(text, address);
  } else {
    address.listens = take(text, kListen);
    const bool secsI = take(text, kSecsI);
    if (secsI)
      address.protocol = LinkProtocol::SecsITcp;
    else
      take(text, kHsms);
    if (address.listens) {
      const auto port = wholeNumber(text, 0, 0xFFFF);
      address.port = port.value_or(0);
      good = port.has_value();
    } else {
      good = readHost(text, secsI, address);
    }
  }
  return good ? std::optional(address) : std::nullopt;
}

std::string takeLinkAddress(const std::string &text, std::optional<LinkAddress> &address) {
  address = readLinkAddress(text);
  return address ? "" : quotedText(text) + " is no address: " + LinkAddress::kForms;
}

void LinkAddress::apply(CVeltoGemCtrl &control) const {
  control.SetTransport(static_cast<int16_t>(protocol));
  control.SetServer(listens);
  if (isSerial()) {
    control.SetSerialPort(device);
    control.SetBaudRate(rate);
    return;
  }
  control.SetPortNumber(port);
  control.SetMyPortNumber(0);
  if (!listens)
    control.SetIPAddress(host);
}

std::string LinkAddress::partner() const {
  if (isSerial())
    return device;
  return listens ? "port " + std::to_string(port) : host + ':' + std::to_string(port);
}

} // namespace velto
