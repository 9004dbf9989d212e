#include "transport/log/link_log.h"

#include "base/text.h"
#include "secs2/sml_printer.h"
#include "transport/link/secsi_text.h"

#include <algorithm>

namespace velto {

namespace {

constexpr size_t kBytesPerLine = 10;
constexpr size_t kSmallestText = 256; // even below a very long name of the link
constexpr std::string_view kEnd = "\r\n";

std::string dumpOf(ByteView bytes) {
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

// No more than what is printed is made, but for what shows that the dump is cut.
std::string hexDump(ByteView bytes, size_t most) {
  const std::string dump = dumpOf(bytes.first(std::min(bytes.size(), most / 3 + 1)));
  return cutShort(dump, most);
}

std::string endpoint(const std::string &ipAddress, int32_t portNumber) {
  return "IP Address  : " + ipAddress + "\r\nPort Number : " + std::to_string(portNumber) + "\r\n";
}

// Empty for what cannot be decoded.
std::string smlOf(ByteView bytes, bool hsms, size_t most) {
  CHSecsMessage message;
  message.header.hsms = hsms;
  return message.Decode(bytes) ? RenderSml(message, nullptr, most) : std::string();
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

// The dump takes at most half of what a record may have.
void LinkLog::message(const char *heading, ByteView bytes) {
  if (!enabled_)
    return;
  size_t room = begin(heading);
  if (verbose_) {
    const std::string dump = hexDump(bytes, room / 2 - 2 * kEnd.size()).append(kEnd).append(kEnd);
    room -= dump.size();
    file_.Append(dump);
  }
  file_.Append(smlOf(bytes, true, room).append(kEnd));
}

void LinkLog::receivedSecsI(ByteView bytes, bool msec) {
  if (!enabled_)
    return;
  const size_t room = begin("Received from ");
  file_.Append(
      (msec ? cutShort(secsIText(bytes, true), room) : smlOf(bytes, false, room)).append(kEnd));
}

void LinkLog::sendingSecsI(const std::string &text, bool msec) {
  if (!enabled_)
    return;
  const size_t room = begin("Sending to ");
  file_.Append((msec ? cutShort(text, room) : smlOf(fromHex(text), false, room)).append(kEnd));
}

// Writes the first lines of a record. Returns the bytes that are left for its text, with room for
// its line end.
size_t LinkLog::begin(const char *heading) {
  constexpr size_t kStamp = 27; // with both line ends
  const std::string title = heading + section_;
  file_.WriteLine(title);
  return std::max(file_.recordLimit(), kSmallestText + kStamp + title.size()) - kStamp -
         title.size() - kEnd.size();
}

void LinkLog::problem(int16_t code, const std::string &ipAddress, int32_t portNumber) {
  file_.WriteLine("Error(" + std::to_string(code) + ")\r\n" + endpoint(ipAddress, portNumber));
}

void LinkLog::connection(bool connected, const std::string &ipAddress, int32_t portNumber) {
  const char *what = connected ? "Connected with " : "Disconnected with";
  file_.WriteLine(std::string(what) + " " + section_ + "\r\n" + endpoint(ipAddress, portNumber));
}

} // namespace velto
