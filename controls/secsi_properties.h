#pragma once

#include "controls/log_properties.h"
#include "transport/secsi/secsi_settings.h"

#include <cstdint>
#include <vector>

namespace velto {

inline constexpr int16_t kMostSecsIBackups = 999; ///< of their log

/// What the two SECS-I controls share: the properties of the protocol and of the log.
class SecsIProperties : public LinkLogProperties {
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

protected:
  SecsIProperties();
  virtual ~SecsIProperties() = default;

  const SecsISettings &settings() const { return settings_; }
  /// The settings have changed: they are to reach the engine.
  virtual void settingsChanged() = 0;

  /// The fields of the protocol, behind those of the control on the same page.
  static std::vector<PageField> protocolFields(std::vector<PageField> before = {});
  static std::vector<PageField> logPage();

private:
  void logChanged() override;
  template <typename T> void change(T &setting, T value) {
    setting = value;
    settingsChanged();
  }

  SecsISettings settings_;
};

} // namespace velto
