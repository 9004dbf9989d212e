#pragma once

#include "platform/event_loop.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace velto {

/// Tells the one who shows a window that it looks different from now on, so that nobody has to make
/// views again and again to see that. One who comes by now and then compares the count.
class ViewChanges {
public:
  explicit ViewChanges(EventLoop &loop) : loop_(loop) {}

  /// The changes up to now; more than one may have the same cause.
  uint64_t count() const { return count_; }
  /// Called on the loop, once for all the changes of a turn, when everything has its new state. The
  /// observer may end the object, or replace itself. Null: none.
  void observe(std::function<void()> observer);
  /// The window has changed, or is about to within this call.
  void report();

private:
  struct Observer {
    std::function<void()> call;
    bool due = false; ///< the loop is going to call it
  };

  EventLoop &loop_;
  uint64_t count_ = 0;
  std::shared_ptr<Observer> observer_;
};

} // namespace velto
