#pragma once

#include "platform/clock.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

struct epoll_event;

namespace velto {

class DescriptorWatch;
class NameResolver;
class Timer;

/// The message loop that everything runs on: descriptors that become ready, timers, and posted
/// tasks, all on one thread. Only postFromAnyThread() may be called from another one.
///
/// The host calls run(), or, inside a loop of its own, waits for descriptor() to become readable
/// and calls runOnce(0). Handlers may pump the loop again, and may destroy the watch or timer that
/// called them.
class EventLoop {
public:
  explicit EventLoop(Clock &clock = systemClock());
  ~EventLoop();
  EventLoop(const EventLoop &) = delete;
  EventLoop &operator=(const EventLoop &) = delete;

  Clock &clock() const { return clock_; }

  /// Waits up to `timeout` milliseconds (-1: without limit) for something to do, and does it.
  /// Returns whether anything ran. With a clock that does not run by itself, timers fire when the
  /// clock has been advanced; the wait itself is always in real time. Whatever is ready is handled
  /// before a timer fires. Timers that fall due while handlers run wait for the next turn, so that
  /// what arrived meanwhile is handled before them.
  bool runOnce(int timeout);
  /// Runs until quit() is called.
  void run();
  /// Ends the innermost run() after the current turn, and its handlers, of the loop.
  void quit() { quit_ = true; }
  /// Pumps until `done` is true or `timeout` milliseconds of the clock have passed; returns the
  /// last value of `done`.
  bool runUntil(const std::function<bool()> &done, uint32_t timeout);
  /// Queues a task for the next turn.
  void post(std::function<void()> task);
  /// Queues a task from any thread, and wakes the loop: it ends the wait of runOnce() and makes
  /// descriptor() readable. The tasks of one thread run in its order, on the thread of the loop, no
  /// later than in the turn after the one that runs. The loop has to live until the call returns.
  void postFromAnyThread(std::function<void()> task);

  /// Looks host names up beside the loop.
  NameResolver &names();

  /// A descriptor that polls readable when runOnce(0) has something to do, also while a handler, a
  /// timer or a task of this loop runs the outer loop again.
  int descriptor();

private:
  friend class DescriptorWatch;
  friend class Timer;

  struct Slot {
    int fd = -1;
    uint32_t generation = 0;
    std::shared_ptr<const std::function<void(unsigned)>> handler;
  };

  uint64_t now();
  int waitTime(int timeout);
  bool dispatchDescriptors(int timeout, uint64_t &due);
  size_t unread(std::span<const epoll_event> events) const;
  bool handleReady(std::span<const epoll_event> events);
  bool fireTimers(uint64_t due);
  void fetchInbox();
  bool runPosted();
  void armDescriptor();

  void insert(Timer &timer);
  void remove(Timer &timer);
  void siftUp(size_t index);
  void siftDown(size_t index);
  void place(size_t index, Timer *timer);

  Clock &clock_;
  int epoll_;
  int wakeFd_;
  int timerFd_ = -1;
  std::optional<uint64_t> armedFor_; // what the timer descriptor is set to, see armDescriptor()
  uint64_t now_ = 0;
  uint32_t lastTicks_;
  bool quit_ = false;
  std::vector<Slot> slots_;
  std::vector<uint32_t> freeSlots_;
  std::vector<Timer *> heap_;
  std::deque<std::function<void()>> posted_;
  std::mutex inboxMutex_;
  std::vector<std::function<void()>> inbox_; ///< from other threads; wakeFd_ tells of the first
  std::unique_ptr<NameResolver> names_;
};

/// Calls a handler while a descriptor is ready (level-triggered). Ends with its destruction,
/// which the handler itself may cause. One watch per descriptor; end it before closing that.
class DescriptorWatch {
public:
  static constexpr unsigned kReadable = 1;
  static constexpr unsigned kWritable = 2;

  /// `events` is a set of kReadable and kWritable. An error or hang-up counts as both.
  DescriptorWatch(EventLoop &loop, int fd, unsigned events, std::function<void(unsigned)> handler);
  ~DescriptorWatch();
  DescriptorWatch(const DescriptorWatch &) = delete;
  DescriptorWatch &operator=(const DescriptorWatch &) = delete;

  void setEvents(unsigned events);
  /// An `errno` value when the platform refuses the watch (it has a limit of them); the handler is
  /// then never called. 0: all is well.
  int error() const { return error_; }

private:
  EventLoop &loop_;
  uint32_t slot_;
  int error_ = 0;
  unsigned events_;
};

/// Calls a task after a delay, once or periodically. Times are milliseconds of the loop's clock.
class Timer {
public:
  Timer(EventLoop &loop, std::function<void()> task);
  ~Timer();
  Timer(const Timer &) = delete;
  Timer &operator=(const Timer &) = delete;

  /// Fires once, `delay` milliseconds from now (at least 1). Replaces an earlier start.
  void start(uint32_t delay);
  /// Fires once within `delay` milliseconds: like start(), unless the timer fires earlier anyway.
  void startWithin(uint32_t delay);
  /// Fires every `period` milliseconds (at least 1), without drift: late or missed calls leave the
  /// later ones where they were. Periods that were missed are skipped.
  void startPeriodic(uint32_t period);
  void stop();
  bool running() const { return index_ != kIdle; }

private:
  friend class EventLoop;
  static constexpr size_t kIdle = static_cast<size_t>(-1);

  EventLoop &loop_;
  std::shared_ptr<const std::function<void()>> task_;
  uint64_t deadline_ = 0;
  uint32_t delay_ = 0; ///< it is due no later than that after it was started, and between periods
  uint32_t period_ = 0;
  size_t index_ = kIdle;
};

} // namespace velto
