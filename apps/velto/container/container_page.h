#pragma once

#include "apps/velto/script/interpreter.h"
#include "apps/velto/web/web_server.h"

#include <ostream>
#include <streambuf>

namespace velto {

/// Passes text on to another stream, whatever buffer that has at the time, and each line of it to a
/// feed.
class FedOutput final : public std::streambuf {
public:
  FedOutput(const Clock &clock, std::ostream &out, const char *kind)
      : clock_(clock), out_(out), kind_(kind) {}

  /// From now on; must outlive this object.
  void feed(WebFeed &feed) { feed_ = &feed; }

private:
  static constexpr size_t kLongest = 2000; // of a line in the feed

  int_type overflow(int_type c) override;
  int sync() override { return out_.rdbuf()->pubsync(); }

  const Clock &clock_;
  std::ostream &out_;
  const char *const kind_;
  WebFeed *feed_ = nullptr;
  std::string line_;
};

/// The page of a container: the properties of its controls, states of those that are equipment or
/// hosts, and what is printed. Nothing is set there: the commands reach files of this computer, and
/// are for the keyboard and scripts.
class ContainerPage final : public WebSource {
public:
  /// Both must outlive this object.
  ContainerPage(EventLoop &loop, const script::Interpreter &interpreter)
      : interpreter_(interpreter), server_(loop, *this) {}

  WebServer &server() { return server_; }

  WebSnapshot snapshot() override;
  void act(const WebAction &action, std::function<void(WebResult)> done) override;

private:
  const script::Interpreter &interpreter_;
  WebServer server_;
};

} // namespace velto
