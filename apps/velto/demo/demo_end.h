#pragma once

#include "platform/clock.h"
#include "secs2/message.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>

namespace velto {

/// One end of a link in a story without an equipment model. It sends what the story says, and
/// prints and checks the messages that arrive. Differences are reported on standard error.
class DemoEnd {
public:
  /// The functions of the control and the loop that an end needs.
  struct Link {
    bool hsms; ///< whether headers are those of HSMS or of SECS-I
    std::function<bool(const std::string &hex)> send;
    std::function<bool(const std::function<bool()> &done)> wait;
  };

  DemoEnd(const Clock &clock, std::string name, std::string peer, Link link)
      : clock_(clock), name_(std::move(name)), peer_(std::move(peer)), link_(std::move(link)) {}

  // The story calls these from the events of the control.
  void receive(const std::string &hex);
  void problem(int16_t code, const std::string &text);

  bool send(const std::string &sml) { return send(sml, nextSystemBytes_++); }
  /// Replies to the message that expect() returned last.
  bool reply(const std::string &sml) { return send(sml, lastSystemBytes_); }
  /// Waits for the next message; true when it is this one.
  bool expect(const std::string &sml);
  /// Waits for a problem with that code, and prints it together with its meaning.
  bool expectProblem(int16_t code, const std::string &meaning);

  bool fail(const std::string &reason) const;

private:
  struct Problem {
    int16_t code;
    std::string text;
  };

  bool send(const std::string &sml, uint32_t systemBytes);
  void print(const std::string &what) const;

  const Clock &clock_;
  std::string name_;
  std::string peer_;
  Link link_;
  std::deque<CHSecsMessage> received_;
  std::optional<Problem> problem_;
  uint32_t nextSystemBytes_ = 1;
  uint32_t lastSystemBytes_ = 0;
};

} // namespace velto
