#pragma once

#include "apps/velto/console/journal.h"
#include "controls/gem_ctrl.h"
#include "gem/engine/engine.h"

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace velto {

/// Seconds of silence after which the programs test their link, unless told otherwise.
inline constexpr int32_t kLinktestInterval = 30;
/// The longest time in seconds that a program takes: a day.
inline constexpr int32_t kLongestTime = 86400;

/// Prints what a Gem control does: its events, and every message both ways.
///
///     09:41:07.112  connected: 127.0.0.1:40112
///     09:41:07.115  <-- S1F1W  Are You There Request
///     09:41:07.115  --> S1F2  On Line Data
///                   {
///                     <a 'ETCH-1'>
///                     <a '1.00'>
///                   }
///
/// Of a message that takes more than kMostOnScreen the beginning is printed.
class GemConsole {
public:
  enum class Style {
    Text,
    Quiet, ///< text, but only of problems
    Json,  ///< one JSON object on each line, with "time" and "event"
  };
  struct Field {
    std::string_view name;
    std::variant<std::string, int64_t, bool, std::vector<NamedCounter>,
                 std::vector<ConnectionCounters>>
        value;
  };

  GemConsole(const Clock &clock, std::ostream &out, Style style = Style::Text)
      : clock_(clock), out_(out), style_(style) {}
  GemConsole(const GemConsole &) = delete;
  GemConsole &operator=(const GemConsole &) = delete;

  /// Sets the handlers of all events of the control but Received and Sent. The caller handles those
  /// two, and calls received() and sent() there. The control must not outlive this object.
  void follow(CVeltoGemCtrl &control);
  /// What was turned away is a problem too, with the item and the rule.
  void received(CVeltoGemCtrl &control);
  void sent(CVeltoGemCtrl &control) { message(control, false); }

  /// Prints an event: as JSON its name and the fields, otherwise the text.
  void event(std::string_view name, const std::string &text, const std::vector<Field> &fields = {});
  void problem(const std::string &text) { problem(text, {{"code", int64_t{0}}}); }
  /// A problem that the control reports; as JSON, that of a reply time-out has the primary's
  /// fields.
  void problem(CVeltoGemCtrl &control, const std::string &text, int16_t code);
  /// Prints what the link has carried, and what each connection that a listener has, as JSON alone.
  /// It is printed when a link is lost, too.
  void counters(const CVeltoGemCtrl &control);
  /// Prints lines without a time, such as the results of a script.
  void plain(const std::string &text);

  /// The line that tells how many lines a QueuedOutput has left out.
  std::string leftOut(uint64_t lines) const;

  /// Calls `observer` with the name and text of every event and problem, whether it is printed or
  /// not.
  using Observer = std::function<void(std::string_view name, const std::string &text)>;
  void setObserver(Observer observer) { observer_ = std::move(observer); }
  /// Where problems go, too.
  void setJournal(Journal &journal) { journal_ = &journal; }

  /// Shows a prompt. It stays below whatever is printed, until promptUsed() is called.
  void showPrompt(std::string prompt);
  void promptUsed() { prompt_.clear(); }

private:
  void message(CVeltoGemCtrl &control, bool received);
  void problem(const std::string &text, std::vector<Field> fields);
  bool toJournal(const std::string &text, const std::vector<Field> &fields);
  void print(std::string_view text);
  std::string object(std::string_view event, const std::vector<Field> &fields) const;
  std::string stamp() const;

  const Clock &clock_;
  std::ostream &out_;
  Style style_;
  std::string prompt_;
  Observer observer_;
  Journal *journal_ = nullptr;
  std::string partner_; ///< the address of who is connected
};

// In the events Received and Sent:

/// The SML of the message, of a long one `most` bytes of it.
std::string messageSml(CVeltoGemCtrl &control, bool received, size_t most);
/// Its line in a list of messages, "S1F1W  Are You There Request"; the SML names it.
std::string messageTitle(const CVeltoGemCtrl &control, std::string_view sml);

} // namespace velto
