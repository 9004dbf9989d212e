#pragma once

#include "controls/component/ini_control.h"
#include "transport/secsi/secsi_settings.h"

#include <cstdint>
#include <span>
#include <string>

namespace velto {

/// What the two SECS-I controls share: the properties of the protocol and of the log, and the
/// records of messages.
class SecsIProperties {
public:
  // Times in ms (SEMI E4 7.3, 9.3, 9.4). T1 below 1 becomes 500, T2 10000.
  int32_t T1() const { return static_cast<int32_t>(settings_.t1); }
  void SetT1(int32_t ms);
  int32_t T2() const { return static_cast<int32_t>(settings_.t2); }
  void SetT2(int32_t ms);
  int32_t T3() const { return static_cast<int32_t>(settings_.t3); }
  void SetT3(int32_t ms);
  int32_t T4() const { return static_cast<int32_t>(settings_.t4); }
  void SetT4(int32_t ms);
  /// Further attempts for a block; negative becomes 3.
  int16_t Retry() const { return settings_.retry; }
  void SetRetry(int16_t count);
  bool Master() const { return settings_.master; }
  void SetMaster(bool master);
  bool MSEC() const { return settings_.msec; }
  void SetMSEC(bool msec);
  int32_t DeviceID() const { return settings_.deviceId; }
  void SetDeviceID(int32_t id);

  bool Log() const { return settings_.log.log; }
  /// Clearing it clears LogVerbose.
  void SetLog(bool log);
  int16_t LogBakCount() const { return settings_.log.backupCount; }
  void SetLogBakCount(int16_t count); ///< outside 0 to 999 becomes 1
  std::string LogFileName() const { return settings_.log.fileName; }
  void SetLogFileName(const std::string &name);
  int32_t LogSize() const { return settings_.log.size; }
  void SetLogSize(int32_t kib); ///< below 1 becomes 1024
  bool LogVerbose() const { return settings_.log.verbose; }
  /// Stays false while Log is.
  void SetLogVerbose(bool verbose);

protected:
  SecsIProperties();
  virtual ~SecsIProperties() = default;

  const SecsISettings &settings() const { return settings_; }
  /// The settings have changed: they are to reach the engine.
  virtual void settingsChanged() = 0;

  /// The fields of the sheet that both controls have, all of them names of settings.
  static std::span<const IniControl::PageField> protocolFields();
  static std::span<const IniControl::PageField> logFields();

private:
  template <typename T> void store(T &setting, T value) {
    setting = value;
    settingsChanged();
  }

  SecsISettings settings_;
};

} // namespace velto
