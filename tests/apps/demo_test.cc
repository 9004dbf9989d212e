// The stories of velto demo, as people see them.
#include "apps/velto/demo/demo_command.h"
#include "support/temporary_directory.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velto {
namespace {

// The lines stand in the text in this order.
void expectInOrder(const std::string &text, std::initializer_list<const char *> lines) {
  size_t at = 0;
  for (const char *line : lines) {
    const size_t found = text.find(line, at);
    ASSERT_NE(found, std::string::npos) << line << " is missing behind " << at << " in\n" << text;
    at = found + 1;
  }
}

struct Result {
  int status;
  std::string story;
};

// Runs the command with its temporary files in `folder`.
Result runDemo(const CommandArguments &arguments, const std::string &folder) {
  const char *before = getenv("TMPDIR");
  const std::string kept = before == nullptr ? "" : before;
  setenv("TMPDIR", folder.c_str(), 1);
  testing::internal::CaptureStdout();
  const int status = runDemoCommand(arguments);
  before == nullptr ? unsetenv("TMPDIR") : setenv("TMPDIR", kept.c_str(), 1);
  return {status, testing::internal::GetCapturedStdout()};
}

TEST(Demo, AnEtchToolAndItsHostSpendADay) {
  const TemporaryDirectory folder;
  const auto [status, story] = runDemo({}, folder / "");
  EXPECT_EQ(status, kExitDone) << story;
  expectInOrder(story, {"  host --> equipment  S1F13W\n",
                        "  equipment --> host  S1F14\n",
                        "  equipment --> host  S1F0\n",
                        "  equipment --> host  S1F1W\n",
                        "Control state: On Line Remote\n",
                        "  host --> equipment  S1F3W\n",
                        "* Chamber pressure\n",
                        "  host --> equipment  S2F33W\n",
                        "  host --> equipment  S2F35W\n",
                        "  host --> equipment  S2F37W\n",
                        "        <a 'LOT-0042'>\n",
                        "* Etch completed\n",
                        "  equipment --> host  S5F1W\n",
                        "<b 0x84>",
                        "<b 0x04>",
                        "  host --> equipment  S2F15W\n",
                        "constant 303 changed",
                        "  host --> equipment  S2F17W\n",
                        "Control state: Host Off Line\n",
                        "  host --> equipment  SeparateReq\n",
                        "\nAll of it went as it should.\n"});
  EXPECT_TRUE(std::filesystem::is_empty(folder / "")) << "its files are gone";
}

TEST(Demo, TwoHsmsEndsExchangeMessages) {
  const auto [status, story] = runDemo({"--hsms"}, ".");
  EXPECT_EQ(status, kExitDone) << story;
  expectInOrder(story,
                {"  host --> equipment  SelectReq\n", "  equipment --> host  SelectRsp\n",
                 "  host --> equipment  S1F13W\n", "  equipment --> host  S1F14\n",
                 "  host --> equipment  S1F1W\n", "  equipment --> host  S1F2\n",
                 "  host --> equipment  LinktestReq\n", "  equipment --> host  LinktestRsp\n",
                 "  equipment --> host  S6F11W\n", "        <a 'LOT-0042'>\n",
                 "  host --> equipment  S6F12\n", "  host --> equipment  SeparateReq\n"});
}

TEST(Demo, ASecsIHostAndEquipmentShareALine) {
  const auto [status, story] = runDemo({"--secs1"}, ".");
  EXPECT_EQ(status, kExitDone) << story;
  expectInOrder(story, {"  host ENQ, equipment EOT, host last block 1 (10 bytes), equipment ACK\n",
                        "  host --> equipment  S1F1W\n", "  equipment --> host  S1F2\n",
                        "  host ENQ, equipment EOT, host block 1 (254 bytes), equipment ACK\n",
                        "  host ENQ, equipment EOT, host block 8 (254 bytes), equipment ACK\n",
                        "  host ENQ, equipment EOT, host last block 9 (84 bytes), equipment ACK\n",
                        "  host --> equipment  S2F33W\n", "  equipment --> host  S2F34\n",
                        " ENQ, host EOT, equipment last block 1 (52 bytes), host ACK\n",
                        "  host ENQ, equipment EOT, host last block 1 (18 bytes), equipment ACK\n",
                        "  equipment --> host  S6F11W\n", "  host --> equipment  S1F3W\n",
                        "  host --> equipment  S6F12\n", "  equipment --> host  S1F4\n",
                        "  equipment --> host  S5F1W\n",
                        "  equipment: problem 12, no reply to: 800085018001"});
}

TEST(Demo, FailsWithALineThatTellsWhy) {
  const TemporaryDirectory folder;
  testing::internal::CaptureStderr();
  EXPECT_EQ(runDemo({}, folder / "missing").status, kExitFailed);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "velto: demo: the equipment: expected a place for temporary files\n");
  testing::internal::CaptureStderr();
  EXPECT_EQ(runDemo({"--other"}, ".").status, kExitUsage);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("usage: velto demo"));
}

} // namespace
} // namespace velto
