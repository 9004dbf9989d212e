#pragma once

#include "apps/gateway/delivery.h"

#include <memory>
#include <string>

namespace velto::gateway {

/// Counters that a monitoring system fetches by HTTP, in the text form of Prometheus.
class Metrics {
public:
  struct Figures {
    Delivery::Counters counters;
    uint64_t tools = 0;
    uint64_t communicating = 0;
    double median = 0; ///< s from the tool's message to the sink's acknowledge, since the last time
    double p99 = 0;
  };

  virtual ~Metrics() = default;
  virtual void set(const Figures &figures) = 0;
};

/// Tells them on ADDRESS:PORT. Null when that cannot be, or the program was built without
/// prometheus-cpp: `problem` says which.
std::unique_ptr<Metrics> makeMetrics(const std::string &address, std::string &problem);

} // namespace velto::gateway
