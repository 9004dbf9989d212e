// The program as people run it: its commands, the examples, and every example of the documentation.
#include "apps/cases.h"
#include "platform/file.h"
#include "platform/null_modem.h"
#include "support/temporary_directory.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <thread>

namespace velto {
namespace {

using testing::HasSubstr;
using testing::Not;

struct ShellRun {
  int status;
  std::string output; ///< standard output and standard error
};

// Runs a shell command in a folder. In it "velto" is the program under test; "first velto …" and
// "last velto …" print only the first line or the last lines of its output.
ShellRun runShell(const std::string &command, const std::string &folder) {
  const std::string script =
      "cd '" + folder +
      "' && velto() { '" VELTO_PROGRAM "' \"$@\"; }; "
      "first() { \"$@\" >all 2>&1; status=$?; head -n 1 all; return $status; }; "
      "last() { \"$@\" >all 2>&1; status=$?; tail -n 3 all; return $status; }; exec 2>&1; " +
      command;
  ShellRun result{-1, ""};
  const std::unique_ptr<FILE, int (*)(FILE *)> pipe(popen(script.c_str(), "r"),
                                                    [](FILE *) { return 0; });
  std::array<char, 4096> chunk{};
  for (size_t count = 0; (count = fread(chunk.data(), 1, chunk.size(), pipe.get())) != 0;)
    result.output.append(chunk.data(), count);
  result.status = WEXITSTATUS(pclose(pipe.get()));
  return result;
}

std::string source(const std::string &path) {
  const auto text = systemFiles().read(std::string(VELTO_SOURCE_DIR "/") + path);
  EXPECT_TRUE(text) << path;
  return text.value_or("");
}

// The fenced blocks of a Markdown text in one language.
std::vector<std::string> blocks(const std::string &markdown, const std::string &language) {
  std::vector<std::string> found;
  const std::string fence = "```" + language + "\n";
  for (size_t at = markdown.find(fence); at != std::string::npos;
       at = markdown.find(fence, at + 1)) {
    const size_t start = at + fence.size();
    found.push_back(markdown.substr(start, markdown.find("```", start) - start));
  }
  return found;
}

enum class Statuses { Ignored, Shown };

// Commands behind "$ " with the output that must follow each. Where statuses are shown, one that is
// not 0 stands in brackets on the last line.
void runConsole(const std::string &block, Statuses statuses = Statuses::Ignored) {
  const TemporaryDirectory folder;
  size_t at = 0;
  while (at < block.size()) {
    const size_t lineEnd = block.find('\n', at);
    ASSERT_EQ(block.substr(at, 2), "$ ") << block;
    const std::string command = block.substr(at + 2, lineEnd - at - 2);
    const size_t next = std::min(block.find("\n$ ", lineEnd), block.size() - 1);
    ShellRun result = runShell(command, folder / "");
    if (statuses == Statuses::Shown && result.status != 0)
      result.output += '[' + std::to_string(result.status) + "]\n";
    EXPECT_EQ(result.output, block.substr(lineEnd + 1, next - lineEnd)) << command;
    at = next + 1;
  }
}

// COM1 and COM2 of the programs that run meanwhile, with a null modem cable between them.
class SerialPair {
public:
  SerialPair() {
    setenv("VELTO_COM1", modem_.a().path().c_str(), 1);
    setenv("VELTO_COM2", modem_.b().path().c_str(), 1);
  }
  ~SerialPair() {
    unsetenv("VELTO_COM1");
    unsetenv("VELTO_COM2");
  }

private:
  EventLoop loop_;
  NullModem modem_{loop_};
  std::jthread carrier_{[this](const std::stop_token &stop) {
    while (!stop.stop_requested())
      loop_.runOnce(10);
  }};
};

TEST(Documentation, ItsExamplesRun) {
  const SerialPair lines;
  for (const char *page :
       {"README.md", "docs/container.md", "docs/sml.md", "docs/hsms.md", "docs/gem.md",
        "docs/setup.md", "docs/log.md", "docs/serial.md", "docs/secsi.md"}) {
    const std::string text = source(page);
    for (const std::string &block : blocks(text, "console"))
      runConsole(block);
    for (const std::string &block : blocks(text, "velto")) {
      const TemporaryDirectory folder;
      systemFiles().write(folder / "script", block);
      const ShellRun result = runShell("velto container script", folder / "");
      EXPECT_EQ(result.status, 0) << block << result.output;
    }
  }
  for (const auto &[language, ending] :
       {std::pair("cpp", "cc"), std::pair("c", "c"), std::pair("python", "py")})
    EXPECT_THAT(blocks(source("README.md"), language),
                testing::ElementsAre(source(std::string("examples/pressure/pressure.") + ending)));
}

TEST(Documentation, TheReferenceIsWhatTheProgramDescribes) {
  EXPECT_EQ(runShell("velto describe --markdown", ".").output, source("docs/controls.md"));
  EXPECT_EQ(runShell("velto describe messages", ".").output, source("docs/messages.md"));
  const ShellRun statement = runShell("velto describe gem", ".");
  EXPECT_THAT(statement.output, HasSubstr("Spooling"));
  EXPECT_THAT(source("docs/gem.md"), HasSubstr(statement.output));
}

TEST(Examples, TheContainerScriptsRun) {
  const SerialPair lines;
  const TemporaryDirectory folder;
  for (const char *script :
       {"hsms_links.velto", "verification.velto", "secsi_faulty_partner.velto"}) {
    const ShellRun result = runShell(
        "velto container " VELTO_SOURCE_DIR "/examples/" + std::string(script), folder / "");
    EXPECT_EQ(result.status, 0) << result.output;
  }
  for (const char *file :
       {"hsms_links.ini", "hsms_links.log", "hsms_links001.log", "hsms_links002.log"})
    EXPECT_TRUE(std::filesystem::exists(folder / file)) << file;
  EXPECT_FALSE(std::filesystem::exists(folder / "hsms_links003.log"));
}

TEST(Examples, AHostAndAnEquipmentTalkOverASerialLine) {
  const SerialPair lines;
  const ShellRun result =
      runShell("velto container " VELTO_SOURCE_DIR "/examples/secsi_equipment.velto & "
               "velto container " VELTO_SOURCE_DIR "/examples/secsi_host.velto && "
               "wait $!",
               ".");
  EXPECT_EQ(result.status, 0) << result.output;
  EXPECT_THAT(result.output, HasSubstr("! host.Received \"8000860b8000"));
  EXPECT_THAT(result.output, HasSubstr("! eq.Received \"0000060c8000"));
}

TEST(Program, MindsItsStandardStreams) {
  EXPECT_EQ(runShell("echo s1f1 | velto sml >/dev/full", ".").status, 1) << "output that is lost";
  EXPECT_EQ(runShell("velto container <&-", ".").status, 0) << "closed input is empty";
}

TEST(Container, ShowsTheWindowOfEveryControl) {
  const struct {
    const char *control;
    const char *prepare;
    const char *window; // begins so
  } rows[] = {
      {"VeltoGem", "", "Entire System\n  Physical Connection\n"},
      {"VeltoSecsII", "c.SML = \"s1f1w\"", "S1F1W\n"},
      {"VeltoHsms", "c.Server = true", "Server\n"},
      {"VeltoSecsI", "", "Out Queue\nIn Queue\n"},
      {"VeltoSecsISocket", "", "Client\n"},
      {"VeltoSocket", "", "Client\n"},
      {"VeltoComm", "c.PortNumber = 2", "com3 (/dev/ttyS2) "},
      {"VeltoLog", "c.Trace(\"a line\")", "a line\n"},
  };
  const TemporaryDirectory folder;
  for (const auto &row : rows) {
    systemFiles().write(folder / "script",
                        std::string("new c ") + row.control + '\n' + row.prepare + "\nshow c\n");
    const ShellRun shown = runShell("velto container script", folder / "");
    EXPECT_THAT(shown.output, testing::StartsWith(row.window)) << row.control;
  }
}

TEST(Program, PlaysItsStoredSession) { runConsole(stored("tools.console"), Statuses::Shown); }

TEST(Program, TellsWhatIsWrongWithACommandLine) {
  runConsole(stored("command_lines.console"), Statuses::Shown);
}

TEST(SmlCommand, PlaysItsStoredSession) { runConsole(stored("sml.console"), Statuses::Shown); }

TEST(SetupCommand, PlaysItsStoredSession) { runConsole(stored("setup.console"), Statuses::Shown); }

// One model and settings file are edited page by page; what is written shows in either.
TEST(SetupCommand, EditsEveryPage) {
  const TemporaryDirectory folder;
  const auto files = [&folder] {
    return runShell("cat t.ini; velto model export t.kel", folder / "");
  };
  EXPECT_EQ(
      runShell(
          "printf '[LogicalConnection]\\nHost=0\\n' > t.ini && velto model import " VELTO_SOURCE_DIR
          "/examples/etch_tool.model t.kel",
          folder / "")
          .output,
      "");
  ASSERT_THAT(files().output, HasSubstr("\nrptid=5 "));
  const struct {
    const char *page;
    const char *steps;
    const char *written;
  } rows[] = {
      {"hsms", "Device ID = 12", "DeviceID=12\n"},
      {"timeout", "T8 = 6", "T8=6000\n"},
      {"log", "File Name = \"./etch log\"", "FileName=./etch log\n"},
      {"revision", "ModelName = ETCH-2", "model_name=\"ETCH-2\""},
      {"state", "On-line State = Local; OfflineState = Equipment off-line",
       "initial_state=local initial_offline_state=host-offline offline_state=equipment-offline "
       "online_state=local"},
      {"predefined vid", "edit Clock VID=102; delete AlarmID",
       "vid=102 kind=SV type=F4 role=Clock"},
      {"predefined ceid", "edit MaterialInput CEID=1", "ceid=1 role=MaterialInput"},
      {"clock", "ChangePCClock = true; TimeFormat = 0", "set_machine_clock=yes"},
      {"clock", "TimeFormat = 1", "rptid=5 "},
      {"alid", "add ALTX=Late", "enable=yes text=\"Late\""},
      {"alid", "delete 4001", "rptid=5 "},
      {"vid", "edit 106 Max=200", "max=\"200\""},
      {"ceid", "add Description=\"Lid open\"", "description=\"Lid open\""},
      {"model", "GEM Object Model = false", "ObjectModel=0\n"},
  };
  for (const auto &row : rows) {
    const ShellRun result =
        runShell(std::string("echo '") + row.steps +
                     "; ok' | velto setup t.ini --data t.kel --page '" + row.page + "'",
                 folder / "");
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_THAT(files().output, HasSubstr(row.written)) << row.page;
  }
  EXPECT_THAT(files().output, Not(HasSubstr("rptid="))) << "the lists changed";
  EXPECT_EQ(runShell("echo ok | velto setup t.ini --data t.kel --page state", folder / "").output,
            "velto: t.ini switches the object model off: there is no such page\n");
}

} // namespace
} // namespace velto
