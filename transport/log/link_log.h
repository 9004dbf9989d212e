#pragma once

#include "base/bytes.h"
#include "transport/log/log_file.h"
#include "transport/log/log_settings.h"

#include <cstdint>
#include <string>

namespace velto {

/// Writes what happens on a link to its communication log. Lives for one record. A record takes no
/// more bytes than the log may have (LogSize); what is longer is not even printed to its end.
class LinkLog {
public:
  /// `section` names the link in the records.
  LinkLog(const LogSettings &settings, std::string section, const Clock &clock, FileSystem &files);

  /// An HSMS message, header and body, with its SML.
  void received(ByteView bytes);
  void sent(ByteView bytes);
  /// A SECS-I message with its SML, or with MSEC its text. What is sent comes as the owner's text.
  void receivedSecsI(ByteView bytes, bool msec);
  void sendingSecsI(const std::string &text, bool msec);
  void problem(int16_t code, const std::string &ipAddress, int32_t portNumber);
  void connection(bool connected, const std::string &ipAddress, int32_t portNumber);

private:
  void message(const char *heading, ByteView bytes);
  size_t begin(const char *heading);

  CHLogFile file_;
  std::string section_;
  bool enabled_;
  bool verbose_;
};

} // namespace velto
