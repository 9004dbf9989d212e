// The stories of velto demo, as people see them.
#include "apps/cases.h"
#include "apps/velto/demo/demo_command.h"
#include "support/temporary_directory.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

namespace velto {
namespace {

struct DemoRun {
  int status;
  std::string story;
};

// Runs the command with its temporary files in `folder`.
DemoRun runDemo(const CommandArguments &arguments, const std::string &folder) {
  const char *before = getenv("TMPDIR");
  const std::string kept = before == nullptr ? "" : before;
  setenv("TMPDIR", folder.c_str(), 1);
  testing::internal::CaptureStdout();
  const int status = runDemoCommand(arguments);
  before == nullptr ? unsetenv("TMPDIR") : setenv("TMPDIR", kept.c_str(), 1);
  return {status, testing::internal::GetCapturedStdout()};
}

// The lines of each case stand in the story in this order, with others between them.
TEST(Demo, EachStoryIsToldToItsEnd) {
  for (const auto &[option, lines, none] : storedCases("demo.txt")) {
    const TemporaryDirectory folder;
    const auto arguments = option.empty() ? CommandArguments{} : CommandArguments{option};
    const auto [status, story] = runDemo(arguments, folder / "");
    EXPECT_EQ(status, kExitDone) << story;
    size_t at = 0;
    std::istringstream expected(lines);
    for (std::string line; std::getline(expected, line); ++at) {
      at = story.find(line, at);
      ASSERT_NE(at, std::string::npos) << line << " is missing in\n" << story;
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder / "")) << "its files are gone";
  }
}

TEST(Demo, FailsWithALineThatTellsWhy) {
  const TemporaryDirectory folder;
  testing::internal::CaptureStderr();
  EXPECT_EQ(runDemo({}, folder / "missing").status, kExitFailed);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "velto: demo: the equipment: expected a place for temporary files\n");
}

} // namespace
} // namespace velto
