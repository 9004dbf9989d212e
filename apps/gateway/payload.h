#pragma once

#include "apps/gateway/config.h"
#include "secs2/message.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace velto::gateway {

/// What is published: a topic and JSON (docs/gateway.schema.json).
struct Publication {
  std::string topic;
  std::string payload;
  bool retain = false; ///< the broker gives it to who subscribes later
};

/// Date and time of the clock in UTC: "2026-11-26T00:11:24.268Z".
std::string utcText(Clock &clock);
/// The date and time that an equipment tells (SEMI E5, TIME: 12 or 16 digits, or the extended
/// form), as "2026-11-26T00:11:24.26", without a zone, which it does not tell. Empty for what is
/// none.
std::string toolTimeText(std::string_view text);

/// Makes publications of the messages of a tool.
class Payloads {
public:
  Payloads(const OutConfig &out, const ToolConfig &tool, Clock &clock)
      : out_(out), tool_(tool), clock_(clock) {}

  /// VIDs of the reports that the tool has been told, by RPTID; the names file's count where none
  /// of these does.
  using Reports = std::map<uint32_t, std::vector<uint32_t>>;

  /// The variables of a report, where they are known.
  const std::vector<uint32_t> *variablesOf(uint32_t rptid, const Reports &reports) const;

  // Nothing for a body that is not as SEMI E5 has it. An event is S6F11, or S6F13, whose values
  // have their VIDs with them.
  std::optional<Publication> event(const CHSecsMessage &message, const Reports &reports,
                                   uint64_t sequence) const;
  std::optional<Publication> alarm(const CHSecsMessage &message, uint64_t sequence) const;
  std::optional<Publication> trace(const CHSecsMessage &message, uint64_t sequence) const;
  /// The answer to S1F3 of a poll.
  Publication values(const PollWish &poll, const CHSecsItem &answer, uint64_t sequence) const;
  /// The retained state of the tool.
  Publication state(std::string_view connection, std::string_view control) const;

  /// Values with their names, units and types, as JSON. `vids` may be fewer than values.
  std::string valuesJson(std::span<const uint32_t> vids, std::span<const CHSecsItem> values) const;

private:
  std::string valueJson(std::optional<uint32_t> vid, const CHSecsItem &item) const;
  std::string annotatedJson(std::span<const CHSecsItem> pairs) const;
  std::string head(std::string_view kind, std::optional<uint64_t> sequence,
                   std::string_view toolTime) const;
  std::string_view toolTime(std::span<const uint32_t> vids,
                            std::span<const CHSecsItem> values) const;
  void addRaw(std::string &payload, const CHSecsMessage &message) const;

  const OutConfig &out_;
  const ToolConfig &tool_;
  Clock &clock_;
};

} // namespace velto::gateway
