#include "gem/models/alarm_model.h"

#include "gem/receive.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velto {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Alarms 5 (category 2), 7 (registered set) and 9 (disabled).
class AlarmModel : public testing::Test {
protected:
  AlarmModel() {
    model.RegisterALID(7, 0x84, "Chiller's flow");
    model.RegisterALID(5, 2, "Door open");
    model.RegisterALID(9, 1, "");
    data.alarms.FindAlid(9)->enable = false;
    model.clearModified();
  }

  std::vector<uint32_t> enabled() const {
    std::vector<uint32_t> alids;
    for (size_t i = 0; i < data.alarms.Count(); ++i)
      if (data.alarms.at(i).enable)
        alids.push_back(data.alarms.at(i).alid);
    return alids;
  }

  FakeOwner owner;
  GemData &data = owner.data;
  CHGemAlarmModel model{owner, data};
};

TEST_F(AlarmModel, ReportsChangesOfState) {
  const auto report = [](const char *sml) { return "send " + FakeOwner::oneLine(fromSml(sml)); };
  static const struct {
    uint32_t alid;
    uint8_t alcd;
    const char *sml; ///< null: refused
  } kCases[] = {
      {5, 0, nullptr},   {5, 128, "s5f1w{<b 130><u4 5><a'Door open'>}"},
      {5, 129, nullptr}, {5, 3, "s5f1w{<b 2><u4 5><a'Door open'>}"}, // with the registered category
      {7, 255, nullptr}, {7, 0, "s5f1w{<b 4><u4 7><a'Chiller' 0x27 's flow'>}"},
      {9, 128, nullptr}, {6, 128, nullptr},
  };
  for (const auto &row : kCases) {
    SCOPED_TRACE(std::to_string(row.alid) + " " + std::to_string(row.alcd));
    model.clearModified();
    EXPECT_EQ(model.InvokeAlarm(row.alid, row.alcd), row.sml != nullptr);
    EXPECT_EQ(model.modified(), row.sml != nullptr);
    if (row.sml != nullptr)
      EXPECT_THAT(owner.take(), ElementsAre(report(row.sml)));
    else
      EXPECT_THAT(owner.take(), IsEmpty());
  }
  EXPECT_FALSE(data.alarms.FindAlid(9)->isSet());
}

TEST_F(AlarmModel, SurvivesHostCodeThatEmptiesTheListWhileReporting) {
  owner.onNote = [this](const std::string &) { model.Reset(); };
  EXPECT_TRUE(model.InvokeAlarm(5, 128));
  EXPECT_EQ(data.alarms.Count(), 0U);
}

TEST_F(AlarmModel, EnablesAllOrNone) {
  static const struct {
    const char *request;
    Answer answer;
    std::vector<uint32_t> enabled;
    E5Edition edition = E5Edition::Early;
  } kCases[] = {
      {"s5f3w{<b 128><u4 9 99>}", notTaken("s5f4<b 1>"), {5, 7}},
      {"s5f3w{<b 0><u4 99>}", notTaken("s5f4<b 1>"), {5, 7}},
      {"s5f3w{<b 255><u1 9>}", taken("s5f4<b 0>"), {5, 7, 9}},
      {"s5f3w{<b 127><i2 5 9>}", taken("s5f4<b 0>"), {7}},
      {"s5f3w{<b 128><u4>}", taken("s5f4<b 0>"), {5, 7, 9}},
      {"s5f3w{<b 0><u4>}", taken("s5f4<b 0>"), {}},
      {"s5f3w{<b 128><u8 4294967301>}", notTaken("s5f4<b 1>"), {}, E5Edition::Current},
      {"s5f3w{<b 128><u8 5>}", taken("s5f4<b 0>"), {5}, E5Edition::Current},
      {"s5f3w{<b 128><u8 4294967303>}", taken("s5f4<b 0>"), {5, 7}},
  };
  for (const auto &row : kCases) {
    model.clearModified();
    data.edition = row.edition;
    EXPECT_EQ(receive(model, row.request, row.edition), row.answer) << row.request;
    EXPECT_EQ(enabled(), row.enabled) << row.request;
    EXPECT_EQ(model.modified(), row.answer.taken);
  }
}

TEST_F(AlarmModel, ListsAlarms) {
  const std::string five = "{<b 2><u4 5><a'Door open'>}";
  const std::string seven = "{<b 132><u4 7><a'Chiller' 0x27 's flow'>}";
  const std::string nine = "{<b 1><u4 9><a>}";
  EXPECT_EQ(receive(model, "s5f5w<u4>"), taken("s5f6{" + five + seven + nine + "}"));
  EXPECT_EQ(receive(model, "s5f5w<u2 9 99 5>"),
            taken("s5f6{" + nine + "{<b><u4 99><a>}" + five + "}"));
  EXPECT_EQ(receive(model, "s5f7w"), taken("s5f8{" + five + seven + "}"));
  EXPECT_EQ(receive(model, "s1f3w{}"), notTaken("s1f4{}"));
  EXPECT_FALSE(model.modified());
}

TEST_F(AlarmModel, RegistersAndRemoves) {
  EXPECT_FALSE(model.RegisterALID(5, 0, "again"));
  EXPECT_FALSE(model.UnregisterALID(6));
  EXPECT_FALSE(model.modified());
  EXPECT_TRUE(model.UnregisterALID(5));
  EXPECT_TRUE(model.modified());
  EXPECT_EQ(data.alarms.numberAt(0), 7);
}

TEST_F(AlarmModel, ShowsItsAlarms) {
  TreeView tree;
  model.addStatus(tree.add("root"));
  EXPECT_EQ(toText(tree), "root\n"
                          "  Alarms (3)\n"
                          "    5 : Door open\n"
                          "    7 : Chiller's flow\n"
                          "    9 : \n");
  EXPECT_EQ(tree.roots[0].children[0].children[0].image, 1);
  EXPECT_EQ(tree.roots[0].children[0].children[2].image, 0);
  EXPECT_THAT(data.alarms.view().rows,
              ElementsAre(ElementsAre("5", "", "2", "Yes", "Door open"),
                          ElementsAre("7", "Set", "4", "Yes", "Chiller's flow"),
                          ElementsAre("9", "", "1", "", "")));
}

} // namespace
} // namespace velto
