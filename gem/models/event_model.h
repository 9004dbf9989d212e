#pragma once

#include "gem/models/model.h"

#include <cstdint>
#include <string>
#include <vector>

namespace velto {

/// Collection events, reports and variables (SEMI E30 event notification, dynamic event reports,
/// status data and equipment constants).
///
/// Answers S1F3, S1F11, S2F13, S2F29, S6F15 and S6F19, and carries out S2F15, S2F33, S2F35 and
/// S2F37. A request that is refused changes nothing.
class CHGemEventModel final : public GemModel {
public:
  using GemModel::GemModel;

  /// Sends S6F11 with the values of the event's reports. False for an unknown or disabled event,
  /// when a linked report or one of its variables does not exist, and when the message is not
  /// sent; no DATAID is used up then.
  bool InvokeEvent(uint32_t ceid);
  /// Sends the event that has that role; false when there is none.
  bool InvokeRole(uint8_t eventRole);

  /// Adds an enabled event; false when the CEID exists.
  bool RegisterCEID(uint32_t ceid, uint8_t role, std::string description);
  /// Adds a variable of kind 1, 2 or 4 with its default as value; false for any other kind and when
  /// the VID exists.
  bool RegisterVID(CHGemEventVid variable);
  /// False when there is none.
  bool UnregisterVID(uint32_t vid);
  /// Gives a variable a role (kNoRole: none), which it takes from another one. False for an unknown
  /// variable, and for a number that is no role.
  bool SetVIDRole(uint32_t vid, uint8_t role);
  /// Defines a report, or defines it anew; its links stay. Without variables it is deleted with its
  /// links. False for an unknown variable, and when there is no such report to delete.
  bool SetReport(uint32_t rptid, std::vector<uint32_t> vids);
  /// Adds a report to those of an event, behind them. False when either is unknown, or when it is
  /// among them.
  bool LinkReport(uint32_t ceid, uint32_t rptid);
  /// Deletes a report and every link to it; false when there is none.
  bool RemoveReport(uint32_t rptid);

  /// Empties all lists; the next event has the DATAID 1.
  void Reset() override;

  void addStatus(TreeNode &parent) const override;
  std::span<const GemRequest> requests() const override;
};

} // namespace velto
