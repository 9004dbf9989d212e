#include "apps/velto/web/metrics.h"

#include <cctype>
#include <prometheus/text_serializer.h>
#include <string_view>

namespace velto {

namespace {

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;

// "FramesIn", "Messages in" as part of a name: "frames_in", "messages_in".
std::string metricName(std::string_view name) {
  std::string out;
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isupper(byte) != 0 && !out.empty() && out.back() != '_')
      out += '_';
    out += std::isalnum(byte) != 0 ? static_cast<char>(std::tolower(byte)) : '_';
  }
  return out;
}

MetricFamily family(std::string name, std::string help, MetricType type) {
  return {std::move(name), std::move(help), type, {}};
}

// Prometheus takes nothing that is no UTF-8, as names of equipment may be.
ClientMetric labelled(std::vector<ClientMetric::Label> labels) {
  for (ClientMetric::Label &label : labels)
    for (char &c : label.value)
      c = static_cast<unsigned char>(c) < 0x80 ? c : '?';
  ClientMetric metric;
  metric.label = std::move(labels);
  return metric;
}

void addCounter(std::vector<MetricFamily> &families, const WebCounter &counter,
                std::string_view prefix, const std::string &help) {
  const std::string name = std::string(prefix) + metricName(counter.name);
  MetricFamily added = counter.isGauge ? family(name, help, MetricType::Gauge)
                                       : family(name + "_total", help, MetricType::Counter);
  ClientMetric metric;
  (counter.isGauge ? metric.gauge.value : metric.counter.value) =
      static_cast<double>(counter.value);
  added.metric.push_back(std::move(metric));
  families.push_back(std::move(added));
}

MetricFamily stateFamily(const WebSnapshot &snapshot) {
  MetricFamily states =
      family("velto_state", "1 for the present state of each state model", MetricType::Gauge);
  for (const WebStates &model : snapshot.states)
    for (const std::string &state : model.states) {
      states.metric.push_back(labelled({{"model", model.name}, {"state", state}}));
      states.metric.back().gauge.value = state == model.present ? 1 : 0;
    }
  return states;
}

MetricFamily problemFamily(const WebSnapshot &snapshot) {
  MetricFamily problems =
      family("velto_link_problems_total", "What went wrong on the link", MetricType::Counter);
  for (const WebCounter &problem : snapshot.problems) {
    problems.metric.push_back(labelled({{"problem", problem.name}}));
    problems.metric.back().counter.value = static_cast<double>(problem.value);
  }
  return problems;
}

ClientMetric histogramMetric(const WebHistogram &histogram) {
  ClientMetric metric = labelled({{"by", histogram.name}});
  uint64_t count = 0;
  for (size_t i = 0; i < histogram.bounds.size(); ++i) {
    count += histogram.counts[i];
    metric.histogram.bucket.push_back({count, histogram.bounds[i]});
  }
  metric.histogram.sample_count = count + histogram.counts.back();
  metric.histogram.sample_sum = histogram.sum;
  return metric;
}

} // namespace

bool metricsText(const WebSnapshot &snapshot, std::string &text) {
  std::vector<MetricFamily> families;
  families.push_back(family("velto_info", "What the program is", MetricType::Gauge));
  families.back().metric.push_back(
      labelled({{"program", snapshot.program}, {"title", snapshot.title}}));
  families.back().metric.back().gauge.value = 1;
  families.push_back(stateFamily(snapshot));
  for (const WebCounter &counter : snapshot.gauges)
    addCounter(families, counter, "velto_", "How many there are");
  for (const WebCounter &counter : snapshot.activity)
    addCounter(families, counter, "velto_", "Since the start");
  for (const WebCounter &counter : snapshot.counters)
    addCounter(families, counter, "velto_link_", "Of the link since the start");
  families.push_back(problemFamily(snapshot));
  families.push_back(family("velto_reply_seconds", "How long replies take", MetricType::Histogram));
  for (const WebHistogram &histogram : snapshot.replies)
    families.back().metric.push_back(histogramMetric(histogram));
  text = prometheus::TextSerializer().Serialize(families);
  return true;
}

} // namespace velto
