#include "transport/secsi/block_trace.h"

#include "base/text.h"
#include "transport/secsi/block.h"

#include <algorithm>
#include <string>

namespace velto {

namespace {

constexpr size_t kTraceBytesPerLine = 10;

// The bytes as " %02x" each, ten to a line; each line starts with the heading.
std::string dump(std::string_view heading, ByteView bytes) {
  std::string text;
  for (size_t i = 0; i < bytes.size(); i += kTraceBytesPerLine) {
    text.append(i == 0 ? "" : "\r\n").append(heading);
    for (const uint8_t byte : bytes.subspan(i, std::min(kTraceBytesPerLine, bytes.size() - i)))
      text += formatText(" %02x", byte);
  }
  return text;
}

std::string sumText(ByteView sum) {
  return formatText("Sent Check sum : %02x %02x\r\n", sum[0], sum[1]);
}

} // namespace

CHLogFile BlockTrace::file() const {
  CHLogFile file(settings_.log.fileName, static_cast<uint32_t>(settings_.log.size),
                 settings_.log.backupCount, clock_, files_);
  file.SetEnabled(true);
  return file;
}

void BlockTrace::line(std::string_view text) const {
  if (enabled())
    file().WriteStamped(std::string(text) + "\r\n");
}

void BlockTrace::unexpected(uint8_t character) const {
  if (enabled())
    line(formatText("Received unexpected character : %02x", character));
}

void BlockTrace::lengthByte(uint8_t length, bool inRange) const {
  if (enabled())
    line(formatText("Received Length Byte : %u", unsigned{length}) +
         (inRange ? "" : " is out of range!"));
}

void BlockTrace::received(ByteView bytes) const {
  if (enabled() && !bytes.empty())
    line(dump(" Received data :", bytes).substr(1));
}

void BlockTrace::sent(ByteView bytes, bool firstOfSeveral) const {
  if (!enabled())
    return;
  CHLogFile log = file();
  const unsigned length = bytes[0];
  const ByteView block = bytes.subspan(1, length);
  const ByteView sum = bytes.subspan(1 + length);
  if (variant_.traceWithHeader) {
    log.WriteStamped(formatText("Sent length byte : %u\r\n", length));
    log.Append(dump("Sent header :", block.first(CHSecsHeader::kSize)) + "\r\n" +
               dump("Send data", block.subspan(CHSecsHeader::kSize)) + "\r\n");
  } else {
    const char *format = firstOfSeveral ? "Sent length byte : %u\r\n" : "Sent Length byte : %u\r\n";
    log.WriteStamped(formatText(format, length));
    log.WriteStamped(dump(" Sent data :", block).substr(1) + "\r\n");
  }
  log.WriteStamped(sumText(sum));
}

} // namespace velto
