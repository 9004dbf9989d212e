#pragma once

#include "apps/velto/web/web_feed.h"
#include "apps/velto/web/web_options.h"
#include "apps/velto/web/web_source.h"

#include <cstdint>
#include <memory>
#include <string>

namespace velto {

class EventLoop;

/// The page of a program, and its numbers for Prometheus, on HTTP. Its threads see snapshots alone
/// and the loop waits for none of them, whatever a browser does.
///
///     /            the page, and the files that it loads
///     /events      what changes, as server-sent events
///     /metrics     numbers
///     /act         POST: action, key and value, as a form is sent
class WebServer {
public:
  /// As many browsers are kept up to date at once; another one is told to come back.
  static constexpr int kMostWatchers = 32;

  /// Both must outlive this object. It may be destroyed in the loop alone.
  WebServer(EventLoop &loop, WebSource &source);
  ~WebServer();
  WebServer(const WebServer &) = delete;
  WebServer &operator=(const WebServer &) = delete;

  /// Why there is no page; an empty text when it is there from now on.
  std::string start(const WebOptions &options);
  /// "http://127.0.0.1:8080/"
  const std::string &address() const { return address_; }
  WebFeed &feed() { return *feed_; }

private:
  class Http;

  EventLoop &loop_;
  WebSource &source_;
  std::shared_ptr<WebFeed> feed_ = std::make_shared<WebFeed>();
  std::string address_;
  std::unique_ptr<Http> http_;
};

} // namespace velto
