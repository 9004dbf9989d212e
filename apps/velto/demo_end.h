#pragma once

#include "platform/clock.h"
#include "secs2/message.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>

namespace velto {

/// One end of a link in a story without an equipment model: it sends what the story says, and
/// prints and checks what arrives. A difference is told on standard error.
class DemoEnd {
public:
  /// What an end needs of its control and of the loop.
  struct Link {
    bool hsms; ///< the headers are those of HSMS, else of SECS-I
    std::function<bool(const std::string &hex)> send;
    std::function<bool(const std::function<bool()> &done)> wait;
  };

  DemoEnd(const Clock &clock, std::string name, std::string peer, Link link)
      : clock_(clock), name_(std::move(name)), peer_(std::move(peer)), link_(std::move(link)) {}

  // The events of the control.
  void receive(const std::string &hex);
  void problem(int16_t code, const std::string &text);

  bool send(const std::string &sml) { return send(sml, nextSystemBytes_++); }
  /// Answers the message that was expected last.
  bool reply(const std::string &sml) { return send(sml, lastSystemBytes_); }
  /// Waits for the next message, which has to be this one.
  bool expect(const std::string &sml);
  /// Waits for a problem of that code; its meaning is printed with it.
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
