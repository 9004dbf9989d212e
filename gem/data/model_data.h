#pragma once

#include "gem/data/alarm.h"
#include "gem/data/collection_event.h"
#include "gem/data/command.h"
#include "gem/data/report.h"
#include "gem/data/variable_list.h"
#include "gem/states.h"
#include "secs2/edition.h"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace velto {

/// Parameters of the communication state model.
struct CommunicationSettings {
  uint8_t initialState =
      CommunicationState::Disabled;    ///< when the link comes up: 0 stays disabled, 1 enables
  std::string modelName;               ///< MDLN
  std::string softwareRevision;        ///< SOFTREV
  bool establishCommunications = true; ///< this side sends S1F13 when not communicating

  bool operator==(const CommunicationSettings &) const = default;
};

/// Parameters of the control state model; states as ControlState numbers them.
struct ControlSettings {
  uint8_t initialState = ControlState::OnlineRemote;
  uint8_t initialOfflineState = ControlState::HostOffline;
  uint8_t offlineState =
      ControlState::HostOffline; ///< after a failed attempt to go on-line: 0 or 2
  uint8_t onlineState = ControlState::OnlineRemote; ///< 3 or 4
  bool acceptOfflineRequest = true;                 ///< S1F15; not kept in the data file
  bool acceptOnlineRequest = true;                  ///< S1F17 and S1F2; not kept in the data file

  /// Where an attempt to go on-line ends that fails: whatever number offlineState is.
  uint8_t stateAfterFailure() const {
    return offlineState == ControlState::EquipmentOffline ? ControlState::EquipmentOffline
                                                          : ControlState::HostOffline;
  }

  bool operator==(const ControlSettings &) const = default;
};

/// What the host may define at the most; more is refused with "no space".
struct GemLimits {
  int32_t reports = 100'000;
  int32_t references = 1'000'000; ///< VIDs of all reports and RPTIDs of all events together

  bool operator==(const GemLimits &) const = default;
};

/// All that the equipment model knows: what the data file keeps, and a few values beside it.
struct GemData {
  bool changePCClock = false; ///< a time set by the host sets the machine's clock
  CommunicationSettings communication;
  ControlSettings control;
  CHGemEventCeidList events;
  CHGemEventReportList reports;
  CHGemEventVidList variables;
  CHGemAlarmAlidList alarms;
  std::vector<CHGemCommand> commands;   ///< kept in the companion of the data file
  uint32_t nextDataId = 1;              ///< the DATAID of the next event; not kept in the data file
  GemLimits limits;                     ///< not kept in the data file
  E5Edition edition = E5Edition::Early; ///< by which identifiers are read; not kept there

  /// VIDs of all reports and RPTIDs of all events.
  size_t references() const {
    size_t count = 0;
    for (size_t i = 0; i < reports.Count(); ++i)
      count += reports.at(i).variables.size();
    for (size_t i = 0; i < events.Count(); ++i)
      count += events.at(i).reports.size();
    return count;
  }

  /// Deletes reports and every link to them; false when none of them exists.
  bool removeReports(const std::set<uint32_t> &rptids) {
    if (!reports.Remove(rptids))
      return false;
    events.unlink(rptids);
    return true;
  }
};

} // namespace velto
