#include "controls/secsi_properties.h"

namespace velto {

namespace {

constexpr int32_t kT1 = 500;
constexpr int32_t kT2 = 10'000;
constexpr int32_t kReplyTime = 45'000; // T3 and T4
constexpr int16_t kRetry = 3;
constexpr int16_t kLogBakCount = 1;
constexpr int32_t kLogSize = 1024;

} // namespace

SecsIProperties::SecsIProperties() {
  settings_.t1 = kT1;
  settings_.t2 = kT2;
  settings_.t3 = settings_.t4 = kReplyTime;
  settings_.log = log_;
}

std::vector<PageField> SecsIProperties::protocolFields(std::vector<PageField> before) {
  before.insert(before.end(), {
                                  {"T1", "T1 (ms)", 1, kMaxInt32},
                                  {"T2", "T2 (ms)", 1, kMaxInt32},
                                  {"T3", "T3 (ms)", 0, kMaxInt32},
                                  {"T4", "T4 (ms)", 0, kMaxInt32},
                                  {"Retry", "Retry", 0, kMaxInt16},
                                  {"Master", "Master"},
                                  {"MSEC", "MSEC"},
                                  {"DeviceID", "Device ID", 0, kMaxInt16},
                              });
  return before;
}

std::vector<PageField> SecsIProperties::logPage() {
  return logFields({{"Log", "Log"}, {"LogVerbose", "Verbose"}}, 1, kMostSecsIBackups);
}

void SecsIProperties::SetT1(int32_t ms) {
  change(settings_.t1, static_cast<uint32_t>(ms < 1 ? kT1 : ms));
}

void SecsIProperties::SetT2(int32_t ms) {
  change(settings_.t2, static_cast<uint32_t>(ms < 1 ? kT2 : ms));
}

void SecsIProperties::SetT3(int32_t ms) { change(settings_.t3, static_cast<uint32_t>(ms)); }

void SecsIProperties::SetT4(int32_t ms) { change(settings_.t4, static_cast<uint32_t>(ms)); }

void SecsIProperties::SetRetry(int16_t count) {
  change(settings_.retry, count < 0 ? kRetry : count);
}

void SecsIProperties::SetMaster(bool master) { change(settings_.master, master); }

void SecsIProperties::SetMSEC(bool msec) { change(settings_.msec, msec); }

void SecsIProperties::SetDeviceID(int32_t id) {
  change(settings_.deviceId, static_cast<uint16_t>(id));
}

void SecsIProperties::logChanged() {
  log_.verbose = log_.verbose && log_.log;
  if (log_.backupCount < 0 || log_.backupCount > kMostSecsIBackups)
    log_.backupCount = kLogBakCount;
  if (log_.size < 1)
    log_.size = kLogSize;
  settings_.log = log_;
  settingsChanged();
}

} // namespace velto
