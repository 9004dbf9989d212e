// What the pages of the Gem control's setup sheet show, and their dialogs.
#include "controls/pages.h"

#include "gem/data/roles.h"

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
          "Model: GEM Object Model=true|Role=Equipment",
          "HSMS: Server=false|IP Address=10.0.0.7|Port Number=5001|My Port Number=0|Device ID=0|"
          "Discard Duplicated Block=true",
          "Timeout: T3 (s)=45|T5 (s)=10|T6 (s)=5|T7 (s)=10|T8 (s)=5",
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

// What each step on a list page shows, and the rows that are left; the selected one is marked.
TEST_F(SetupPages, AddEditAndDeleteRows) {
  using Values = SetupOperator::Values;
  struct Step {
    enum { Add, Edit, Remove, RefuseRemove } action;
    size_t row;
    std::vector<Values> dialogs;
    std::vector<std::string> seen;
    const char *rows;
  };
  const struct {
    int32_t page;
    std::vector<Step> steps;
  } cases[] = {
      {AlarmPage,
       {{Step::Add,
         0,
         {{{"ALID", "5"}, {"Text", "Door"}}, {{"ALID", "3"}, {"Code", "256"}}, {{"ALCD", "7"}}},
         {"dialog: ALID#=7|Enable=true|Code=0|Text=",
          "stop Error: ALID #5 has already been registered.",
          "stop Error: Code takes a number from 0 to 255, not \"256\"."},
         ">3,Yes,7,Door 5,Yes,5,Hot 6,Yes,6,Cold"},
        {Step::Edit,
         1,
         {{{"Enable", "false"}, {"Text", "Hotter"}}},
         {"dialog: ALID#=5|Enable=true|Code=5|Text=Hot"},
         "3,Yes,7,Door >5,,5,Hotter 6,Yes,6,Cold"},
        {Step::Edit,
         1,
         {{{"ALID", "4294967295"}, {"Code", "133"}}},
         {"dialog: ALID#=5|Enable=false|Code=5|Text=Hotter"},
         "3,Yes,7,Door 5,,5,Hotter 6,Yes,6,Cold >4294967295,,133,Hotter"},
        {Step::Edit,
         2,
         {{{"ALID", "4294967295"}}},
         {"dialog: ALID#=6|Enable=true|Code=6|Text=Cold",
          "stop Error: ALID #4294967295 has already been registered."},
         "3,Yes,7,Door 5,,5,Hotter >6,Yes,6,Cold 4294967295,,133,Hotter"},
        {Step::Add,
         0,
         {},
         {"dialog: ALID#=0|Enable=true|Code=0|Text="},
         "3,Yes,7,Door 5,,5,Hotter >6,Yes,6,Cold 4294967295,,133,Hotter"},
        {Step::RefuseRemove,
         3,
         {},
         {"question Confirmation (OK, Cancel): Are you sure to delete ALID #4294967295(Hotter)?"},
         "3,Yes,7,Door 5,,5,Hotter 6,Yes,6,Cold >4294967295,,133,Hotter"},
        {Step::Remove,
         3,
         {},
         {"question Confirmation (OK, Cancel): Are you sure to delete ALID #4294967295(Hotter)?"},
         "3,Yes,7,Door 5,,5,Hotter >6,Yes,6,Cold"},
        {Step::Edit,
         0,
         {{{"Text", ""}}},
         {"dialog: ALID#=3|Enable=true|Code=7|Text=Door"},
         ">3,Yes,7, 5,,5,Hotter 6,Yes,6,Cold"},
        {Step::Remove,
         0,
         {},
         {"question Confirmation (OK, Cancel): Are you sure to delete ALID #3?"},
         ">5,,5,Hotter 6,Yes,6,Cold"}}},
      {EventPage,
       {{Step::Edit,
         0,
         {{{"CEID", "9"}, {"Description", ""}}},
         {"dialog: CEID#=7|Enable=true|Description=Done"},
         "7,Yes,Done,1 8,Yes,Gone, >9,Yes,,"},
        {Step::Add,
         0,
         {{{"CEID", "9"}}},
         {"dialog: CEID#=10|Enable=true|Description=",
          "stop Error: CEID #9 has already been registered."},
         "7,Yes,Done,1 8,Yes,Gone, >9,Yes,,"},
        {Step::Edit,
         1,
         {{{"CEID", "7"}}},
         {"dialog: CEID#=8|Enable=true|Description=Gone",
          "stop Error: CEID #7 has already been registered."},
         "7,Yes,Done,1 >8,Yes,Gone, 9,Yes,,"},
        {Step::Remove,
         2,
         {},
         {"question Confirmation (OK, Cancel): Are you sure to delete CEID #9?"},
         "7,Yes,Done,1 >8,Yes,Gone,"},
        {Step::Remove,
         0,
         {},
         {"question Confirmation (OK, Cancel): Are you sure to delete CEID #7(Done)?"},
         ">8,Yes,Gone,"},
        {Step::Remove,
         0,
         {},
         {"question Confirmation (OK, Cancel): Are you sure to delete CEID #8(Gone)?"},
         ""},
        {Step::Add, 0, {{}}, {"dialog: CEID#=1|Enable=true|Description="}, ">1,Yes,,"}}},
      {VariablePage,
       {{Step::Add,
         0,
         {{{"VID", "3"}, {"Type", "ECID"}, {"Node", "Ascii"}, {"Unit", "K"}},
          {{"VID", "9"}, {"Value", "<a 'x"}},
          {{"Value", "<a'x'>"}, {"Default", "x"}}},
         {"dialog: VID#=5|Type=SVID|Node=DWORD|Description=|Minimum=|Maximum=|Default=|Unit=|"
          "Value=<u4 0>",
          "stop Error: VID #3 has already been registered.",
          "stop Error: Value takes the SML of one item, not \"<a 'x\"."},
         "1,SVID,BYTE,State,, 2,SVID,DWORD,Position,,mm 3,ECID,DWORD,,, 4,DVID,Ascii,,, "
         ">9,ECID,Ascii,,x,K"},
        {Step::Edit,
         2,
         {{{"VID", "4"}}},
         {"dialog: VID#=3|Type=ECID|Node=DWORD|Description=|Minimum=10|Maximum=20|Default=|Unit=|"
          "Value=<u4 15>",
          "stop Error: VID #4 has already been registered."},
         "1,SVID,BYTE,State,, 2,SVID,DWORD,Position,,mm >3,ECID,DWORD,,, 4,DVID,Ascii,,, "
         "9,ECID,Ascii,,x,K"},
        {Step::Remove,
         0,
         {},
         {"question Confirmation (OK, Cancel): Are you sure to delete VID #1(State)?"},
         ">2,SVID,DWORD,Position,,mm 3,ECID,DWORD,,, 4,DVID,Ascii,,, 9,ECID,Ascii,,x,K"},
        {Step::Remove,
         1,
         {},
         {"question Confirmation (OK, Cancel): Are you sure to delete VID #3?"},
         "2,SVID,DWORD,Position,,mm >4,DVID,Ascii,,, 9,ECID,Ascii,,x,K"}}},
  };
  for (const auto &c : cases) {
    front.onSheet = [&](PropertySheet &sheet) {
      PageList &shown = list(sheet);
      for (const Step &step : c.steps) {
        front.seen.clear();
        front.dialogs.assign(step.dialogs.begin(), step.dialogs.end());
        if (step.action != Step::Add)
          shown.selected = step.row;
        front.confirms = step.action != Step::RefuseRemove;
        step.action == Step::Add    ? shown.add()
        : step.action == Step::Edit ? shown.edit(step.row)
                                    : shown.remove(step.row);
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
    EXPECT_FALSE(eq().Setup("", c.page)) << "cancelled";
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
