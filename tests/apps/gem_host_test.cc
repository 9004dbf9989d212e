// What a host takes for the reply to its request.
#include "apps/velto/console/literal.h"
#include "apps/velto/host/host_prompt.h"
#include "base/text.h"
#include "secs2/reply_text.h"
#include "secs2/sml_printer.h"

#include <gmock/gmock.h>
#include <map>
#include <optional>
#include <sstream>

namespace velto {
namespace {

using testing::HasSubstr;

/// The clock of the machine, which can jump.
class JumpingClock final : public Clock {
public:
  uint32_t ticks() const override { return systemClock().ticks() + ahead; }
  LocalTime localTime() const override { return systemClock().localTime(); }
  bool setLocalTime(const LocalTime &) override { return false; }

  uint32_t ahead = 0; ///< ms
};

LinkAddress at(const CHPhysicalConnection &link) {
  return {.host = "127.0.0.1", .port = link.LocalPort(), .device = {}};
}

/// A host and an equipment of the test that are linked.
class GemHostTest : public testing::Test {
protected:
  void SetUp() override {
    equipment.SetServer(true);
    equipment.SetPortNumber(0);
    equipment.engine().gem()->data().communication.initialState =
        CommunicationState::NotCommunicating;
    equipment.SetPhysicalConnection(true);
    const auto &link = equipment.engine().physical();
    ASSERT_TRUE(loop.runUntil([&link] { return link.LocalPort() != 0; }, 5000));
    connect(console);
  }
  void connect(GemConsole &with) {
    host.emplace(loop, with,
                 GemHost::Settings{.partner = at(equipment.engine().physical()), .t3 = 5});
    host->open();
  }
  const CHSecsHeader &request() {
    return equipment.engine().gem()->slot(CHGem::kReceived).message.header;
  }
  /// What was printed since the last call.
  std::string shown() {
    std::string text = printed.str();
    printed.str("");
    return text;
  }

  JumpingClock clock;
  EventLoop loop{clock};
  std::ostringstream printed;
  GemConsole console{loop.clock(), printed};
  CVeltoGemCtrl equipment{loop};
  std::optional<GemHost> host;
};

// Each end counts its own system bytes: those of two primaries may be the same.
TEST_F(GemHostTest, ARequestEndsWithAComplaintAboutItselfAlone) {
  const struct {
    uint8_t stream;
    uint8_t function;
    bool ends;
  } rows[] = {{6, 11, false}, {2, 13, false}, {2, 17, true}};
  for (const auto &row : rows) {
    equipment.onReceived = [&](const std::string &, int32_t) {
      CHSecsHeader about = request();
      const bool asked = about.stream() == 2 && about.function() == 17;
      about.setStream(row.stream);
      about.functionByte = row.function;
      CHSecsMessage complaint;
      MakeStream9(complaint, 9, &about);
      complaint.header.idWord = 0;
      if (asked)
        equipment.engine().gem()->SendUngated(complaint);
      equipment.DefProc();
    };
    CHSecsMessage time;
    ASSERT_TRUE(time.SetFromSml("s2f17w"));
    const std::string problem = host->request(time);
    EXPECT_EQ(problem.starts_with("S9F9"), row.ends) << problem;
    EXPECT_EQ(host->reply().header.stream(), row.ends ? 9 : 2);
  }
}

// A tool whose name is longer than the early edition of the standard allowed.
TEST(GemHost, CommunicatesInTheCurrentEditionOrSaysWhyNot) {
  EventLoop loop;
  CVeltoGemCtrl equipment(loop);
  equipment.SetServer(true);
  equipment.SetPortNumber(0);
  equipment.engine().gem()->data().communication = {1, "ETCHER-1-CHAMBER-B", "1.00", true};
  equipment.onReceived = [&](const std::string &, int32_t) { equipment.DefProc(); };
  equipment.SetPhysicalConnection(true);
  const auto &link = equipment.engine().physical();
  ASSERT_TRUE(loop.runUntil([&link] { return link.LocalPort() != 0; }, 5000));
  for (const bool current : {false, true}) {
    std::ostringstream printed;
    GemConsole console(loop.clock(), printed, GemConsole::Style::Quiet);
    GemHost host(loop, console,
                 {.partner = at(link), .edition = static_cast<int16_t>(current ? 1 : 0)});
    host.open();
    const auto communicates = [&] { return equipment.CommunicationState() == 2; };
    const auto explained = [&] { return printed.str().find("problem") != std::string::npos; };
    EXPECT_TRUE(loop.runUntil([&] { return current ? communicates() : explained(); }, 5000));
    EXPECT_EQ(printed.str().find("problem: S1F1") != std::string::npos, !current) << printed.str();
    EXPECT_EQ(printed.str().find("MDLN longer than 6") != std::string::npos, !current);
    host.close();
    ASSERT_TRUE(loop.runUntil([&link] { return link.State() == LinkState::Down; }, 5000));
  }
}

// An equipment may identify its variables, reports, events and alarms by texts (SEMI E5, formats of
// SVID, ECID, CEID, RPTID).
TEST_F(GemHostTest, IdentifiersMayBeTexts) {
  const std::map<std::string, std::string> answers{
      {"S1F11", "s1f12 {{<a 'SV2'> <a 'Speed'> <a 'rpm'>} {<u4 5> <a 'Recipe'> <a>}}"},
      {"S1F3", "s1f4 {<u4 42> <a 'OXIDE'>}"},
      {"S1F23", "s1f24 {{<a 'EVT'> <a 'Etched'> {<a 'SV2'> <u4 5>}}}"},
      {"S2F29", "s2f30 {{<a 'EC2'> <a 'Limit'> <u1 0> <u1 9> <u1 5> <a 'W'>}}"},
      {"S2F13", "s2f14 {<u1 7>}"},
      {"S2F15", "s2f16 <b 0>"},
      {"S2F33", "s2f34 <b 0>"},
      {"S2F35", "s2f36 <b 0>"},
      {"S2F37", "s2f38 <b 0>"},
      {"S5F3", "s5f4 <b 0>"},
      {"S5F5", "s5f6 {{<b 128> <a 'AL1'> <a 'Hot'>}}"},
  };
  std::string asked;
  const auto send = [this](const std::string &sml, uint32_t systemBytes) {
    CHSecsMessage message;
    EXPECT_TRUE(message.SetFromSml(sml)) << sml;
    message.header.idWord = 0;
    message.header.systemBytes = systemBytes;
    equipment.engine().gem()->SendUngated(message);
  };
  equipment.onReceived = [&](const std::string &, int32_t) {
    const CHSecsHeader header = request();
    const auto answer = answers.find(formatText("S%uF%u", header.stream(), header.function()));
    if (answer == answers.end()) {
      equipment.DefProc();
      return;
    }
    asked = RenderSml(equipment.engine().gem()->slot(CHGem::kReceived).message);
    std::erase_if(asked, [](char c) { return c == '\r' || c == '\n'; });
    send(answer->second, header.systemBytes);
  };
  HostPrompt prompt(*host, console);
  const struct {
    const char *command;
    const char *asked; // is in the last request
    const char *shown; // is printed
  } rows[] = {
      {"names", "S2F29W", "  SV2 Speed rpm\n"},
      {"expect SV2 Speed rpm", "", ""},
      {"expect EC2 Limit, 0 to 9, default 5 W", "", ""},
      {"status", "<a 'SV2'>         * SVID  <u4 5>", "  SV2 Speed = 42 rpm\n"},
      {"status", "<a 'SV2'>         * SVID  <u4 5>", "  5 Recipe = \"OXIDE\"\n"},
      {"status \"SV2\" 5", "<a 'SV2'>         * SVID  <u4 5>", "  SV2 Speed = 42 rpm\n"},
      {"constants", "<a 'EC2'>", "  EC2 Limit = 7 W\n"},
      {"set \"EC2\" 8", "<a 'EC2'>    <u1 8>", "S2F16"},
      {"define \"RPT\" \"SV2\" 5", "<a 'RPT'>      {        <a 'SV2'>        <u4 5>", "S2F34"},
      {"link \"EVT\" \"RPT\"", "<a 'EVT'>      {        <a 'RPT'>", "S2F36"},
      {"names events", "S1F23", "  EVT Etched: SV2 Speed, 5 Recipe\n"},
      {"enable \"EVT\"", "<a 'EVT'>", "S2F38"},
      {"enable-alarms \"AL1\"", "<a 'AL1'>", "S5F4"},
      {"alarms", "S5F5", "  AL1 set: Hot\n"},
  };
  for (const auto &row : rows) {
    EXPECT_EQ(prompt.run(row.command), "") << row.command;
    EXPECT_THAT(asked, HasSubstr(row.asked)) << row.command;
    EXPECT_THAT(shown(), HasSubstr(row.shown)) << row.command;
  }
  send("s6f11w {<u4 1> <a 'EVT'> {{<a 'RPT'> {<u4 41> <a 'NITRIDE'>}}}}", 77);
  send("s5f1w {<b 128> <a 'AL1'> <a 'Hot'>}", 78);
  EXPECT_EQ(prompt.run("wait S5F1 5"), "");
  EXPECT_THAT(shown(),
              testing::AllOf(HasSubstr("  event EVT Etched\n"),
                             HasSubstr("  report RPT: SV2 Speed = 41, 5 Recipe = \"NITRIDE\"\n"),
                             HasSubstr("  alarm AL1 set: Hot\n")));
}

// T3 of the host is over: the line names what was not answered.
TEST_F(GemHostTest, ATimeOutNamesItsPrimary) {
  equipment.onReceived = [&](const std::string &, int32_t) {
    if (request().stream() == 2)
      loop.post([this] { clock.ahead += 5500; });
    else
      equipment.DefProc();
  };
  const auto ask = [this](GemConsole &with) {
    HostPrompt prompt(*host, with);
    EXPECT_EQ(prompt.run("time"), "no answer within 5 s");
    return shown();
  };
  EXPECT_THAT(ask(console), testing::ContainsRegex(
                                "problem: Error : T3 time out. S2F17W, system bytes [0-9]+\n"));
  host->close();
  host.reset();
  GemConsole json(loop.clock(), printed, GemConsole::Style::Json);
  connect(json);
  EXPECT_THAT(ask(json),
              testing::ContainsRegex("\"problem\",\"code\":12,\"message\":\"S2F17W\",\"stream\":2,"
                                     "\"function\":17,\"system_bytes\":[0-9]+,\"text\":"));
}

// A message with more than a screen takes: its beginning, and a line that says so.
TEST_F(GemHostTest, ALongMessageIsCutShortOnTheScreen) {
  HostPrompt prompt(*host, console);
  const std::string text(100'000, 'x');
  EXPECT_EQ(prompt.run("send s10f3 {<b 0> <a '" + text + "'>}"), "");
  const std::string screen = shown();
  EXPECT_LT(screen.size(), kMostOnScreen + 1500) << "and what was said before";
  EXPECT_THAT(screen, HasSubstr("x\n              * cut short, the message has 1000"));
  std::string items;
  for (int i = 0; i < 8000; ++i)
    items += "<u1>";
  EXPECT_EQ(prompt.run("send s10f3 {" + items + "}"), "");
  const std::string lines = shown();
  EXPECT_LT(lines.size(), kMostOnScreen + 200);
  EXPECT_THAT(lines, HasSubstr("\n              * cut short\n"));
}

} // namespace
} // namespace velto
