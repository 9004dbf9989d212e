// What an equipment does whose capabilities are on.
#include "controls/gem_capabilities.h"
#include "gem/messages/items.h"

namespace velto {
namespace {

TEST_P(GemCapabilitiesTest, RemoteCommands) {
  expectAnswers(kCapabilityTables, "RemoteCommands");
  settle(20);
  equipment.take();
  const std::string asked = ask("s2f41w{<a'START'>{{<a'LOT'><a'L\n1'>}{<a'SLOT'><u4 7>}}}");
  EXPECT_EQ(asked, "S2F42 { <b 0x00> { } }");
  settle(5);
  ASSERT_EQ(host.messages.size(), 1U);
  EXPECT_EQ(host.messages[0].substr(0, 5), "S6F11") << "the completion";
  equipment.control->SetCapabilities(0);
  expectAnswers(kCapabilityTables, "RemoteCommandsThatAreOff");
}

TEST_P(GemCapabilitiesTest, TheApplicationAnswersRemoteCommands) {
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

TEST_P(GemCapabilitiesTest, TheApplicationGetsTheValuesOfParametersWhole) {
  equipment.model().data().commands = {
      {.name = "TUNE",
       .parameters = {
           {"BYTES", SecsBinary}, {"REAL", SecsDouble}, {"WHOLE", SecsByte}, {"LIST", SecsList}}}};
  establish();
  std::string told;
  equipment.onEvent = [&](const std::string &line) {
    if (!line.starts_with("RemoteCommand"))
      return;
    told = line.substr(19);
    const size_t equals = told.find('=');
    EXPECT_EQ(equipment.control->CPVAL(told.substr(0, equals)), told.substr(equals + 1));
  };
  for (const TableRow &row : tableOf(kCapabilityTables, "ValuesOfParameters")) {
    told.clear();
    const std::string reply = ask(row[0]);
    EXPECT_EQ(reply.starts_with("S9F") ? reply.substr(0, 4) : reply, row[1]) << row[0];
    EXPECT_EQ(told, row[2]) << row[0];
  }
  // More digits than SML has.
  const std::pair<const char *, double> sent[] = {
      {"REAL", 1.0 / 3}, {"REAL", -1e-9}, {"WHOLE", 1e-9}};
  for (const auto &[name, number] : sent) {
    CHSecsMessage &message = host.model().slot(CHGem::kWork).message;
    message.SetFromSml("s2f49w");
    message.root = listItem(numberItem(1), textItem(""), textItem("TUNE"),
                            listItem(listItem(textItem(name), emptyItem(format::kF8))));
    appendNumber(message.root.children()[3].children()[0].children()[1], number);
    told.clear();
    ASSERT_TRUE(host.control->Send());
    settle(2);
    EXPECT_EQ(told.empty() ? 0 : std::stod(told.substr(5)), name[0] == 'W' ? 0 : number);
  }
}

TEST_P(GemCapabilitiesTest, TextsOfTerminals) {
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
  expectAnswers(kCapabilityTables, "Terminals");
  settle(5);
  EXPECT_EQ(host.messages, (std::vector<std::string>{"S10F7 <b 0x02>"}));
  EXPECT_EQ(shown, "TerminalText 0 all");
  control.SetMultiBlockTerminal(true);
  ask("s10f5w{<b 2>{<a'a'><a'b'>}}");
  EXPECT_EQ(shown, "TerminalText 2 a\nb");
  ask("s10f5w{<b 2>{<a><a'b'><a>}}");
  EXPECT_EQ(shown, "TerminalText 2 \nb\n");
  equipment.model().events().RegisterCEID(20, RoleOperatorRecognizedMessage, "Read");
  control.SetCEIDEnable(20, false);
  EXPECT_FALSE(control.RecognizeTerminalText()) << "the event cannot go out";
  control.SetCEIDEnable(20, true);
  EXPECT_TRUE(control.RecognizeTerminalText()) << "and the text is still there";
  EXPECT_FALSE(control.RecognizeTerminalText()) << "once";
  settle(4);
  for (const int16_t refusal : {int16_t{1}, int16_t{2}}) {
    answer = refusal;
    EXPECT_EQ(ask("s10f3w{<b 1><a'Hello'>}"), "S10F4 <b 0x0" + std::to_string(refusal) + ">");
  }
  EXPECT_FALSE(control.RecognizeTerminalText()) << "never shown";
  host.messages.clear();
  EXPECT_TRUE(control.SendTerminalText(3, "Help"));
  settle(2);
  EXPECT_EQ(host.messages, (std::vector<std::string>{"S10F1W { <b 0x03> <a 'Help'> }"}));
}

TEST_P(GemCapabilitiesTest, VariablesThatAreKeptTrue) {
  addVariable(20, SecsAscii, RoleClock);
  addVariable(21, SecsList, RoleAlarmsEnabled);
  addVariable(22, SecsList, RoleAlarmsSet);
  addVariable(23, SecsList, RoleEventsEnabled);
  establish();
  expectAnswers(kCapabilityTables, "KeptVariables");
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
  for (const uint32_t ceid : {30U, 31U})
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
  // A disabled alarm has its event and its state, but no message; off-line there is the state
  // alone.
  ask("s5f3w{<b 0><u4 6>}");
  heard();
  EXPECT_FALSE(equipment.control->InvokeAlarm(6, 0x86));
  EXPECT_EQ(heard(),
            Messages{"S6F11W { <u4 3> <u4 30> * CEID { { <u4 1> { <u4 6> { <u4 6> } } } } }"});
  equipment.control->SetControlState(0);
  EXPECT_FALSE(equipment.control->InvokeAlarm(6, 6));
  EXPECT_FALSE(equipment.control->InvokeAlarm(5, 0x85));
  EXPECT_TRUE(equipment.control->ALIDSet(5) && !equipment.control->ALIDSet(6));
  equipment.control->SetCapabilities(0);
  EXPECT_FALSE(equipment.control->InvokeAlarm(6, 0x86));
  EXPECT_FALSE(equipment.control->ALIDSet(6)) << "nothing changes while it may not be reported";
  equipment.control->SetCapabilities(kAllCapabilities);
  equipment.control->SetControlStateSwitch(true);
  settle(4);
  EXPECT_EQ(ask("s1f3w{<u4 22>}"), "S1F4 { { <u4 5> } }");
  heard();
  EXPECT_TRUE(equipment.control->SetProcessState(3));
  EXPECT_FALSE(equipment.control->SetProcessState(3));
  EXPECT_EQ(heard(), Messages{"S6F11W { <u4 4> <u4 32> * CEID { { <u4 2> { <u1 3> <u1 0> } } } }"});
}

TEST_P(GemPair, TheModelAnswersWhatTheApplicationDoesNot) {
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

TEST_P(GemCapabilitiesTest, WhatIsSpooled) {
  expectAnswers(kCapabilityTables, "Spool");
  std::string many;
  for (int i = 0; i < 20'000; ++i)
    many += "{<u1 77>{<u1 1><u1 3>}}";
  EXPECT_EQ(ask("s2f43w{" + many + "}"), "S2F44 { <b 0x01> { { <u1 77> <b 0x02> { } } } }");
  equipment.control->SetCapabilities(0);
  expectAnswers(kCapabilityTables, "SpoolThatIsOff");
}

TEST_P(GemCapabilitiesTest, WhatIsKeptOutlivesTheProcess) {
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

INSTANTIATE_TEST_SUITE_P(Over, GemCapabilitiesTest, everyLink(), linkName);
INSTANTIATE_TEST_SUITE_P(Over, GemPair, everyLink(), linkName);

} // namespace
} // namespace velto
