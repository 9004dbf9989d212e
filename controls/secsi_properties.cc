#include "controls/secsi_properties.h"

#include <array>
#include <limits>

namespace velto {

namespace {

constexpr int32_t kT1 = 500;
constexpr int32_t kT2 = 10'000;
constexpr int32_t kReplyTime = 45'000; // T3 and T4
constexpr int16_t kRetry = 3;
constexpr int16_t kLogBakCount = 1;
constexpr int16_t kMostBackups = 999;
constexpr int32_t kLogSize = 1024;

constexpr int64_t kMaxInt16 = std::numeric_limits<int16_t>::max();
constexpr int64_t kMaxInt32 = std::numeric_limits<int32_t>::max();
constexpr int64_t kMaxDeviceId = 0x7FFF;

} // namespace

SecsIProperties::SecsIProperties() {
  settings_.t1 = kT1;
  settings_.t2 = kT2;
  settings_.t3 = settings_.t4 = kReplyTime;
  settings_.log.fileName = "./Velto";
}

std::span<const IniControl::PageField> SecsIProperties::protocolFields() {
  static constexpr std::array<IniControl::PageField, 8> kFields{{
      {"T1", "T1 (ms)", 1, kMaxInt32},
      {"T2", "T2 (ms)", 1, kMaxInt32},
      {"T3", "T3 (ms)", 0, kMaxInt32},
      {"T4", "T4 (ms)", 0, kMaxInt32},
      {"Retry", "Retry", 0, kMaxInt16},
      {"Master", "Master"},
      {"MSEC", "MSEC"},
      {"DeviceID", "Device ID", 0, kMaxDeviceId},
  }};
  return kFields;
}

std::span<const IniControl::PageField> SecsIProperties::logFields() {
  static constexpr std::array<IniControl::PageField, 5> kFields{{
      {"Log", "Log"},
      {"LogVerbose", "Verbose"},
      {"LogFileName", "File Name"},
      {"LogSize", "Size (KiB)", 1, kMaxInt32},
      {"LogBakCount", "Backups", 0, kMostBackups},
  }};
  return kFields;
}

void SecsIProperties::SetT1(int32_t ms) {
  store(settings_.t1, static_cast<uint32_t>(ms < 1 ? kT1 : ms));
}

void SecsIProperties::SetT2(int32_t ms) {
  store(settings_.t2, static_cast<uint32_t>(ms < 1 ? kT2 : ms));
}

void SecsIProperties::SetT3(int32_t ms) { store(settings_.t3, static_cast<uint32_t>(ms)); }

void SecsIProperties::SetT4(int32_t ms) { store(settings_.t4, static_cast<uint32_t>(ms)); }

void SecsIProperties::SetRetry(int16_t count) {
  store(settings_.retry, count < 0 ? kRetry : count);
}

void SecsIProperties::SetMaster(bool master) { store(settings_.master, master); }

void SecsIProperties::SetMSEC(bool msec) { store(settings_.msec, msec); }

void SecsIProperties::SetDeviceID(int32_t id) {
  store(settings_.deviceId, static_cast<uint16_t>(id));
}

void SecsIProperties::SetLog(bool log) {
  settings_.log.verbose = settings_.log.verbose && log;
  store(settings_.log.log, log);
}

void SecsIProperties::SetLogBakCount(int16_t count) {
  store(settings_.log.backupCount, count < 0 || count > kMostBackups ? kLogBakCount : count);
}

void SecsIProperties::SetLogFileName(const std::string &name) {
  store(settings_.log.fileName, name);
}

void SecsIProperties::SetLogSize(int32_t kib) {
  store(settings_.log.size, kib < 1 ? kLogSize : kib);
}

void SecsIProperties::SetLogVerbose(bool verbose) {
  store(settings_.log.verbose, verbose && settings_.log.log);
}

} // namespace velto
