#pragma once

#include "controls/gem_ctrl.h"
#include "gem/data/model_data.h"
#include "gem/engine/engine.h"

#include <deque>
#include <functional>
#include <initializer_list>
#include <string>

namespace velto {

/// A message of the host and the reply to it, in SML.
struct Exchange {
  const char *primary;
  const char *reply;
};

/// The equipment or the host of the story: a Gem control with its files. It answers messages by
/// DefProc(), and keeps those received until the story asks for them.
class DemoStation {
public:
  DemoStation(EventLoop &loop, std::string name);

  /// Writes the INI file and the model data file into the folder and loads both. False when a file
  /// cannot be written or read, which is reported.
  bool load(const std::string &folder, const std::string &settings, const GemData &model);
  /// Prints every message received or sent from now on; `peer` is the name of the other station.
  void narrate(const std::string &peer);

  /// Sends a message from the free work space. False when the states do not allow it, which is
  /// reported.
  bool send(const std::string &sml);
  /// Sends each primary and waits for its reply; a difference is reported.
  bool ask(std::initializer_list<Exchange> exchanges);
  /// Waits for the next message. Returns its SML, or an empty text when none comes.
  std::string next();
  /// Waits for the next message; true when it is this one. A difference is reported.
  bool expect(const std::string &sml);
  /// The same of a message that begins so on its one line.
  bool expectStart(const std::string &start);
  /// Reports `what` was expected, unless the condition holds.
  bool check(bool holds, const std::string &what) { return holds || fail("expected " + what); }
  /// Waits until a condition holds. Reports what was awaited when it does not come true.
  bool await(const std::function<bool()> &done, const std::string &what);

  CVeltoGemCtrl control;

private:
  void receive();
  void print(const std::string &from, const std::string &to);
  bool fail(const std::string &reason);

  EventLoop &loop_;
  std::string name_;
  std::string peer_; // name of the other station; empty: messages are not printed
  std::deque<std::string> received_;
  bool failed_ = false;
};

} // namespace velto
