// Trace data and limits of an equipment.
#include "controls/gem_capabilities.h"

namespace velto {
namespace {

TEST_P(GemCapabilitiesTest, TracesAreRefusedForWhatIsWrong) {
  expectAnswers(kCapabilityTables, "Traces");
  EXPECT_EQ(equipment.control->ActiveTraces(), 2);
  std::string many = "s2f23w{<u4 2><a'000001'><u4 2><u4 1><u2";
  for (int i = 0; i < 1001; ++i)
    many += " 2";
  EXPECT_EQ(ask(many + ">}"), "S2F24 <b 0x01>");
  equipment.control->SetCapabilities(0);
  EXPECT_EQ(equipment.control->ActiveTraces(), 0);
  expectAnswers(kCapabilityTables, "TracesThatAreOff");
}

// Groups of two of three samples, the last one smaller; each sample is of its own time.
TEST_P(GemCapabilitiesTest, TracesSendTheirGroups) {
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

// However late the ticks come, and while the tick count wraps. A line would have its own pace.
class GemTracePace : public GemCapabilitiesTest {};
INSTANTIATE_TEST_SUITE_P(Over, GemTracePace, testing::Values(LinkProtocol::Hsms), linkName);

TEST_P(GemTracePace, ATraceNeitherMissesNorDoublesSamplesNorDrifts) {
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

TEST_P(GemLimitsTest, DefinitionsAreAllOrNothing) { expectAnswers(kCapabilityTables, "Limits"); }

TEST_P(GemLimitsTest, ATransitionBetweenZonesIsReported) {
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
  equipment.control->UnregisterVID(2);
  equipment.control->RegisterVID(2, StatusVariable, SecsDWord, "0", "100", "0", "mm", "another");
  equipment.control->SetCapabilities(kAllCapabilities);
  EXPECT_EQ(ask("s2f47w{<u4 2>}"), "S2F48 { { <u4 2> { <a 'mm'> <u4 0> <u4 100> { } } } }")
      << "they were those of the variable that has gone";
}

TEST_P(GemLimitsTest, TheApplicationMayChangeValuesInReports) {
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

INSTANTIATE_TEST_SUITE_P(Over, GemLimitsTest, everyLink(), linkName);

} // namespace
} // namespace velto
