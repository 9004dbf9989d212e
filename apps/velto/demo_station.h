#pragma once

#include "controls/gem_ctrl.h"
#include "gem/data/model_data.h"

#include <deque>
#include <functional>
#include <string>

namespace velto {

/// One of the two in the story: a Gem control with its files. It answers what it receives by
/// DefProc(), or as the story has it, and keeps what it received until the story asks for it.
class DemoStation {
public:
  DemoStation(EventLoop &loop, std::string name);

  /// Writes the INI file and the model data file into the folder and loads both. False, and said
  /// so, when a file cannot be written or read.
  bool load(const std::string &folder, const std::string &settings, const GemData &model);
  /// Prints every message that arrives or goes out from now on; `peer` is who is at the far end.
  void narrate(const std::string &peer);

  /// Sends a message in the free work space; false, and said so, when the states do not allow it.
  bool send(const std::string &sml);
  /// Answers the message that is being received.
  bool reply(const std::string &sml);
  /// Waits for the next message; its SML, without annotations, or an empty text when none comes.
  std::string next();
  /// Waits for the next message, which has to be this one; a difference is printed.
  bool expect(const std::string &sml);
  /// What has to hold; what it was is printed when it does not.
  bool check(bool holds, const std::string &what) { return holds || fail("expected " + what); }
  /// Waits until a condition holds; what it was is printed when it does not come true.
  bool await(const std::function<bool()> &done, const std::string &what);

  CVeltoGemCtrl control;
  /// The story's own answer to a message; false leaves it to DefProc().
  std::function<bool()> onPrimary;

private:
  void receive();
  void print(const std::string &from, const std::string &to);
  bool fail(const std::string &reason);

  EventLoop &loop_;
  std::string name_;
  std::string peer_; // empty: nothing is printed
  std::deque<std::string> received_;
  bool failed_ = false;
};

} // namespace velto
