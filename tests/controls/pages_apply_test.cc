// How an accepted setup sheet is applied, and what may happen while it is open.
#include "controls/pages.h"

#include "gem/data/data_file.h"

namespace velto {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST_F(SetupPages, PropertiesTakeWhatTheirFieldsCanHold) {
  const struct {
    int32_t page;
    const char *property;
    const char *typed;
    const char *value;     // of the property afterwards
    const char *says = ""; // when the field cannot hold it
  } rows[] = {
      {HsmsPage, "Server", "true", "true"},
      {HsmsPage, "IPAddress", "192.168.0.9", "192.168.0.9"},
      {HsmsPage, "IPAddress", "192.168. 0.9", "192.168.0.9",
       "IP Address takes a text without blanks, not \"192.168. 0.9\"."},
      {HsmsPage, "PortNumber", "65535", "65535"},
      {HsmsPage, "PortNumber", "65536", "65535",
       "Port Number takes a number from 0 to 65535, not \"65536\"."},
      {HsmsPage, "PortNumber", "5o00", "65535",
       "Port Number takes a number from 0 to 65535, not \"5o00\"."},
      {HsmsPage, "MyPortNumber", "7", "7"},
      {HsmsPage, "DeviceID", "32767", "32767"},
      {HsmsPage, "DeviceID", "-1", "32767",
       "Device ID takes a number from 0 to 65535, not \"-1\"."},
      {HsmsPage, "DiscardDuplicatedBlock", "false", "false"},
      {TimeoutPage, "T3", "120", "120"},
      {TimeoutPage, "T3", "2147484", "120",
       "T3 (s) takes a number from 0 to 2147483, not \"2147484\"."},
      {TimeoutPage, "T5", "1", "1"},
      {TimeoutPage, "T6", "2", "2"},
      {TimeoutPage, "T7", "3", "3"},
      {TimeoutPage, "T8", "4", "4"},
      {TimeoutPage, "LinktestInterval", "60", "60"},
      {TimeoutPage, "KeepAliveIdle", "0", "0"},
      {TimeoutPage, "SendTimeout", "90", "90"},
      {TimeoutPage, "SecsIT1", "100", "100"},
      {HsmsPage, "Transport", "SECS-I serial", "1"},
      {HsmsPage, "SerialPort", "COM4", "com4"},
      {HsmsPage, "BaudRate", "0", "9600",
       "Baud Rate takes a number from 1 to 2147483647, not \"0\"."},
      {HsmsPage, "SecsIMaster", "0", "0"},
      {ModelPage, "Edition", "Current", "1"},
      {LogPage, "Log", "true", "true"},
      {LogPage, "LogCommunication", "false", "false"},
      {LogPage, "LogFileName", "./a b", "./a b"},
      {LogPage, "LogSize", "9", "9"},
      {LogPage, "LogBakCount", "40000", "1",
       "Backups takes a number from 0 to 32767, not \"40000\"."},
      {CapabilityPage, "MaxTraces", "3", "3"},
      {CapabilityPage, "MaxSpoolSize", "102401", "16384",
       "Spool Size (KiB) takes a number from 0 to 102400, not \"102401\"."},
      {CapabilityPage, "RecipeFolder", "./recipes", "./recipes"},
  };
  for (const auto &row : rows) {
    front.seen.clear();
    const std::string says = row.says;
    EXPECT_EQ(type(row.page, row.property, row.typed), says.empty()) << row.property;
    EXPECT_EQ(eq().get(row.property).value.text(), row.value) << row.property;
    EXPECT_EQ(front.seen.back(), says.empty() ? "sheet: VeltoGem Setup" : "stop Error: " + says);
  }
  for (const char *line : {"IPAddress=192.168.0.9\n", "T5=1000\n", "FileName=./a b\n",
                           "DeviceID=32767\n", "T3=120000\n", "Host=0\n",
                           "LinktestInterval=60000\n", "KeepAliveIdle=0\n", "SendTimeout=90\n",
                           "Edition=1\n", "[SECSI]\nT1=100\nTransport=1\nPortNumber=3\nMaster=0\n"})
    EXPECT_THAT(file(".ini"), HasSubstr(line));
  EXPECT_TRUE(type(CapabilityPage, "Spooling", "true"));
  EXPECT_TRUE(type(CapabilityPage, "TraceData", "true"));
  EXPECT_EQ(eq().Capabilities(), 0x0A);
  EXPECT_TRUE(type(CapabilityPage, "Spooling", "false"));
  EXPECT_EQ(eq().Capabilities(), 0x02);
  EXPECT_THAT(file(".ini"), HasSubstr("Capabilities=2\n"));
  EXPECT_TRUE(eq().modified());
}

TEST_F(SetupPages, NothingIsAppliedByHalves) {
  EXPECT_FALSE(setup(0xFFF, [](PropertySheet &sheet) {
    sheet.find("Server")->value = "true";
    sheet.find("ModelName")->value = "OTHER";
    sheet.find("LogSize")->value = "many";
  }));
  EXPECT_FALSE(eq().Server());
  EXPECT_EQ(data().communication.modelName, "ETCH-1");
  EXPECT_FALSE(eq().modified());
}

// A front end that closes the sheet without asking it.
TEST(SetupPagesAlone, ACarelessFrontEndIsNotBelieved) {
  class Careless final : public FrontEnd {
    void messageBox(const std::string &) override {}
    bool showSheet(PropertySheet &sheet) override {
      sheet.find("PortNumber")->value = "x";
      return true;
    }
  } front;
  EventLoop loop;
  CVeltoGemCtrl control(ControlSite(loop, front));
  EXPECT_FALSE(control.Setup("", HsmsPage));
  EXPECT_EQ(control.PortNumber(), 5001);
}

TEST_F(SetupPages, StatesStandAsTheOperatorThinksOfThem) {
  using Values = SetupOperator::Values;
  const struct {
    Values typed;
    std::vector<int> states; // initial, initial off-line, off-line, on-line
  } rows[] = {
      {{}, {4, 2, 2, 4}},
      {{{"OnlineState", "Local"}}, {3, 2, 2, 3}},
      {{{"InitialOfflineState", "Equipment off-line"}}, {3, 0, 2, 3}},
      {{{"InitialState", "Off-line"}, {"OfflineState", "Equipment off-line"}}, {0, 0, 0, 3}},
      {{{"OnlineState", "Remote"}}, {0, 0, 0, 4}},
      {{{"InitialOfflineState", "Attempt on-line"}}, {1, 1, 0, 4}},
      {{{"InitialState", "On-line"}, {"OfflineState", "Host off-line"}}, {4, 1, 2, 4}},
  };
  for (const auto &row : rows) {
    EXPECT_TRUE(setup(StatePage, [&row](PropertySheet &sheet) {
      for (const auto &[key, value] : row.typed)
        sheet.find(key)->value = value;
    }));
    const ControlSettings &states = data().control;
    EXPECT_THAT((std::vector<int>{states.initialState, states.initialOfflineState,
                                  states.offlineState, states.onlineState}),
                testing::ElementsAreArray(row.states));
  }
  EXPECT_TRUE(setup(StatePage | RevisionPage, [](PropertySheet &sheet) {
    sheet.find("CommunicationInitialState")->value = "Disabled";
    sheet.find("EstablishCommunications")->value = "false";
    sheet.find("SoftwareRevision")->value = "2.0";
  }));
  EXPECT_EQ(data().communication, (CommunicationSettings{0, "ETCH-1", "2.0", false}));
  EXPECT_EQ(eq().ControlState(), 4) << "initial states are for the next start";
  EXPECT_TRUE(type(StatePage, "CommunicationInitialState", "Enabled"));
  data().control.initialState = 3;
  EXPECT_TRUE(type(StatePage, "EstablishCommunications", "true"));
  EXPECT_EQ(data().control.initialState, 3) << "what nobody chose anew stays";
  EXPECT_EQ(data().reports.Count(), 1U);
}

// Reports are defined anew by the host when events or variables may not be what they were.
TEST_F(SetupPages, ReportsGoWhenTheListsOnTheSheetChange) {
  data().variables.SetRole(*data().variables.FindVid(3), RoleTimeFormat);
  const std::function<void(PropertySheet &)> describe = [this](PropertySheet &sheet) {
    front.dialogs = {{{"Description", "Finished"}}};
    list(sheet).edit(0);
  };
  const auto giveRole = [this](PropertySheet &sheet) {
    front.dialogs = {{{"VID", "4"}}};
    list(sheet).edit(0);
  };
  const auto deleteAlarm = [](PropertySheet &sheet) { sheet.pages.back().list->remove(0); };
  const auto set = [](const char *key, const char *value) {
    return [=](PropertySheet &sheet) { sheet.find(key)->value = value; };
  };
  const struct {
    int32_t pages;
    std::function<void(PropertySheet &)> edit;
    bool reportsGo;
  } rows[] = {
      {EventPage, describe, true},
      {VariablePage, describe, true},
      {EventPage | VariablePage | AlarmPage, deleteAlarm, true},
      {AlarmPage, deleteAlarm, false},
      {VariableRolePage, giveRole, false},
      {VariableRolePage | EventPage, giveRole, true},
      {ClockPage, set("TimeFormat", "0"), false},
      {ClockPage | VariablePage, set("TimeFormat", "0"), true},
      {ClockPage | VariablePage, set("ChangePCClock", "true"), false},
      {LogPage | EventPage, set("LogSize", "5"), false},
      {RevisionPage | EventPage, set("ModelName", "X"), false},
      {0xFFF, nullptr, false},
  };
  for (const auto &row : rows) {
    GemStation other(ControlSite(loop, front, files), folder / "other");
    GemData &model = other.model().data();
    model.variables.SetRole(*model.variables.FindVid(3), RoleTimeFormat);
    model.reports.Add(CHGemEventReport(data().reports.at(0)));
    model.events.FindCeid(7)->reports = {1};
    other.control->save();
    front.onSheet = [&row](PropertySheet &sheet) {
      if (row.edit)
        row.edit(sheet);
      return true;
    };
    const size_t index = static_cast<size_t>(&row - rows);
    EXPECT_TRUE(other.control->Setup("", row.pages)) << index;
    EXPECT_EQ(model.reports.Count() == 0, row.reportsGo) << index;
    EXPECT_EQ(model.events.FindCeid(7)->reports.empty(), row.reportsGo) << index;
    EXPECT_EQ(other.control->modified(), row.edit != nullptr) << index;
    EXPECT_FALSE(other.model().events().modified()) << "written";
  }
}

TEST_F(SetupPages, WhatWasEditedIsOnDisk) {
  front.dialogs = {{{"ALID", "9"}, {"Text", "Door open"}}, {{"CEID", "11"}}};
  EXPECT_TRUE(setup(EventPage | AlarmPage, [](PropertySheet &sheet) {
    sheet.pages[1].list->add();
    sheet.pages[0].list->edit(0);
  }));
  const auto stored = loadGemData(file(".kel"));
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->alarms.FindAlid(9)->altx, "Door open");
  EXPECT_EQ(stored->events.FindCeid(7)->description, "Done") << "the edited one stays";
  EXPECT_EQ(stored->events.FindCeid(11)->description, "Done");
  EXPECT_EQ(stored->reports.Count(), 0U);

  const std::string before = file(".kel");
  systemFiles().write(folder / "tool.kel", "untouched");
  EXPECT_TRUE(type(LogPage, "LogSize", "77"));
  EXPECT_TRUE(type(HsmsPage, "DeviceID", "77"));
  EXPECT_TRUE(setup(0xFFF));
  EXPECT_EQ(file(".kel"), "untouched") << "settings alone leave the model alone";
  EXPECT_THAT(file(".ini"), HasSubstr("FileSize=77\n"));
  EXPECT_THAT(file(".ini"), HasSubstr("DeviceID=77\n"));
}

TEST_F(SetupPages, AFileThatCannotBeWrittenIsTold) {
  eq().SetDataFileName(folder / "missing/tool.kel");
  EXPECT_FALSE(type(RevisionPage, "ModelName", "NEW"));
  const std::string data = "The model data file " + folder / "missing/tool.kel cannot be written.";
  EXPECT_EQ(front.seen.back(), "stop Error: " + data);
  EXPECT_TRUE(station.model().events().modified()) << "and it is tried again";
  eq().SetIniFileName(folder / "missing/tool.ini");
  EXPECT_FALSE(type(LogPage, "LogSize", "5"));
  const std::string ini = "The settings file " + folder / "missing/tool.ini cannot be written.";
  EXPECT_EQ(front.seen.back(), "stop Error: " + ini);
  EXPECT_FALSE(type(RevisionPage, "ModelName", "NEWER"));
  EXPECT_EQ(front.seen.back(), "stop Error: " + data + "\n" + ini);
  front.onBox = [this] { station.control.reset(); };
  EXPECT_FALSE(type(RevisionPage, "ModelName", "NEWEST"));
}

TEST_F(SetupPages, TheModelIsSwitchedOnAndOff) {
  systemFiles().write(folder / "tool.ini",
                      "[LogicalConnection]\nDeviceID=3\nT3=9000\nHost=1\n[Log]\nFileSize=1\n");
  EXPECT_TRUE(type(0xFFF, "LogicalConnection", "false"));
  EXPECT_EQ(eq().LogicalConnection(), 0);
  EXPECT_EQ(eq().DeviceID(), 3) << "the connection is known by what the file says";
  EXPECT_TRUE(eq().Host());
  EXPECT_EQ(eq().LogSize(), 1024) << "of other settings nothing is loaded";
  EXPECT_THAT(file(".ini"), HasSubstr("ObjectModel=0\n"));

  const auto on = [](const char *role) {
    return [role](PropertySheet &sheet) {
      sheet.find("LogicalConnection")->value = "true";
      sheet.find("Host")->value = role;
    };
  };
  front.seen.clear();
  EXPECT_FALSE(setup(ModelPage, on("Host")));
  EXPECT_EQ(front.seen.back(), "stop Error: Role takes Equipment while the GEM object model is on: "
                               "an equipment with a model cannot become a host.");
  EXPECT_EQ(eq().LogicalConnection(), 0);
  const std::string model = file(".kel");
  EXPECT_TRUE(setup(ModelPage, on("Equipment")));
  EXPECT_EQ(eq().LogicalConnection(), 1);
  EXPECT_FALSE(eq().Host());
  EXPECT_EQ(eq().DeviceID(), 3);
  EXPECT_EQ(file(".kel"), model) << "the fresh model is no reason to write";
  EXPECT_THAT(file(".ini"), HasSubstr("ObjectModel=1\n"));

  EXPECT_TRUE(setup(ModelPage | HsmsPage, [](PropertySheet &sheet) {
    sheet.find("LogicalConnection")->value = "false";
    sheet.find("DeviceID")->value = "8";
    sheet.find("Host")->value = "Host";
  }));
  EXPECT_EQ(eq().DeviceID(), 8) << "unless the operator said otherwise";
  EXPECT_TRUE(eq().Host());
}

// While the sheet is open the equipment works on. What the operator left alone stays as it became.
TEST_F(SetupPages, T3IsThatOfTheConnectionThatTheSheetMakes) {
  EXPECT_TRUE(setup(ModelPage | TimeoutPage, [](PropertySheet &sheet) {
    sheet.find("LogicalConnection")->value = "false";
    sheet.find("T3")->value = "77";
  }));
  EXPECT_EQ(eq().LogicalConnection(), 0);
  EXPECT_EQ(eq().engine().logical().T3(), 77'000U);
  EXPECT_THAT(file(".ini"), HasSubstr("T3=77000\n"));
}

// The number alone makes it no more the one that the operator deleted.
TEST_F(SetupPages, AnEntryThatIsDeletedAndAddedIsAnotherOne) {
  for (const bool givesRole : {false, true}) {
    data().variables.SetRole(*data().variables.FindVid(1), RoleControlState);
    EXPECT_TRUE(setup(VariableRolePage | VariablePage, [&](PropertySheet &sheet) {
      sheet.pages[1].list->remove(0);
      front.dialogs = {{{"VID", "1"}, {"Description", "another"}}};
      sheet.pages[1].list->add();
      if (givesRole) {
        front.dialogs = {{{"VID", "1"}}};
        sheet.pages[0].list->edit(RoleControlState);
      }
    }));
    EXPECT_EQ(data().variables.FindVid(1)->role, givesRole ? uint8_t{RoleControlState} : kNoRole);
    EXPECT_EQ(data().variables.FindVid(1)->description(), "another");
    EXPECT_EQ(data().variables.FindVid(1)->rawValue(), "<u4 0>");
  }
  EXPECT_TRUE(setup(EventPage, [&](PropertySheet &sheet) {
    list(sheet).remove(0);
    front.dialogs = {{{"CEID", "7"}, {"Description", "Done"}, {"Enable", "true"}}};
    list(sheet).add();
  }));
  EXPECT_THAT(data().events.FindCeid(7)->reports, IsEmpty());
}

TEST_F(SetupPages, OnlyTheOperatorsChangesAreApplied) {
  EXPECT_TRUE(setup(0xFFF, [this](PropertySheet &sheet) {
    for (PropertyPage &page : sheet.pages) {
      front.dialogs = {{{"Description", "Table"}}};
      if (page.title == "VID")
        page.list->edit(1);
      front.dialogs = {{{"Code", "6"}}};
      if (page.title == "ALID") {
        page.list->edit(0);
        page.list->remove(1);
      }
    }
    eq().SetVIDValue(1, "3"); // the control state
    eq().SetVIDValue(2, "99");
    eq().SetALIDSet(5, true);
    eq().SetPortNumber(6000);
    eq().RegisterVID(77, StatusVariable, SecsDWord, "", "", "", "", "");
    eq().UnregisterVID(4);
    eq().UnregisterALID(6);
  }));
  EXPECT_EQ(eq().ControlState(), 3);
  EXPECT_EQ(eq().VIDValue(2), "99");
  EXPECT_EQ(eq().VIDDescription(2), "Table");
  EXPECT_EQ(data().alarms.FindAlid(5)->alcd, 0x86);
  EXPECT_EQ(eq().PortNumber(), 6000);
  EXPECT_TRUE(eq().IsValidVID(77));
  EXPECT_FALSE(eq().IsValidVID(4));
  EXPECT_EQ(eq().ALIDCount(), 1);
}

// The host registers the number that the operator adds, and removes the one that he edits.
TEST_F(SetupPages, AnEntryThatComesOrGoesMeanwhileIsAsTheOperatorTypedIt) {
  EXPECT_TRUE(setup(AlarmPage, [this](PropertySheet &sheet) {
    front.dialogs = {{{"ALID", "9"}, {"Code", "6"}, {"Enable", "true"}}, {{"Text", "Warm"}}};
    list(sheet).add();
    list(sheet).edit(0);
    eq().RegisterALID(9, 3, "Host");
    eq().SetALIDEnable(9, false);
    eq().UnregisterALID(5);
  }));
  const CHGemAlarmAlid *added = data().alarms.FindAlid(9);
  EXPECT_EQ(added->alcd, 6);
  EXPECT_EQ(added->altx, "");
  EXPECT_TRUE(added->enable);
  const CHGemAlarmAlid *edited = data().alarms.FindAlid(5);
  ASSERT_NE(edited, nullptr);
  EXPECT_EQ(edited->alcd, 5);
  EXPECT_EQ(edited->altx, "Warm");
}

TEST_F(SetupPages, AnythingMayHappenWhileTheSheetIsOpen) {
  EXPECT_TRUE(setup(EventPage, [this](PropertySheet &) {
    front.take();
    EXPECT_FALSE(eq().Setup("Second", ModelPage));
    EXPECT_FALSE(eq().ShowPropertyPage());
    EXPECT_THAT(front.seen, IsEmpty()) << "one sheet at a time";
  }));
  EXPECT_TRUE(setup(ModelPage)) << "and again when it is closed";

  EXPECT_TRUE(setup(0xFFF, [this](PropertySheet &sheet) {
    sheet.find("ModelName")->value = "GONE";
    sheet.find("Server")->value = "true";
    eq().SetLogicalConnection(0);
  })) << "the model was switched off meanwhile";
  EXPECT_TRUE(eq().Server());
  eq().SetLogicalConnection(1);

  EXPECT_FALSE(setup(0xFFF, [this](PropertySheet &sheet) {
    loop.post([this] { station.control.reset(); });
    loop.runOnce(0);
    front.dialogs = {{{"CEID", "20"}}};
    sheet.find("ModelName")->value = "GONE";
    for (PropertyPage &page : sheet.pages)
      if (page.list && page.list->add)
        page.list->add();
  })) << "the control is gone, its sheet still works";
  EXPECT_EQ(station.control, nullptr);
}

} // namespace
} // namespace velto
