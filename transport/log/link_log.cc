#include "transport/log/link_log.h"

#include "base/text.h"
#include "secs2/sml_printer.h"
#include "transport/link/secsi_text.h"

namespace velto {

namespace {

constexpr size_t kBytesPerLine = 10;

std::string hexDump(ByteView bytes) {
  std::string dump;
  dump.reserve(bytes.size() * 3 + bytes.size() / kBytesPerLine * 2);
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i != 0 && i % kBytesPerLine == 0)
      dump += "\r\n";
    appendHex(dump, bytes.subspan(i, 1));
    dump += ' ';
  }
  return dump;
}

std::string endpoint(const std::string &ipAddress, int32_t portNumber) {
  return "IP Address  : " + ipAddress + "\r\nPort Number : " + std::to_string(portNumber) + "\r\n";
}

// Empty for what cannot be decoded.
std::string smlOf(ByteView bytes, bool hsms) {
  CHSecsMessage message;
  message.header.hsms = hsms;
  return message.Decode(bytes) ? RenderSml(message) : std::string();
}

} // namespace

LinkLog::LinkLog(const LogSettings &settings, std::string section, const Clock &clock,
                 FileSystem &files)
    : file_(settings.fileName, static_cast<uint32_t>(settings.size), settings.backupCount, clock,
            files),
      section_(std::move(section)), enabled_(settings.log && !settings.fileName.empty()),
      verbose_(settings.verbose) {
  file_.SetEnabled(enabled_);
}

void LinkLog::received(ByteView bytes) { message("Received from ", bytes); }

void LinkLog::sent(ByteView bytes) { message("Sent to ", bytes); }

void LinkLog::message(const char *heading, ByteView bytes) {
  if (!enabled_)
    return;
  file_.WriteLine(heading + section_);
  if (verbose_)
    file_.Append(hexDump(bytes) + "\r\n\r\n");
  file_.Append(smlOf(bytes, true) + "\r\n");
}

void LinkLog::receivedSecsI(ByteView bytes, bool msec) {
  if (enabled_)
    secsI("Received from ", msec ? secsIText(bytes, true) : smlOf(bytes, false));
}

void LinkLog::sendingSecsI(const std::string &text, bool msec) {
  if (enabled_)
    secsI("Sending to ", msec ? text : smlOf(fromHex(text), false));
}

void LinkLog::secsI(const char *heading, const std::string &body) {
  file_.WriteLine(heading + section_);
  file_.Append(body + "\r\n");
}

void LinkLog::problem(int16_t code, const std::string &ipAddress, int32_t portNumber) {
  file_.WriteLine("Error(" + std::to_string(code) + ")\r\n" + endpoint(ipAddress, portNumber));
}

void LinkLog::connection(bool connected, const std::string &ipAddress, int32_t portNumber) {
  const char *what = connected ? "Connected with " : "Disconnected with";
  file_.WriteLine(std::string(what) + " " + section_ + "\r\n" + endpoint(ipAddress, portNumber));
}

} // namespace velto
