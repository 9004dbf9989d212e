#pragma once

#include "apps/gateway/metrics.h"
#include "apps/gateway/tool.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace velto::gateway {

/// All tools of a configuration, and the way from them to the sink.
class Gateway {
public:
  struct Events {
    std::function<void(const std::string &text)> told;     ///< what people should know
    std::function<void(const std::string &reason)> failed; ///< the program is to end
  };

  Gateway(EventLoop &loop, Config config, Events events);
  ~Gateway();

  /// Starts all of it. What is wrong, each with the name of the tool; nothing has started then.
  std::vector<std::string> open();
  /// Takes the tools of another configuration: those that are the same are left alone.
  void reload(const Config &config);
  /// Lets go of the tools in order, then sends what waits.
  void close();

  size_t communicating() const;
  size_t tools() const { return tools_.size(); }
  /// "published 5000, waiting 0, dropped 0, median 1.2 ms, 99 % within 4.0 ms".
  std::string summary();

private:
  std::vector<std::string> portProblems() const;
  void add(const ToolConfig &config);
  void requested(const std::string &topic, const std::string &payload);
  void holding(bool holds);
  void tellState();

  EventLoop &loop_;
  Config config_;
  const Events events_;
  std::unique_ptr<Delivery> delivery_;
  std::map<std::string, std::unique_ptr<Tool>> tools_;
  std::unique_ptr<Metrics> metrics_;
  Timer statistics_;
};

} // namespace velto::gateway
