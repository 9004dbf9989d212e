// The loop inside the loops of others: while a handler, a timer or a task runs that outer loop
// again, as a modal dialog does, timers and tasks go on.
#include "platform/event_loop.h"

#include <array>
#include <functional>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#ifdef VELTO_GLIB
#include <glib.h>
#endif
#ifdef VELTO_QT
#include <QCoreApplication>
#include <QEventLoop>
#include <QSocketNotifier>
#include <QTimer>
#endif

namespace velto {
namespace {

constexpr int kPatience = 2000; // ms

using Done = std::function<bool()>;

// Runs the outer loop, which runs the inner one when its descriptor is readable, until `done`.
using OuterLoop = void (*)(EventLoop &inner, const Done &done);

void runPoll(EventLoop &inner, const Done &done) {
  pollfd entry{inner.descriptor(), POLLIN, 0};
  while (!done() && poll(&entry, 1, kPatience) == 1)
    inner.runOnce(0);
}

#ifdef VELTO_GLIB
void runGlib(EventLoop &inner, const Done &done) {
  GIOChannel *channel = g_io_channel_unix_new(inner.descriptor());
  const guint watch = g_io_add_watch(
      channel, G_IO_IN,
      [](GIOChannel *, GIOCondition, gpointer loop) -> gboolean {
        static_cast<EventLoop *>(loop)->runOnce(0);
        return G_SOURCE_CONTINUE;
      },
      &inner);
  bool expired = false;
  const guint limit = g_timeout_add(
      kPatience,
      [](gpointer flag) -> gboolean {
        *static_cast<bool *>(flag) = true;
        return G_SOURCE_CONTINUE;
      },
      &expired);
  while (!done() && !expired)
    g_main_context_iteration(nullptr, TRUE);
  g_source_remove(limit);
  g_source_remove(watch);
  g_io_channel_unref(channel);
}
#endif

#ifdef VELTO_QT
void runQt(EventLoop &inner, const Done &done) {
  QEventLoop loop;
  QSocketNotifier notifier(inner.descriptor(), QSocketNotifier::Read);
  QObject::connect(&notifier, &QSocketNotifier::activated, [&inner] { inner.runOnce(0); });
  bool expired = false;
  QTimer::singleShot(kPatience, &loop, [&expired] { expired = true; });
  while (!done() && !expired)
    loop.processEvents(QEventLoop::WaitForMoreEvents);
}
#endif

struct Kind {
  const char *name;
  OuterLoop run;
};

std::vector<Kind> outerLoops() {
  std::vector<Kind> loops{{"poll", runPoll}};
#ifdef VELTO_GLIB
  loops.push_back({"GLib", runGlib});
#endif
#ifdef VELTO_QT
  loops.push_back({"Qt", runQt});
#endif
  return loops;
}

TEST(ForeignLoops, TimersAndTasksGoOnWhileSomethingRunsTheOuterLoopAgain) {
#ifdef VELTO_QT
  int count = 0;
  QCoreApplication application(count, nullptr);
#endif
  for (const Kind &outer : outerLoops())
    for (const std::string from : {"handler", "timer", "task"}) {
      SCOPED_TRACE(std::string(outer.name) + " from a " + from);
      EventLoop loop;
      loop.descriptor();
      int fired = 0;
      bool ran = false;
      Timer timer(loop, [&fired] { ++fired; });
      const auto modal = [&] {
        const int before = fired;
        outer.run(loop, [&] { return fired >= before + 3 && ran; });
        EXPECT_GE(fired, before + 3);
        EXPECT_TRUE(ran);
      };
      bool ended = false;
      const auto start = [&] {
        if (!std::exchange(ended, true))
          modal();
      };
      std::array<int, 2> ends{};
      ASSERT_EQ(pipe(ends.data()), 0);
      {
        DescriptorWatch watch(loop, ends[0], DescriptorWatch::kReadable, [&](unsigned) {
          char byte = 0;
          EXPECT_EQ(read(ends[0], &byte, 1), 1);
          start();
        });
        Timer once(loop, start);
        if (from == "handler")
          ASSERT_EQ(write(ends[1], "x", 1), 1);
        else if (from == "timer")
          once.start(1);
        else
          loop.post(start);
        loop.post([&ran] { ran = true; });
        timer.startPeriodic(2);
        const uint32_t begun = loop.clock().ticks();
        while (loop.clock().ticks() - begun < 3) // all of it is due in the same turn
          continue;
        outer.run(loop, [&ended] { return ended; });
      }
      close(ends[0]);
      close(ends[1]);
    }
}

} // namespace
} // namespace velto
