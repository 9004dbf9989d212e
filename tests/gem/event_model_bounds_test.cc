// The event model (SEMI E30) with long values and many objects, what it leaves alone and what it
// shows.
#include "gem/data/data_file.h"
#include "gem/event_model_fixture.h"
#include "gem/messages/items.h"

namespace velto {
namespace {

using testing::ElementsAre;

TEST_F(EventModel, CountsEventsThatTheHostInvokesWhileOneIsSent) {
  owner.onNote = [this](const std::string &) {
    owner.onNote = nullptr;
    data.events.Clear(); // as loading a model does
    model.RegisterCEID(11, kNoRole, "");
    model.InvokeEvent(11);
  };
  EXPECT_TRUE(model.InvokeEvent(10));
  EXPECT_EQ(sent()[1], line("s6f11w{<u4 2><u4 11>{}}"));
  EXPECT_EQ(data.nextDataId, 3U);
}

TEST_F(EventModel, AnswersByteForByte) {
  std::string text("\0it's\r\n", 7);
  for (int c = 0; c < 256; ++c)
    text += static_cast<char>(c);
  data.variables.FindVid(1)->setDescription(text);
  CHSecsVerifier slot;
  slot.message.SetFromSml("s1f11w{<u4 1>}");
  slot.Verify(true);
  EXPECT_TRUE(model.OnReceive(slot));
  EXPECT_EQ(valueAt(slot.partner()->message, "1/2"), text);
}

TEST_F(EventModel, AnswersWhatOneMessageJustCarries) {
  data.events.FindCeid(10)->reports = {1};
  data.reports.FindReport(1)->variables = {1, 1};
  const struct {
    const char *request;
    size_t around; ///< bytes of the answer beside the two values
  } rows[] = {{"s1f3w<u1 1 1>", 10 + 2 + 2 * 4},
              {"s6f15w<u4 10>", 10 + 2 + 6 + 6 + 2 + 10 + 2 * 4}};
  for (const auto &row : rows) {
    for (const bool fits : {true, false}) {
      SCOPED_TRACE(testing::Message() << row.request << fits);
      const size_t length = (CHSecsMessage::kMaxEncodedSize - row.around) / 2 + (fits ? 0 : 1);
      data.variables.FindVid(1)->setRawValue("<a'" + std::string(length, 'x') + "'>");
      CHSecsVerifier slot;
      slot.message.SetFromSml(row.request);
      slot.Verify(true);
      EXPECT_EQ(model.OnReceive(slot), fits);
      Bytes bytes;
      EXPECT_EQ(slot.partner()->message.Encode(bytes), fits);
      EXPECT_EQ(bytes.size(), fits ? CHSecsMessage::kMaxEncodedSize : 0);
      EXPECT_EQ(data.nextDataId, fits && row.request[1] == '6' ? 2U : 1U);
      data.nextDataId = 1;
    }
  }
}

// It takes very long when the text is parsed each time that the variable is named.
TEST_F(EventModel, ParsesALongTextOnce) {
  data.variables.FindVid(1)->setRawValue("{" + std::string(1'000'000, ' ') + "}");
  data.reports.FindReport(1)->variables.assign(20'000, 1);
  std::string elements;
  std::string entries;
  for (int i = 0; i < 20'000; ++i) {
    elements += " 1";
    entries += "{}";
  }
  EXPECT_EQ(receive(model, "s1f3w<u1" + elements + ">"), taken("s1f4{" + entries + "}"));
  EXPECT_EQ(receive(model, "s6f19w<u1 1>"), taken("s6f20{" + entries + "}"));
}

TEST_F(EventModel, TakesNothingThatCouldNotBeSaved) {
  const std::string filling = "<a'" + std::string(64 << 20, 'x') + "'>";
  for (const uint32_t vid : {6U, 7U, 8U})
    addVariable(vid, StatusVariable, SecsAscii, "").setRawValue(filling);
  data.variables.FindVid(8)->setDescription(std::string((64 << 20) - 3000, 'x'));
  const auto set = [this](size_t size) {
    CHSecsMessage message = fromSml("s2f15w");
    message.root = listItem(listItem(numberItem(4), textItem(std::string(size, 'x'))));
    return receive(model, message);
  };
  EXPECT_EQ(set(5000), notTaken("s2f16<b 1>"));
  EXPECT_EQ(set(500), taken("s2f16<b 0>"));
  std::string entries = "<u4 3><u4 3>";
  while (entries.size() < 12'000)
    entries += entries;
  EXPECT_EQ(receive(model, "s2f33w{<u4 1>{{<u4 9>{" + entries + "}}}}"), notTaken("s2f34<b 1>"));
  EXPECT_TRUE(canBeSaved(data, 0));
}

// The numbers are such that a hash table of their remainders has all of them in one place.
TEST_F(EventModel, TakesManyReportsAtOnce) {
  constexpr uint32_t kCount = 42'000;
  constexpr uint32_t kStep = 42'043;
  CHSecsMessage define = fromSml("s2f33w{<u4 1>{}}");
  CHSecsMessage link = fromSml("s2f35w{<u4 1>{}}");
  CHSecsMessage undefine = fromSml("s2f33w{<u4 1>{}}");
  for (uint32_t i = 1; i <= kCount; ++i) {
    const std::string id = std::to_string(i * kStep);
    model.RegisterCEID(i * kStep, kNoRole, "");
    const auto add = [](CHSecsMessage &message, const std::string &entry) {
      message.root.children()[1].appendChild(fromSml(entry).root.clone());
    };
    add(define, "{<u4 " + id + ">{<u4 1><u4 2>}}");
    add(link, "{<u4 " + id + ">{<u4 " + id + "><u4 1>}}");
    add(undefine, "{<u4 " + id + ">{}}");
  }
  EXPECT_TRUE(receive(model, define).taken);
  EXPECT_TRUE(receive(model, link).taken);
  EXPECT_EQ(data.reports.Count(), kCount + 2);
  EXPECT_EQ(data.events.FindCeid(kStep)->reports.size(), 2U);
  EXPECT_TRUE(receive(model, undefine).taken);
  EXPECT_EQ(data.reports.Count(), 2U);
  EXPECT_THAT(data.events.FindCeid(kStep)->reports, ElementsAre(1));
}

TEST_F(EventModel, IgnoresWhatIsNotVerified) {
  for (const auto result : {VerificationUserDefined, VerificationIncorrect,
                            VerificationIncorrectAndReply, VerificationWrongDirection}) {
    CHSecsVerifier slot;
    slot.message.SetFromSml("s2f33w{<u4 1>{}}");
    slot.result = result;
    EXPECT_FALSE(model.OnReceive(slot));
  }
  EXPECT_EQ(data.reports.Count(), 2U);
}

TEST_F(EventModel, ShowsItsLists) {
  TreeView tree;
  model.addStatus(tree.add("root"));
  const std::string text = toText(tree);
  EXPECT_EQ(text.substr(0, text.find("    VIDs")), "root\n"
                                                   "  Event\n"
                                                   "    CEIDs (3)\n"
                                                   "      10 : event\n"
                                                   "        2\n"
                                                   "        1\n"
                                                   "      11 : event\n"
                                                   "      12 : event\n"
                                                   "    Reports (2)\n"
                                                   "      1 : first\n"
                                                   "        1\n"
                                                   "        5\n"
                                                   "      2 : \n"
                                                   "        3\n");
  EXPECT_THAT(data.events.view().rows, ElementsAre(ElementsAre("10", "Yes", "event", "", "2, 1"),
                                                   ElementsAre("11", "Yes", "event", "1", ""),
                                                   ElementsAre("12", "", "event", "", "")));
  EXPECT_THAT(data.reports.view().rows,
              ElementsAre(ElementsAre("1", "1, 5", "first"), ElementsAre("2", "3", "")));
}

} // namespace
} // namespace velto
