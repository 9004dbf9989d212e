#pragma once

#include "gem/data/alarm.h"
#include "gem/data/collection_event.h"
#include "gem/data/report.h"
#include "gem/data/variable_list.h"

#include <cstdint>
#include <string>

namespace velto {

/// Parameters of the communication state model.
struct CommunicationSettings {
  uint8_t initialState = 0;            ///< when the link comes up: 0 stays disabled, 1 enables
  std::string modelName;               ///< MDLN
  std::string softwareRevision;        ///< SOFTREV
  bool establishCommunications = true; ///< this side sends S1F13 when not communicating

  bool operator==(const CommunicationSettings &) const = default;
};

/// Parameters of the control state model; states as CHGemControlModel numbers them.
struct ControlSettings {
  uint8_t initialState = 4;
  uint8_t initialOfflineState = 2;
  uint8_t offlineState = 2;         ///< 0 or 2: after a failed attempt to go on-line
  uint8_t onlineState = 4;          ///< 3 or 4
  bool acceptOfflineRequest = true; ///< S1F15; not kept in the data file
  bool acceptOnlineRequest = true;  ///< S1F17 and S1F2; not kept in the data file

  bool operator==(const ControlSettings &) const = default;
};

/// All that the equipment model knows: what the data file keeps, and the two flags beside it.
struct GemData {
  bool changePCClock = false; ///< a time set by the host sets the machine's clock
  CommunicationSettings communication;
  ControlSettings control;
  CHGemEventCeidList events;
  CHGemEventReportList reports;
  CHGemEventVidList variables;
  CHGemAlarmAlidList alarms;
};

} // namespace velto
