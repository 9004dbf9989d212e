#pragma once

#include "apps/velto/host/host_prompt.h"
#include "apps/velto/web/gem_page.h"
#include "apps/velto/web/web_server.h"

#include <deque>
#include <map>
#include <utility>

namespace velto {

/// The page of a host: link and messages, the values and alarms that the equipment reported, and
/// commands of the prompt. A command waits until the one
/// that is carried out has ended.
class HostPage final : public WebSource {
public:
  /// All must outlive this object.
  HostPage(EventLoop &loop, GemHost &host, HostPrompt &prompt)
      : host_(host), prompt_(prompt), server_(loop, *this),
        gem_(loop.clock(), host.control(), server_.feed()), clock_(loop.clock()) {}

  WebServer &server() { return server_; }
  GemPage &gem() { return gem_; }
  /// With each message that came or went.
  void message(bool received);

  /// Carries out a command of the keyboard or a script, and those of the page that came meanwhile.
  std::string run(std::string_view line);

  WebSnapshot snapshot() override;
  void act(const WebAction &action, std::function<void(WebResult)> done) override;

private:
  using Done = std::function<void(WebResult)>;

  // Numbers in their order, then texts.
  struct ByNumber {
    bool operator()(const std::string &a, const std::string &b) const {
      return a.size() != b.size() ? a.size() < b.size() : a < b;
    }
  };
  using Rows = std::map<std::string, std::vector<std::string>, ByNumber>; // cells by identifier

  void runWaiting();
  void keepReported(const CHSecsMessage &message);
  static void keep(Rows &rows, std::vector<std::string> cells);
  static std::vector<WebRow> rowsOf(const Rows &rows);

  GemHost &host_;
  HostPrompt &prompt_;
  WebServer server_;
  GemPage gem_;
  const Clock &clock_;
  Rows values_;
  Rows alarms_;
  bool busy_ = false;
  std::deque<std::pair<std::string, Done>> waiting_;
};

} // namespace velto
