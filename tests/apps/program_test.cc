// The program as people run it: its commands, the examples, and every example of the documentation.
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

struct Result {
  int status;
  std::string output; ///< standard output and standard error
};

// Runs a shell command in a folder; "velto" in it is the program under test.
Result run(const std::string &command, const std::string &folder) {
  const std::string script =
      "cd '" + folder + "' && velto() { '" VELTO_PROGRAM "' \"$@\"; }; exec 2>&1; " + command;
  Result result{-1, ""};
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

// Commands behind "$ " with the output that must follow each.
void runConsole(const std::string &block) {
  const TemporaryDirectory folder;
  size_t at = 0;
  while (at < block.size()) {
    const size_t lineEnd = block.find('\n', at);
    ASSERT_EQ(block.substr(at, 2), "$ ") << block;
    const std::string command = block.substr(at + 2, lineEnd - at - 2);
    const size_t next = std::min(block.find("\n$ ", lineEnd), block.size() - 1);
    const std::string output = block.substr(lineEnd + 1, next - lineEnd);
    EXPECT_EQ(run(command, folder / "").output, output) << command;
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
      const Result result = run("velto container script", folder / "");
      EXPECT_EQ(result.status, 0) << block << result.output;
    }
  }
  for (const std::string &block : blocks(source("README.md"), "cpp"))
    EXPECT_THAT(source("examples/hsms_hello.cc"), HasSubstr(block));
}

TEST(Documentation, TheReferenceIsWhatTheProgramDescribes) {
  EXPECT_EQ(run("velto describe --markdown", ".").output, source("docs/controls.md"));
  EXPECT_EQ(run("velto describe messages", ".").output, source("docs/messages.md"));
}

TEST(Examples, TheContainerScriptsRun) {
  const SerialPair lines;
  const TemporaryDirectory folder;
  for (const char *script :
       {"hsms_links.velto", "verification.velto", "secsi_faulty_partner.velto"}) {
    const Result result =
        run("velto container " VELTO_SOURCE_DIR "/examples/" + std::string(script), folder / "");
    EXPECT_EQ(result.status, 0) << result.output;
  }
  for (const char *file :
       {"hsms_links.ini", "hsms_links.log", "hsms_links001.log", "hsms_links002.log"})
    EXPECT_TRUE(std::filesystem::exists(folder / file)) << file;
  EXPECT_FALSE(std::filesystem::exists(folder / "hsms_links003.log"));
}

TEST(Examples, AHostAndAnEquipmentTalkOverASerialLine) {
  const SerialPair lines;
  const Result result = run("velto container " VELTO_SOURCE_DIR "/examples/secsi_equipment.velto & "
                            "velto container " VELTO_SOURCE_DIR "/examples/secsi_host.velto && "
                            "wait $!",
                            ".");
  EXPECT_EQ(result.status, 0) << result.output;
  EXPECT_THAT(result.output, HasSubstr("! host.Received \"8000860b8000"));
  EXPECT_THAT(result.output, HasSubstr("! eq.Received \"0000060c8000"));
}

TEST(Program, MindsItsStandardStreams) {
  EXPECT_EQ(run("velto sml </dev/null >/dev/full", ".").status, 1) << "output that is lost";
  EXPECT_EQ(run("velto container <&-", ".").status, 0) << "closed input is empty";
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
    const Result shown = run("velto container script", folder / "");
    EXPECT_THAT(shown.output, testing::StartsWith(row.window)) << row.control;
  }
}

TEST(SmlCommand, ConvertsAndComplains) {
  const TemporaryDirectory folder;
  const struct {
    const char *command;
    int status;
    const char *output;
  } rows[] = {
      {"printf 's1f1w' | velto sml --hex", 0, "ffff8101000000000000\n"},
      {"printf 's1f1w . \\n s1f2 {}.\\n' | velto sml", 0, "S1F1W\n.\nS1F2\n{\n}\n.\n"},
      {"printf 's1f1w . \\n s1f2 {}.\\n' | velto sml | velto sml --hex", 0,
       "ffff8101000000000000\nffff01020000000000000100\n"},
      {"printf '\\n\\nff ff 81 01 0000 00000000\\n' | velto sml --from-hex --crlf", 0, "S1F1W\r\n"},
      {"printf '' | velto sml --hex", 0, "ffff0000000000000000\n"},
      {"printf 's1f1w.\\n\\ns1f2 <u1 x>.' | velto sml", 1,
       "S1F1W\n.\nvelto: standard input:3: parse error at \"x\"\n"},
      {"printf '00\\nzz' | velto sml --from-hex", 1,
       "velto: standard input:1: a message has at least ten bytes of two digits each\n"},
      {"printf '\\nzz' | velto sml --from-hex", 1, "velto: standard input:2: not hexadecimal\n"},
      {"velto sml missing.sml", 1, "velto: missing.sml: cannot be read\n"},
      {"printf s1f1 > one.sml; printf '<u1 .>' > two.sml; velto sml one.sml two.sml", 1,
       "S1F1\nvelto: two.sml:1: parse error at \".\"\n"},
      {"printf 's1f1w. s2f33w<u1 1>. s1f0.' | velto sml --verify", 0,
       "VerificationCorrect\nS1F2\n{\n  <a 'Kel'>\n  <a '1.00'>\n}\n\n"
       "VerificationIncorrectAndReply\nS2F34\n<b 0x02>\n\nVerificationCorrect\n"},
      {"printf 's1f3w{}' | velto sml --verify --host", 0, "VerificationWrongDirection\nS1F0\n"},
      {"printf 'new m VeltoSecsII\nm.SML = \"{\\\\n<u1 1.5>}\"\nm.Error\nm.SML = "
       "\"s1f1\"\nm.Error\n"
       "new eq VeltoGem\neq.WorkSpace = 2\neq.SML = \"<u1\"' | velto container",
       0,
       "remark: SML line 2: parse error at \"1.5\"\n= true\n= false\n"
       "remark: SML line 1: parse error at \".\"\n"},
      {"velto describe Nothing", 1, "velto: there is no control \"Nothing\"\n"},
  };
  for (const auto &row : rows) {
    const Result result = run(row.command, folder / "");
    EXPECT_EQ(result.output, row.output) << row.command;
    EXPECT_EQ(result.status, row.status) << row.command;
  }
  for (const char *command : {"velto", "velto nothing", "velto sml --nothing", "velto describe"})
    EXPECT_EQ(run(command, folder / "").status, 2) << command;
  for (const char *command : {"velto --help", "velto sml --help", "velto describe --help",
                              "velto container --help", "velto demo --help"})
    EXPECT_THAT(run(command, folder / "").output, HasSubstr("usage: velto")) << command;
}

// One model and settings file are edited page by page; what is written shows in either.
TEST(SetupCommand, EditsEveryPage) {
  const TemporaryDirectory folder;
  const auto files = [&folder] { return run("cat t.ini; velto model export t.kel", folder / ""); };
  EXPECT_EQ(
      run("printf '[LogicalConnection]\\nHost=0\\n' > t.ini && velto model import " VELTO_SOURCE_DIR
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
    const Result result =
        run(std::string("echo '") + row.steps + "; ok' | velto setup t.ini --data t.kel --page '" +
                row.page + "'",
            folder / "");
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_THAT(files().output, HasSubstr(row.written)) << row.page;
  }
  EXPECT_THAT(files().output, Not(HasSubstr("rptid="))) << "the lists changed";
  EXPECT_EQ(run("echo ok | velto setup t.ini --data t.kel --page state", folder / "").output,
            "velto: t.ini switches the object model off: there is no such page\n");
}

TEST(SetupCommand, Complains) {
  const TemporaryDirectory folder;
  const struct {
    const char *command;
    int status;
    const char *said;
  } rows[] = {
      {"echo cancel | velto setup", 0, "[cancel]\n"},
      {"velto setup </dev/null", 1, "error: -:1: the answer to VeltoGem Setup ends without ok"},
      {"printf '\\n\\nT9 = 1; ok' | velto setup", 1,
       "error: -:3: VeltoGem Setup has no field T9\n"},
      {"printf 'page VID\\nadd VID=1\\nadd VID=1\\nok' | velto setup", 1,
       "error: -:3: VID #1 has already been registered.\n"},
      {"echo 'T3 = $x; ok' | velto setup", 1, "error: -:1: there are no variables here\n"},
      {"echo 'T3 = \"1; ok' | velto setup", 1, "error: -:1: closing quote is missing\n"},
      {"printf 'T3 = 1; ok\\nT5 = 1; ok' | velto setup", 1, "error: -:2: nothing follows ok"},
      {"echo 'cancel; again; ok' | velto setup", 1, "error: -:1: nothing follows ok or cancel"},
      {"velto setup --script none", 1, "velto: none: cannot be read\n"},
      {"echo x > x.kel; echo ok | velto setup --data x.kel", 1, "velto: x.kel: "},
      {"echo ok | velto setup --data x.model", 1, "velto: x.model: is text;"},
      {"mkdir d.ini; echo ok | velto setup d.ini", 1, "velto: d.ini: cannot be read\n"},
      {"echo 'ModelName = X; ok' | velto setup --data no/x.kel", 1,
       "[box stop] Error: The model data file no/x.kel cannot be written.\n"},
      {"echo 'T5 = 1; ok' | velto setup no/x.ini", 1,
       "[box stop] Error: The settings file no/x.ini cannot be written.\n"},
      {"velto setup --page Model,Chapter", 2, "velto: there is no page Chapter\n"},
      {"velto setup a b", 2, "velto: one settings file at most\n"},
      {"velto setup --help", 0, "Pages: Model, HSMS, Timeout, Log,"},
  };
  for (const auto &row : rows) {
    const Result result = run(row.command, folder / "");
    EXPECT_EQ(result.status, row.status) << row.command << result.output;
    EXPECT_THAT(result.output, HasSubstr(row.said)) << row.command;
  }
  EXPECT_EQ(run("cat x.kel", folder / "").output, "x\n") << "what cannot be read is left alone";
}

} // namespace
} // namespace velto
