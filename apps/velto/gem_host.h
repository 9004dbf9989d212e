#pragma once

#include "apps/velto/gem_console.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace velto {

/// A GEM host (SEMI E30) on an active HSMS link: connects again whenever the link is lost,
/// establishes communications, answers what the equipment asks, and prints all of it. One request
/// at a time goes to the equipment and waits for its reply, while the loop goes on.
///
/// Operations return why they failed, an empty text when they did not.
class GemHost {
public:
  struct Settings {
    std::string address;
    int32_t port = 5001;
    int32_t device = 0;
    int32_t t3 = 45; ///< s, also the patience with communications that are not established
    int32_t t5 = 10; ///< s between attempts to connect
  };

  GemHost(EventLoop &loop, GemConsole &console, const Settings &settings);
  GemHost(const GemHost &) = delete;
  GemHost &operator=(const GemHost &) = delete;

  void open();
  /// Separates from the equipment.
  void close() { separate(control_); }
  /// Ends what waits, and everything that would.
  void stop() { stopped_ = true; }
  bool stopped() const { return stopped_; }

  /// What the host knows of the equipment: names of variables and events, reports, alarms.
  GemData &known() { return control_.engine().gem()->data(); }
  void setKnown(GemData &&model);

  /// Sends a primary once communications are established. One with the W-bit has its reply in
  /// reply() then; a negative acknowledge, an abort and stream 9 are failures.
  std::string request(CHSecsMessage &message);
  const CHSecsMessage &reply() const { return reply_; }

  /// Waits for a primary of that name ("S6F11") which came since forgetArrivals(), or comes.
  std::string await(std::string_view name, double seconds);
  void forgetArrivals() { arrivals_.clear(); }
  /// Lets messages come; fails when it is cut short.
  std::string pause(double seconds);

  /// The last answer: the SML of a reply or an awaited message, and what was said of it.
  const std::string &answer() const { return answer_; }
  /// Prints a line that explains the answer, and adds it to that.
  void say(const std::string &line);

private:
  struct Arrival {
    std::string name;
    std::string text;
  };
  void received();
  void sent();
  void problem(int16_t code, const std::string &text);
  bool isReply(const CHSecsMessage &message) const;
  void watchLink();
  std::string waitForCommunications();
  std::string outcome();
  std::string partner() const;

  EventLoop &loop_;
  GemConsole &console_;
  const Settings settings_;
  CVeltoGemCtrl control_;
  Timer linkWatch_;
  bool wasConnected_ = false;  // before the T5 that may be running
  bool connectFailed_ = false; // and that was said
  bool stopped_ = false;
  bool sending_ = false;
  std::optional<CHSecsHeader> pending_; // the request whose reply is awaited, as it went out
  bool replied_ = false;
  bool timedOut_ = false;
  CHSecsMessage reply_;
  std::string answer_;
  std::deque<Arrival> arrivals_;
};

} // namespace velto
