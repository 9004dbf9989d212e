// What belongs to one loop stays on its thread; loops of several threads have nothing in common but
// postFromAnyThread(). Run under ThreadSanitizer, too.
#include "controls/hsms_ctrl.h"
#include "controls/registry.h"
#include "module/values.h"
#include "platform/tcp_socket.h"
#include "secs2/message.h"
#include "secs2/sml_printer.h"
#include "secs2/verifier.h"

#include <array>
#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <poll.h>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace velto {
namespace {

constexpr size_t kThreads = 3;

template <typename Work> void inThreads(Work work) {
  std::vector<std::jthread> threads;
  for (size_t i = 0; i < kThreads; ++i)
    threads.emplace_back([&work, i] { work(i); });
}

bool readable(int fd, int timeout) {
  pollfd entry{fd, POLLIN, 0};
  return poll(&entry, 1, timeout) == 1;
}

TEST(Threads, TasksOfEachThreadRunInItsOrderOnTheThreadOfTheLoop) {
  constexpr size_t kTasks = 2000;
  EventLoop loop;
  std::array<size_t, kThreads> next{};
  size_t ran = 0;
  size_t wrong = 0;
  std::jthread posters([&] {
    inThreads([&](size_t thread) {
      for (size_t task = 0; task < kTasks; ++task)
        loop.postFromAnyThread([&, thread, task, poster = std::this_thread::get_id()] {
          wrong += next[thread]++ == task && std::this_thread::get_id() != poster ? 0 : 1;
          if (++ran == kTasks * kThreads)
            loop.quit();
        });
    });
  });
  loop.run(); // sleeps whenever nothing is there: it has nothing else to do
  EXPECT_EQ(ran, kTasks * kThreads);
  EXPECT_EQ(wrong, 0U);
}

TEST(Threads, ATaskWakesALoopInsideAnotherOne) {
  EventLoop loop;
  bool ran = false;
  const int fd = loop.descriptor();
  EXPECT_FALSE(readable(fd, 0));
  std::jthread poster([&] { loop.postFromAnyThread([&ran] { ran = true; }); });
  EXPECT_TRUE(readable(fd, 10'000));
  EXPECT_TRUE(loop.runOnce(0));
  EXPECT_TRUE(ran);
  poster.join();
  loop.runOnce(0);
  EXPECT_FALSE(readable(fd, 0)) << "nothing is left to do";
}

TEST(Threads, LoopsPassATaskAroundWhileTheirTimersRun) {
  constexpr size_t kHops = 3000;
  std::array<EventLoop, kThreads> loops;
  size_t hops = 0; // of whoever has the task
  std::function<void()> pass;
  pass = [&] {
    if (++hops < kHops)
      return loops[hops % kThreads].postFromAnyThread([&pass] { pass(); });
    for (EventLoop &loop : loops)
      loop.postFromAnyThread([&loop] { loop.quit(); });
  };
  inThreads([&](size_t thread) {
    size_t ticks = 0;
    Timer timer(loops[thread], [&] {
      if (++ticks == 3 && thread == 0)
        pass();
    });
    timer.startPeriodic(1);
    loops[thread].run();
  });
  EXPECT_EQ(hops, kHops);
}

uint16_t freePort() {
  TcpSocket socket;
  return socket.create(0, false) == 0 ? socket.localPort() : uint16_t{0};
}

// A host and its equipment, on a loop of their own: so many questions, each answered by a message
// that is built from SML, verified, sent and printed. Returns the answers.
size_t talk(uint16_t port, size_t questions) {
  EventLoop loop;
  CVeltoHsmsCtrl equipment(loop);
  CVeltoHsmsCtrl host(loop);
  equipment.onReceived = [&](const std::string &, int32_t, const std::string &hex) {
    CHSecsVerifier primary;
    CHSecsMessage reply;
    if (!primary.message.SetMsg(hex) || primary.Verify(true) != VerificationCorrect)
      return;
    reply.SetFromSml("s1f2{<a'ETCH-1'><a'1.00'>}");
    reply.header.idWord = primary.message.header.idWord;
    reply.header.systemBytes = primary.message.header.systemBytes;
    equipment.Send(reply.GetMsg());
  };
  size_t answers = 0;
  const auto ask = [&host] { host.Send("00008101000000000001"); };
  host.onReceived = [&](const std::string &, int32_t, const std::string &hex) {
    CHSecsMessage message;
    message.SetMsg(hex);
    answers += RenderSml(message).find("ETCH-1") != std::string::npos ? 1 : 0;
    ask();
  };
  equipment.SetServer(true);
  equipment.SetMyPortNumber(port);
  equipment.SetConnect(true);
  host.SetIPAddress("127.0.0.1");
  host.SetPortNumber(port);
  host.SetConnect(true);
  ask();
  loop.runUntil([&] { return answers >= questions; }, 30'000);
  return answers;
}

TEST(Threads, ControlsOfSeveralLoopsDoNotMeet) {
  std::array<uint16_t, kThreads> ports{};
  for (uint16_t &port : ports)
    port = freePort();
  std::array<size_t, kThreads> answers{};
  inThreads([&](size_t thread) {
    EventLoop loop;
    for (const MemberTable *table : controlTables())
      createControl(table->controlName, loop)->save();
    answers[thread] = talk(ports[thread], 50);
  });
  for (const size_t count : answers)
    EXPECT_GE(count, 50U);
}

TEST(Threads, TransactionsOfAllLoopsDiffer) {
  constexpr size_t kEach = 5000;
  std::array<std::vector<uint32_t>, kThreads> taken;
  inThreads([&](size_t thread) {
    CHSecsHeader header;
    header.hsms = false;
    while (taken[thread].size() < kEach) {
      header.Reset(1, 1);
      taken[thread].push_back(header.systemBytes);
    }
  });
  std::set<uint32_t> all;
  for (const auto &ids : taken)
    all.insert(ids.begin(), ids.end());
  EXPECT_EQ(all.size(), kEach * kThreads);
}

// An equipment and its host through the C interface, each on a loop and a thread of its own. Each
// report that the host takes has the equipment send the next one.
struct CPair {
  static constexpr int64_t kReports = 100;

  std::atomic<velto_loop *> toolLoop = nullptr;
  velto_control *tool = nullptr; // of the equipment's thread
  std::string address = std::to_string(freePort());
  int64_t reports = 0; // of the host's thread

  void runTool() {
    velto_loop *loop = velto_loop_new();
    tool = velto_gem_equipment(loop, "", ("listen:" + address).c_str());
    const velto_value event[] = {integer(12), integer(255), text("Done")};
    velto_call(tool, "RegisterCEID", event, 3, nullptr);
    toolLoop = loop;
    velto_loop_run(loop);
    velto_loop_free(loop);
  }
  void runHost() {
    velto_loop *loop = velto_loop_new();
    velto_control *host = velto_gem_host(loop, ("127.0.0.1:" + address).c_str());
    velto_set(host, "T5", nullptr, 0, integer(1));
    velto_gem_subscribe(
        host, 12, nullptr, 0,
        [](void *user, velto_control *, uint32_t, const char *, const void *, size_t) {
          auto *pair = static_cast<CPair *>(user);
          ++pair->reports;
          pair->askForOne();
        },
        this, nullptr);
    for (int i = 0; i < 20'000 && velto_gem_subscribed(host) != 1; ++i)
      velto_loop_run_once(loop, 1);
    askForOne();
    for (int i = 0; i < 20'000 && reports < kReports; ++i)
      velto_loop_run_once(loop, 1);
    velto_loop_free(loop);
    velto_loop_quit(toolLoop);
  }
  void askForOne() {
    velto_loop_post(
        toolLoop,
        [](void *user) {
          const velto_value event = integer(12);
          velto_call(static_cast<CPair *>(user)->tool, "InvokeEvent", &event, 1, nullptr);
        },
        this);
  }
};

TEST(Threads, LoopsOfTheCInterfaceDoNotMeet) {
  CPair pair;
  {
    const std::jthread tool([&pair] { pair.runTool(); });
    while (pair.toolLoop == nullptr)
      std::this_thread::yield();
    EXPECT_EQ(velto_loop_run_once(pair.toolLoop, 0), -1) << "it belongs to the other thread";
    const std::jthread host([&pair] { pair.runHost(); });
  }
  EXPECT_GE(pair.reports, CPair::kReports);
}

} // namespace
} // namespace velto
