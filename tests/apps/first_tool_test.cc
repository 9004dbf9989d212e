// The guide to a first tool: its files are those of the example, and its steps run.
#include "apps/gem_tools.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

namespace velto {
namespace {

using testing::HasSubstr;

class FirstTool : public GemTools {
protected:
  FirstTool() {
    for (const auto &entry :
         std::filesystem::directory_iterator(VELTO_SOURCE_DIR "/examples/first_tool")) {
      const std::string text = systemFiles().read(entry.path().string()).value_or("");
      EXPECT_THAT(page, HasSubstr("\n```" + language(entry.path()) + "\n" + text + "```\n"))
          << entry.path();
      file(entry.path().filename().string(), text);
    }
  }
  /// The arguments of the next line of the page that begins so.
  std::vector<std::string> step(const std::string &command) {
    at_ = page.find("\n" + command, at_) + 1;
    std::istringstream words(page.substr(at_, page.find('\n', at_) - at_));
    std::vector<std::string> arguments;
    for (std::string word; words >> word;)
      arguments.push_back(word);
    if (!arguments.empty())
      arguments.erase(arguments.begin()); // the program
    return arguments;
  }
  std::unique_ptr<Process> visit() {
    std::vector<std::string> arguments = step("velto host");
    EXPECT_EQ(std::exchange(arguments.at(1), "127.0.0.1:" + port), "localhost:5000");
    return run(arguments);
  }

  const std::string page = systemFiles().read(VELTO_SOURCE_DIR "/docs/first_tool.md").value_or("");

private:
  static std::string language(const std::filesystem::path &file) {
    return file.extension() == ".cc" ? "cpp" : file.extension() == ".txt" ? "cmake" : "";
  }

  size_t at_ = 0;
};

TEST_F(FirstTool, DoesWhatTheGuideSays) {
  std::vector<std::string> arguments = step("velto equipment");
  EXPECT_EQ(std::exchange(arguments.back(), "0"), "5000");
  const auto tool = run(arguments);
  ASSERT_TRUE(tool->prints("listening on port ") && tool->prints("\n")) << tool->output;
  const size_t start = tool->output.find("port ") + 5;
  port = tool->output.substr(start, tool->output.find('\n', start) - start);
  const auto first = visit();
  EXPECT_EQ(first->status(), 0) << first->output;
  EXPECT_TRUE(tool->prints("SeparateReq") && tool->prints("a wafer is baked")) << tool->output;
  const auto second = visit();
  EXPECT_EQ(second->status(), 0) << second->output;
  tool->signal(SIGINT);
  EXPECT_EQ(tool->status(), 0) << tool->output;
}

} // namespace
} // namespace velto
