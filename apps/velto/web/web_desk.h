#pragma once

#include "apps/velto/web/web_source.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>

namespace velto {

class EventLoop;

/// Where the threads of the server meet the loop: they ask for a snapshot or an action and wait
/// for it, with a limit; the loop works when it gets to it and waits for nobody.
class WebDesk : public std::enable_shared_from_this<WebDesk> {
public:
  using Time = std::chrono::milliseconds;

  /// Both must be there until close(), and the loop until no thread calls any more.
  WebDesk(EventLoop &loop, WebSource &source) : loop_(loop), source_(&source) {}

  /// In the loop: there is no source any more. Whoever waits gets what there is.
  void close();
  bool closed() const;

  /// From any thread: a snapshot that is younger than `age` now or was made after the call. The one
  /// before when the loop takes longer than `patience`, or null.
  std::shared_ptr<const WebSnapshot> latest(Time age, Time patience);
  /// From any thread: carries out an action. Nothing when no result came within `patience`.
  std::optional<WebResult> act(const WebAction &action, Time patience);

private:
  using Moment = std::chrono::steady_clock::time_point;

  void makeSnapshot();

  EventLoop &loop_;
  WebSource *source_; // the loop's alone
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  bool closed_ = false;
  bool asked_ = false; // a snapshot is on its way
  std::shared_ptr<const WebSnapshot> snapshot_;
  Moment madeAt_{};
};

} // namespace velto
