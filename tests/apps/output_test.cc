// What the programs print must hold up nothing and must not command the terminal.
#include "apps/gem_tools.h"
#include "apps/velto/console/literal.h"
#include "apps/velto/console/queued_output.h"

#include <gmock/gmock.h>
#include <iostream>

namespace velto {
namespace {

using testing::HasSubstr;

std::string repeated(const std::string &line, int times) {
  std::string text;
  for (int i = 0; i < times; ++i)
    text += line;
  return text;
}

// More than a pipe takes is printed, and nobody reads it.
TEST_F(GemTools, AReaderThatStopsHoldsUpNoLink) {
  for (const int signal : {SIGTERM, SIGHUP}) {
    const auto tool = equipment();
    const auto visitor = host({"--script", file("visit", repeated("send S1F3W {<u4 1>}\n", 400))});
    EXPECT_EQ(visitor->status(), 0) << "all are answered";
    const auto witness = host();
    EXPECT_TRUE(witness->prints("communication: ")) << witness->output;
    tool->signal(signal);
    EXPECT_TRUE(witness->prints("<-- SeparateReq")) << witness->output;
    EXPECT_EQ(tool->statusUnread(), 1) << "not all was printed";
  }
}

TEST_F(GemTools, TheHostNeedsNoReaderEither) {
  const auto tool = equipment();
  const std::string many = repeated("send S1F3W {<u4 1>}\n", 400);
  EXPECT_EQ(host({"--script", file("visit", many)})->statusUnread(), 1) << "not all was printed";
  EXPECT_TRUE(tool->prints("<-- SeparateReq")) << tool->output;
  for (const int signal : {SIGTERM, SIGHUP}) {
    const auto visitor = host();
    visitor->type(many);
    for (int i = 0; i < 400; ++i)
      ASSERT_TRUE(tool->prints("--> S1F4"));
    visitor->signal(signal);
    EXPECT_TRUE(tool->prints("<-- SeparateReq")) << tool->output;
    EXPECT_EQ(visitor->statusUnread(), 1);
  }
}

TEST_F(GemTools, AReaderThatGoesAwayEndsThemInOrder) {
  auto tool = equipment();
  auto visitor = host();
  EXPECT_TRUE(visitor->prints("--> S1F14")) << visitor->output;
  tool->closeOutput();
  visitor->type("are-you-there\n");
  EXPECT_TRUE(visitor->prints("<-- SeparateReq")) << visitor->output;
  EXPECT_EQ(tool->statusUnread(), 1);
  visitor->signal(SIGHUP);
  EXPECT_EQ(visitor->status(), 0) << visitor->output;

  tool = equipment();
  visitor = host();
  EXPECT_TRUE(visitor->prints("--> S1F14")) << visitor->output;
  visitor->closeOutput();
  visitor->type("are-you-there\n");
  EXPECT_TRUE(tool->prints("<-- SeparateReq")) << tool->output;
  EXPECT_EQ(visitor->statusUnread(), 1);
}

/// A pipe in place of standard output, read by the test.
class Queue : public testing::Test {
protected:
  Queue() { EXPECT_EQ(pipe2(pipe_, O_CLOEXEC), 0); }
  ~Queue() override {
    close(pipe_[1]);
    if (pipe_[0] >= 0)
      close(pipe_[0]);
  }
  QueuedOutput::Settings settings(uint32_t patience) const {
    return {.out = pipe_[1], .err = pipe_[1], .most = size_t{256} * 1024, .patience = patience};
  }
  static std::string remark(uint64_t lines) { return '[' + std::to_string(lines) + "]\n"; }

  EventLoop loop;
  int pipe_[2] = {-1, -1};
};

TEST_F(Queue, TellsHowManyLinesWereLeftOut) {
  QueuedOutput output(
      loop, [] {}, remark, settings(5000));
  const std::string line(999, 'x');
  constexpr size_t kLines = 1000;
  for (size_t i = 0; i < kLines; ++i)
    std::cout << line << std::endl;
  std::cerr << "an"
            << " error" << std::endl; // left out too
  std::string text;
  {
    std::jthread reading([&] {
      std::array<char, 65536> chunk{};
      while (!text.ends_with("]\n")) {
        const ssize_t count = ::read(pipe_[0], chunk.data(), chunk.size());
        text.append(chunk.data(), static_cast<size_t>(count));
      }
    });
    EXPECT_TRUE(output.finish());
  }
  const size_t kept = text.rfind('x') / 1000 + 1;
  EXPECT_GT(kept, 256U) << "the queue and the pipe";
  EXPECT_LT(kept, 400U);
  EXPECT_THAT(text, testing::EndsWith("x\n" + remark(kLines + 1 - kept)));
}

TEST_F(Queue, EndsThoughNobodyReads) {
  QueuedOutput output(
      loop, [] {}, remark, settings(20));
  std::cout << std::string(100'000, 'x') << std::endl;
  EXPECT_FALSE(output.finish());
}

TEST_F(Queue, TellsOfAReaderThatIsGone) {
  int closed = 0;
  QueuedOutput output(
      loop, [&closed] { ++closed; }, remark, settings(5000));
  close(std::exchange(pipe_[0], -1));
  std::cout << "text" << std::endl;
  EXPECT_TRUE(loop.runUntil([&closed] { return closed != 0; }, 5000));
  EXPECT_FALSE(output.finish());
  EXPECT_EQ(closed, 1);
}

} // namespace
} // namespace velto
