#pragma once

#include "base/bytes.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "transport/log/log_file.h"
#include "transport/secsi/secsi_settings.h"

#include <string_view>

namespace velto {

/// Writes what goes over a SECS-I line to the communication log, each record with its time. Costs
/// nothing unless the settings ask for it.
class BlockTrace {
public:
  BlockTrace(const SecsISettings &settings, const SecsIVariant &variant, const Clock &clock,
             FileSystem &files)
      : settings_(settings), variant_(variant), clock_(clock), files_(files) {}

  /// `text` and a line end.
  void line(std::string_view text) const;
  void unexpected(uint8_t character) const;
  void lengthByte(uint8_t length, bool inRange) const;
  /// A block, with its sum, as far as it came.
  void received(ByteView bytes) const;
  /// A block as it goes out: length byte, header and data, sum.
  void sent(ByteView bytes, bool firstOfSeveral) const;

private:
  bool enabled() const { return settings_.log.verbose && !settings_.log.fileName.empty(); }
  CHLogFile file() const;

  const SecsISettings &settings_;
  const SecsIVariant &variant_;
  const Clock &clock_;
  FileSystem &files_;
};

} // namespace velto
