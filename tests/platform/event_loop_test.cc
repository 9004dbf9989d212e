#include "base/lifetime.h"
#include "platform/event_loop.h"

#include <array>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <poll.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace velto {
namespace {

class Pipe {
public:
  Pipe() {
    if (pipe(ends_.data()) != 0)
      std::abort();
  }
  ~Pipe() {
    close(ends_[0]);
    close(ends_[1]);
  }
  Pipe(const Pipe &) = delete;
  Pipe &operator=(const Pipe &) = delete;

  int readEnd() const { return ends_[0]; }
  int writeEnd() const { return ends_[1]; }
  void put() { EXPECT_EQ(write(ends_[1], "x", 1), 1); }
  void take() {
    char byte = 0;
    EXPECT_EQ(read(ends_[0], &byte, 1), 1);
  }

private:
  std::array<int, 2> ends_{};
};

bool readable(int fd, int timeout) {
  pollfd entry{fd, POLLIN, 0};
  return poll(&entry, 1, timeout) == 1;
}

class EventLoopTest : public testing::Test {
protected:
  bool advance(uint32_t milliseconds) {
    clock_.advance(milliseconds);
    return loop_.runOnce(0);
  }

  ManualClock clock_{0xfffffff0}; // wraps after 16 ms
  EventLoop loop_{clock_};
  std::string log_;
};

TEST_F(EventLoopTest, FiresTimersInTheOrderOfTheirDeadlines) {
  std::vector<std::unique_ptr<Timer>> timers;
  for (const uint32_t delay : {40U, 10U, 30U, 0U, 20U, 35U, 5U}) {
    timers.push_back(
        std::make_unique<Timer>(loop_, [this, delay] { log_ += std::to_string(delay) + ' '; }));
    timers.back()->start(delay);
  }
  timers[5]->stop();
  timers[2].reset();
  EXPECT_FALSE(advance(0)) << "no delay is shorter than 1 ms";
  EXPECT_TRUE(advance(1));
  EXPECT_EQ(log_, "0 ");
  EXPECT_FALSE(advance(3));
  advance(35); // over the wrap of the tick count
  EXPECT_EQ(log_, "0 5 10 20 ");
  EXPECT_TRUE(timers[0]->running());
  advance(1);
  EXPECT_EQ(log_, "0 5 10 20 40 ");
  EXPECT_FALSE(timers[0]->running());
}

TEST_F(EventLoopTest, AcceptsDelaysUpToTheTickRange) {
  Timer timer(loop_, [this] { log_ += '!'; });
  timer.start(0xffffffff);
  advance(0xfffffffe);
  EXPECT_EQ(log_, "");
  advance(1);
  EXPECT_EQ(log_, "!");
}

TEST_F(EventLoopTest, StartsTimersWithinADelayUnlessTheyFireEarlier) {
  Timer timer(loop_, [this] { log_ += '!'; });
  timer.startWithin(10);
  timer.startWithin(50);
  advance(7);
  timer.startWithin(5); // 3 ms are left
  advance(3);
  EXPECT_EQ(log_, "!");
  timer.startWithin(10);
  advance(2);
  timer.startWithin(5); // before the 8 ms that are left
  advance(5);
  EXPECT_EQ(log_, "!!");
  timer.start(5);
  advance(1);
  timer.start(20);
  timer.startWithin(5); // of the last start alone
  advance(5);
  EXPECT_EQ(log_, "!!!");
}

TEST_F(EventLoopTest, PeriodicTimersSkipMissedPeriodsAndDoNotDrift) {
  Timer timer(loop_, [this] { log_ += '!'; });
  timer.startPeriodic(10);
  const struct {
    uint32_t step;
    const char *log;
  } cases[] = {
      {9, ""},       // at 9
      {4, "!"},      // 13: 3 ms late
      {7, "!!"},     // 20: in time again
      {45, "!!!"},   // 65: those of 30 to 60 are one
      {4, "!!!"},    // 69
      {1, "!!!!"},   // 70
      {0, "!!!!"},   //
      {10, "!!!!!"}, // 80
      {1000, "!!!!!!"},
  };
  for (const auto &c : cases) {
    advance(c.step);
    EXPECT_EQ(log_, c.log);
  }
  timer.start(1);
  advance(1);
  EXPECT_FALSE(timer.running()) << "start() replaces a periodic start";
}

TEST_F(EventLoopTest, HandlersMayStopStartAndDestroyTimers) {
  auto victim = std::make_unique<Timer>(loop_, [this] { log_ += "victim "; });
  std::unique_ptr<Timer> self;
  const auto marker = std::make_shared<int>(7);
  self = std::make_unique<Timer>(loop_, [&, marker] {
    self.reset();
    victim.reset();
    log_ += "self " + std::to_string(*marker) + ' '; // the handler outlives its timer
  });
  std::unique_ptr<Timer> again;
  again = std::make_unique<Timer>(loop_, [&] {
    log_ += "again ";
    again->start(0);
  });
  self->startPeriodic(1);
  victim->start(2);
  again->start(3);
  advance(5);
  EXPECT_EQ(log_, "self 7 again ") << "a timer started by its handler waits for the next turn";
  advance(1);
  EXPECT_EQ(log_, "self 7 again again ");
}

TEST_F(EventLoopTest, HandlersMayPumpTheLoop) {
  Timer inner(loop_, [this] { log_ += "inner "; });
  Timer outer(loop_, [&] {
    log_ += "outer( ";
    advance(10);
    log_ += ") ";
  });
  outer.start(1);
  inner.start(5);
  loop_.post([this] { log_ += "task "; });
  advance(1);
  EXPECT_EQ(log_, "outer( inner task ) ");
}

// A host that was busy must not find a time-out of what has arrived meanwhile.
TEST_F(EventLoopTest, TimersThatFallDueWhileAHandlerRunsLetWhatArrivedGoFirst) {
  Pipe busy;
  Pipe other;
  DescriptorWatch slow(loop_, busy.readEnd(), DescriptorWatch::kReadable, [&](unsigned) {
    busy.take();
    clock_.advance(10);
    other.put();
  });
  DescriptorWatch quick(loop_, other.readEnd(), DescriptorWatch::kReadable, [&](unsigned) {
    other.take();
    log_ += "arrival ";
  });
  Timer limit(loop_, [this] { log_ += "limit "; });
  limit.start(5);
  busy.put();
  while (loop_.runOnce(0))
    continue;
  EXPECT_EQ(log_, "arrival limit ");
}

// More descriptors than the loop asks for at once, in the turn in which a timer is due, and more
// bytes of one than its handler takes at a time.
TEST_F(EventLoopTest, HandlesAllThatIsReadyBeforeATimer) {
  std::array<Pipe, 100> pipes;
  std::vector<std::unique_ptr<DescriptorWatch>> watches;
  size_t arrived = 0;
  for (Pipe &pipe : pipes)
    watches.push_back(std::make_unique<DescriptorWatch>(loop_, pipe.readEnd(),
                                                        DescriptorWatch::kReadable, [&](unsigned) {
                                                          pipe.take();
                                                          ++arrived;
                                                        }));
  // One that never ends holds no timer up.
  Pipe endless;
  endless.put();
  DescriptorWatch ready(loop_, endless.readEnd(), DescriptorWatch::kReadable, [](unsigned) {});
  Pipe deep;
  size_t left = 0;
  DescriptorWatch reader(loop_, deep.readEnd(), DescriptorWatch::kReadable, [&](unsigned) {
    std::array<char, 4096> chunk{};
    left -= static_cast<size_t>(read(deep.readEnd(), chunk.data(), chunk.size()));
  });
  const std::string bytes(60'000, 'x');
  left = static_cast<size_t>(write(deep.writeEnd(), bytes.data(), bytes.size()));
  size_t before = 0;
  size_t unread = 1;
  Timer limit(loop_, [&] {
    before = arrived;
    unread = left;
  });
  limit.start(5);
  for (Pipe &pipe : pipes)
    pipe.put();
  EXPECT_TRUE(advance(5));
  EXPECT_EQ(before, pipes.size());
  EXPECT_EQ(unread, 0U);
}

TEST_F(EventLoopTest, RunsPostedTasksInOrderAndLaterOnesInTheNextTurn) {
  loop_.post([this] {
    log_ += "1 ";
    loop_.post([this] { log_ += "3 "; });
  });
  loop_.post([this] { log_ += "2 "; });
  EXPECT_TRUE(loop_.runOnce(-1)) << "a waiting task ends the wait";
  EXPECT_EQ(log_, "1 2 ");
  EXPECT_TRUE(loop_.runOnce(-1));
  EXPECT_EQ(log_, "1 2 3 ");
  EXPECT_FALSE(loop_.runOnce(0));
}

TEST_F(EventLoopTest, QuitEndsTheInnermostRun) {
  loop_.post([this] {
    loop_.post([this] {
      log_ += "inner ";
      loop_.quit();
    });
    loop_.run();
    log_ += "outer ";
    loop_.quit();
    loop_.post([this] { loop_.quit(); });
    loop_.run(); // must not swallow the quit() of the outer one
  });
  loop_.run();
  EXPECT_EQ(log_, "inner outer ");
}

TEST_F(EventLoopTest, RunsUntilDoneOrTimeOut) {
  Timer step(loop_, [this] { log_ += '!'; });
  step.startPeriodic(1);
  const auto tick = [this] {
    clock_.advance(1);
    return log_.size() >= 3;
  };
  EXPECT_TRUE(loop_.runUntil(tick, 100));
  log_.clear();
  EXPECT_FALSE(loop_.runUntil([&] { return tick() && false; }, 20));
  EXPECT_NEAR(static_cast<double>(log_.size()), 20, 1);
}

TEST_F(EventLoopTest, CallsWatchesWhileTheDescriptorIsReady) {
  Pipe pipe;
  DescriptorWatch reader(loop_, pipe.readEnd(), DescriptorWatch::kReadable,
                         [this](unsigned events) { log_ += 'r' + std::to_string(events); });
  DescriptorWatch writer(loop_, pipe.writeEnd(), 0, [this](unsigned) { log_ += 'w'; });
  EXPECT_FALSE(loop_.runOnce(0));
  pipe.put();
  loop_.runOnce(0);
  loop_.runOnce(0);
  EXPECT_EQ(log_, "r1r1") << "level-triggered";
  pipe.take();
  writer.setEvents(DescriptorWatch::kWritable);
  loop_.runOnce(0);
  writer.setEvents(0);
  EXPECT_FALSE(loop_.runOnce(0));
  EXPECT_EQ(log_, "r1r1w");
}

TEST_F(EventLoopTest, AWatchThatTookTheSlotOfAnEndedOneIsNotCalledForIt) {
  Pipe first;
  Pipe second;
  Pipe third;
  std::unique_ptr<DescriptorWatch> watches[2];
  std::unique_ptr<DescriptorWatch> fresh;
  const auto endBoth = [&](unsigned) {
    log_ += "first ";
    watches[0].reset();
    watches[1].reset();
    fresh = std::make_unique<DescriptorWatch>(loop_, third.readEnd(), DescriptorWatch::kReadable,
                                              [this](unsigned) { log_ += "fresh "; });
  };
  watches[0] = std::make_unique<DescriptorWatch>(loop_, first.readEnd(), DescriptorWatch::kReadable,
                                                 endBoth);
  watches[1] = std::make_unique<DescriptorWatch>(loop_, second.readEnd(),
                                                 DescriptorWatch::kReadable, endBoth);
  first.put();
  second.put();
  loop_.runOnce(0);
  EXPECT_EQ(log_, "first ") << "whichever was called ended the other";
  third.put();
  loop_.runOnce(0);
  EXPECT_EQ(log_, "first fresh ");
}

TEST_F(EventLoopTest, DescriptorTellsAForeignLoopThatThereIsWork) {
  const int fd = loop_.descriptor();
  EXPECT_FALSE(readable(fd, 0));
  loop_.post([this] { loop_.post([] {}); });
  EXPECT_TRUE(readable(fd, 1000));
  loop_.runOnce(0);
  EXPECT_TRUE(readable(fd, 1000)) << "the task posted by the task";
  loop_.runOnce(0);
  EXPECT_FALSE(readable(fd, 0));

  Pipe pipe;
  DescriptorWatch watch(loop_, pipe.readEnd(), DescriptorWatch::kReadable,
                        [&pipe](unsigned) { pipe.take(); });
  pipe.put();
  EXPECT_TRUE(readable(fd, 0));
  loop_.runOnce(0);
  EXPECT_FALSE(readable(fd, 0));
}

TEST(EventLoop, WakesForTimersOfTheSystemClock) {
  EventLoop loop;
  int fired = 0;
  Timer timer(loop, [&fired] { ++fired; });
  timer.start(1);
  EXPECT_TRUE(readable(loop.descriptor(), 1000));
  loop.runOnce(0);
  EXPECT_EQ(fired, 1);
  EXPECT_FALSE(readable(loop.descriptor(), 0));
  timer.start(1);
  EXPECT_TRUE(loop.runUntil([&fired] { return fired == 2; }, 1000));
}

TEST(Lifetime, WatchesSeeTheEndOfTheirOwner) {
  auto owner = std::make_unique<Lifetime>();
  const Lifetime::Watch outer(*owner);
  auto early = std::make_unique<Lifetime::Watch>(*owner);
  const Lifetime::Watch inner(*owner);
  early.reset(); // out of order
  EXPECT_TRUE(outer && inner);
  owner.reset();
  EXPECT_FALSE(outer || inner);
}

} // namespace
} // namespace velto
