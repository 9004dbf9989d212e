#include "apps/velto/web/web_feed.h"

#include <algorithm>
#include <utility>

namespace velto {

bool WebFeed::takes(bool problem) {
  const auto now =
      std::chrono::duration_cast<Seconds>(std::chrono::steady_clock::now().time_since_epoch());
  const std::lock_guard lock(mutex_);
  if (now != second_) {
    second_ = now;
    taken_[0] = taken_[1] = 0;
  }
  const bool room = taken_[problem ? 1 : 0]++ < kMostASecond;
  leftOut_ += room ? 0 : 1;
  return room;
}

void WebFeed::add(WebEntry entry) {
  const std::lock_guard lock(mutex_);
  entry.number = ++last_;
  entries_.push_back(std::move(entry));
  if (entries_.size() > kKept)
    entries_.pop_front();
}

WebFeed::News WebFeed::after(uint64_t number) const {
  const std::lock_guard lock(mutex_);
  const auto count = static_cast<size_t>(std::min<uint64_t>(last_ - number, entries_.size()));
  return {{entries_.end() - static_cast<std::ptrdiff_t>(count), entries_.end()}, leftOut_};
}

uint64_t WebFeed::last() const {
  const std::lock_guard lock(mutex_);
  return last_;
}

} // namespace velto
