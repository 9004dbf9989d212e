// velto equipment and velto host as people run them: child processes that talk to each other.
#include "apps/cases.h"
#include "apps/gem_tools.h"
#include "apps/velto/sml/json_messages.h"
#include "base/json_text.h"
#include "platform/null_modem.h"
#include "secs2/sml_printer.h"

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

namespace velto {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

// The first block of that language in the documentation.
std::string documented(const std::string &language) {
  const std::string page = systemFiles().read(VELTO_SOURCE_DIR "/docs/tools.md").value_or("");
  const std::string fence = "```" + language + "\n";
  const size_t start = page.find(fence) + fence.size();
  return page.substr(start, page.find("```", start) - start);
}

TEST_F(GemTools, PlayTheExamplesOfTheDocumentation) {
  const auto tool = equipment({"--script", file("etch.velto", documented("velto"))});
  const auto visitor =
      host({"--names", "etch.model", "--script", file("visit", documented("host"))});
  EXPECT_EQ(visitor->status(), 0) << visitor->output;
  for (const char *line : {"S1F14  Establish", "<-- S6F11W  Event Report Send\n", "--> S6F12",
                           "--> S5F2", "* Etch started", "--> SeparateReq\n"})
    EXPECT_THAT(visitor->output, HasSubstr(line));
  EXPECT_TRUE(tool->prints("the host set constant 304")) << tool->output;
  EXPECT_TRUE(tool->prints("<-- SeparateReq")) << tool->output;
  tool->signal(SIGINT);
  EXPECT_EQ(tool->status(), 0) << tool->output;
}

TEST_F(GemTools, ARawHostSeesEachAcknowledgeCode) {
  if (std::system("python3 -c '' 2>/dev/null") != 0)
    GTEST_SKIP() << "without python3";
  const auto tool = equipment({"--script", VELTO_SOURCE_DIR "/examples/raw_host.velto"});
  const std::string command =
      "python3 " VELTO_SOURCE_DIR "/examples/raw_host.py " + port + " >" + folder / "out 2>&1";
  const int status = std::system(command.c_str());
  const std::string output = systemFiles().read(folder / "out").value_or("");
  EXPECT_EQ(status, 0) << output << tool->output;
  EXPECT_THAT(output, HasSubstr("S2F42 HCACK 3 CPACK 1: unknown parameter name\n"));
  EXPECT_THAT(output, HasSubstr("S6F24 RSDA 1: while it is transmitted\n"));
  tool->signal(SIGINT);
  EXPECT_EQ(tool->status(), 0) << tool->output;
}

// By every address that there is, either end connects or listens; a message of several blocks too.
TEST_F(GemTools, TalkByEveryAddress) {
  EventLoop loop;
  NullModem cable(loop);
  std::atomic<bool> done = false;
  std::thread line([&] {
    while (!done)
      loop.runOnce(10);
  });
  const std::string a = "serial:" + cable.a().path();
  const std::string b = "serial:" + cable.b().path() + ":19200";
  const struct {
    std::string equipment, host; // "PORT": that of the other end, which listens
  } rows[] = {{"listen:secsi:0", "secsi:127.0.0.1:PORT"},
              {"secsi:127.0.0.1:PORT", "listen:secsi:0"},
              {"hsms:127.0.0.1:PORT", "listen:0"},
              {a, b}};
  std::string script = "online\nstatus\nexpect S1F4\ncommand START LOT=\"L1\"\ndefine 99";
  for (int i = 0; i < 60; ++i)
    script += " 101"; // takes two blocks
  script = file("visit", script + "\nsend s10f3 {<b 0> <a '" + std::string(600, 'x') + "'>}\n");
  for (const auto &row : rows) {
    SCOPED_TRACE(row.equipment + " " + row.host);
    const auto start = [&](const char *command, std::string address) {
      if (const size_t at = address.find("PORT"); at != std::string::npos)
        address.replace(at, 4, port);
      if (command == std::string("host"))
        return run({"host", address, "--script", script, "--t5", "1"});
      const std::string kept = std::to_string(&row - rows) + ".kel";
      return run({"equipment", address, "--data", "etch.model", "--keep", kept});
    };
    const bool hostFirst = row.host.starts_with("listen:");
    auto first = hostFirst ? start("host", row.host) : start("equipment", row.equipment);
    if (row.host != b)
      port = portOf(*first);
    auto second = hostFirst ? start("equipment", row.equipment) : start("host", row.host);
    Process &host = hostFirst ? *first : *second;
    Process &tool = hostFirst ? *second : *first;
    EXPECT_EQ(host.status(), 0) << host.output;
    EXPECT_TRUE(tool.prints("<-- S10F3  ")) << tool.output;
    EXPECT_EQ(tool.output.find("<-- S2F39W") != std::string::npos, row.host != "listen:0")
        << "what takes several blocks is asked for";
    tool.signal(SIGINT);
    EXPECT_EQ(tool.status(), 0) << tool.output;
  }
  done = true;
  line.join();
}

// Between the two, a spy prints what the page shows, but for times, ports and numbers.
TEST_F(GemTools, ASpyShowsWhatTheDocumentationShows) {
  const auto tool = equipment();
  const auto spy =
      run({"spy", "listen:0", "127.0.0.1:" + port, "--names", "etch.model", "--t3", "1"});
  port = portOf(*spy);
  const auto visitor = host({"--script", file("script", "status 101\n")});
  EXPECT_EQ(visitor->status(), 0) << visitor->output;
  EXPECT_TRUE(spy->prints("closed by 127.0.0.1:")) << spy->output;
  spy->signal(SIGTERM);
  EXPECT_EQ(spy->status(), 0) << spy->output;
  for (const char *line :
       {"#1 opened: 127\\.0\\.0\\.1:[0-9]+ to 127.0.0.1:[0-9]+\n", "#1 --> SelectReq \\[1\\]\n",
        "#1 <-- SelectRsp \\[1\\]  after [0-9]+\\.[0-9] ms\n",
        "#1 --> S1F3W \\[[0-9]+\\]  Selected Equipment Status Request\n"
        "              \\{\n                <u4 101> +\\* Chamber pressure\n              \\}\n",
        "#1 <-- S1F4 \\[[0-9]+\\]  Selected Equipment Status Data  after [0-9]+\\.[0-9] ms\n"})
    EXPECT_THAT(spy->output, ContainsRegex(line));
  tool->signal(SIGINT);
  EXPECT_EQ(tool->status(), 0) << tool->output;
}

// Each title is what the script below it fails with.
TEST_F(GemTools, AHostScriptStopsAtWhatFails) {
  const auto tool = equipment();
  for (const auto &[reason, script, none] : storedCases("host_scripts.txt")) {
    const auto visitor = host({"--script", file("script", script)});
    EXPECT_EQ(visitor->status(), 1) << visitor->output;
    EXPECT_THAT(visitor->output, HasSubstr("velto: script:"));
    EXPECT_THAT(visitor->output, HasSubstr(reason));
  }
}

/// Whether a line is one object of JSON; of a message, whether its body is what the SML says.
bool isJson(std::string_view line) {
  JsonProblem problem;
  const auto objects = splitJson(line, problem);
  if (!objects || objects->size() != 1)
    return false;
  const auto bytes = messageFromJson(objects->front(), problem);
  if (!bytes)
    return problem.text.starts_with("no message: ");
  CHSecsMessage message;
  message.Decode(*bytes);
  std::string sml = RenderSml(message);
  std::erase(sml, '\r');
  sml = sml.substr(0, sml.find("  * ")); // names of the model, where one is there
  return line.find("\"sml\":" + jsonText(sml).substr(0, sml.size())) != std::string_view::npos;
}

TEST_F(GemTools, PrintsJson) {
  const auto tool = equipment(
      {"--json", "--script",
       file("script",
            "eq.VIDValue(202) = \"\\x01\\xff\\\"\\\\\\n\"\nprint \"a\\tb\" eq.VIDValue(202)\n"
            "on eq.Disconnected quit\n")});
  const auto visitor = host({"--json", "--script",
                             file("visit", "define 30 202\nlink 21\nlink 21 30\n"
                                           "send S6F15W <u4 21>\nset 303 7\n")});
  EXPECT_EQ(tool->status(), 0) << "the script ends it";
  visitor->status();
  for (const auto *output : {&tool->output, &visitor->output}) {
    size_t lines = 0;
    for (size_t at = 0; at < output->size(); ++lines) {
      const size_t end = output->find('\n', at);
      const std::string_view line = std::string_view(*output).substr(at, end - at);
      EXPECT_TRUE(isJson(line)) << line;
      at = end + 1;
    }
    EXPECT_GT(lines, 10U);
    EXPECT_THAT(*output, ContainsRegex("\"event\":\"counters\",\"counters\":.\"FramesIn\":[1-9]"));
  }
  EXPECT_THAT(tool->output,
              ContainsRegex("\"connections\":.\"127.0.0.1:[0-9]+\":.\"FramesIn\":[1-9]"));
  for (const char *part :
       {"\"event\":\"output\",\"text\":\"a\\u0009b \\u0001\\u00ff\\\"\\\\",
        "\"event\":\"received\"",
        "\"message\":\"S2F33W\",\"name\":\"Define Report\",\"system_bytes\":",
        "0x01 '\\u00ff\\\"\\\\' 0x0a", "\"vid\":303,\"name\":\"Reflected power limit\""})
    EXPECT_THAT(tool->output, HasSubstr(part));
}

TEST_F(GemTools, TheHostGetsWhatHappenedWhileItWasAway) {
  const auto tool = equipment();
  EXPECT_EQ(host({"--script", file("on", "spool on\n")})->status(), 0);
  const auto next = host({"--script", file("next", "spool transmit\nwait S6F11\nexpect <u4 41>\n"
                                                   "wait S6F11\nexpect <u4 42>\n")});
  EXPECT_EQ(next->status(), 0) << next->output;
}

TEST_F(GemTools, EitherEndsCleanlyAndTheOtherGoesOn) {
  auto tool = equipment();
  const auto visitor = host();
  visitor->type("set 305 123\ncommand STOP\n");
  EXPECT_TRUE(visitor->prints("<-- S2F42")) << visitor->output;
  tool->signal(SIGINT);
  EXPECT_EQ(tool->status(), 0) << tool->output;
  EXPECT_THAT(tool->output, HasSubstr("--> SeparateReq\n"));
  EXPECT_TRUE(visitor->prints("disconnected: ")) << visitor->output;
  EXPECT_TRUE(visitor->prints("problem: cannot connect to 127.0.0.1:" + port)) << visitor->output;

  // Back on the same port, with what the host had set: the import is not repeated.
  tool = run({"equipment", "--data", "etch.model", "--port", port, "--quiet"});
  visitor->type("constants 305\n");
  EXPECT_TRUE(visitor->prints("305 = 123")) << visitor->output;
  visitor->signal(SIGINT);
  EXPECT_EQ(visitor->status(), 0) << visitor->output;
  EXPECT_THAT(visitor->output, HasSubstr("--> SeparateReq\n"));

  const auto next = host();
  next->type("are-you-there\nnothing\nhelp\nquit\nonline\n");
  EXPECT_EQ(next->status(), 0) << next->output;
  for (const char *line :
       {"<-- S1F2  On Line Data", "failed: there is no command nothing", "  names [events]  "})
    EXPECT_THAT(next->output, HasSubstr(line));
  EXPECT_THAT(next->output, Not(HasSubstr("S1F17W"))) << "quit ends it at once";
  tool->signal(SIGINT);
  EXPECT_EQ(tool->status(), 0);
  EXPECT_EQ(tool->output, "") << "quiet";
}

// The times of the files do not count, only what the text says.
TEST_F(GemTools, ATextIsImportedAgainWhenItHasChanged) {
  const auto text = systemFiles().read(folder / "etch.model").value_or("");
  const auto day = std::chrono::hours(24);
  const struct {
    std::string text;
    std::chrono::hours age;
    const char *printed;
    const char *value;
    bool known = true; // what was imported last
  } rows[] = {
      {text, -day, "", "305 = 500"},
      {text, -day, "", "305 = 77"},
      {text + "# changed\n", day, "etch.kel again, as it has changed: what a host", "305 = 500"},
      {text + "# changed\n", -day, "", "305 = 77"},
      {text, day, "etch.kel again, as it has changed", "305 = 500", false},
  };
  for (const auto &row : rows) {
    file("etch.model", row.text);
    if (!row.known)
      std::filesystem::remove(folder / "etch.kel.imported");
    std::filesystem::last_write_time(folder / "etch.model",
                                     std::filesystem::file_time_type::clock::now() - row.age);
    const auto tool = equipment();
    EXPECT_THAT(tool->output, HasSubstr(row.printed));
    EXPECT_EQ(tool->output.find("imported") == std::string::npos, *row.printed == '\0');
    const auto visitor = host({"--script", file("visit", std::string("constants 305\nexpect ") +
                                                             row.value + "\nset 305 77\n")});
    EXPECT_EQ(visitor->status(), 0) << visitor->output;
    tool->signal(SIGTERM);
    EXPECT_EQ(tool->status(), 0);
    EXPECT_EQ(std::filesystem::exists(folder / "etch.kel001"), !row.known);
  }
}

// Its commands are those of the text again. One whose handler fails is not acknowledged as done.
TEST_F(GemTools, ALostCompanionIsToldAndTheCommandsStay) {
  const std::string more = folder / "etch.kel.more";
  for (const char *found : {"", "damaged", "lost"}) {
    const bool first = *found == '\0';
    if (std::string_view(found) == "lost")
      std::filesystem::remove(more);
    else if (!first)
      file("etch.kel.more", found);
    const auto tool =
        equipment({"--script", file("broken", "on eq.RemoteCommand eq.Nothing = 1\n")});
    EXPECT_EQ(tool->output.find("etch.kel.more was lost or damaged") == std::string::npos, first)
        << tool->output;
    const auto visitor = host({"--script", file("visit", "command START LOT=L1 SLOT=3\n")});
    EXPECT_EQ(visitor->status(), 1);
    EXPECT_THAT(visitor->output, HasSubstr("(code 5)"));
    EXPECT_EQ(tool->status(), 1) << "as its script has failed";
  }
  EXPECT_EQ(systemFiles().read(more + ".damaged"), "damaged");
}

// Without a word on it the link is tested after 30 s. What the settings file says counts, also that
// it is not.
TEST_F(GemTools, TheLinktestIntervalIsTheUsersChoice) {
  const struct {
    const char *ini;
    std::vector<std::string> option;
    const char *printed;
  } rows[] = {{"", {}, "\n30\n"},
              {"LinktestInterval=0\n", {}, "\n0\n"},
              {"LinktestInterval=500\n", {}, "\n1\n"},
              {"LinktestInterval=7000\n", {}, "\n7\n"},
              {"LinktestInterval=7000\n", {"--linktest", "0"}, "\n0\n"},
              {"LinktestInterval=x\n", {}, "LinktestInterval is no number of milliseconds: \"x\""},
              {"LinktestInterval=-5\n", {}, "\n30\n"},
              {"", {"--linktest", "60"}, "\n60\n"}};
  for (const auto &row : rows) {
    std::vector<std::string> arguments{
        "equipment", file("tool.ini", std::string("[HSMS]\n") + row.ini), "--port", "0",
        "--script",  file("script", "print eq.LinktestInterval\nquit\n")};
    arguments.insert(arguments.end(), row.option.begin(), row.option.end());
    const auto tool = run(arguments);
    EXPECT_EQ(tool->status(), 0);
    EXPECT_THAT(tool->output, HasSubstr(row.printed));
  }
}

TEST_F(GemTools, AnEquipmentNeedsNoModel) {
  for (int i = 0; i < 2; ++i) {
    const auto tool =
        run({"equipment", "--port", "0", "--script", file("script", "eq.VIDCount\nquit\n")});
    EXPECT_EQ(tool->status(), 0) << tool->output;
    EXPECT_THAT(tool->output, HasSubstr("= 2\n"));
  }
}

TEST_F(GemTools, APortIsListenedOnOnce) {
  const auto tool = equipment();
  const auto second = run({"equipment", "--port", port});
  EXPECT_EQ(second->status(), 1);
  EXPECT_THAT(second->output,
              HasSubstr("velto: cannot listen on port " + port + ": Address already in use\n"));
}

} // namespace
} // namespace velto
