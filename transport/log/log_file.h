#pragma once

#include "platform/clock.h"
#include "platform/file.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace velto {

/// Writes one record to a communication log, `baseName` and ".log".
///
/// A log that has reached its size limit is moved to the newest backup, `baseName` and "001.log",
/// before the next write; each backup moves up by one number and the oldest is deleted. The file
/// is open only during a write, so any number of writers may share a log. No failure is reported:
/// a log that cannot be written never disturbs the link. A text that is longer than the size limit
/// is cut short, which its last line tells.
class CHLogFile {
public:
  /// `sizeLimit` is in KiB. With a `backupCount` below 1 the log grows without limit.
  CHLogFile(std::string baseName, uint32_t sizeLimit, int32_t backupCount, const Clock &clock,
            FileSystem &files = systemFiles());

  /// Bytes that a record may take, 1,024 or more.
  size_t recordLimit() const { return recordLimit_; }

  /// Nothing is written until the writer is enabled.
  void SetEnabled(bool enabled) { enabled_ = enabled; }
  /// The text as it is.
  void Append(std::string_view text);
  /// "YYYY/MM/DD HH:MM:SS.mmm", a blank and the text, without a line end.
  void WriteStamped(std::string_view text);
  /// The same stamp and the text, each on a line that ends with CR LF.
  void WriteLine(std::string_view text);

private:
  std::string stamp() const;
  std::string backupName(int32_t number) const;
  void rotate();

  std::string baseName_;
  std::string logName_;
  uint64_t sizeLimit_; ///< in bytes
  size_t recordLimit_;
  int32_t backupCount_;
  const Clock &clock_;
  FileSystem &files_;
  bool enabled_ = false;
};

/// The text, or when it has more than `most` bytes its beginning and a line that says so, together
/// `most` bytes.
std::string cutShort(std::string_view text, size_t most);

} // namespace velto
