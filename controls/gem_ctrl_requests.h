#pragma once

#include "base/lifetime.h"
#include "secs2/message.h"

#include <compare>
#include <concepts>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

class CHGemEngine;
class EventLoop;
class GemRequests;
class GemSubscriptions;

/// What identifies an event or a variable of the equipment (CEID, VID): a number or a text,
/// whichever the equipment has.
class GemId {
public:
  GemId(uint32_t number) : name_(std::to_string(number)), number_(number) {}
  template <std::convertible_to<std::string_view> Text>
  GemId(const Text &text) : GemId(std::string(std::string_view(text)), true) {}

  bool isText() const { return isText_; }                 ///< which goes out as a text
  bool isNumber() const { return number_.has_value(); }   ///< also the text of its digits
  uint32_t number() const { return number_.value_or(0); } ///< 0 when it is none
  /// The text, or the digits of the number. They are the same identifier.
  const std::string &name() const { return name_; }

  bool operator==(const GemId &other) const { return name_ == other.name_; }
  auto operator<=>(const GemId &other) const { return name_ <=> other.name_; }

private:
  GemId(std::string text, bool isText);

  std::string name_;
  std::optional<uint32_t> number_;
  bool isText_ = false;
};

/// What became of a request.
enum class GemOutcome {
  Answered,
  NotSent,  ///< it is no primary, or the states do not let it out
  Spooled,  ///< the spool took it: it goes out later, and its reply to nobody here
  Aborted,  ///< the partner aborted the transaction (SxF0)
  Refused,  ///< the partner complains of it (stream 9)
  Rejected, ///< the partner rejected it (Reject.req, SEMI E37 7.10)
  TimedOut, ///< no reply within the time limit
  LinkLost, ///< the link or the communications ended before a reply came
  Gone,     ///< the control was destroyed meanwhile
};

/// The reply to a request, or why there is none. `if (reply)` asks for the former.
struct GemReply {
  GemOutcome outcome = GemOutcome::NotSent;
  CHSecsMessage message; ///< the reply; when aborted or refused, what came instead
  std::string reason;    ///< "S1F3: no reply in time"; empty when answered

  explicit operator bool() const { return outcome == GemOutcome::Answered; }
  /// The value of the item at a node path, "2/1", as text; empty when there is none.
  std::string Value(const std::string &node) const;
};

/// A value that came with an event or a command.
struct GemValue {
  std::string name; ///< of the variable; while unknown its VID where that is a text, else empty. Of
                    ///< a command's parameter CPNAME
  uint32_t vid = 0; ///< 0 in a command, and where the VID is a text
  std::string text; ///< the value as the property NodeValue has it
  CHSecsItem item;
};

/// Values in the order in which they came, each found by its name or number.
struct GemValues {
  std::vector<GemValue> all;

  /// Null when there is none.
  const GemValue *find(std::string_view name) const;
  const GemValue *find(uint32_t vid) const;
  /// The text; empty when there is none.
  const std::string &operator[](std::string_view name) const { return textOf(find(name)); }
  const std::string &operator[](uint32_t vid) const { return textOf(find(vid)); }

private:
  static const std::string &textOf(const GemValue *value);
};

/// A remote command that passed every check of the model (S2F21, S2F41, S2F49).
struct GemCommand {
  std::string name;
  GemValues values;                      ///< of the parameters that were given
  std::map<std::string, int16_t> faults; ///< objections to parameters, CPACK by CPNAME
};

/// A collection event that the equipment reported (S6F11), with the values that were subscribed.
/// There are none when the event came before the subscription was in force.
struct GemEvent {
  uint32_t ceid = 0; ///< 0 where it is a text
  std::string name;  ///< as that of a variable
  GemValues values;
};

/// The part of `VeltoGem` that makes conversations of messages: a request and its reply, a command
/// and its answer, an event and its values. Handlers may do anything, destroy the control included.
class GemCtrlRequests {
public:
  using ReplyHandler = std::function<void(const GemReply &reply)>;
  using CommandHandler = std::function<int16_t(GemCommand &command)>;
  using EventHandler = std::function<void(const GemEvent &event)>;

  /// Sends a primary (the W-bit, device ID and system bytes are put in) and waits for its reply
  /// while the loop goes on: until T3, or for that many milliseconds when that is less and not 0.
  /// The control may be destroyed meanwhile. The reply raises Received too; what the host does not
  /// do there by DefProc(), the control does. Inside Received the message there is in its place
  /// again afterwards.
  GemReply Request(const CHSecsMessage &primary, uint32_t milliseconds = 0);
  GemReply Request(const std::string &sml, uint32_t milliseconds = 0);
  /// The same without waiting. The handler is called exactly once, never inside this call; when the
  /// control goes before the reply has come, inside its destructor, where the handler must leave
  /// the control alone.
  void Request(const CHSecsMessage &primary, ReplyHandler handler, uint32_t milliseconds = 0);
  void Request(const std::string &sml, ReplyHandler handler, uint32_t milliseconds = 0);

  /// Of an equipment: carries out the remote commands of that name, in place of the event
  /// RemoteCommand. The handler returns HCACK (SEMI E5), 0 when it is done. An empty handler gives
  /// the name back. The model has to know the command: RegisterCommand(), or LoadModel().
  void OnCommand(const std::string &name, CommandHandler handler);

  /// Of a host: has the equipment report a collection event with the values of these variables, and
  /// hears of each. Whenever communications are established it defines a report, links it in place
  /// of those that the event had, and enables the event; without variables it only enables it.
  /// Problem 0 tells what the equipment refuses. RPTIDs are 900001 and so on, in the order of the
  /// calls. Names are those of the model (LoadModel), else those that the equipment tells (S1F11,
  /// S1F21, S2F29; S1F23 in the current edition); events wait meanwhile.
  ///
  /// Events are answered like any message, before the handler is called. Returns a number for
  /// Unsubscribe().
  int32_t Subscribe(GemId ceid, std::vector<GemId> vids, EventHandler handler);
  /// The handler hears no more of it, and the equipment deletes the report; when nobody else has
  /// subscribed the event, it is disabled. False when there is no such subscription.
  bool Unsubscribe(int32_t subscription);
  /// Communications are established, and every subscription is in force or has been refused: from
  /// now on events come with their values.
  bool Subscribed() const;

protected:
  explicit GemCtrlRequests(EventLoop &loop);
  ~GemCtrlRequests();

  GemRequests &requests() { return *requests_; }
  GemSubscriptions &subscriptions() { return *subscriptions_; }
  /// Has the handler of a command carry it out; false when it has none.
  bool carryOut(const std::string &name);
  /// The control goes: what is under way ends. The first thing to be done.
  void endRequests();

private:
  virtual CHGemEngine &gemEngine() const = 0;
  /// Whether a message is being shown to the host.
  virtual bool showsMessage() const = 0;

  GemReply await(const std::function<void(ReplyHandler)> &send);

  EventLoop &loop_;
  Lifetime lifetime_;
  std::shared_ptr<GemRequests> requests_;
  std::shared_ptr<GemSubscriptions> subscriptions_;
  std::map<std::string, std::shared_ptr<const CommandHandler>> commands_;
};

} // namespace velto
