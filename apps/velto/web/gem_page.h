#pragma once

#include "apps/velto/web/reply_times.h"
#include "apps/velto/web/web_feed.h"
#include "base/bytes.h"
#include "controls/gem_ctrl.h"

#include <string_view>

namespace velto {

/// The part of a page that any Gem control has: its link and states, its messages, how long replies
/// take. The program hands it what the control reports.
class GemPage {
public:
  /// Both must outlive this object.
  GemPage(const Clock &clock, CVeltoGemCtrl &control, WebFeed &feed)
      : clock_(clock), control_(control), feed_(feed) {}

  /// In the events Received and Sent.
  void received() { message(true); }
  void sent() { message(false); }
  /// Anything else that a console prints: name and text of an event, "problem" among them.
  void event(std::string_view name, const std::string &text);

  /// Adds all of it to a snapshot.
  void addTo(WebSnapshot &snapshot);

private:
  void message(bool received);
  void addCounters(WebSnapshot &snapshot) const;

  const Clock &clock_;
  CVeltoGemCtrl &control_;
  WebFeed &feed_;
  ReplyTimes times_;
  uint64_t messages_[2] = {0, 0}; // out, in
  uint64_t events_ = 0;
  uint64_t alarms_ = 0;
};

/// Adds the states of a Gem control, `prefix` in front of their names.
void addGemStates(WebSnapshot &snapshot, CVeltoGemCtrl &control, const std::string &prefix = "");

/// Bytes as hexadecimal text in lines of 16, as many as an entry of the feed takes.
std::string hexDump(ByteView bytes);

/// A text as a cell of a table shows it, cut where it is very long.
std::string webCell(std::string_view text);

} // namespace velto
