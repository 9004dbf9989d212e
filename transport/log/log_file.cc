#include "transport/log/log_file.h"

#include "base/date_time.h"
#include "base/text.h"

#include <algorithm>
#include <utility>

namespace velto {

namespace {

constexpr const char *kExtension = ".log";
constexpr uint64_t kSmallestRecord = 1024;

} // namespace

CHLogFile::CHLogFile(std::string baseName, uint32_t sizeLimit, int32_t backupCount,
                     const Clock &clock, FileSystem &files)
    : baseName_(std::move(baseName)), logName_(baseName_ + kExtension),
      sizeLimit_(uint64_t{sizeLimit} * 1024), recordLimit_(std::max(sizeLimit_, kSmallestRecord)),
      backupCount_(backupCount), clock_(clock), files_(files) {}

void CHLogFile::Append(std::string_view text) {
  if (!enabled_)
    return;
  if (backupCount_ >= 1 && files_.size(logName_).value_or(0) >= sizeLimit_)
    rotate();
  if (text.size() > recordLimit_)
    files_.append(logName_, cutShort(text, recordLimit_));
  else
    files_.append(logName_, text);
}

void CHLogFile::WriteStamped(std::string_view text) {
  if (enabled_)
    Append(stamp().append(" ").append(text));
}

void CHLogFile::WriteLine(std::string_view text) {
  if (enabled_)
    Append(stamp().append("\r\n").append(text).append("\r\n"));
}

std::string CHLogFile::stamp() const {
  const CJTime now(clock_.localTime());
  return now.DateText(0) + ' ' + now.TimeText(0);
}

std::string CHLogFile::backupName(int32_t number) const {
  return baseName_ + formatText("%03d", number) + kExtension;
}

// A backup that is missing or in use does not stop the others from moving.
void CHLogFile::rotate() {
  files_.remove(backupName(backupCount_));
  for (int32_t k = backupCount_ - 1; k >= 1; --k)
    files_.rename(backupName(k), backupName(k + 1));
  files_.rename(logName_, backupName(1));
}

std::string cutShort(std::string_view text, size_t most) {
  constexpr std::string_view kRemark = "\r\n* cut short\r\n";
  if (text.size() <= most)
    return std::string(text);
  std::string out(text.substr(0, most - std::min(most, kRemark.size())));
  return out.append(kRemark.substr(0, most));
}

} // namespace velto
