// An equipment that is killed in the middle of a storm of events while its host is away.
#include "controls/gem_pair.h"
#include "gem/capabilities/capabilities.h"

#include <algorithm>
#include <csignal>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

namespace velto {
namespace {

constexpr int kRounds = 100;
constexpr int kMostInRound = 1000;

class SpoolKill : public GemPair {
protected:
  /// An equipment of another process that reports events, each with its number, and writes the
  /// number of each that was taken to the pipe.
  [[noreturn]] void reportEvents(int first, int pipe) {
    EventLoop loop;
    CVeltoGemCtrl control(ControlSite(loop, front, files));
    control.SetIniFileName(ini);
    control.SetDataFileName(data);
    control.LoadData();
    control.SetCapabilities(CapabilitySpooling);
    for (int number = first; number < first + kMostInRound; ++number) {
      control.SetVIDValue(2, number);
      if (control.InvokeEvent(7) && ::write(pipe, &number, sizeof(number)) != sizeof(number))
        break;
    }
    _exit(0);
  }

  /// The numbers that it wrote until it was killed, which is soon after it wrote so many.
  std::vector<int> killAfter(size_t count, int first) {
    int ends[2];
    EXPECT_EQ(::pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0)
      reportEvents(first, ends[1]);
    ::close(ends[1]);
    std::vector<int> taken;
    for (int number = 0; ::read(ends[0], &number, sizeof(number)) == sizeof(number);) {
      taken.push_back(number);
      if (taken.size() == count)
        kill(child, SIGKILL);
    }
    ::close(ends[0]);
    waitpid(child, nullptr, 0);
    return taken;
  }

  const std::string ini = equipment.control->IniFileName();
  const std::string data = equipment.control->DataFileName();
};

TEST_P(SpoolKill, WhatWasTakenArrivesOnceAndInOrder) {
  CVeltoGemCtrl &control = *equipment.control;
  ASSERT_TRUE(control.SetReportVIDs(1, {2}));
  ASSERT_TRUE(control.LinkReport(7, 1));
  control.SetCapabilities(CapabilitySpooling);
  establish();
  ASSERT_EQ(ask("s2f43w{{<u1 6>{<u1 11>}}}"), "S2F44 { <b 0x00> { } }");
  host.control->SetPhysicalConnection(false);
  settle();

  std::mt19937 random(7);
  std::vector<int> taken;
  for (int round = 0; round < kRounds; ++round) {
    const auto numbers = killAfter(50 + random() % 101, round * kMostInRound);
    ASSERT_FALSE(numbers.empty()) << round;
    taken.insert(taken.end(), numbers.begin(), numbers.end());
  }
  EXPECT_GT(taken.size(), 9'000U);

  ASSERT_TRUE(control.LoadData());
  host.control->SetPhysicalConnection(true);
  settle();
  EXPECT_EQ(ask("s6f23w<u1 0>"), "S6F24 <b 0x00>");
  for (int i = 0; i < 1000 && control.SpoolState() != 0; ++i)
    settle(1);
  std::vector<int> arrived;
  for (const std::string &line : host.messages)
    if (const size_t at = line.find("{ { <u4 1> { <u4 "); at != std::string::npos)
      arrived.push_back(std::stoi(line.substr(at + 17)));
  EXPECT_EQ(std::ranges::adjacent_find(arrived, std::ranges::greater_equal()), arrived.end())
      << "in order, and none twice";
  std::vector<int> lost;
  std::ranges::set_difference(taken, arrived, std::back_inserter(lost));
  EXPECT_EQ(lost, std::vector<int>{});
  EXPECT_LE(arrived.size(), taken.size() + kRounds) << "what was on its way to the disk";
}

INSTANTIATE_TEST_SUITE_P(Over, SpoolKill, testing::Values(LinkProtocol::Hsms), linkName);

} // namespace
} // namespace velto
