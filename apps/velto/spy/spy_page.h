#pragma once

#include "apps/velto/spy/conversation.h"
#include "apps/velto/web/web_server.h"

#include <array>
#include <map>
#include <string>

namespace velto {

/// The page of a spy: its connections, messages, problems, and how long either end takes to reply.
/// There is nothing to set.
class SpyPage final : public WebSource {
public:
  /// Both must outlive this object.
  SpyPage(EventLoop &loop, std::string target) : target_(std::move(target)), server_(loop, *this) {}

  WebServer &server() { return server_; }

  void opened(const SpyMoment &at, uint32_t connection, const std::string &from);
  /// A message with its line of a list, "S1F2 [3]  On Line Data  after 2.9 ms".
  void message(uint32_t connection, const SpiedMessage &message, const std::string &title);
  void problem(uint32_t connection, const SpiedProblem &problem);
  void ended(const SpyMoment &at, uint32_t connection, const std::string &how, bool isProblem);

  WebSnapshot snapshot() override;
  void act(const WebAction &action, std::function<void(WebResult)> done) override;

private:
  static constexpr size_t kMostConnections = 200; // those that ended first are forgotten

  struct Connection {
    std::string from;
    std::string state = "open";
    SpyCounters counters;
    bool isOpen = true;
  };

  void tell(const SpyMoment &at, const char *kind, const std::string &text);

  const std::string target_;
  WebServer server_;
  std::map<uint32_t, Connection> connections_;
  SpyCounters all_;
  std::array<WebHistogram, 2> replies_; ///< by the direction of the reply
};

} // namespace velto
