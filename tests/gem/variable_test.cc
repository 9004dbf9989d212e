#include "gem/data/variable_list.h"

#include "base/text.h"
#include "secs2/support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velto {
namespace {

using testing::ElementsAre;

CHGemEventVid variable(uint32_t vid, uint8_t kind = StatusVariable, uint8_t role = kNoRole) {
  CHGemEventVid made;
  made.vid = vid;
  made.kind = kind;
  made.role = role;
  return made;
}

std::string hexOf(CHSecsItem item) {
  CHSecsMessage message;
  message.root = std::move(item);
  return bodyHex(message);
}

CHSecsItem reported(const CHGemEventVid &variable) { return ReportedValues().item(variable); }

TEST(Variable, SetsItsValueAsAnItemOfItsType) {
  static const struct {
    uint8_t type;
    const char *text;
    const char *raw;
    const char *value;
  } kCases[] = {
      {SecsList, "<u1 1> <u1 2>", "{ <u1 1> <u1 2>}", ""},
      {SecsBinary, "1 255", "<b 1 255>", "1 255"},
      {SecsBoolean, "true", "<bool true>", "1"},
      {SecsAscii, "abc", "<a'abc'>", "abc"},
      {SecsAscii, "", "<a''>", ""},
      {SecsJis, "abc", "<j'abc'>", "abc"},
      {SecsAscii2, "abc", "<a2'abc'>", "abc"},
      {SecsLong8, "-9223372036854775808", "<i8 -9223372036854775808>", "-9223372036854775808"},
      {SecsChar, "-1", "<i1 -1>", "-1"},
      {SecsFloat, "1.5", "<f4 1.5>", "1.500000"},
      {SecsDWord, "4294967295", "<u4 4294967295>", "4294967295"},
      {SecsDWord, "", "<u4 >", ""},
      // What SML does not take as a number becomes one number.
      {SecsDWord, "abc", "<u4 0>", "0"},
      {SecsDWord, "12.7", "<u4 12>", "12"},
      {SecsDWord8, "+7 items", "<u8 7>", "7"},
      {SecsWord, "1> <u2 2", "<u2 1>", "1"},
      {SecsDouble, "1e3", "<f8 1000.000000>", "1000.000000"},
      // Of what SML takes beside numbers nothing is kept.
      {SecsDWord, "5> /* x */", "<u4 5>", "5"},
      {SecsDWord, "5> // x", "<u4 5>", "5"},
      {SecsDWord, "5  [2]\t6 /* x */", "<u4 5 6>", "5 6"},
      {SecsDWord, "0000000000000000000000000000000005", "<u4 5>", "5"},
      {SecsFloat, "-0.000001  1.5", "<f4 -0.000001 1.500000>", "-0.000001 1.500000"},
      {SecsList, "", "{ }", ""},
      // Bytes have no sign, Boolean is true but for 0.
      {SecsBoolean, "-1", "<bool 255>", "-1"},
      {SecsBoolean, "-1 true 0", "<bool 255 1 0>", "-1 1 0"},
      {SecsBinary, "1 -1", "<b 1 -1>", "1 0"},
      {SecsByte, "-1", "<u1 -1>", "0"},
      {SecsWord, "-1", "<u2 -1>", "0"},
      // Whole numbers of any size.
      {SecsDouble, "18446744073709551615", "<f8 18446744073709551615.0>",
       "18446744073709551616.000000"},
      {SecsDouble, "1  -9223372036854775809", "<f8 1.000000 -9223372036854775808.000000>",
       "1.000000 -9223372036854775808.000000"},
      {SecsFloat, "9223372036854775808", "<f4 9223372036854775808.0>",
       "9223372036854775808.000000"},
      {SecsDWord8, "18446744073709551615", "<u8 18446744073709551615>", "18446744073709551615"},
      // What is not finite.
      {SecsDouble, "nan", "<f8 0>", "0.000000"},
      {SecsDouble, "-inf", "<f8 0>", "0.000000"},
      {SecsFloat, "2.5 1.0e39", "<f4 2.500000 0>", "2.500000 0.000000"},
      // Types that there are none of.
      {SecsInvalid, "5", "<u4 0>", "0"},
      {17, "5", "<u4 0>", "0"},
  };
  for (const auto &row : kCases) {
    CHGemEventVid tested;
    tested.nodeType = row.type;
    EXPECT_TRUE(tested.SetValue(row.text));
    EXPECT_EQ(tested.rawValue(), row.raw);
    EXPECT_EQ(tested.GetValue(), row.value) << row.raw;
  }
}

TEST(Variable, KeepsEveryByteOfAText) {
  std::string text = "it's <a'x'> // * /* {";
  for (int c = 1; c < 256; ++c)
    text += static_cast<char>(c);
  CHGemEventVid tested;
  tested.nodeType = SecsAscii;
  tested.SetValue(text);
  tested.setDefaultValue(text);
  EXPECT_EQ(tested.GetValue(), text);
  EXPECT_EQ(tested.FormatBound(Bound::Default), tested.rawValue());
}

TEST(Variable, KeepsItsOtherTextsWhenOneChanges) {
  CHGemEventVid tested;
  for (const size_t size : {3UL, 0UL, 254UL, 255UL, 65533UL, 65534UL, 65535UL, 3UL}) {
    const std::string text(size, 'd');
    tested.setMaximum("9");
    tested.setDescription(text);
    tested.setUnit(tested.maximum()); // one of its own
    EXPECT_EQ(tested.description(), text);
    EXPECT_EQ(tested.unit(), "9");
    EXPECT_EQ(tested.minimum(), "");
    EXPECT_EQ(tested.rawValue(), "<u4 0>");
  }
  CHGemEventVid taken = std::move(tested);
  EXPECT_EQ(taken.unit(), "9");
  tested = taken;
  taken.setUnit("s");
  EXPECT_EQ(tested.unit(), "9");
  EXPECT_FALSE(tested == taken);
}

TEST(Variable, ReportsAnEmptyListForWhatIsNoItem) {
  CHGemEventVid tested;
  for (const char *raw : {"", "garbage", "<u4 abc>", "<u4 1> <u4 2>", "s1f1", "{<u4 1>", "}{"}) {
    tested.setRawValue(raw);
    EXPECT_EQ(tested.GetValue(), "") << raw;
    EXPECT_EQ(hexOf(reported(tested)), "0100") << raw;
  }
}

TEST(Variable, ReportsItsValueOfNow) {
  CHGemEventVid tested;
  const std::string longText(5000, 'x');
  for (const std::string &raw :
       {std::string("<u4 1>"), std::string("<u4 2>"), std::string("{<b 1>{}}"),
        "<a'" + longText + "'>", std::string("<a'x'>"), std::string("<u4 2>")}) {
    tested.setRawValue(raw);
    EXPECT_EQ(hexOf(reported(tested)), bodyHex(raw));
    EXPECT_EQ(hexOf(reported(tested)), bodyHex(raw));
  }
  CHGemEventVid copy = tested;
  copy.setRawValue("<u4 3>");
  EXPECT_EQ(hexOf(reported(copy)), bodyHex("<u4 3>"));
  EXPECT_EQ(hexOf(reported(tested)), bodyHex("<u4 2>"));
}

TEST(Variable, ComparesWithItsBoundsAsItsTypeAsks) {
  static const struct {
    uint8_t type;
    const char *minimum;
    const char *maximum;
    std::vector<const char *> inside;
    std::vector<const char *> outside;
  } kCases[] = {
      {SecsDWord,
       "10",
       "20",
       {"10", "20", "15 19", "0x0f"},
       {"9", "21", "-1", "abc", "", "15 21", "15 0x15"}},
      {SecsDWord, "10", "", {"10", "4294967295"}, {"9"}},
      {SecsChar, "-5", "-1", {"-5", "-1"}, {"-6", "0"}},
      {SecsDWord8,
       "0",
       "9223372036854775807",
       {"9223372036854775807"},
       {"9223372036854775808", "-1"}},
      {SecsDWord8,
       "9223372036854775809",
       "18446744073709551614",
       {"9223372036854775809", "18446744073709551614"},
       {"9223372036854775808", "18446744073709551615", "-1"}},
      {SecsLong8,
       "-9223372036854775808",
       "-2",
       {"-9223372036854775808", "-2"},
       {"-1", "0", "9223372036854775807"}},
      {SecsFloat, "-1.5", "", {"-1.5", "7", "7 8"}, {"-1.6", "nan", "inf", "7 -1.6"}},
      {SecsFloat, "", "", {"1e38", "", "abc"}, {"1e39", "1 2 nan"}},
      {SecsDouble, "", "1e3", {"1000", "-1e300"}, {"1000.5", "nan", "-inf", "-1e999"}},
      {SecsBinary, "1", "255", {"1", "255"}, {"0", "-1"}}, // -1 is a large unsigned number
      {SecsBoolean, "0", "1", {"0", "1"}, {"-1"}},
      {SecsAscii, "b", "c", {"a", "d", ""}, {}},
      {SecsList, "1", "1", {"9"}, {}},
      {SecsInvalid, "1", "1", {"9"}, {}},
  };
  for (const auto &row : kCases) {
    CHGemEventVid tested;
    tested.nodeType = row.type;
    tested.setMinimum(row.minimum);
    tested.setMaximum(row.maximum);
    for (const char *text : row.inside)
      EXPECT_TRUE(tested.IsInRange(text)) << int(row.type) << " " << text;
    for (const char *text : row.outside)
      EXPECT_FALSE(tested.IsInRange(text)) << int(row.type) << " " << text;
  }
  CHGemEventVid text;
  text.nodeType = SecsAscii;
  EXPECT_FALSE(text.IsInRange(std::string_view("a\0b", 3))) << "no text in SML holds it";
}

TEST(Variable, StatesBoundsAsItemsOfItsType) {
  static const struct {
    uint8_t type;
    const char *bound;
    const char *sml;
  } kCases[] = {
      {SecsDWord, "", "<u4 >"},
      {SecsDWord, "10.9", "<u4 10>"},
      {SecsByte, "300", "<u1 44>"},
      {SecsByte, "-1", "<u1 255>"},
      {SecsBinary, "-1", "<b 255>"},
      {SecsBoolean, "-1", "<bool 255>"},
      {SecsDouble, "nan", "<f8 0>"},
      {SecsFloat, "1.5", "<f4 1.500000>"},
      {SecsDWord8, "18446744073709551615", "<u8 18446744073709551615>"},
      {SecsAscii, "it's", "<a'it' 0x27 's'>"},
      {SecsList, "<u4 1>", "{ }"},
      {17, "1", ""},
  };
  for (const auto &row : kCases) {
    CHGemEventVid tested;
    tested.nodeType = row.type;
    tested.setMaximum(row.bound);
    tested.setMinimum("7");
    tested.setDefaultValue("7");
    EXPECT_EQ(tested.FormatBound(Bound::Maximum), row.sml);
  }
}

TEST(VariableList, KeepsTheOrderOfNumbers) {
  CHGemEventVidList list;
  EXPECT_EQ(list.nextFree(), 1U);
  for (const uint32_t vid : {7U, 3U, 5U})
    list.Add(variable(vid));
  const auto numbers = [&list] {
    std::vector<int32_t> found;
    for (int32_t i = -1; i < 4; ++i)
      found.push_back(list.numberAt(i));
    return found;
  };
  EXPECT_THAT(numbers(), ElementsAre(-1, 3, 5, 7, -1));
  EXPECT_EQ(list.nextFree(), 8U);
  const CHGemEventVid *last = list.FindVid(7);
  list.FindVid(5)->setUnit("s");
  EXPECT_TRUE(list.Remove(5));
  EXPECT_FALSE(list.Remove(5));
  EXPECT_THAT(numbers(), ElementsAre(-1, 3, 7, -1, -1));
  list.Add(variable(4)).setUnit("m");
  EXPECT_EQ(list.Append().unit(), "") << "nothing of the one that was removed";
  EXPECT_EQ(list.FindVid(7), last) << "it stays where it is";
}

TEST(VariableList, SortsWhatWasAppended) {
  CHGemEventVidList list;
  for (const uint32_t vid : {7U, 3U, 5U})
    list.Append(variable(vid, StatusVariable, static_cast<uint8_t>(vid)));
  EXPECT_TRUE(list.Sort());
  EXPECT_EQ(list.numberAt(0), 3);
  EXPECT_EQ(list.FindVid(7), &list.at(2));
  EXPECT_EQ(list.FindByRole(5), &list.at(1));
  list.Append(variable(5, StatusVariable, 9));
  EXPECT_FALSE(list.Sort());
  EXPECT_EQ(list.FindByRole(9), &list.at(2));
}

TEST(VariableList, FindsByNumberAndKind) {
  CHGemEventVidList list;
  list.Add(variable(3, StatusVariable));
  list.Add(variable(3, EquipmentConstant)); // as only a data file may have it
  list.Add(variable(4, DataVariable));
  EXPECT_EQ(list.FindVid(3), &list.at(0));
  EXPECT_EQ(list.FindVid(3, EquipmentConstant), &list.at(1));
  EXPECT_EQ(list.FindVid(4, EquipmentConstant | StatusVariable), nullptr);
  EXPECT_EQ(list.FindVid(5), nullptr);
}

static_assert(!std::is_copy_constructible_v<CHGemEventVidList>, "copies are made by CopyFrom()");

TEST(VariableList, FindsRolesWhateverChanges) {
  CHGemEventVidList list;
  const auto holder = [&list](uint8_t role) {
    const CHGemEventVid *found = list.FindByRole(role);
    return found == nullptr ? 0 : found->vid;
  };
  EXPECT_EQ(holder(RoleControlState), 0U);
  list.Add(variable(5, StatusVariable, RoleControlState));
  EXPECT_EQ(holder(RoleControlState), 5U);
  list.Add(variable(3, StatusVariable, RoleControlState));
  EXPECT_EQ(holder(RoleControlState), 3U) << "the first one";
  list.Add(variable(4));
  list.Remove(3);
  EXPECT_EQ(holder(RoleControlState), 5U);
  list.SetRole(*list.FindVid(4), RoleControlState);
  EXPECT_EQ(holder(RoleControlState), 4U);
  EXPECT_EQ(list.FindVid(5)->role, kNoRole) << "a role has one holder";
  EXPECT_EQ(holder(kNoRole), 0U);

  CHGemEventVidList copy;
  copy.Add(variable(9, StatusVariable, RoleTimeFormat));
  EXPECT_EQ(copy.FindByRole(RoleTimeFormat)->vid, 9U);
  copy.CopyFrom(list);
  EXPECT_TRUE(copy == list);
  EXPECT_EQ(copy.FindByRole(RoleControlState), copy.FindVid(4));
  EXPECT_EQ(copy.FindByRole(RoleTimeFormat), nullptr);
  copy.FindVid(4)->setUnit("s");
  EXPECT_FALSE(copy == list);
  const CHGemEventVidList taken = std::move(list);
  EXPECT_EQ(holder(RoleControlState), 0U);
  EXPECT_EQ(taken.FindByRole(RoleControlState), taken.FindVid(4));
  list = std::move(copy);
  EXPECT_EQ(holder(RoleControlState), 4U);
  list.Clear();
  EXPECT_EQ(holder(RoleControlState), 0U);
}

TEST(VariableList, ShowsItsVariables) {
  CHGemEventVidList list;
  CHGemEventVid pressure = variable(1, EquipmentConstant, RoleTimeFormat);
  pressure.setMinimum("10");
  pressure.setMaximum("20");
  pressure.setDefaultValue("15");
  pressure.setUnit("mTorr");
  pressure.setDescription("Pressure");
  list.Add(pressure);
  pressure.vid = 2;
  pressure.kind = DataVariable;
  pressure.nodeType = SecsLong8;
  list.Add(pressure);
  pressure.vid = 3;
  pressure.kind = 8;
  pressure.nodeType = 99;
  list.Add(pressure);

  const ListView view = list.view();
  EXPECT_THAT(view.columns, ElementsAre("VID", "ID Type", "Type", "Min", "Max", "Default", "Unit",
                                        "Description", "SML", "Definition"));
  EXPECT_THAT(view.rows[0], ElementsAre("1", "ECID", "DWORD", "10", "20", "15", "mTorr", "Pressure",
                                        "<u4 0>", "12"));
  EXPECT_THAT(view.rows[1], testing::Contains("I8"));
  EXPECT_THAT(view.rows[2], testing::Contains("Unknown").Times(2));

  TreeView tree;
  list.addStatus(tree.add("root"));
  EXPECT_EQ(toText(tree), "root\n"
                          "  VIDs (3)\n"
                          "    1 : EC 0 [mTorr] 'Pressure' (min=10, max=20, default=15)  <u4 0>\n"
                          "    2 : DV 'Pressure'  <u4 0>\n"
                          "    3 : 'Pressure'  <u4 0>\n");
}

TEST(Roles, AreNamed) {
  EXPECT_EQ(findRole(variableRoleNames(), "SpoolStartTime"), 26);
  EXPECT_EQ(findRole(eventRoleNames(), "RecipeUploadFailed"), 24);
  EXPECT_EQ(findRole(eventRoleNames(), "recipeuploadfailed"), std::nullopt);
}

} // namespace
} // namespace velto
