// What the programs print must hold up nothing and must not command the terminal.
#include "apps/gem_tools.h"
#include "apps/velto/console/literal.h"
#include "apps/velto/console/queued_output.h"
#include "platform/pseudo_terminal.h"

#include <gmock/gmock.h>
#include <iostream>

#include "transport/network.h"

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
  EXPECT_TRUE(visitor->prints("communication: Communicating")) << visitor->output;
  tool->closeOutput();
  visitor->type("are-you-there\n");
  EXPECT_TRUE(visitor->prints("<-- SeparateReq")) << visitor->output;
  EXPECT_EQ(tool->statusUnread(), 1);
  visitor->signal(SIGHUP);
  EXPECT_EQ(visitor->status(), 0) << visitor->output;

  tool = equipment();
  visitor = host();
  EXPECT_TRUE(visitor->prints("communication: Communicating")) << visitor->output;
  visitor->closeOutput();
  visitor->type("are-you-there\n");
  EXPECT_TRUE(tool->prints("<-- SeparateReq")) << tool->output;
  EXPECT_EQ(visitor->statusUnread(), 1);
}

// What arrives is printed and sent back: far more than a pipe takes.
TEST_F(GemTools, TheContainerNeedsNoReaderEither) {
  const uint16_t own = freePort();
  const auto tool = run(
      {"container",
       file("echo", "new s VeltoSocket\ns.Server = true\ns.MyPortNumber = " + std::to_string(own) +
                        "\ns.Connect = true\nprint \"ready\"\n"
                        "on s.Received s.Send($3)\nwait\n")});
  ASSERT_TRUE(tool->prints("ready")) << tool->output;
  RawClient partner(own);
  const auto echoed = [&partner](size_t bytes) {
    size_t back = 0;
    for (int i = 0; i < 2000 && back < bytes; ++i, poll(nullptr, 0, 5))
      back += partner.read().size();
    return back;
  };
  for (int i = 0; i < 100; ++i) {
    partner.send(ByteView(Bytes(1000)));
    ASSERT_EQ(echoed(1000), 1000U);
  }
  tool->closeOutput();
  partner.send(ByteView(Bytes(1000)));
  EXPECT_EQ(tool->statusUnread(), 1) << "in order, not by SIGPIPE";
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
  EXPECT_TRUE(loop.runUntil([&closed] { return closed != 0; }, 5000)) << "nothing is printed";
  std::cout << "text" << std::endl;
  EXPECT_FALSE(output.finish());
  loop.runOnce(0);
  EXPECT_EQ(closed, 1);
}

TEST(Output, ShowsNoControlCharacters) {
  const struct {
    std::string text;
    std::string shown;
  } rows[] = {
      {"", ""},
      {"two\r\nlines\tand a tab\n", "two\r\nlines\tand a tab\n"},
      {"\x1b[2J", "\\x1b[2J"},
      {"over\rwritten", "over\\rwritten"},
      {std::string("\0\b\x7f", 3), "\\x00\\x08\\x7f"},
      {"\xc3\xa4 \xe2\x82\xac \xf0\x9f\x98\x80?", "\xc3\xa4 \xe2\x82\xac \xf0\x9f\x98\x80?"},
      {"\x9b"
       "31m",
       "\\x9b"
       "31m"}, // CSI in one byte
      {"\xc2\x9b"
       "31m",
       "\\xc2\\x9b"
       "31m"}, // and in UTF-8
      {"\xc2\xa0", "\xc2\xa0"},
      {"a\u202e\u200b\u061c\ufeff\U000e0041z",
       "a\\xe2\\x80\\xae\\xe2\\x80\\x8b\\xd8\\x9c\\xef\\xbb\\xbf\\xf3\\xa0\\x81\\x81z"},
      {"\u034f\u3164\u180b\U000e0100", // fillers and joiners
       "\\xcd\\x8f\\xe3\\x85\\xa4\\xe1\\xa0\\x8b\\xf3\\xa0\\x84\\x80"},
      {"e\u0301", "e\u0301"},
      {"\xe2\x82", "\\xe2\\x82"}, // cut short
      {"\xc0\x9b", "\\xc0\\x9b"}, // no UTF-8
  };
  for (const auto &row : rows) {
    EXPECT_EQ(visibleText(row.text), row.shown);
    EXPECT_EQ(visibleText(row.shown), row.shown) << "once is enough";
  }
}

TEST(Output, AScreenGetsNoMoreThanItTakes) {
  const std::string lines = repeated(std::string(99, 'x') + '\n', 1000);
  const std::string line(100'000, 'x');
  EXPECT_EQ(screenText("short\n"), "short\n");
  EXPECT_EQ(screenText(lines).substr(65'390), "xxxxxxxxx\n[34601 bytes are left out]\n");
  EXPECT_EQ(screenText(line).substr(65'470), "xx\n[34528 bytes are left out]\n");
}

// Messages, names of a model, a host's value, files and the command line: all hold a control
// character, and whatever is printed to a terminal holds none.
TEST_F(GemTools, ShowNoControlCharactersOfOthers) {
  file("evil.model",
       "[communication]\nmodel_name=\"M\\x1b[2J\" software_revision=\"\\x9b\"\n"
       "initial_state=enabled\n[control]\ninitial_state=remote\n[variables]\nvid=1 kind=SV type=U1 "
       "role=ControlState default=4 description=\"C\"\n"
       "vid=7 kind=EC type=A min=\"\" max=\"\" default=\"\" description=\"\\x1b[1m\"\n");
  const auto tool = run({"equipment", "--data", "evil.model", "--port", "0", "--script",
                         file("show", "on eq.VIDChanged show eq; print eq.VIDDescription(7) "
                                      "eq.VIDValue(7); include \"\\x1b\"\n")});
  ASSERT_TRUE(tool->prints("listening on port "));
  ASSERT_TRUE(tool->prints("\n"));
  const size_t start = tool->output.find("port ") + 5;
  port = tool->output.substr(start, tool->output.find('\n', start) - start);
  const auto visitor = host({"--script", file("visit", "names\nare-you-there\nstatus\nconstants\n"
                                                       "set 7 \"\\x1b[31m\"\nsend \x1b\n")});
  EXPECT_EQ(visitor->status(), 1);
  EXPECT_EQ(tool->status(), 1) << "the script fails at last";
  for (const Process *process : {visitor.get(), tool.get()}) {
    EXPECT_THAT(process->output, HasSubstr("\\x1b[1m"));
    EXPECT_EQ(process->output.find_first_of("\x1b\x9b"), std::string::npos) << process->output;
  }

  PseudoTerminal terminal;
  const std::string commands =
      "cd '" + folder / "" + "' && exec >'" + terminal.path() +
      "' 2>&1 && "
      "velto() { '" VELTO_PROGRAM "' \"$@\"; }; "
      "printf 's1f1 <a \"\\233\">' | tr '\"' \"'\" | velto sml; velto sml -$(printf '\\033'); "
      "velto container show; velto container \"$(printf '\\033')\"; "
      "printf 'new l VeltoLog\\nl.Trace(\"\\\\x1b[3J\")\\nshow l\\nprint \"\\\\x1b\"' | "
      "velto container; velto model import show";
  ASSERT_EQ(std::system(commands.c_str()) & 0xff, 0);
  const Bytes bytes = terminal.read();
  const std::string shown(bytes.begin(), bytes.end());
  EXPECT_EQ(shown.find_first_of("\x1b\x9b"), std::string::npos) << shown;
  for (const char *text : {"<a '\\x9b'>", "\\x1b[3J"})
    EXPECT_THAT(shown, HasSubstr(text));
}

} // namespace
} // namespace velto
