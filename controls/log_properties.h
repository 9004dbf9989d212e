#pragma once

#include "controls/component/page_field.h"
#include "transport/log/log_settings.h"

#include <string>
#include <vector>

namespace velto {

/// The properties of a log file: a part of the controls that keep one. The control says what values
/// it takes, and its defaults.
class LogProperties {
public:
  /// The log file is `LogFileName` and ".log".
  bool Log() const { return log_.log; }
  void SetLog(bool log) { store(log_.log, log); }
  std::string LogFileName() const { return log_.fileName; }
  void SetLogFileName(const std::string &name) { store(log_.fileName, name); }
  /// Numbered backups of the file; with 0 it grows without limit.
  int16_t LogBakCount() const { return log_.backupCount; }
  void SetLogBakCount(int16_t count) { store(log_.backupCount, count); }
  /// In KiB.
  int32_t LogSize() const { return log_.size; }
  void SetLogSize(int32_t kib) { store(log_.size, kib); }

protected:
  explicit LogProperties(int16_t backups = 1) { log_.backupCount = backups; }
  ~LogProperties() = default;

  /// A property was set: the control brings them all into range and notes the change.
  virtual void logChanged() = 0;
  template <typename T> void store(T &setting, const T &value) {
    setting = value;
    logChanged();
  }

  LogSettings log_;
};

/// The same of a link, whose log may hold what crossed the link.
class LinkLogProperties : public LogProperties {
public:
  bool LogVerbose() const { return log_.verbose; }
  void SetLogVerbose(bool verbose) { store(log_.verbose, verbose); }

protected:
  ~LinkLogProperties() = default;
};

/// The fields of a log's page: the flags of the control, then those of the file.
inline std::vector<PageField> logFields(std::vector<PageField> flags, int64_t smallest = 0,
                                        int64_t mostBackups = kMaxInt16) {
  flags.push_back({"LogFileName", "File Name"});
  flags.push_back({"LogSize", "Size (KiB)", smallest, kMaxInt32});
  flags.push_back({"LogBakCount", "Backups", 0, mostBackups});
  return flags;
}

} // namespace velto
