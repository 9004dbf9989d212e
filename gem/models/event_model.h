#pragma once

#include "gem/data/model_data.h"
#include "gem/messages/items.h"
#include "gem/models/model.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>

namespace velto {

/// Collection events, reports and variables (SEMI E30 event notification, dynamic event reports,
/// status data and equipment constants).
///
/// Answers S1F3, S1F11, S2F13, S2F29, S6F15 and S6F19, and carries out S2F15, S2F33, S2F35 and
/// S2F37. A request that is refused changes nothing.
class CHGemEventModel final : public GemModel {
public:
  CHGemEventModel(GemModelOwner &owner, GemData &data) : GemModel(owner), data_(data) {}

  /// Sends S6F11 with the values of the event's reports. False for an unknown or disabled event,
  /// when a linked report or one of its variables does not exist, and when the message is not
  /// sent; no DATAID is used up then.
  bool InvokeEvent(uint32_t ceid);
  /// Sends the event that has that role; false when there is none.
  bool InvokeRole(uint8_t eventRole);

  /// The body of S6F11 and S6F16: DATAID, CEID and the linked reports. Nothing when one of the
  /// reports or variables does not exist, or when no message can carry so much.
  std::optional<CHSecsItem> BuildEventData(const CHGemEventCeid &event, uint32_t dataId) const;
  /// The list of a report's values, under the same conditions.
  std::optional<CHSecsItem> BuildReportData(const CHGemEventReport &report) const;

  /// Adds an enabled event; false when the CEID exists.
  bool RegisterCEID(uint32_t ceid, uint8_t role, std::string description);
  /// Adds a variable of kind 1, 2 or 4 with its default as value; false for any other kind and when
  /// the VID exists.
  bool RegisterVID(CHGemEventVid variable);
  /// False when there is none.
  bool UnregisterVID(uint32_t vid);
  /// Deletes a report and every link to it; false when there is none.
  bool RemoveReport(uint32_t rptid);

  /// The DATAID of the next event; counts from 1 after a reset.
  uint32_t dataId() const { return dataId_; }
  /// Empties all lists.
  void Reset();

  void addStatus(TreeNode &parent) const override;
  /// True when a change was made or a question answered.
  bool OnReceive(CHSecsVerifier &slot) override;

private:
  struct Request;

  bool change(const Request &request, CHSecsVerifier &slot);
  bool answer(const Request &request, CHSecsVerifier &slot);

  // Checks of requested changes: the acknowledge code, 0 when all of the change may be made.
  uint8_t checkConstants(const CHSecsItem &body) const;
  uint8_t checkReports(const CHSecsItem &body) const;
  uint8_t checkLinks(const CHSecsItem &body) const;
  uint8_t checkEvents(const CHSecsItem &body) const;
  // The changes, once they are checked.
  void setConstants(const CHSecsItem &body);
  void defineReports(const CHSecsItem &body);
  void linkEvents(const CHSecsItem &body);
  void enableEvents(const CHSecsItem &body);
  // The bodies of answers; nothing when there is none, or one that no message can carry.
  std::optional<CHSecsItem> statusValues(const CHSecsItem &request);
  std::optional<CHSecsItem> statusNames(const CHSecsItem &request);
  std::optional<CHSecsItem> constantValues(const CHSecsItem &request);
  std::optional<CHSecsItem> constantNames(const CHSecsItem &request);
  std::optional<CHSecsItem> eventReport(const CHSecsItem &request);
  std::optional<CHSecsItem> individualReport(const CHSecsItem &request);

  /// False when a variable is missing, or when no message can carry the values.
  bool collectValues(const CHGemEventReport &report, ReportedValues &reported,
                     ItemCollector &values) const;
  bool removeReports(const std::set<uint32_t> &rptids);

  GemData &data_;
  uint32_t dataId_ = 1;
};

} // namespace velto
