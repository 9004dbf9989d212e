#include "gem/event_model_fixture.h"

#include "gem/messages/items.h"

#include <cmath>

namespace velto {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(EventModel, SendsTheReportsOfAnEvent) {
  EXPECT_TRUE(model.InvokeEvent(10));
  EXPECT_TRUE(model.InvokeEvent(11));
  data.variables.FindVid(5)->setRawValue("no item");
  EXPECT_TRUE(model.InvokeEvent(10));
  EXPECT_TRUE(model.InvokeRole(RoleGoToLocal));
  EXPECT_FALSE(model.InvokeRole(RoleGoToRemote));
  const std::string values = "{<u4 2>{<u4 15>}}{<u4 1>{<a'it' 0x27 's'>";
  EXPECT_THAT(sent(), ElementsAre(line("s6f11w{<u4 1><u4 10>{" + values + "<u1 7>}}}}"),
                                  line("s6f11w{<u4 2><u4 11>{}}"),
                                  line("s6f11w{<u4 3><u4 10>{" + values + "{}}}}}"),
                                  line("s6f11w{<u4 4><u4 11>{}}")));
}

TEST_F(EventModel, UsesNoDataIdForWhatIsNotSent) {
  EXPECT_FALSE(model.InvokeEvent(12)) << "disabled";
  EXPECT_FALSE(model.InvokeEvent(99)) << "unknown";
  data.events.FindCeid(11)->reports = {2, 77};
  EXPECT_FALSE(model.InvokeEvent(11)) << "a report is missing";
  model.UnregisterVID(5);
  EXPECT_FALSE(model.InvokeEvent(10)) << "a variable is missing";
  data.events.FindCeid(11)->reports = {2};
  owner.accepts = false;
  EXPECT_FALSE(model.InvokeEvent(11)) << "not sent";
  EXPECT_EQ(data.nextDataId, 1U);
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(EventModel, AnswersQuestions) {
  const std::string text = "<a'it' 0x27 's'>";
  const std::string limit = "{<u4 3><a'Limit'><u4 10><u4 20><u4><a>}";
  const std::string other = "{<u4 4><a><a><a><a><a>}";
  const std::string report = "{<u4 2>{<u4 15>}}{<u4 1>{" + text + "<u1 7>}}";
  const struct {
    std::string request;
    Answer answer;
  } cases[] = {
      {"s1f3w{}", taken("s1f4{" + text + "<f4 1.5>}")},
      {"s1f3w{<u2 2><a'1'><i1 3><a'x'>}", taken("s1f4{<f4 1.5>" + text + "{}{}}")},
      {"s1f3w<u4 2 5 1>", taken("s1f4{<f4 1.5>{}" + text + "}")},
      {"s1f3w<u8>", taken("s1f4{" + text + "<f4 1.5>}")},
      {"s1f11w{}", taken("s1f12{{<u4 1><a'Lot' 0x27 's ID'><a>}{<u4 2><a><a's'>}}")},
      {"s1f11w{<u1 77><u4 2><u4 3>}",
       taken("s1f12{{<u4 77><a><a>}{<u4 2><a><a's'>}{<u4 3><a><a>}}")},
      {"s2f13w{}", taken("s2f14{<u4 15><a'old'>}")},
      {"s2f13w{<u4 1><u4 3>}", taken("s2f14{{}<u4 15>}")},
      {"s2f13w<u1 4 3>", taken("s2f14{<a'old'><u4 15>}")},
      {"s2f29w{}", taken("s2f30{" + limit + other + "}")},
      {"s2f29w<u2 1 3>", taken("s2f30{{<u4 1><a><a><a><a><a>}" + limit + "}")},
      {"s6f15w<u2 10>", taken("s6f16{<u4 1><u4 10>{" + report + "}}")},
      {"s6f15w<u2 12>", taken("s6f16{<u4 2><u4 12>{}}")}, // whether or not it is enabled
      {"s6f15w<u4 99>", notTaken("s6f16{}")},
      {"s6f19w<u4 1>", taken("s6f20{" + text + "<u1 7>}")},
      {"s6f19w<u4 99>", notTaken("s6f20{}")},
      {"s1f1w", notTaken("s1f2{<a'Kel'><a'1.00'>}")},
  };
  const std::string before = state();
  for (const auto &row : cases)
    EXPECT_EQ(receive(model, row.request), row.answer) << row.request;
  EXPECT_EQ(data.nextDataId, 3U);
  model.UnregisterVID(5);
  model.clearModified();
  EXPECT_EQ(receive(model, "s6f15w<u2 10>"), notTaken("s6f16{}"));
  EXPECT_EQ(receive(model, "s6f19w<u2 1>"), notTaken("s6f20{}"));
  EXPECT_EQ(data.nextDataId, 3U);
  EXPECT_FALSE(model.modified());
}

TEST_F(EventModel, AnswersQuestionsOfTheCurrentEdition) {
  data.variables.FindVid(5)->setDescription("Wafer");
  data.variables.FindVid(5)->setUnit("pcs");
  data.reports.Add({3, "", {1, 5, 1}});
  data.events.FindCeid(12)->reports = {1, 3, 77, 2, 1};
  const std::string linked = "{<u4 10><a'event'>{<u4 3><u4 1><u4 5>}}";
  const std::string bare = "{<u4 11><a'event'>{}}";
  const std::string shared = "{<u4 12><a'event'>{<u4 1><u4 5><u4 3>}}";
  const struct {
    std::string request;
    Answer answer;
  } cases[] = {
      {"s1f21w{}", taken("s1f22{{<u4 5><a'Wafer'><a'pcs'>}}")},
      {"s1f21w{<u1 9><a'5'><u4 1>}",
       taken("s1f22{{<u4 9><a><a>}{<u4 5><a'Wafer'><a'pcs'>}{<u4 1><a><a>}}")},
      {"s1f23w{}", taken("s1f24{" + linked + bare + shared + "}")},
      {"s1f23w{<u2 12><u4 99><i1 11>}", taken("s1f24{" + shared + "{<u4 99><a>{}}" + bare + "}")},
  };
  const std::string before = state();
  for (const auto &row : cases)
    EXPECT_EQ(receive(model, row.request, E5Edition::Current), row.answer) << row.request;
  EXPECT_EQ(state(), before);
  // However often the same variables are looked at, it ends: at more than a message can carry.
  data.reports.Add({4, "", std::vector<uint32_t>(1000, 5)});
  data.events.FindCeid(11)->reports = {4};
  std::string request = "s1f23w{";
  for (int i = 0; i < 5000; ++i)
    request += "<u1 11>";
  EXPECT_FALSE(receive(model, request + "}", E5Edition::Current).taken);
}

TEST_F(EventModel, UsesNoDataIdForAnAnswerThatTheHostHeldBack) {
  CHSecsVerifier slot;
  slot.message.SetFromSml("s6f15w<u4 10>");
  slot.Verify(true);
  slot.partner()->replyValid = false;
  EXPECT_TRUE(model.OnReceive(slot));
  EXPECT_EQ(data.nextDataId, 1U);
}

TEST_F(EventModel, AnswersWithVariablesOfExactlyTheKind) {
  addVariable(6, EquipmentConstant | StatusVariable, SecsByte, "1"); // as only a data file has it
  EXPECT_EQ(receive(model, "s1f3w{<u1 6>}"), taken("s1f4{{}}"));
  EXPECT_EQ(receive(model, "s1f11w{<u1 6>}"), taken("s1f12{{<u4 6><a><a>}}"));
  EXPECT_EQ(receive(model, "s2f13w{}"), taken("s2f14{<u4 15><a'old'>}"));
  EXPECT_EQ(receive(model, "s2f29w<u1 6>"), taken("s2f30{{<u4 6><a><a><a><a><a>}}"));
  EXPECT_EQ(receive(model, "s2f15w{{<u1 6><u1 2>}}"), notTaken("s2f16<b 1>"));
}

struct Change {
  const char *request;
  const char *refusal; ///< null: accepted
  const char *events = "";
  const char *reports = "";
};

/// "10:2,1 11:" and so on.
std::string links(const GemData &data) {
  std::string text;
  for (size_t i = 0; i < data.events.Count(); ++i) {
    text += (i == 0 ? "" : " ") + std::to_string(data.events.at(i).ceid) + ":";
    for (const uint32_t rptid : data.events.at(i).reports)
      text += (text.back() == ':' ? "" : ",") + std::to_string(rptid);
  }
  return text;
}

std::string definitions(const GemData &data) {
  std::string text;
  for (size_t i = 0; i < data.reports.Count(); ++i) {
    text += (i == 0 ? "" : " ") + std::to_string(data.reports.at(i).rptid) + ":";
    for (const uint32_t vid : data.reports.at(i).variables)
      text += (text.back() == ':' ? "" : ",") + std::to_string(vid);
  }
  return text;
}

class EventModelChanges : public EventModel {
protected:
  /// Each row goes on where the one before left the lists.
  void run(std::span<const Change> changes, const std::string &accepted) {
    for (const Change &row : changes) {
      SCOPED_TRACE(row.request);
      const std::string before = state();
      model.clearModified();
      if (row.refusal != nullptr) {
        EXPECT_EQ(receive(model, row.request, data.edition), notTaken(row.refusal));
        EXPECT_EQ(state(), before);
        EXPECT_FALSE(model.modified());
        continue;
      }
      EXPECT_EQ(receive(model, row.request, data.edition), taken(accepted));
      EXPECT_EQ(links(data), row.events);
      EXPECT_EQ(definitions(data), row.reports);
      EXPECT_TRUE(model.modified());
    }
  }
};

TEST_F(EventModelChanges, DefinesReports) {
  static constexpr Change kChanges[] = {
      {"s2f33w{<u4 1>{{<u4 3>{<u4 1>}}{<u4 1>{<u4 2>}}}}", "s2f34<b 3>"},
      {"s2f33w{<u4 1>{{<u4 3>{<u4 1><u4 99>}}}}", "s2f34<b 4>"},
      {"s2f33w{<u4 1>{{<u4 3>{<u4 1>}}{<u4 3>{<u4 2>}}}}", "s2f34<b 3>"},
      {"s2f33w{<u4 1>{{<u4 2>{}}{<u4 3>{<u4 1>}}{<u4 4>{<u4 99>}}}}", "s2f34<b 4>"},
      {"s2f33w{<u4 1>{{<u4 9>{<u4 5><u4 1><u4 5>}}{<u4 4294967295>{<i4 3>}}}}", nullptr,
       "10:2,1 11: 12:", "1:1,5 2:3 9:5,1,5 4294967295:3"},
      {"s2f33w{<u4 1>{{<u4 2>{}}{<u4 77>{}}}}", nullptr,
       "10:1 11: 12:", "1:1,5 9:5,1,5 4294967295:3"},
      {"s2f33w{<u4 1>{{<u4 2>{<u4 4>}}{<u4 6>{<u4 1>}}{<u4 6>{}}}}", nullptr,
       "10:1 11: 12:", "1:1,5 9:5,1,5 4294967295:3 2:4"},
      {"s2f33w{<u4 1>{}}", nullptr, "10: 11: 12:", ""},
  };
  run(kChanges, "s2f34<b 0>");
}

TEST_F(EventModelChanges, LinksEvents) {
  static constexpr Change kChanges[] = {
      {"s2f35w{<u4 1>{{<u4 11>{<u4 1>}}{<u4 99>{}}}}", "s2f36<b 4>"},
      {"s2f35w{<u4 1>{{<u4 11>{<u4 1>}}{<u4 10>{<u4 1>}}}}", "s2f36<b 3>"},
      {"s2f35w{<u4 1>{{<u4 11>{<u4 1>}}{<u4 11>{<u4 2>}}}}", "s2f36<b 3>"},
      {"s2f35w{<u4 1>{{<u4 11>{<u4 1><u4 99>}}}}", "s2f36<b 5>"},
      {"s2f35w{<u4 1>{{<u4 11>{<u4 1><u4 2>}}{<u4 12>{}}{<u4 10>{}}}}", nullptr,
       "10: 11:1,2 12:", "1:1,5 2:3"},
      {"s2f35w{<u4 1>{{<u4 12>{<u4 2>}}{<u4 12>{}}{<u4 10>{<u1 1>}}}}", nullptr,
       "10:1 11:1,2 12:", "1:1,5 2:3"},
      {"s2f35w{<u4 1>{}}", nullptr, "10: 11: 12:", "1:1,5 2:3"},
  };
  run(kChanges, "s2f36<b 0>");
}

// The early edition takes the low 32 bits of a number and the leading digits of a text.
TEST_F(EventModelChanges, TakesNoIdentifierForAnother) {
  static constexpr Change kRefused[] = {
      {"s2f15w{{<u8 4294967299><u4 12>}}", "s2f16<b 1>"},
      {"s2f15w{{<a'3x'><u4 12>}}", "s2f16<b 1>"},
      {"s2f33w{<u4 1>{{<a'r1'>{<u4 1>}}}}", "s2f34<b 2>"},
      {"s2f33w{<u4 1>{{<u8 4294967305>{<u4 1>}}}}", "s2f34<b 2>"},
      {"s2f33w{<u4 1>{{<u4 9>{<u8 4294967297>}}}}", "s2f34<b 4>"},
      {"s2f33w{<u4 1>{{<u4 9>{<a'1 5'>}}}}", "s2f34<b 4>"},
      {"s2f35w{<u4 1>{{<u8 4294967307>{<u4 1>}}}}", "s2f36<b 4>"},
      {"s2f35w{<u4 1>{{<u4 11>{<a'1r'>}}}}", "s2f36<b 5>"},
      {"s2f37w{<bool 0>{<u8 4294967306>}}", "s2f38<b 1>"},
      {"s2f37w{<bool 0>{<a'10 '>}}", "s2f38<b 1>"},
  };
  static constexpr Change kTaken[] = {
      {"s2f33w{<u4 1>{{<a'1r'>{}}{<u8 4294967298>{}}{<a'3'>{<u8 5><a'01'>}}}}", nullptr,
       "10:2,1 11: 12:", "1:1,5 2:3 3:5,1"},
  };
  static const struct {
    std::string request;
    Answer answer;
  } kQuestions[] = {
      {"s1f3w{<u8 4294967298><a'2x'><i4 -2>}", taken("s1f4{{}{}{}}")},
      {"s1f3w<u8 4294967298 2>", taken("s1f4{{}<f4 1.5>}")},
      {"s1f11w{<u8 4294967298><u4 2>}", taken("s1f12{{<a'4294967298'><a><a>}{<u4 2><a><a's'>}}")},
      {"s1f23w{<a'12x'>}", taken("s1f24{{<a'12x'><a>{}}}")},
      {"s2f29w{<a'Limit'>}", taken("s2f30{{<a'Limit'><a><a><a><a><a>}}")},
      {"s6f15w<u8 4294967306>", notTaken("s6f16{}")},
      {"s6f19w<a'1r'>", notTaken("s6f20{}")},
  };
  data.edition = E5Edition::Current;
  run(kRefused, "");
  run(kTaken, "s2f34<b 0>");
  for (const auto &row : kQuestions)
    EXPECT_EQ(receive(model, row.request, data.edition), row.answer) << row.request;
  data.edition = E5Edition::Early;
  EXPECT_EQ(receive(model, "s1f3w{<u8 4294967298><a'2x'>}"), taken("s1f4{<f4 1.5><f4 1.5>}"));
  EXPECT_EQ(receive(model, "s2f15w{{<u8 4294967299><u4 12>}}"), taken("s2f16<b 0>"));
}

TEST_F(EventModelChanges, EnablesEvents) {
  const auto enabled = [this] {
    std::vector<uint32_t> ceids;
    for (size_t i = 0; i < data.events.Count(); ++i)
      if (data.events.at(i).enable)
        ceids.push_back(data.events.at(i).ceid);
    return ceids;
  };
  static constexpr Change kRefused[] = {{"s2f37w{<bool 1>{<u4 12><u4 99>}}", "s2f38<b 1>"},
                                        {"s2f37w{<bool 1>{<u4 12 10>}}", "s2f38<b 1>"}};
  run(kRefused, "");
  EXPECT_EQ(receive(model, "s2f37w{<bool 0>{<u4 10>}}"), taken("s2f38<b 0>"));
  EXPECT_THAT(enabled(), ElementsAre(11));
  EXPECT_EQ(receive(model, "s2f37w{<bool 1>{<u4 10><a'12'>}}"), taken("s2f38<b 0>"));
  EXPECT_THAT(enabled(), ElementsAre(10, 11, 12));
  EXPECT_EQ(receive(model, "s2f37w{<bool 0>{}}"), taken("s2f38<b 0>"));
  EXPECT_THAT(enabled(), IsEmpty());
  EXPECT_EQ(receive(model, "s2f37w{<bool 255>{}}"), taken("s2f38<b 0>"));
  EXPECT_THAT(enabled(), ElementsAre(10, 11, 12));
}

TEST_F(EventModelChanges, SetsConstants) {
  static constexpr Change kRefused[] = {
      {"s2f15w{{<u4 4><a'new'>}{<u4 3><u4 21>}}", "s2f16<b 1>"},
      {"s2f15w{{<u4 4><a'new'>}{<u4 1><a'x'>}}", "s2f16<b 1>"},
      {"s2f15w{{<u4 4><a'new'>}{<u4 99><u4 1>}}", "s2f16<b 1>"},
  };
  run(kRefused, "");
  EXPECT_THAT(owner.take(), IsEmpty());
  EXPECT_EQ(receive(model, "s2f15w{}"), taken("s2f16<b 0>"));
  EXPECT_EQ(receive(model, "s2f15w{{<u4 4><a'it' 0x27 's'>}{<a'3'><i2 20>}}"), taken("s2f16<b 0>"));
  EXPECT_THAT(owner.take(), ElementsAre("variable 4", "variable 3"));
  EXPECT_EQ(data.variables.FindVid(4)->GetValue(), "it's");
  EXPECT_EQ(data.variables.FindVid(3)->rawValue(), "<u4 20>");
  EXPECT_TRUE(model.modified());
}

TEST_F(EventModelChanges, DefinesNoMoreThanTheLimits) {
  data.limits = {3, 9}; // reports 1 and 2 with 3 VIDs, event 10 with 2 RPTIDs
  static constexpr Change kRefused[] = {
      {"s2f33w{<u4 1>{{<u4 3>{<u4 1>}}{<u4 4>{<u4 1>}}}}", "s2f34<b 1>"},
      {"s2f33w{<u4 1>{{<u4 3>{<u4 1><u4 1><u4 1><u4 1><u4 1>}}}}", "s2f34<b 1>"},
      {"s2f35w{<u4 1>{{<u4 11>{<u4 1><u4 1><u4 1><u4 1><u4 1>}}}}", "s2f36<b 1>"},
  };
  run(kRefused, "");
  EXPECT_EQ(receive(model, "s2f33w{<u4 1>{{<u4 2>{}}{<u4 3>{<u4 1>}}{<u4 4>{<u4 5>}}}}"),
            taken("s2f34<b 0>"))
      << "what is deleted makes room";
  EXPECT_EQ(receive(model, "s2f35w{<u4 1>{{<u4 11>{<u4 1><u4 1><u4 1><u4 1>}}}}"),
            taken("s2f36<b 0>"));
  EXPECT_EQ(receive(model, "s2f35w{<u4 1>{{<u4 12>{<u4 1>}}}}"), notTaken("s2f36<b 1>"));
  EXPECT_EQ(receive(model, "s2f33w{<u4 1>{}}"), taken("s2f34<b 0>"));
}

// A constant has the value that the host gave it, or the host hears that it has not.
TEST_F(EventModelChanges, TakesNoValueThatItsTypeCannotHold) {
  constexpr const char *kRefused = nullptr;
  static const struct {
    uint8_t type;
    const char *given;
    const char *value; // null: refused, and as before
  } kCases[] = {
      {SecsDouble, "<u8 18446744073709551615>", "18446744073709551616.000000"},
      {SecsFloat, "<u8 9223372036854775808>", "9223372036854775808.000000"},
      {SecsDouble, "<a'1e400'>", kRefused},
      {SecsFloat, "<f8 1.0e39>", kRefused},
      {SecsFloat, "<a'hot'>", kRefused},
      {SecsByte, "<u2 255>", "255"},
      {SecsByte, "<u2 256>", kRefused},
      {SecsByte, "<i1 -1>", kRefused},
      {SecsByte, "<f4 12.0>", "12"},
      {SecsByte, "<f4 12.5>", kRefused},
      {SecsFloat, "<u4 16777217>", "16777216.000000"},
      {SecsByte, "<u2 1 2 3>", "1 2 3"},
      {SecsByte, "<u2 1 256 3>", kRefused},
      {SecsByte, "<f4 1.0 2.0>", kRefused},
      {SecsByte, "<a'0xFF'>", "255"},
      {SecsByte, "<a'0x100'>", kRefused},
      {SecsByte, "<a'+7'>", "7"},
      {SecsByte, "<a'7 items'>", kRefused},
      {SecsByte, "<u1>", ""},
      {SecsByte, "{}", kRefused},
      {SecsChar, "<i2 -128>", "-128"},
      {SecsChar, "<i2 -129>", kRefused},
      {SecsChar, "<u1 128>", kRefused},
      {SecsLong8, "<u8 9223372036854775807>", "9223372036854775807"},
      {SecsLong8, "<u8 9223372036854775808>", kRefused},
      {SecsLong8, "<a'-9223372036854775808'>", "-9223372036854775808"},
      {SecsLong8, "<a'-9223372036854775809'>", kRefused},
      {SecsDWord8, "<u8 18446744073709551615>", "18446744073709551615"},
      {SecsDWord8, "<a'18446744073709551616'>", kRefused},
      {SecsDWord8, "<a'99999999999999999999999'>", kRefused},
      {SecsBinary, "<i1 -1>", kRefused},
      {SecsBinary, "<b 255>", "255"},
      {SecsBoolean, "<bool 255>", "-1"},
      {SecsBoolean, "<a'true'>", "1"},
      {SecsBoolean, "<u2 256>", kRefused},
      {SecsAscii, "<u4 5>", "5"},
      {SecsAscii, "{<u4 5>}", kRefused},
      {SecsList, "<u4 5>", kRefused},
      {SecsList, "{}", ""},
      {SecsList, "{<bool 2>}", kRefused},
      {SecsInvalid, "<u4 5>", kRefused},
  };
  for (const auto &row : kCases) {
    addVariable(6, EquipmentConstant, row.type, "1");
    const std::string before = data.variables.FindVid(6)->GetValue();
    const bool fits = row.value != kRefused;
    EXPECT_EQ(receive(model, std::string("s2f15w{{<u4 6>") + row.given + "}}"),
              fits ? taken("s2f16<b 0>") : notTaken("s2f16<b 1>"))
        << int(row.type) << row.given;
    EXPECT_EQ(data.variables.FindVid(6)->GetValue(), fits ? row.value : before) << row.given;
    data.variables.Remove(6);
  }
}

// Values are kept with six decimals, which may be on the other side of a bound.
TEST_F(EventModelChanges, JudgesTheNumberThatWasSent) {
  static const struct {
    double given;
    bool inBounds;
    bool isWhole;
  } kCases[] = {{1, true, true},
                {1.5, true, false},
                {1.4999999999, true, false},
                {1.5000000001, false, false},
                {-1.50000000001, false, false},
                {1.0000001, true, false},
                {5e-324, true, false},
                {1e300, false, false}};
  addVariable(6, EquipmentConstant, SecsFloat, "1");
  data.variables.FindVid(6)->setMinimum("-1.5");
  data.variables.FindVid(6)->setMaximum("1.5");
  addVariable(7, EquipmentConstant, SecsByte, "1");
  const auto acknowledge = [&](uint32_t ecid, double value) {
    CHSecsMessage message = fromSml("s2f15w");
    CHSecsItem item;
    item.setNumber(value, format::kF8);
    message.root = listItem(listItem(numberItem(ecid), std::move(item)));
    return receive(model, message);
  };
  for (const auto &row : kCases) {
    const auto answer = [](bool taking) {
      return taking ? taken("s2f16<b 0>") : notTaken("s2f16<b 1>");
    };
    EXPECT_EQ(acknowledge(6, row.given), answer(row.inBounds)) << row.given;
    EXPECT_EQ(acknowledge(7, row.given), answer(row.isWhole)) << row.given;
  }
}

TEST_F(EventModelChanges, ListsKeepWhatWasSent) {
  addVariable(6, EquipmentConstant, SecsList, "");
  for (const char *list :
       {"{<u4 1>}", "{{}<a'it  } >' 0x27 0x0d 0x0a 's'>{<b 1 2>{<f4 1.5>}}<bool 0 1><i8 -1>}",
        "{}"}) {
    EXPECT_EQ(receive(model, std::string("s2f15w{{<u4 6>") + list + "}}"), taken("s2f16<b 0>"));
    EXPECT_EQ(receive(model, "s2f13w{<u4 6>}"), taken(std::string("s2f14{") + list + "}"));
    EXPECT_EQ(data.variables.FindVid(6)->rawValue().find('\n'), std::string_view::npos);
  }
}

TEST_F(EventModelChanges, TakesNoValueThatSmlCannotState) {
  addVariable(7, EquipmentConstant, SecsFloat, "0");
  const auto set = [this](uint32_t ecid, CHSecsItem value) {
    CHSecsMessage message = fromSml("s2f15w");
    message.root = listItem(listItem(numberItem(ecid), std::move(value)));
    return receive(model, message);
  };
  const Answer refused = notTaken("s2f16<b 1>");
  EXPECT_EQ(set(4, textItem(std::string_view("a\0b", 3))), refused);
  for (const double value : {std::nan(""), -HUGE_VAL, 1e39}) {
    CHSecsItem item;
    item.setNumber(value, format::kF8);
    EXPECT_EQ(set(7, std::move(item)), refused) << value;
  }
  addVariable(8, EquipmentConstant, SecsList, "");
  CHSecsItem small;
  small.setNumber(1e-7, format::kF8); // SML has six decimals
  EXPECT_EQ(set(8, listItem(std::move(small))), refused);
  EXPECT_EQ(set(8, listItem(textItem(std::string_view("a\0b", 3)))), refused);
}

TEST_F(EventModelChanges, SetsConstantsThatAreLeftAfterTheHostReplacedThem) {
  CHSecsVerifier slot;
  slot.message.SetFromSml("s2f15w{{<u4 4><a'new'>}{<u4 3><u4 20>}{<u4 4><a'newer'>}}");
  slot.Verify(true);
  owner.onNote = [&](const std::string &) {
    owner.onNote = nullptr;
    model.Reset();
    addVariable(4, EquipmentConstant, SecsAscii, "loaded");
    slot.message.Reset(0); // the next message came
  };
  EXPECT_TRUE(model.OnReceive(slot));
  EXPECT_EQ(data.variables.FindVid(4)->GetValue(), "newer");
  EXPECT_THAT(owner.take(), ElementsAre("variable 4", "variable 4"));
}

TEST_F(EventModel, RegistersAndRemoves) {
  CHGemEventVid variable;
  variable.vid = 20;
  variable.kind = 3;
  variable.setDefaultValue("12.5");
  EXPECT_FALSE(model.RegisterVID(variable)) << "no kind";
  variable.kind = DataVariable;
  EXPECT_FALSE(model.modified());
  EXPECT_TRUE(model.RegisterVID(variable));
  EXPECT_EQ(data.variables.FindVid(20)->rawValue(), "<u4 12>");
  variable.kind = EquipmentConstant;
  EXPECT_FALSE(model.RegisterVID(variable)) << "exists";
  EXPECT_FALSE(model.RegisterCEID(10, kNoRole, "")) << "exists";
  EXPECT_TRUE(model.modified());
  EXPECT_TRUE(model.RemoveReport(2));
  EXPECT_FALSE(model.RemoveReport(2));
  EXPECT_EQ(links(data), "10:1 11: 12:");
  EXPECT_FALSE(model.UnregisterVID(99));
  model.InvokeEvent(10);
  model.Reset();
  EXPECT_EQ(data.nextDataId, 1U);
  EXPECT_FALSE(model.modified());
  EXPECT_EQ(data.events.Count() + data.reports.Count() + data.variables.Count(), 0U);
}

} // namespace
} // namespace velto
