// What the pages of the Gem control's setup sheet show, and their dialogs.
#include "controls/pages.h"

#include "gem/data/roles.h"

#include <fstream>
#include <map>

namespace velto {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

TEST_F(SetupPages, StandInTheirOrderAndShowWhatTheyEdit) {
  eq().SetIPAddress("10.0.0.7");
  eq().SetLogFileName("./tool log");
  data().variables.FindVid(3)->role = RoleTimeFormat;
  CHGemEventVid last = *data().variables.FindVid(2);
  last.vid = 4294967295;
  data().variables.Add(last);
  data().control.initialState = ControlState::HostOffline;
  data().events.FindCeid(8)->role = RoleGoToLocal;
  data().events.FindCeid(8)->enable = false;
  eq().save();
  std::vector<std::string> pages;
  ASSERT_TRUE(setup(0xFFF, [&pages](PropertySheet &sheet) {
    for (const PropertyPage &page : sheet.pages)
      pages.push_back(page.title + ": " + SetupOperator::text(page));
  }));
  EXPECT_THAT(
      pages,
      ElementsAre(
          "Model: GEM Object Model=true|Role=Equipment|Edition=Early",
          "HSMS: Server=false|IP Address=10.0.0.7|Port Number=5001|My Port Number=0|Device ID=0|"
          "Discard Duplicated Block=true|Serial Port=com1|Baud Rate=9600|"
          "SECS-I Retry=3|Master (-1: equipment)=-1|Transport=HSMS",
          "Timeout: T3 (s)=45|T5 (s)=10|T6 (s)=5|T7 (s)=10|T8 (s)=5|Linktest Interval (s)=0|"
          "Keep-alive after (s)=10|Keep-alive Interval (s)=5|Keep-alive Count=3|Send Timeout "
          "(s)=30|SECS-I T1 (ms)=500|SECS-I T2 (ms)=10000|SECS-I T4 (ms)=45000",
          "Log: Log=false|Log Communication=true|File Name=./tool log|Size (KiB)=1024|Backups=1",
          "Revision: Model Name=ETCH-1|Software Revision=1.00",
          "State: Initial Communication State=Enabled|Establish Communications=true|"
          "Initial Control State=Off-line|On-line State=Remote|"
          "Initial Off-line State=Host off-line|When Going On-line Fails=Host off-line",
          AllOf(StartsWith("Predefined VID: Predefined VID Name|VID#|Description / AlarmID / "),
                HasSubstr(" / TimeFormat 3  / "), HasSubstr(" / ControlState 1 State / ")),
          AllOf(StartsWith("Predefined CEID: Predefined CEID Name|CEID#|Description / "
                           "OnlineToOffline / GoToLocal 8 Gone / GoToRemote / ")),
          "Clock: Change PC Clock=false|VID = #3 |Time Format=15",
          "CEID: CEID#|Enable|Description|Linked Report# / 7 Yes Done 1 / 8  Gone ",
          "VID: VID#|Type|Node|Description|Default|Unit / 1 SVID BYTE State   / "
          "2 SVID DWORD Position  mm / 3 ECID DWORD    / 4 DVID Ascii    / "
          "4294967295 SVID DWORD Position  mm",
          "ALID: ALID#|Enable|Code|Text / 5 Yes 5 Hot / 6 Yes 6 Cold"));
  EXPECT_FALSE(eq().modified()) << "nothing was changed";
}

TEST_F(SetupPages, ThatNeedAModelAreLeftOutWithoutOne) {
  eq().SetLogicalConnection(0);
  const struct {
    int32_t options;
    std::vector<std::string> titles;
  } rows[] = {
      {0xFFF, {"Model", "HSMS", "Timeout", "Log"}},
      {0x204, {"Timeout", "Log"}},
      {0xDF8, {}},
      {EventPage, {}},
      {0x1000, {}},
  };
  for (const auto &row : rows) {
    std::vector<std::string> titles;
    front.seen.clear();
    EXPECT_EQ(setup(row.options,
                    [&](PropertySheet &sheet) {
                      for (const PropertyPage &page : sheet.pages)
                        titles.push_back(page.title);
                      if (Field *t3 = sheet.find("T3")) {
                        EXPECT_EQ(t3->kind, Field::Kind::Label) << "there is none to set";
                      }
                    }),
              !row.titles.empty());
    EXPECT_EQ(titles, row.titles);
    EXPECT_EQ(front.seen.empty(), row.titles.empty());
  }
}

/// What the operator does on a list page, what he is shown, and the rows that are left.
struct Step {
  std::string action; ///< "add", "edit ROW", "remove ROW", "refuse ROW"
  std::vector<SetupOperator::Values> dialogs;
  std::vector<std::string> seen;
  std::string rows;
};

/// The steps of pages_steps.txt by page.
std::map<std::string, std::vector<Step>> readSteps() {
  std::ifstream file(VELTO_SOURCE_DIR "/tests/controls/pages_steps.txt");
  std::map<std::string, std::vector<Step>> pages;
  std::vector<Step> *steps = nullptr;
  for (std::string line; std::getline(file, line);) {
    const size_t blank = line.find(' ', 2);
    std::string rest = blank == std::string::npos ? "" : line.substr(blank + 1);
    if (line.starts_with('['))
      steps = &pages[line];
    else if (line.starts_with("  see"))
      steps->back().seen.push_back(rest);
    else if (line.starts_with("  rows"))
      steps->back().rows = rest;
    else if (line.starts_with("  type"))
      for (auto &values = steps->back().dialogs.emplace_back(); !rest.empty();) {
        const std::string field = rest.substr(0, rest.find(" | "));
        rest.erase(0, field.size() + 3);
        values.emplace_back(field.substr(0, field.find('=')), field.substr(field.find('=') + 1));
      }
    else if (!line.empty() && !line.starts_with('#'))
      steps->push_back({line, {}, {}, {}});
  }
  return pages;
}

TEST_F(SetupPages, AddEditAndDeleteRows) {
  auto pages = readSteps();
  for (const auto &[title, page] : {std::pair("[ALID]", AlarmPage), std::pair("[CEID]", EventPage),
                                    std::pair("[VID]", VariablePage)}) {
    EXPECT_FALSE(pages[title].empty());
    front.onSheet = [&, name = title](PropertySheet &sheet) {
      PageList &shown = list(sheet);
      for (const Step &step : pages[name]) {
        SCOPED_TRACE(name + step.action);
        const std::string action = step.action.substr(0, step.action.find(' '));
        const size_t row =
            action == "add" ? shown.selected : std::stoul(step.action.substr(action.size()));
        front.seen.clear();
        front.dialogs.assign(step.dialogs.begin(), step.dialogs.end());
        shown.selected = row;
        front.confirms = action != "refuse";
        action == "add" ? shown.add() : action == "edit" ? shown.edit(row) : shown.remove(row);
        std::string rows;
        for (size_t i = 0; i < shown.view.rows.size(); ++i) {
          rows += std::string(i == 0 ? "" : " ") + (i == shown.selected ? ">" : "");
          for (size_t cell = 0; cell < shown.view.rows[i].size(); ++cell)
            rows += (cell == 0 ? "" : ",") + shown.view.rows[i][cell];
        }
        EXPECT_EQ(front.seen, step.seen);
        EXPECT_EQ(rows, step.rows);
      }
      return false;
    };
    EXPECT_FALSE(eq().Setup("", page)) << "cancelled";
  }
  EXPECT_EQ(data().alarms.Count(), 2U) << "a cancelled sheet changes nothing";
  EXPECT_EQ(data().events.Count(), 2U);
  EXPECT_EQ(data().variables.Count(), 4U);
}

TEST_F(SetupPages, ARoleHasOneHolder) {
  data().variables.FindVid(2)->role = RoleTimeFormat;
  front.dialogs = {{{"VID", "2"}}, {{"VID#", "none"}}, {{"VID", "5"}}, {{"VID", "4"}}};
  const auto role = [](const char *name) {
    return static_cast<size_t>(*findRole(variableRoleNames(), name));
  };
  EXPECT_TRUE(setup(VariableRolePage, [&](PropertySheet &sheet) {
    PageList &roles = list(sheet);
    EXPECT_FALSE(roles.add);
    roles.edit(role("ControlState"));
    EXPECT_THAT(roles.view.rows[RoleControlState], ElementsAre("ControlState", "2", "Position"));
    EXPECT_THAT(roles.view.rows[RoleTimeFormat], ElementsAre("TimeFormat"))
        << "a variable has one role";
    EXPECT_EQ(roles.selected, role("ControlState"));
    roles.edit(role("ControlState"));
    EXPECT_THAT(roles.view.rows[RoleControlState], ElementsAre("ControlState"));
    roles.edit(role("Clock"));
    EXPECT_THAT(roles.view.rows[role("Clock")], ElementsAre("Clock", "4", ""));
    roles.remove(role("Clock"));
    front.dialogs = {{{"VID", "3"}}};
    roles.edit(role("ControlState"));
  }));
  EXPECT_THAT(front.seen, ElementsAre("sheet: VeltoGem Setup", "dialog: VID#=1", "dialog: VID#=2",
                                      "dialog: VID#=none",
                                      "stop Error: VID# takes none, 1, 2, 3 or 4, not \"5\".",
                                      "dialog: VID#=none"));
  EXPECT_EQ(data().variables.FindByRole(RoleControlState)->vid, 3U);
  EXPECT_EQ(data().variables.FindByRole(RoleTimeFormat), nullptr);
  EXPECT_EQ(data().variables.FindVid(4)->role, kNoRole);
  EXPECT_EQ(data().variables.FindVid(1)->role, kNoRole);

  data().events.FindCeid(7)->role = RoleGoToLocal;
  front.dialogs = {{{"CEID", "8"}}};
  EXPECT_TRUE(setup(EventRolePage, [](PropertySheet &sheet) { list(sheet).edit(RoleGoToLocal); }));
  EXPECT_EQ(data().events.FindByRole(RoleGoToLocal)->ceid, 8U);
  EXPECT_EQ(data().events.FindCeid(7)->role, kNoRole);
  EXPECT_EQ(data().reports.Count(), 1U) << "neither list was on the sheet";
}

TEST_F(SetupPages, TheClockPageFollowsTheVariableOfTheTimeFormat) {
  setup(ClockPage | VariableRolePage, [&](PropertySheet &sheet) {
    Field &format = *sheet.find("TimeFormat");
    const Field &label = *sheet.find("VID");
    EXPECT_EQ(label.label, "VID = none");
    EXPECT_EQ(format.value, "1");
    EXPECT_EQ(format.kind, Field::Kind::Label) << "there is nothing to set";
    data().variables.FindVid(3)->SetValue("0"); // the copy is not touched
    front.dialogs = {{{"VID", "3"}}};
    list(sheet).edit(RoleTimeFormat);
    EXPECT_EQ(label.label, "VID = #3");
    EXPECT_EQ(format.value, "15");
    format.value = "2";
    list(sheet).remove(RoleControlState);
    EXPECT_EQ(format.value, "2") << "typed";
    front.dialogs = {{{"VID", "2"}}};
    list(sheet).edit(RoleTimeFormat);
    EXPECT_EQ(format.value, "7") << "another variable";
    format.value = "0";
    sheet.find("ChangePCClock")->value = "true";
  });
  EXPECT_EQ(eq().VIDRawValue(2), "<u4 0>");
  EXPECT_EQ(eq().VIDRawValue(3), "<u4 0>");
  EXPECT_TRUE(data().changePCClock);
  EXPECT_FALSE(type(ClockPage, "TimeFormat", "3"));
  EXPECT_EQ(front.seen.back(), "stop Error: Time Format takes 0, 1 or 2, not \"3\".");
}

} // namespace
} // namespace velto
