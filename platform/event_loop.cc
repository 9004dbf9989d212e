#include "platform/event_loop.h"

#include "platform/name_resolver.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <limits>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/timerfd.h>
#include <unistd.h>
#include <utility>

namespace velto {

namespace {

constexpr uint64_t kTimerEvent = std::numeric_limits<uint64_t>::max();
constexpr uint64_t kWakeEvent = kTimerEvent - 1;
constexpr int kBatch = 32;            // descriptors that are asked for at once
constexpr int kSmallestRead = 1024;   // bytes that a handler takes at a time, where more are there
constexpr int kMostAhead = 1'048'576; // bytes of a descriptor that are handled before a timer

void watchForever(int epoll, int fd, uint64_t event) {
  epoll_event entry{};
  entry.events = EPOLLIN;
  entry.data.u64 = event;
  epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &entry);
}

uint32_t toEpoll(unsigned events) {
  uint32_t flags = 0;
  if ((events & DescriptorWatch::kReadable) != 0)
    flags |= EPOLLIN | EPOLLRDHUP;
  if ((events & DescriptorWatch::kWritable) != 0)
    flags |= EPOLLOUT;
  return flags;
}

unsigned fromEpoll(uint32_t flags) {
  unsigned events = 0;
  if ((flags & (EPOLLIN | EPOLLRDHUP | EPOLLERR | EPOLLHUP)) != 0)
    events |= DescriptorWatch::kReadable;
  if ((flags & (EPOLLOUT | EPOLLERR | EPOLLHUP)) != 0)
    events |= DescriptorWatch::kWritable;
  return events;
}

} // namespace

EventLoop::EventLoop(Clock &clock)
    : clock_(clock), epoll_(epoll_create1(EPOLL_CLOEXEC)),
      wakeFd_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)), lastTicks_(clock.ticks()) {
  watchForever(epoll_, wakeFd_, kWakeEvent);
}

EventLoop::~EventLoop() {
  names_.reset();
  if (timerFd_ >= 0)
    close(timerFd_);
  close(wakeFd_);
  close(epoll_);
}

// The tick count wraps at 32 bits; deadlines are kept on a 64-bit line that it is unrolled onto.
uint64_t EventLoop::now() {
  const uint32_t ticks = clock_.ticks();
  now_ += static_cast<uint32_t>(ticks - lastTicks_);
  lastTicks_ = ticks;
  return now_;
}

bool EventLoop::runOnce(int timeout) {
  uint64_t due = 0;
  bool worked = dispatchDescriptors(waitTime(timeout), due);
  worked |= fireTimers(due);
  worked |= runPosted();
  armDescriptor();
  return worked;
}

// A run() inside another one must not swallow the quit() that the outer one has been told.
void EventLoop::run() {
  const bool outer = std::exchange(quit_, false);
  while (!quit_)
    runOnce(-1);
  quit_ = outer;
}

bool EventLoop::runUntil(const std::function<bool()> &done, uint32_t timeout) {
  bool expired = false;
  Timer limit(*this, [&expired] { expired = true; });
  limit.start(timeout);
  bool finished = done();
  while (!finished && !expired) {
    runOnce(clock_.runsByItself() ? -1 : 1);
    finished = done();
  }
  return finished;
}

void EventLoop::post(std::function<void()> task) {
  posted_.push_back(std::move(task));
  armDescriptor();
}

// The wake-up is inside the lock: a task that ends the loop cannot run before it.
void EventLoop::postFromAnyThread(std::function<void()> task) {
  const std::scoped_lock lock(inboxMutex_);
  inbox_.push_back(std::move(task));
  if (inbox_.size() == 1)
    eventfd_write(wakeFd_, 1);
}

NameResolver &EventLoop::names() {
  if (names_ == nullptr)
    names_ = std::make_unique<NameResolver>(*this);
  return *names_;
}

void EventLoop::fetchInbox() {
  const std::scoped_lock lock(inboxMutex_);
  eventfd_t count = 0;
  eventfd_read(wakeFd_, &count);
  std::ranges::move(inbox_, std::back_inserter(posted_));
  inbox_.clear();
}

int EventLoop::waitTime(int timeout) {
  if (!posted_.empty())
    return 0;
  if (heap_.empty())
    return timeout;
  const uint64_t deadline = heap_.front()->deadline_;
  const uint64_t current = now();
  if (deadline <= current)
    return 0;
  if (!clock_.runsByItself())
    return timeout;
  const uint64_t left = std::min<uint64_t>(deadline - current, std::numeric_limits<int>::max());
  return timeout < 0 ? static_cast<int>(left) : std::min(timeout, static_cast<int>(left));
}

// Timers are due by the end of the wait: one that falls due while the handlers run waits for the
// next turn, so that a handler that took long does not make a time-out of what arrived meanwhile.
// For the same reason all that is ready is handled before a timer fires, be it more than one batch
// or after a wait that a stop of the process cut short. What is ready again and again does not hold
// the timers up.
bool EventLoop::dispatchDescriptors(int timeout, uint64_t &due) {
  std::array<epoll_event, kBatch> events{};
  int count = epoll_wait(epoll_, events.data(), kBatch, timeout);
  due = now();
  const bool timersWait = !heap_.empty() && heap_.front()->deadline_ <= due;
  if (timersWait && count <= 0) // nothing, or the wait was cut short
    count = epoll_wait(epoll_, events.data(), kBatch, 0);
  const std::span ready(events.data(), static_cast<size_t>(std::max(count, 0)));
  size_t batches = timersWait ? unread(ready) / kSmallestRead : 0;
  if (timersWait && count == kBatch)
    batches += slots_.size() / kBatch + 1;
  bool worked = handleReady(ready);
  for (; batches != 0; --batches) {
    count = epoll_wait(epoll_, events.data(), kBatch, 0);
    if (count <= 0)
      break;
    worked |= handleReady({events.data(), static_cast<size_t>(count)});
  }
  return worked;
}

// Bytes of the descriptor that has most of them.
size_t EventLoop::unread(std::span<const epoll_event> events) const {
  int most = 0;
  for (const epoll_event &event : events) {
    int count = 0;
    const auto index = static_cast<uint32_t>(event.data.u64);
    if (index < slots_.size() && ioctl(slots_[index].fd, FIONREAD, &count) == 0)
      most = std::max(most, std::min(count, kMostAhead));
  }
  return static_cast<size_t>(most);
}

bool EventLoop::handleReady(std::span<const epoll_event> events) {
  bool worked = false;
  for (const epoll_event &event : events) {
    if (event.data.u64 == kTimerEvent) {
      uint64_t expirations = 0;
      [[maybe_unused]] const ssize_t got = read(timerFd_, &expirations, sizeof expirations);
      armedFor_.reset();
      continue;
    }
    if (event.data.u64 == kWakeEvent) {
      fetchInbox();
      continue;
    }
    // A handler called before this one may have ended the watch and reused its slot.
    const Slot &slot = slots_[static_cast<uint32_t>(event.data.u64)];
    if (slot.generation != static_cast<uint32_t>(event.data.u64 >> 32) || slot.fd < 0)
      continue;
    const auto handler = slot.handler;
    armDescriptor();
    (*handler)(fromEpoll(event.events));
    worked = true;
  }
  return worked;
}

bool EventLoop::fireTimers(uint64_t due) {
  bool worked = false;
  while (!heap_.empty() && heap_.front()->deadline_ <= due) {
    Timer &timer = *heap_.front();
    remove(timer);
    if (timer.period_ != 0) {
      const uint64_t late = due - timer.deadline_;
      timer.deadline_ = due + timer.period_ - late % timer.period_;
      insert(timer);
    }
    const auto task = timer.task_;
    armDescriptor();
    (*task)();
    worked = true;
  }
  return worked;
}

// Tasks posted by these tasks wait for the next turn, so a task that posts itself cannot starve
// the descriptors.
bool EventLoop::runPosted() {
  const size_t count = posted_.size();
  for (size_t i = 0; i < count && !posted_.empty(); ++i) {
    const auto task = std::move(posted_.front());
    posted_.pop_front();
    armDescriptor();
    task();
  }
  return count != 0;
}

int EventLoop::descriptor() {
  if (timerFd_ < 0) {
    timerFd_ = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    armedFor_.reset();
    watchForever(epoll_, timerFd_, kTimerEvent);
    armDescriptor();
  }
  return epoll_;
}

// Only a loop inside another loop needs the timer descriptor; runOnce() itself sleeps by time-out.
// It is armed before every handler, timer and task too: each may run the outer loop again, which
// has to hear of what falls due meanwhile.
void EventLoop::armDescriptor() {
  if (timerFd_ < 0)
    return;
  std::optional<uint64_t> wanted; // the tick it fires at, 0: at once
  if (!posted_.empty() || (!heap_.empty() && heap_.front()->deadline_ <= now()))
    wanted = 0;
  else if (!heap_.empty() && clock_.runsByItself())
    wanted = heap_.front()->deadline_;
  if (wanted == armedFor_)
    return;
  armedFor_ = wanted;
  itimerspec when{};
  if (wanted == 0U) {
    when.it_value.tv_nsec = 1;
  } else if (wanted) {
    const uint64_t left = *wanted - now_;
    when.it_value.tv_sec = static_cast<time_t>(left / 1000);
    when.it_value.tv_nsec = static_cast<long>(left % 1000) * 1'000'000;
  }
  timerfd_settime(timerFd_, 0, &when, nullptr);
}

void EventLoop::place(size_t index, Timer *timer) {
  heap_[index] = timer;
  timer->index_ = index;
}

void EventLoop::siftUp(size_t index) {
  Timer *timer = heap_[index];
  while (index > 0 && heap_[(index - 1) / 2]->deadline_ > timer->deadline_) {
    place(index, heap_[(index - 1) / 2]);
    index = (index - 1) / 2;
  }
  place(index, timer);
}

void EventLoop::siftDown(size_t index) {
  Timer *timer = heap_[index];
  for (;;) {
    size_t child = 2 * index + 1;
    if (child >= heap_.size())
      break;
    if (child + 1 < heap_.size() && heap_[child + 1]->deadline_ < heap_[child]->deadline_)
      ++child;
    if (heap_[child]->deadline_ >= timer->deadline_)
      break;
    place(index, heap_[child]);
    index = child;
  }
  place(index, timer);
}

void EventLoop::insert(Timer &timer) {
  heap_.push_back(&timer);
  siftUp(heap_.size() - 1);
}

void EventLoop::remove(Timer &timer) {
  const size_t index = std::exchange(timer.index_, Timer::kIdle);
  Timer *last = heap_.back();
  heap_.pop_back();
  if (last == &timer)
    return;
  place(index, last);
  siftUp(index);
  siftDown(last->index_);
}

DescriptorWatch::DescriptorWatch(EventLoop &loop, int fd, unsigned events,
                                 std::function<void(unsigned)> handler)
    : loop_(loop), events_(events) {
  if (loop.freeSlots_.empty()) {
    slot_ = static_cast<uint32_t>(loop.slots_.size());
    loop.slots_.emplace_back();
  } else {
    slot_ = loop.freeSlots_.back();
    loop.freeSlots_.pop_back();
  }
  EventLoop::Slot &slot = loop.slots_[slot_];
  slot.fd = fd;
  slot.handler = std::make_shared<const std::function<void(unsigned)>>(std::move(handler));
  epoll_event event{};
  event.events = toEpoll(events);
  event.data.u64 = (static_cast<uint64_t>(slot.generation) << 32) | slot_;
  if (epoll_ctl(loop.epoll_, EPOLL_CTL_ADD, fd, &event) != 0)
    error_ = errno;
}

DescriptorWatch::~DescriptorWatch() {
  EventLoop::Slot &slot = loop_.slots_[slot_];
  epoll_ctl(loop_.epoll_, EPOLL_CTL_DEL, slot.fd, nullptr);
  slot.fd = -1;
  ++slot.generation;
  slot.handler.reset();
  loop_.freeSlots_.push_back(slot_);
}

void DescriptorWatch::setEvents(unsigned events) {
  if (events == events_)
    return;
  events_ = events;
  const EventLoop::Slot &slot = loop_.slots_[slot_];
  epoll_event event{};
  event.events = toEpoll(events);
  event.data.u64 = (static_cast<uint64_t>(slot.generation) << 32) | slot_;
  epoll_ctl(loop_.epoll_, EPOLL_CTL_MOD, slot.fd, &event);
}

Timer::Timer(EventLoop &loop, std::function<void()> task)
    : loop_(loop), task_(std::make_shared<const std::function<void()>>(std::move(task))) {}

Timer::~Timer() { stop(); }

void Timer::start(uint32_t delay) {
  stop();
  period_ = 0;
  delay_ = std::max(delay, 1U);
  deadline_ = loop_.now() + delay_;
  loop_.insert(*this);
  loop_.armDescriptor();
}

// A timer that was started for as short a delay before is due by then: no need to read the clock.
void Timer::startWithin(uint32_t delay) {
  delay = std::max(delay, 1U);
  if (!running() || (delay_ > delay && deadline_ > loop_.now() + delay))
    start(delay);
}

void Timer::startPeriodic(uint32_t period) {
  start(period);
  period_ = std::max(period, 1U);
}

void Timer::stop() {
  if (running())
    loop_.remove(*this);
}

} // namespace velto
