#pragma once

#include "apps/velto/script/interpreter.h"

#include <ostream>
#include <string>
#include <vector>

namespace velto {

/// Hosts controls and runs commands that create, read, write, call and await them: from script
/// files, or line by line from a descriptor.
class Container {
public:
  /// Results, events, boxes and sheets go to `out`, errors to `err`, each flushed line by line.
  Container(EventLoop &loop, FileSystem &files, std::ostream &out, std::ostream &err,
            script::ControlFactory factory)
      : loop_(loop), interpreter_(loop, files, out, err, std::move(factory)) {}

  /// The front end that shows sheets for which no answer is queued. Without one such sheets are
  /// cancelled.
  void setOperator(FrontEnd &frontEnd) { interpreter_.setOperator(&frontEnd); }

  /// Runs the files one after the other, with the same controls and variables. Stops at the first
  /// failing command. Returns the exit status: 0, or 1 after an error.
  int runFiles(const std::vector<std::string> &paths);

  /// Runs commands from a descriptor line by line, until it ends or a command is quit. Events are
  /// handled while it waits for a line. Goes on after errors. Returns the exit status 0.
  int runInteractive(int fd);

  const script::Interpreter &interpreter() const { return interpreter_; }

  /// Ends the run, as the command quit does.
  void quit() { interpreter_.quit(); }
  bool ended() const { return interpreter_.ended(); }

private:
  EventLoop &loop_;
  script::Interpreter interpreter_;
};

} // namespace velto
