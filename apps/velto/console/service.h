#pragma once

#include "controls/gem_ctrl.h"
#include "platform/event_loop.h"

#include <functional>
#include <string>

namespace velto {

/// A program as a service of systemd: tells its manager when it is ready, what state it is in and
/// that its loop is alive. Started otherwise, nobody is told anything.
///
/// The sign of life comes from the loop itself, twice in each WatchdogSec: a loop that hangs is
/// found, and the service started again.
class Service {
public:
  explicit Service(EventLoop &loop);
  /// Tells that the program stops, unless stopping() has.
  ~Service() { stopping(); }
  Service(const Service &) = delete;
  Service &operator=(const Service &) = delete;

  /// The program does what it is for: its model is loaded, and its link is open, or tries to be.
  void ready(const std::string &status);
  /// The same of a Gem control; its states are the status from now on. The control must not outlive
  /// this object, and has no other observer of its window.
  void ready(CVeltoGemCtrl &control);
  /// A line for whoever looks at the service; told when it is another one than before.
  void status(const std::string &line);
  /// Reads settings again between telling that it does and that it is ready.
  void reload(const std::function<void()> &read);
  void stopping();

private:
  Timer alive_;
  std::string status_;
  bool stopping_ = false;
};

/// The states of link, communication and control, as one line.
std::string serviceStatus(CVeltoGemCtrl &control);

/// Whether a service manager has started the program: a SIGHUP asks it to read its settings again
/// then. Otherwise it means that a terminal or a session is gone.
bool isService();

} // namespace velto
