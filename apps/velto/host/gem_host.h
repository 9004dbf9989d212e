#pragma once

#include "apps/velto/console/gem_console.h"
#include "apps/velto/console/gem_link.h"
#include "apps/velto/console/service.h"
#include "apps/velto/host/explanation.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace velto {

/// A GEM host (SEMI E30): connects, or waits for the equipment, again whenever the link is lost,
/// establishes communications, answers what the equipment asks, and prints all of it. One request
/// at a time goes to the equipment and waits for its reply, while the loop goes on.
///
/// Operations return the reason when they fail, and an empty text otherwise.
class GemHost {
public:
  struct Settings {
    LinkAddress partner;
    int32_t device = 0;
    int32_t t3 = 45;     ///< s until a reply must have come, or communications must be established
    int16_t edition = 1; ///< of SEMI E5
    int32_t t5 = 10;     ///< s between attempts to connect
    int32_t linktest = kLinktestInterval; ///< s of silence; 0: no linktests
  };

  GemHost(EventLoop &loop, GemConsole &console, const Settings &settings);
  GemHost(const GemHost &) = delete;
  GemHost &operator=(const GemHost &) = delete;

  void open();
  /// Writes what its connections carry to a capture; before open(). What is wrong, else an empty
  /// text.
  std::string capture(const std::string &path);
  /// Tells the service manager of the link from now on.
  void announce(Service &service) { service.ready(control_); }
  /// Sends Separate.req to the equipment and closes the link.
  void close() { separate(control_, loop_); }
  /// Ends the operation that is waiting. Later ones fail at once.
  void stop() { stopped_ = true; }
  bool stopped() const { return stopped_; }

  /// Called with each message, once it is printed.
  std::function<void(bool received)> onMessage;
  CVeltoGemCtrl &control() { return control_; }
  /// The address of the equipment as it was given.
  std::string partner() const { return settings_.partner.partner(); }

  /// What the host knows of the equipment: names of variables and events, reports, alarms.
  GemData &known() { return control_.engine().gem()->data(); }
  void setKnown(GemData &&model);
  LearntNames &learnt() { return learnt_; }
  KnownNames names() { return {known(), learnt_}; }

  /// Waits until communications are established, then sends a primary. If it has the W-bit, waits
  /// for the reply, which reply() then returns. A negative acknowledge, an abort and a message of
  /// stream 9 are failures.
  std::string request(CHSecsMessage &message);
  const CHSecsMessage &reply() const { return reply_; }

  /// Waits for a primary of that name, such as "S6F11". One that came since forgetArrivals()
  /// counts.
  std::string await(std::string_view name, double seconds);
  void forgetArrivals();
  /// Handles messages for a time; fails when stop() ends it earlier.
  std::string pause(double seconds);

  /// The last answer: the SML of a reply or an awaited message (of a very long one its first
  /// mebibyte), and the lines that explain it.
  const std::string &answer() const { return answer_; }
  /// Prints what the link has carried, as an answer: the counters that are not 0.
  void showCounters();
  /// The same as JSON, where that is what the console prints.
  void endCounters() { console_.counters(control_); }
  void setAnswer(std::string answer) { answer_ = std::move(answer); }
  /// Prints a line that explains the answer, and adds it to answer().
  void say(const std::string &line);

private:
  struct Arrival {
    std::string name;
    std::string text;
  };
  void received();
  void arrived(Arrival arrival);
  void sent();
  void problem(int16_t code, const std::string &text);
  bool isReply(const CHSecsMessage &message) const;
  void watchLink();
  std::string waitForCommunications();
  std::string outcome();

  EventLoop &loop_;
  GemConsole &console_;
  const Settings settings_;
  CVeltoGemCtrl control_;
  Timer linkWatch_;
  bool wasConnected_ = false;  // the link was up since the last attempt to connect
  bool connectFailed_ = false; // the last attempt failed, which has been printed
  bool stopped_ = false;
  bool sending_ = false;
  std::optional<CHSecsHeader>
      pending_; // header of the request whose reply is awaited, as it was sent
  bool replied_ = false;
  bool timedOut_ = false;
  bool sendFailed_ = false;
  CHSecsMessage reply_;
  std::string answer_;
  LearntNames learnt_;
  std::deque<Arrival> arrivals_;
  size_t arrivalBytes_ = 0; ///< of their texts
};

} // namespace velto
