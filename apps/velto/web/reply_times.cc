#include "apps/velto/web/reply_times.h"

#include <algorithm>

namespace velto {

namespace {

constexpr size_t kMostOpen = 10'000; // beyond that a partner never answers

} // namespace

void addTime(WebHistogram &histogram, double seconds) {
  const auto place = std::ranges::lower_bound(histogram.bounds, seconds);
  ++histogram.counts[static_cast<size_t>(place - histogram.bounds.begin())];
  histogram.sum += seconds;
}

WebHistogram replyHistogram() {
  WebHistogram histogram;
  histogram.bounds = {0.0001, 0.00025, 0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025, 0.05,
                      0.1,    0.25,    0.5,    1,     2.5,    5,     10,   45};
  histogram.counts.resize(histogram.bounds.size() + 1);
  return histogram;
}

void ReplyTimes::take(const CHSecsHeader &header, bool received, uint64_t micros) {
  if (header.sType() != 0)
    return;
  if (header.function() % 2 == 1) {
    if (!header.wbit())
      return;
    if (open_.size() >= kMostOpen)
      open_.clear();
    open_[{received, header.systemBytes}] = micros;
    return;
  }
  const auto primary = open_.find({!received, header.systemBytes});
  if (primary == open_.end())
    return;
  addTime(received ? partner_ : own_, static_cast<double>(micros - primary->second) / 1e6);
  open_.erase(primary);
}

} // namespace velto
