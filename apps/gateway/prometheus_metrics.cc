#include "apps/gateway/metrics.h"

#include <exception>
#include <prometheus/exposer.h>
#include <prometheus/gauge.h>
#include <prometheus/registry.h>
#include <vector>

namespace velto::gateway {

namespace {

struct Row {
  const char *name;
  const char *help;
  double (*value)(const Metrics::Figures &figures);
};

constexpr Row kRows[] = {
    {"velto_gateway_tools", "Tools of this gateway.",
     [](const Metrics::Figures &f) { return static_cast<double>(f.tools); }},
    {"velto_gateway_tools_communicating", "Tools with communications established.",
     [](const Metrics::Figures &f) { return static_cast<double>(f.communicating); }},
    {"velto_gateway_sink_connected", "1 while the broker is reached.",
     [](const Metrics::Figures &f) { return f.counters.connected ? 1.0 : 0.0; }},
    {"velto_gateway_taken_total", "Publications taken from the tools.",
     [](const Metrics::Figures &f) { return static_cast<double>(f.counters.posted); }},
    {"velto_gateway_delivered_total", "Publications that the sink has acknowledged.",
     [](const Metrics::Figures &f) { return static_cast<double>(f.counters.delivered); }},
    {"velto_gateway_waiting", "Publications that wait.",
     [](const Metrics::Figures &f) { return static_cast<double>(f.counters.waiting); }},
    {"velto_gateway_waiting_bytes", "Bytes of them.",
     [](const Metrics::Figures &f) { return static_cast<double>(f.counters.waitingBytes); }},
    {"velto_gateway_dropped_total", "Publications that the outbox has dropped, ever.",
     [](const Metrics::Figures &f) { return static_cast<double>(f.counters.dropped); }},
    {"velto_gateway_refused_total", "Messages that were left with the tool.",
     [](const Metrics::Figures &f) { return static_cast<double>(f.counters.refused); }},
    {"velto_gateway_holding", "1 while acknowledges are held back.",
     [](const Metrics::Figures &f) { return f.counters.holding ? 1.0 : 0.0; }},
    {"velto_gateway_latency_median_seconds", "From a tool's message to the broker's acknowledge.",
     [](const Metrics::Figures &f) { return f.median; }},
    {"velto_gateway_latency_p99_seconds", "The same of 99 in 100.",
     [](const Metrics::Figures &f) { return f.p99; }},
};

class PrometheusMetrics final : public Metrics {
public:
  explicit PrometheusMetrics(const std::string &address)
      : exposer_(address, 1), registry_(std::make_shared<prometheus::Registry>()) {
    for (const Row &row : kRows)
      gauges_.push_back(
          &prometheus::BuildGauge().Name(row.name).Help(row.help).Register(*registry_).Add({}));
    exposer_.RegisterCollectable(registry_);
  }

  void set(const Figures &figures) override {
    for (size_t i = 0; i < gauges_.size(); ++i)
      gauges_[i]->Set(kRows[i].value(figures));
  }

private:
  prometheus::Exposer exposer_;
  std::shared_ptr<prometheus::Registry> registry_;
  std::vector<prometheus::Gauge *> gauges_;
};

} // namespace

std::unique_ptr<Metrics> makeMetrics(const std::string &address, std::string &problem) {
  try {
    return std::make_unique<PrometheusMetrics>(address);
  } catch (const std::exception &fault) {
    problem = "metrics on " + address + ": " + fault.what();
    return nullptr;
  }
}

} // namespace velto::gateway
