// What an equipment does whose capabilities are on.
#include "controls/gem_pair.h"
#include "gem/capabilities/capabilities.h"

namespace velto {
namespace {

constexpr const char *kTables = "controls/gem_capabilities.txt";

class GemCapabilitiesTest : public GemPair {
protected:
  GemCapabilitiesTest() {
    equipment.control->SetCapabilities(kAllCapabilities);
    equipment.model().data().commands = {
        {.name = "START",
         .parameters = {{"LOT", SecsAscii, true}, {"SLOT", SecsByte, false}},
         .event = 7},
        {.name = "LOCAL", .states = CHGemCommand::stateBit(ControlState::OnlineLocal)},
        {.name = "5"},
    };
  }
  void addVariable(uint32_t vid, uint8_t type, uint8_t role) {
    CHGemEventVid variable;
    variable.vid = vid;
    variable.nodeType = type;
    variable.role = role;
    variable.SetValue(type == SecsAscii || type == SecsList ? "" : "0");
    equipment.model().data().variables.Add(std::move(variable));
  }
};

TEST_F(GemCapabilitiesTest, RemoteCommands) {
  expectAnswers(kTables, "RemoteCommands");
  settle(20);
  equipment.take();
  const std::string asked = ask("s2f41w{<a'START'>{{<a'LOT'><a'L\n1'>}{<a'SLOT'><u4 7>}}}");
  EXPECT_EQ(asked, "S2F42 { <b 0x00> { } }");
  settle(5);
  ASSERT_EQ(host.messages.size(), 1U);
  EXPECT_EQ(host.messages[0].substr(0, 5), "S6F11") << "the completion";
  equipment.control->SetCapabilities(0);
  expectAnswers(kTables, "RemoteCommandsThatAreOff");
}

TEST_F(GemCapabilitiesTest, TheApplicationAnswersRemoteCommands) {
  establish();
  struct Case {
    int16_t hcack;
    int16_t cpack;
    const char *reply;
    bool completes;
  };
  for (const Case &row :
       {Case{0, 0, "S2F42 { <b 0x00> { } }", true}, Case{2, 0, "S2F42 { <b 0x02> { } }", false},
        Case{4, 0, "S2F42 { <b 0x04> { } }", false}, Case{5, 0, "S2F42 { <b 0x05> { } }", false},
        Case{0, 2, "S2F42 { <b 0x03> { { <a 'LOT'> <b 0x02> } } }", false}}) {
    CVeltoGemCtrl &control = *equipment.control;
    equipment.onEvent = [&](const std::string &line) {
      if (!line.starts_with("RemoteCommand"))
        return;
      EXPECT_EQ(line, "RemoteCommand START LOT=L1");
      EXPECT_EQ(control.CPVAL("LOT"), "L1");
      EXPECT_EQ(control.CPVAL("SLOT"), "");
      EXPECT_EQ(control.HCACK(), 0);
      control.SetHCACK(row.hcack);
      control.SetCPACK("LOT", row.cpack);
    };
    EXPECT_EQ(ask("s2f41w{<a'START'>{{<a'LOT'><a'L1'>}}}"), row.reply);
    settle(5);
    EXPECT_EQ(host.messages.size(), row.completes ? 1U : 0U) << row.hcack;
    EXPECT_EQ(control.HCACK(), 0) << "its answers are those of one command";
  }
}

TEST_F(GemCapabilitiesTest, ProcessPrograms) { expectAnswers(kTables, "ProcessPrograms"); }

TEST_F(GemCapabilitiesTest, TracesAreRefusedForWhatIsWrong) {
  expectAnswers(kTables, "Traces");
  EXPECT_EQ(equipment.control->ActiveTraces(), 2);
  std::string many = "s2f23w{<u4 2><a'000001'><u4 2><u4 1><u2";
  for (int i = 0; i < 1001; ++i)
    many += " 2";
  EXPECT_EQ(ask(many + ">}"), "S2F24 <b 0x01>");
  equipment.control->SetCapabilities(0);
  EXPECT_EQ(equipment.control->ActiveTraces(), 0);
  expectAnswers(kTables, "TracesThatAreOff");
}

// Groups of two of three samples, the last one smaller; each sample is of its own time.
TEST_F(GemCapabilitiesTest, TracesSendTheirGroups) {
  addVariable(20, SecsAscii, RoleClock);
  establish();
  ask("s2f23w{<i2 5><a'00000002'><u4 3><u4 2>{<u4 2><u4 20>}}");
  for (int value = 1; value <= 4; ++value) {
    equipment.control->SetVIDValue(2, value);
    settle(20);
  }
  EXPECT_EQ(
      host.messages,
      (std::vector<std::string>{
          "S6F1W { <i2 5> <u4 2> <a '1970010100000005'> { <u4 1> <a '1970010100000003'> "
          "<u4 2> <a '1970010100000005'> } }",
          "S6F1W { <i2 5> <u4 3> <a '1970010100000007'> { <u4 3> <a '1970010100000007'> } }"}));
  EXPECT_EQ(equipment.control->ActiveTraces(), 0);
  equipment.control->SetEdition(1);
  for (const bool replies : {false, true}) {
    equipment.control->SetTraceReplies(replies);
    ask("s2f23w{<a'T'><a'00000001'><u4 1><u4 1><u4 2>}");
    settle(12);
    EXPECT_EQ(host.messages.back().substr(0, 5), replies ? "S6F1W" : "S6F1 ");
  }
}

// However late the ticks come, and while the tick count wraps.
TEST_F(GemCapabilitiesTest, ATraceNeitherMissesNorDoublesSamplesNorDrifts) {
  net.clock.advance(UINT32_MAX - 30'000);
  std::string vids;
  for (uint32_t vid = 100; vid < 150; ++vid) {
    addVariable(vid, SecsDWord, kNoRole);
    vids += " " + std::to_string(vid);
  }
  for (GemStation *station : {&equipment, &host})
    station->control->SetEdition(1); // S6F1 without W-bit
  establish();
  ask("s2f23w{<u4 1><a'00000001'><u4 4294967295><u4 1><u4" + vids + ">}");
  uint32_t passed = 1; // ms since the request
  size_t samples = 0;
  while (passed < 60'000) {
    const uint32_t late = std::min<uint32_t>(passed % 601 + 1, 60'000 - passed);
    net.clock.advance(late);
    passed += late;
    equipment.control->SetVIDValue(149, static_cast<int32_t>(passed));
    net.settle();
    for (const std::string &report : std::exchange(host.messages, {})) {
      const std::string head = "S6F1 { <u4 1> <u4 " + std::to_string(++samples) + "> ";
      ASSERT_EQ(report.substr(0, head.size()), head);
      EXPECT_NE(report.find(" <u4 " + std::to_string(passed) + "> } }"), std::string::npos);
    }
    ASSERT_EQ(samples, passed / 10);
  }
  EXPECT_EQ(samples, 6000U);
}

TEST(GemTraces, EndWithTheCommunications) {
  using Act = void (*)(GemLink &);
  constexpr Act kEnds[] = {
      [](GemLink &link) { link.ask("s1f15w"); },
      [](GemLink &link) { link.equipment.control->SetControlState(0); },
      [](GemLink &link) { link.equipment.control->SetCommunicationState(1); },
      [](GemLink &link) { link.host.control->SetPhysicalConnection(false); },
      [](GemLink &link) { link.equipment.control->LoadData(); },
      [](GemLink &link) { link.equipment.control->SetCapabilities(0); },
  };
  for (const Act &end : kEnds) {
    GemLink link;
    link.equipment.control->SetCapabilities(CapabilityTrace);
    link.establish();
    link.ask("s2f23w{<u4 1><a'000001'><u4 9><u4 1><u4 2>}");
    EXPECT_EQ(link.equipment.control->ActiveTraces(), 1) << &end - kEnds;
    end(link);
    link.settle(2);
    EXPECT_EQ(link.equipment.control->ActiveTraces(), 0) << &end - kEnds;
  }
}

// Of S6F1 the application hears as it goes out, and may do anything then.
TEST(GemTraces, MayEndInTheReportOfTheirData) {
  for (const bool destroys : {false, true}) {
    GemLink other;
    other.equipment.control->SetCapabilities(CapabilityTrace);
    other.establish();
    other.equipment.onEvent = [&](const std::string &line) {
      if (line != "Sent S6F1W")
        return;
      if (destroys)
        other.equipment.control.reset();
      else
        other.equipment.control->SetControlState(0);
    };
    other.ask("s2f23w{<u4 1><a'00000001'><u4 9><u4 1><u4 2>}");
    other.ask("s2f23w{<u4 2><a'00000001'><u4 9><u4 1><u4 2>}");
    other.net.clock.advance(100);
    other.settle(2);
    EXPECT_EQ(other.host.messages.size(), 1U) << destroys;
  }
}

class GemLimitsTest : public GemCapabilitiesTest {
protected:
  GemLimitsTest() {
    addVariable(40, SecsByte, RoleLimitVariable);
    addVariable(41, SecsFloat, kNoRole);
    addVariable(42, SecsByte, RoleEventLimit);
    addVariable(43, SecsByte, RoleTransitionType);
    bound(2, "0", "100");
    bound(40, "0", "100");
    bound(41, "0.1", "0.7");
    CHGemEventModel &events = equipment.model().events();
    events.RegisterCEID(11, RoleLimitCrossedUpwards, "Up");
    events.RegisterCEID(12, RoleLimitCrossedDownwards, "Down");
    events.SetReport(1, {40, 42, 43, 2});
    events.LinkReport(11, 1);
    events.LinkReport(12, 1);
  }
  void bound(uint32_t vid, const char *minimum, const char *maximum) {
    CHGemEventVid &variable = *equipment.model().data().variables.FindVid(vid);
    variable.setMinimum(minimum);
    variable.setMaximum(maximum);
  }
  // What a new value brings: "2.1 up" for limit 1 of variable 2.
  std::string crossings(int32_t vid, const std::string &value) {
    host.messages.clear();
    equipment.control->SetVIDValue(vid, value);
    settle(2);
    std::string crossed;
    for (const std::string &message : host.messages) {
      std::vector<int> numbers; // LimitVariable, EventLimit, TransitionType
      for (size_t at = 0; (at = message.find("<u1 ", at)) != std::string::npos; at += 4)
        numbers.push_back(decimal32(message.substr(at + 4)));
      if (numbers.size() != 3)
        return message;
      crossed += formatText("%s%d.%d %s", crossed.empty() ? "" : ", ", numbers[0], numbers[1],
                            numbers[2] == 0 ? "up" : "down");
      EXPECT_NE(message.find(numbers[2] == 0 ? " <u4 11> * CEID" : " <u4 12> * CEID"),
                std::string::npos);
    }
    return crossed;
  }
};

TEST_F(GemLimitsTest, DefinitionsAreAllOrNothing) { expectAnswers(kTables, "Limits"); }

TEST_F(GemLimitsTest, ATransitionBetweenZonesIsReported) {
  establish();
  const std::string defined = "S2F46 { <b 0x00> { } }";
  EXPECT_EQ(ask("s2f45w{<u4 1>{{<u4 2>{{<b 1>{<u4 20><u4 10>}}{<b 7>{<u4 50><u4 50>}}"
                "{<b 4>{<u4 8><u4 6>}}}}{<u4 41>{{<b 1>{<f8 0.7><f8 0.3>}}}}}}"),
            defined);
  const struct {
    int32_t vid;
    const char *value;
    const char *crossed;
  } steps[] = {
      {2, "9", "2.4 up"}, // inside the band of limit 4 at first
      {2, "20", "2.1 up"},
      {2, "11", ""},
      {2, "20", ""},
      {2, "10", "2.1 down"},
      {2, "50", "2.1 up, 2.7 up"},
      {2, "50", ""},
      {2, "49", "2.7 down"},
      {2, "0", "2.1 down, 2.4 down"},
      {2, "", ""}, // no value at all
      {2, "99", "2.1 up, 2.4 up, 2.7 up"},
      {41, "0.7", "41.1 up"}, // as a value of its type, though more in binary
      {41, "0.3", "41.1 down"},
  };
  for (const auto &step : steps)
    EXPECT_EQ(crossings(step.vid, step.value), step.crossed) << step.vid << ' ' << step.value;
  ASSERT_TRUE(equipment.control->SaveData());
  ASSERT_TRUE(equipment.control->LoadData());
  ask("s1f13w{}");
  EXPECT_EQ(crossings(2, "15"), "2.7 down") << "limits outlive the process";
  equipment.control->SetCapabilities(0);
  EXPECT_EQ(crossings(2, "0"), "");
}

TEST_F(GemLimitsTest, TheApplicationMayChangeValuesInReports) {
  establish();
  ask("s2f45w{<u4 1>{{<u4 2>{{<b 1>{<u4 50><u4 50>}}{<b 2>{<u4 60><u4 60>}}}}}}");
  bool once = true;
  equipment.onEvent = [&](const std::string &line) {
    if (line == "Sent S6F11W" && std::exchange(once, false))
      equipment.control->SetVIDValue(2, "0");
  };
  EXPECT_EQ(crossings(2, "99"), "2.1 up, 2.2 up, 2.1 down, 2.2 down");
  equipment.onEvent = [&](const std::string &line) {
    if (line == "Sent S6F11W")
      equipment.control.reset();
  };
  equipment.control->SetVIDValue(2, "99");
  EXPECT_EQ(equipment.control, nullptr);
}

TEST_F(GemCapabilitiesTest, TextsOfTerminals) {
  establish();
  CVeltoGemCtrl &control = *equipment.control;
  std::string shown;
  int16_t answer = 0;
  equipment.onEvent = [&](const std::string &line) {
    if (!line.starts_with("TerminalText"))
      return;
    shown = line;
    EXPECT_EQ(control.ACKC10(), 0);
    control.SetACKC10(answer);
  };
  EXPECT_FALSE(control.RecognizeTerminalText()) << "nothing to be read";
  expectAnswers(kTables, "Terminals");
  settle(5);
  EXPECT_EQ(host.messages, (std::vector<std::string>{"S10F7 <b 0x02>"}));
  EXPECT_EQ(shown, "TerminalText 0 all");
  control.SetMultiBlockTerminal(true);
  ask("s10f5w{<b 2>{<a'a'><a'b'>}}");
  EXPECT_EQ(shown, "TerminalText 2 a\nb");
  equipment.model().events().RegisterCEID(20, RoleOperatorRecognizedMessage, "Read");
  EXPECT_TRUE(control.RecognizeTerminalText());
  EXPECT_FALSE(control.RecognizeTerminalText()) << "once";
  settle(4);
  answer = 2;
  EXPECT_EQ(ask("s10f3w{<b 1><a'Hello'>}"), "S10F4 <b 0x02>");
  EXPECT_FALSE(control.RecognizeTerminalText()) << "never shown";
  host.messages.clear();
  EXPECT_TRUE(control.SendTerminalText(3, "Help"));
  settle(2);
  EXPECT_EQ(host.messages, (std::vector<std::string>{"S10F1W { <b 0x03> <a 'Help'> }"}));
}

// The application hears of each thing that the host does, and may refuse it with any code.
TEST_F(GemCapabilitiesTest, TheApplicationAnswersForProcessPrograms) {
  establish();
  CVeltoGemCtrl &control = *equipment.control;
  struct Case {
    const char *message;
    const char *told;
    int16_t answer;
    const char *reply;
  };
  for (const Case &row : {
           Case{"s7f1w{<a'A'><u4 1>}", "6 A", 4, "S7F2 <b 0x04>"},
           Case{"s7f1w{<a'A'><u4 1>}", "6 A", 5, "S7F2 <b 0x05>"},
           Case{"s7f3w{<a'A'><a'x'>}", "1 A", 1, "S7F4 <b 0x01>"},
           Case{"s7f3w{<a'A'><a'x'>}", "1 A", 3, "S7F4 <b 0x03>"},
           Case{"s7f3w{<a'A'><a'x'>}", "1 A", 0, "S7F4 <b 0x00>"},
           Case{"s7f3w{<a'A'><a'y'>}", "2 A", 5, "S7F4 <b 0x05>"},
           Case{"s7f23w{<a'A'><a><a>{}}", "2 A", 6, "S7F24 <b 0x06>"},
           Case{"s7f5w<a'A'>", "4 A", 1, "S7F6 { }"},
           Case{"s7f5w<a'A'>", "4 A", 0, "S7F6 { <a 'A'> <a 'x'> }"},
           Case{"s7f31w{<a'A'><a><a>}", "7 A", 1, "S7F32 <b 0x01>"},
           Case{"s7f17w{<a'A'>}", "3 A", 1, "S7F18 <b 0x01>"},
           Case{"s7f17w{}", "3 ", 1, "S7F18 <b 0x01>"},
           Case{"s7f5w<a'A'>", "4 A", 0, "S7F6 { <a 'A'> <a 'x'> }"},
       }) {
    std::string told;
    equipment.onEvent = [&](const std::string &line) {
      if (!line.starts_with("ProcessProgram"))
        return;
      told += line;
      EXPECT_EQ(control.ACKC7(), 0);
      control.SetACKC7(row.answer);
    };
    EXPECT_EQ(ask(row.message), row.reply);
    EXPECT_EQ(told, std::string("ProcessProgram ") + row.told);
  }
  equipment.onEvent = [&](const std::string &line) {
    if (line != "ProcessProgram 2 A")
      return;
    EXPECT_EQ(control.ProcessProgramBody("A"), "<a 'new'>\r\n") << "while it is offered";
    equipment.control.reset();
  };
  host.send("s7f3w{<a'A'><a'new'>}");
  settle(4);
  EXPECT_EQ(equipment.control, nullptr) << "which may end the control";
}

TEST_F(GemCapabilitiesTest, ChangesOfProcessProgramsAreReported) {
  addVariable(20, SecsAscii, RolePPChangeName);
  addVariable(21, SecsByte, RolePPChangeStatus);
  addVariable(22, SecsAscii, RolePPExecName);
  addVariable(23, SecsAscii, RolePPError);
  CHGemEventModel &events = equipment.model().events();
  events.RegisterCEID(30, RoleProcessProgramChanged, "");
  events.RegisterCEID(31, RoleProcessProgramSelected, "");
  events.SetReport(1, {20, 21});
  events.SetReport(2, {22});
  events.LinkReport(30, 1);
  events.LinkReport(31, 2);
  establish();
  CVeltoGemCtrl &control = *equipment.control;
  std::string faults;
  equipment.onEvent = [&](const std::string &line) {
    if (line.starts_with("ProcessProgram 2") || line.starts_with("ProcessProgram 7"))
      control.SetProcessProgramErrors(faults);
  };
  using Messages = std::vector<std::string>;
  // What comes behind the reply, or of itself.
  const auto heard = [this](const char *message) {
    host.messages.clear();
    if (*message != '\0') {
      host.send(message);
    }
    settle(6);
    if (*message != '\0' && !host.messages.empty())
      host.messages.erase(host.messages.begin());
    return std::exchange(host.messages, {});
  };
  const auto changed = [](int id, const char *name, int status) {
    return "S6F11W { <u4 " + std::to_string(id) + "> <u4 30> * CEID { { <u4 1> { <a '" + name +
           "'> <u1 " + std::to_string(status) + "> } } } }";
  };
  const char *formatted = "s7f23w{<a'A'><a'ETCH-1'><a'1.00'>{}}";
  EXPECT_EQ(heard("s7f3w{<a'A'><a'x'>}"), Messages{changed(1, "A", 1)});
  EXPECT_EQ(heard(formatted), Messages{changed(2, "A", 2)});
  faults = "3 5 unknown command\n4 6 out of range";
  EXPECT_EQ(heard(formatted),
            (Messages{"S7F27W { <a 'A'> { { <u1 3> <u4 5> <a 'unknown command'> } { <u1 4> <u4 6> "
                      "<a 'out of range'> } } }",
                      changed(3, "A", 2)}));
  EXPECT_EQ(control.VIDValue(23), faults);
  faults = "";
  EXPECT_EQ(heard("s7f31w{<a'A'><a'ETCH-1'><a'2.00'>}"),
            Messages{"S7F27W { <a 'A'> { { <u1 2> <u4 0> <a 'SOFTREV'> } } }"});
  EXPECT_EQ(heard("s7f31w{<a'A'><a'ETCH-1'><a'1.00'>}"),
            Messages{"S7F27W { <a 'A'> { { <u1 0> <u4 0> <a> } } }"});
  EXPECT_EQ(control.VIDValue(23), "");
  EXPECT_FALSE(control.SelectProcessProgram("B"));
  EXPECT_TRUE(control.SelectProcessProgram("A"));
  EXPECT_EQ(heard(""), Messages{"S6F11W { <u4 4> <u4 31> * CEID { { <u4 2> { <a 'A'> } } } }"});
  control.SetProcessProgramBody("B", "<b 1>");
  for (const char *refused : {"", "{}", "<b", "{<a'C'><a><a>{}}", "<bool 1>", "<b 1> <b 2>"})
    control.SetProcessProgramBody("B", refused);
  control.SetProcessProgramBody("", "<b 1>");
  EXPECT_EQ(control.ProcessProgramBody("B"), "<b 0x01>\r\n");
  EXPECT_EQ(control.ProcessPrograms(), "A\nB");
  EXPECT_TRUE(control.DeleteProcessProgram("A"));
  EXPECT_FALSE(control.DeleteProcessProgram("A"));
  EXPECT_EQ(heard(""), (Messages{changed(5, "B", 1), changed(6, "A", 3)}));
  control.SetCapabilities(0);
  EXPECT_EQ(heard("s7f3w{<a'Z'><a'x'>}"), Messages{});
  EXPECT_EQ(control.ProcessPrograms(), "B") << "acknowledged, and nothing else";
}

// Between an equipment and a host that both keep process programs, in both directions.
TEST_F(GemCapabilitiesTest, ProcessProgramsAreSentAndAskedFor) {
  host.control->SetCapabilities(CapabilityProcessPrograms);
  establish();
  CVeltoGemCtrl &here = *equipment.control;
  CVeltoGemCtrl &there = *host.control;
  here.SetProcessProgramBody("PLAIN", "<b 1 2>");
  here.SetProcessProgramBody("LONG NAME", "{<a'LONG NAME'><a><a>{}}");
  std::string ended;
  const auto watch = [&ended](GemStation &station) {
    station.onEvent = [&](const std::string &line) {
      if (line.starts_with("ProcessProgram 8"))
        ended = line.substr(17) + ' ' + std::to_string(station.control->ACKC7());
    };
  };
  watch(equipment);
  EXPECT_TRUE(here.SendProcessProgram("PLAIN"));
  EXPECT_FALSE(here.SendProcessProgram("LONG NAME")) << "one at a time";
  settle(20);
  EXPECT_EQ(ended, "PLAIN 0");
  EXPECT_TRUE(here.SendProcessProgram("LONG NAME"));
  settle(20);
  EXPECT_EQ(ended, "LONG NAME 0");
  EXPECT_EQ(there.ProcessPrograms(), "LONG NAME\nPLAIN");
  EXPECT_EQ(there.ProcessProgramBody("LONG NAME"), here.ProcessProgramBody("LONG NAME"));
  EXPECT_TRUE(here.SendProcessProgram("PLAIN")) << "once more";
  settle(20);
  EXPECT_EQ(ended, "PLAIN 0");
  EXPECT_FALSE(here.SendProcessProgram("NONE"));

  there.DeleteProcessProgram("PLAIN");
  there.DeleteProcessProgram("LONG NAME");
  watch(host);
  for (const char *name : {"PLAIN", "LONG NAME"}) {
    EXPECT_TRUE(there.RequestProcessProgram(name));
    settle(20);
    EXPECT_EQ(ended, std::string(name) + " 0");
    EXPECT_EQ(there.ProcessProgramBody(name), here.ProcessProgramBody(name));
  }
  EXPECT_TRUE(there.RequestProcessProgram("NONE"));
  settle(20);
  EXPECT_EQ(ended, "NONE 4");

  // Refused, without an answer, and when the link is lost.
  const auto outcome = [&](const char *message, const std::string &answer) {
    equipment.answers = false;
    EXPECT_TRUE(there.RequestProcessProgram("PLAIN"));
    settle(2);
    equipment.control->SetWorkSpace(CHGem::kReceived);
    equipment.control->SetReply(true);
    equipment.control->SetSML(message);
    if (*message != '\0')
      equipment.control->Send();
    settle(2);
    EXPECT_EQ(ended, answer) << message;
    equipment.answers = true;
    equipment.control->SetReply(false);
    ended.clear();
  };
  outcome("s7f0", "PLAIN 7");
  outcome("s7f6{<a'OTHER'><a'x'>}", "PLAIN 7");
  outcome("s7f6<a'x'>", "PLAIN 7");
  outcome("", "");
  net.clock.advance(45'000);
  settle(4);
  EXPECT_EQ(ended, "PLAIN 7") << "T3";
}

TEST_F(GemCapabilitiesTest, TheFolderOfProcessProgramsIsBoundedAndTrustsNoFile) {
  establish();
  CVeltoGemCtrl &control = *equipment.control;
  const std::string place = control.DataFileName() + ".recipes";
  const std::string name(80, '.');
  ASSERT_EQ(ask("s7f3w{<a'" + name + "'><b 1 2>}"), "S7F4 <b 0x00>");
  EXPECT_EQ(control.ProcessPrograms(), name) << "a name that takes more than a file's name can";
  const auto found = systemFiles().list(place);
  ASSERT_EQ(found->size(), 1U);
  const std::string file = place + '/' + found->front();
  const std::string whole = *systemFiles().read(file);
  for (size_t size = 0; size < whole.size(); size += 5) {
    systemFiles().write(file, whole.substr(0, size));
    EXPECT_EQ(control.ProcessProgramBody(name), "") << size;
  }
  EXPECT_EQ(ask("s7f5w<a'" + name + "'>"), "S7F6 { }");
  EXPECT_EQ(ask("s7f3w{<a'" + name + "'><b 3>}"), "S7F4 <b 0x00>") << "in its place";
  for (const char *other :
       {"A.new", ".pp", "=.pp", "=4.pp", "%4.pp", "A%41.pp", "=41.pp", "a b.pp"})
    systemFiles().write(place + '/' + other, whole);
  systemFiles().write(place + "/B.pp", whole);
  EXPECT_EQ(control.ProcessPrograms(), name + "\nB");
  EXPECT_EQ(control.ProcessProgramBody("B"), "") << "the file of another one";

  systemFiles().write(control.IniFileName(), "[Recipes]\nMaxRecipes=2\n");
  control.LoadData();
  control.SetCapabilities(kAllCapabilities);
  equipment.control->SetPhysicalConnection(true);
  control.SetProcessProgramBody("C", "<b 1>");
  EXPECT_EQ(control.ProcessProgramBody("C"), "") << "too many";
  control.SetProcessProgramBody("B", "<b 1>");
  EXPECT_EQ(control.ProcessProgramBody("B"), "<b 0x01>\r\n");

  control.SetRecipeFolder("/dev/null/nowhere");
  equipment.take();
  control.SetProcessProgramBody("C", "<b 1>");
  EXPECT_THAT(equipment.take(),
              testing::ElementsAre(testing::HasSubstr("the process program C cannot be written")));
}

TEST_F(GemCapabilitiesTest, VariablesThatAreKeptTrue) {
  addVariable(20, SecsAscii, RoleClock);
  addVariable(21, SecsList, RoleAlarmsEnabled);
  addVariable(22, SecsList, RoleAlarmsSet);
  addVariable(23, SecsList, RoleEventsEnabled);
  establish();
  expectAnswers(kTables, "KeptVariables");
  addVariable(24, SecsDWord, RoleAlarmID);
  addVariable(25, SecsByte, RoleProcessState);
  addVariable(26, SecsByte, RolePreviousProcessState);
  CHGemEventModel &events = equipment.model().events();
  events.RegisterCEID(30, RoleAlarmSet, "");
  events.RegisterCEID(31, RoleAlarmCleared, "");
  events.RegisterCEID(32, RoleProcessStateChanged, "");
  events.RegisterCEID(33, RoleOperatorChangedConstant, "");
  events.SetReport(1, {24, 22});
  events.SetReport(2, {25, 26});
  for (const uint32_t ceid : {30, 31})
    events.LinkReport(ceid, 1);
  events.LinkReport(32, 2);
  const auto heard = [this] {
    settle(4);
    return std::exchange(host.messages, {});
  };
  using Messages = std::vector<std::string>;
  heard();
  EXPECT_TRUE(equipment.control->InvokeAlarm(5, 0x85));
  EXPECT_EQ(heard(),
            (Messages{"S5F1W { <b 0x85> * ALCD <u4 5> * ALID <a 'Hot'> * ALTX }",
                      "S6F11W { <u4 1> <u4 30> * CEID { { <u4 1> { <u4 5> { <u4 5> } } } } }"}));
  EXPECT_FALSE(equipment.control->InvokeAlarm(5, 0x85)) << "nothing changed";
  EXPECT_EQ(heard(), Messages{});
  EXPECT_TRUE(equipment.control->InvokeAlarm(5, 5));
  EXPECT_EQ(heard().back(), "S6F11W { <u4 2> <u4 31> * CEID { { <u4 1> { <u4 5> { } } } } }");
  EXPECT_TRUE(equipment.control->SetProcessState(3));
  EXPECT_FALSE(equipment.control->SetProcessState(3));
  EXPECT_EQ(heard(), Messages{"S6F11W { <u4 3> <u4 32> * CEID { { <u4 2> { <u1 3> <u1 0> } } } }"});
}

TEST_F(GemPair, TheModelAnswersWhatTheApplicationDoesNot) {
  establish();
  equipment.answers = false;
  EXPECT_EQ(ask("s1f1w"), "") << "off at first";
  equipment.control->SetAutoReply(true);
  EXPECT_EQ(ask("s1f1w"), "S1F2 { <a 'ETCH-1'> <a '1.00'> }");
  EXPECT_TRUE(host.messages.empty());
  CVeltoGemCtrl &control = *equipment.control;
  const std::pair<std::function<void()>, const char *> rows[] = {
      {[&] { control.DefProc(); }, "S1F2 { <a 'ETCH-1'> <a '1.00'> }"},
      {[&] {
         control.SetReply(true);
         control.SetSML("s1f2{<a'MINE'><a'2'>}");
         control.Send();
       },
       "S1F2 { <a 'MINE'> <a '2'> }"},
      {[&] { control.InvokeEvent(7); }, "S6F11W { <u4 1> <u4 7> * CEID { } }"},
  };
  for (const auto &[act, reply] : rows) {
    equipment.onEvent = [&act = act](const std::string &line) {
      if (line.starts_with("Received S1F1"))
        act();
    };
    EXPECT_EQ(ask("s1f1w"), reply);
  }
  EXPECT_EQ(host.messages.size(), 1U) << "an event is no reply, which follows";
  // Each gets its own, though others come meanwhile.
  int inside = 0;
  equipment.onEvent = [&](const std::string &line) {
    if (line.starts_with("Received") && ++inside < 4) {
      host.send(inside == 2 ? "s1f3w{<u4 2>}" : "s1f1w");
      settle(3);
    }
  };
  host.messages.clear();
  host.send("s1f1w");
  settle(20);
  const std::string one = "S1F2 { <a 'ETCH-1'> <a '1.00'> }";
  EXPECT_EQ(host.messages, (std::vector<std::string>{one, "S1F4 { <u4 7> }", one, one}));
}

TEST_F(GemCapabilitiesTest, WhatIsSpooled) {
  expectAnswers(kTables, "Spool");
  std::string many;
  for (int i = 0; i < 20'000; ++i)
    many += "{<u1 77>{<u1 1><u1 3>}}";
  EXPECT_EQ(ask("s2f43w{" + many + "}"), "S2F44 { <b 0x01> { { <u1 77> <b 0x02> { } } } }");
  equipment.control->SetCapabilities(0);
  expectAnswers(kTables, "SpoolThatIsOff");
}

TEST_F(GemCapabilitiesTest, WhatIsKeptOutlivesTheProcess) {
  const std::string more = equipment.control->DataFileName() + ".more";
  ASSERT_TRUE(equipment.control->SaveData());
  const auto written = equipment.model().data().commands;
  ASSERT_TRUE(equipment.control->LoadData());
  EXPECT_EQ(equipment.control->Capabilities(), int32_t{kAllCapabilities});
  EXPECT_EQ(equipment.model().data().commands, written);
  const std::string bytes = *systemFiles().read(more);
  for (size_t size = 0; size < bytes.size(); size += 7) {
    systemFiles().write(more, bytes.substr(0, size));
    equipment.control->LoadData();
    EXPECT_TRUE(equipment.model().data().commands.empty()) << size;
  }
  ASSERT_TRUE(equipment.control->SaveData());
  EXPECT_TRUE(systemFiles().read(more + ".damaged")) << "a file that nobody could read is kept";
}

} // namespace
} // namespace velto
