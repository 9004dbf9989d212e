#pragma once

#include "apps/velto/host/host_prompt.h"
#include "apps/velto/web/gem_page.h"
#include "apps/velto/web/web_server.h"

#include <deque>
#include <utility>

namespace velto {

/// The page of a host: link and messages, and commands of the prompt. A command waits until the one
/// that is carried out has ended.
class HostPage final : public WebSource {
public:
  /// All must outlive this object.
  HostPage(EventLoop &loop, GemHost &host, HostPrompt &prompt)
      : host_(host), prompt_(prompt), server_(loop, *this),
        gem_(loop.clock(), host.control(), server_.feed()) {}

  WebServer &server() { return server_; }
  GemPage &gem() { return gem_; }

  /// Carries out a command of the keyboard or a script, and those of the page that came meanwhile.
  std::string run(std::string_view line);

  WebSnapshot snapshot() override;
  void act(const WebAction &action, std::function<void(WebResult)> done) override;

private:
  using Done = std::function<void(WebResult)>;

  void runWaiting();

  GemHost &host_;
  HostPrompt &prompt_;
  WebServer server_;
  GemPage gem_;
  bool busy_ = false;
  std::deque<std::pair<std::string, Done>> waiting_;
};

} // namespace velto
