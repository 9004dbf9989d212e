#pragma once

#include "controls/gem_ctrl.h"
#include "gem/data/model_data.h"
#include "gem/engine/engine.h"

#include <deque>
#include <functional>
#include <string>

namespace velto {

/// The equipment or the host of the story: a Gem control with its files. It answers messages by
/// DefProc() or as the story says, and keeps the messages received until the story asks for them.
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
  /// Answers the message that is being received.
  bool reply(const std::string &sml);
  /// Waits for the next message. Returns its SML, or an empty text when none comes.
  std::string next();
  /// Waits for the next message; true when it is this one. A difference is reported.
  bool expect(const std::string &sml);
  /// Reports `what` was expected, unless the condition holds.
  bool check(bool holds, const std::string &what) { return holds || fail("expected " + what); }
  /// Waits until a condition holds. Reports what was awaited when it does not come true.
  bool await(const std::function<bool()> &done, const std::string &what);

  CVeltoGemCtrl control;
  /// Called for each message received: true when the story has answered it, false to let DefProc()
  /// answer.
  std::function<bool()> onPrimary;

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
