// The properties and methods of a Gem control by itself.
#include "controls/gem_ctrl.h"

#include "controls/gem_pair.h"
#include "gem/data/data_file.h"
#include "support/table.h"

#include <filesystem>

namespace velto {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<Variant> indexOf(int index) {
  return index < 0 ? std::vector<Variant>{} : std::vector{Variant(int32_t{index})};
}

std::string read(Control &control, const std::string &name, int index = -1) {
  const Outcome outcome = control.get(name, indexOf(index));
  return outcome ? outcome.value.text() : outcome.error;
}

void put(Control &control, const std::string &name, const std::string &value, int index = -1) {
  const Outcome outcome = control.set(name, Variant(value), indexOf(index));
  EXPECT_TRUE(outcome) << name << ": " << outcome.error;
}

class GemControl : public GemPair {
protected:
  CVeltoGemCtrl &eq = *equipment.control;
  CVeltoGemCtrl fresh{ControlSite(net.loop, front)};
};

TEST_F(GemControl, StartsAsAnEquipmentWithAnEmptyModel) {
  for (const TableRow &row : tableOf("controls/gem_properties.txt", "new"))
    EXPECT_EQ(read(fresh, row[0]), row[1]) << row[0];
}

TEST_F(GemControl, PropertiesKeepWhatIsPutWithinTheirRules) {
  for (const TableRow &row : tableOf("controls/gem_properties.txt", "kept")) {
    put(fresh, row[0], row[1]);
    EXPECT_EQ(read(fresh, row[0]), row[2]) << row[0] << " = " << row[1];
  }
  EXPECT_EQ(fresh.engine().gem()->T3(), 30000U) << "milliseconds in the model";
  EXPECT_EQ(fresh.engine().physical().settings().t7, 2'147'483'000);
  EXPECT_TRUE(fresh.modified());
}

TEST_F(GemControl, TheCurrentMessageIsThatOfTheWorkSpaceOrItsReply) {
  eq.SetDeviceID(5);
  eq.SetWorkSpace(0);
  eq.SetSML("s1f3w{<u4 1><u4 2>}");
  eq.SetSystemBytes(77);
  EXPECT_EQ(eq.SessionID(), 5) << "a data message gets the device ID";
  EXPECT_EQ(eq.Msg(), "0005810300000000004d0102b10400000001b10400000002");
  EXPECT_EQ(eq.SML(),
            "S1F3W\r\n{\r\n  <u4 1>            * State\r\n  <u4 2>            * Position\r\n}\r\n");
  eq.SetReply(true);
  eq.SetSML("s1f4{<a'x'><b 1 255>}");
  EXPECT_EQ(eq.SystemBytes(), 77) << "a reply has the system bytes of its message";
  const struct {
    const char *node;
    int32_t count;
    int16_t type;
    const char *value;
    const char *hex;
  } rows[] = {{"", 2, SecsList, "", ""},
              {"1", 1, SecsAscii, "x", "x"},
              {"2", 2, SecsBinary, "1 255", "01 ff"},
              {"2[1]", 2, SecsBinary, "255", "ff"},
              {"9", 0, 0, "", ""}};
  for (const auto &row : rows) {
    eq.SetNode(row.node);
    EXPECT_EQ(eq.Node(), row.node);
    EXPECT_EQ(eq.NodeCount(), row.count) << row.node;
    EXPECT_EQ(eq.NodeType(), row.type) << row.node;
    EXPECT_EQ(eq.NodeValue(), row.value) << row.node;
    EXPECT_EQ(eq.NodeValueHex(), row.hex) << row.node;
  }
  eq.SetWorkSpace(2);
  EXPECT_EQ(eq.Stream(), 0) << "each work space has a reply of its own";
  eq.SetReply(false);
  eq.SetSML("SelectReq");
  EXPECT_EQ(eq.SessionID(), 0xFFFF) << "a control message belongs to no device";
  eq.SetMsg("0005810100000000000");
  EXPECT_EQ(eq.SType(), 1) << "19 digits are too few";
  eq.SetMsg("00058101000000000009");
  EXPECT_EQ(eq.SystemBytes(), 9);
  EXPECT_TRUE(eq.Wbit());
  eq.SetStream(0x86);
  EXPECT_EQ(eq.Stream(), 6);
  EXPECT_TRUE(eq.Wbit()) << "the W-bit is kept";
  eq.SetWorkSpace(0);
  EXPECT_EQ(eq.Function(), 3);
}

TEST_F(GemControl, AShortMessageIsShownToAUserWhoWantsToSeeErrors) {
  const auto shownWith = [this](const char *settings) {
    systemFiles().write(folder / "VeltoActiveX.ini", settings);
    front.shown.clear();
    eq.SetMsg("0005");
    return front.shown;
  };
  setenv("XDG_CONFIG_HOME", (folder / "").c_str(), 1);
  EXPECT_THAT(shownWith("[VeltoActiveX]\nShowMessageBox=1\n"), ElementsAre("Invalid string"));
  EXPECT_THAT(shownWith("[VeltoActiveX]\nShowMessageBox=0\n"), IsEmpty());
  unsetenv("XDG_CONFIG_HOME");
}

TEST_F(GemControl, VariablesEventsAndAlarmsAreReachedByNumber) {
  for (const TableRow &row : tableOf("controls/gem_properties.txt", "numbered")) {
    const int number = row.number(1);
    EXPECT_EQ(read(eq, row[0], number), row[2]) << row[0] << number;
    put(eq, row[0], row[3], number);
    EXPECT_EQ(read(eq, row[0], number), row[4]) << row[0] << number;
  }
  EXPECT_THAT(equipment.take(), IsEmpty()) << "nothing is reported";
}

TEST_F(GemControl, RegistrationKeepsTheOrderAndTheFile) {
  const auto variable = [this](int32_t vid, int16_t kind) {
    return fresh.RegisterVID(vid, kind, SecsDWord, "1", "9", "5", "mm", "Width");
  };
  fresh.SetIniFileName(folder / "fresh.ini");
  fresh.SetDataFileName(folder / "fresh.kel");
  EXPECT_FALSE(variable(5, 3));
  EXPECT_FALSE(variable(5, 0x102));
  EXPECT_TRUE(variable(7, StatusVariable));
  EXPECT_TRUE(variable(3, EquipmentConstant));
  EXPECT_TRUE(variable(5, DataVariable));
  EXPECT_FALSE(variable(5, EquipmentConstant)) << "the number is taken";
  EXPECT_EQ(fresh.VIDValue(5), "5") << "the default";
  EXPECT_TRUE(fresh.RegisterCEID(9, 1, "To local"));
  EXPECT_FALSE(fresh.RegisterCEID(9, 255, ""));
  EXPECT_TRUE(fresh.RegisterALID(4, 0x185, "Hot")) << "of the ALCD the low eight bits count";
  EXPECT_FALSE(fresh.RegisterALID(4, 1, ""));
  EXPECT_TRUE(fresh.ALIDSet(4));
  EXPECT_EQ(fresh.ALCD(4), 5);
  EXPECT_TRUE(fresh.ALIDEnable(4));
  EXPECT_TRUE(fresh.CEIDEnable(9));

  std::vector<int32_t> order;
  for (int32_t i = -1; i <= fresh.VIDCount(); ++i)
    order.push_back(fresh.ToVID(i));
  EXPECT_THAT(order, ElementsAre(-1, 3, 5, 7, -1));
  EXPECT_EQ(fresh.ToCEID(0), 9);
  EXPECT_EQ(fresh.ToALID(0), 4);
  EXPECT_EQ(fresh.ToALID(1), -1);
  EXPECT_TRUE(fresh.IsValidVID(7));
  EXPECT_TRUE(fresh.UnregisterVID(7));
  EXPECT_FALSE(fresh.UnregisterVID(7));
  EXPECT_FALSE(fresh.IsValidVID(7));

  CVeltoGemCtrl copy(net.loop);
  copy.SetIniFileName(folder / "fresh.ini");
  copy.SetDataFileName(folder / "fresh.kel");
  EXPECT_TRUE(copy.LoadData());
  EXPECT_EQ(copy.VIDCount(), 2) << "every change is in the file";
  EXPECT_EQ(copy.CEIDDescription(9), "To local");
  EXPECT_EQ(copy.ALTX(4), "Hot");
  EXPECT_TRUE(fresh.UnregisterALID(4));
  EXPECT_FALSE(fresh.UnregisterALID(4));
  fresh.SetDataFileName(folder / "missing/fresh.kel");
  EXPECT_TRUE(fresh.RegisterCEID(10, 255, "")) << "registered, though the file cannot be written";
  EXPECT_FALSE(fresh.SaveData());
  std::filesystem::create_directory(folder / "missing");
  net.clock.advance(1000);
  net.settle();
  EXPECT_TRUE(readDataFile(systemFiles(), folder / "missing/fresh.kel")) << "tried again by itself";
}

TEST_F(GemControl, ReportsLinksAndRolesAreReachedByNumber) {
  GemData &data = equipment.model().data();
  const auto call = [this](const char *method, std::vector<Variant> arguments) {
    const Outcome outcome = eq.call(method, arguments);
    EXPECT_TRUE(outcome) << outcome.error;
    return outcome.value.toBool();
  };
  EXPECT_TRUE(call("SetReportVIDs", {int32_t{9}, "2, 4"}));
  EXPECT_THAT(data.reports.FindReport(9)->variables, ElementsAre(2, 4));
  EXPECT_TRUE(call("LinkReport", {int32_t{7}, int32_t{9}}));
  for (const int32_t ceid : {7, 99}) // there already; no such event
    EXPECT_FALSE(call("LinkReport", {ceid, int32_t{9}}));
  EXPECT_FALSE(call("LinkReport", {int32_t{7}, int32_t{99}}));
  for (const char *vids : {"2 99", "x", "4294967296", "-1"})
    EXPECT_FALSE(call("SetReportVIDs", {int32_t{9}, vids})) << vids;
  EXPECT_TRUE(eq.SetReportVIDs(9, {3}));
  EXPECT_THAT(data.reports.FindReport(9)->variables, ElementsAre(3));
  EXPECT_THAT(data.events.FindCeid(7)->reports, ElementsAre(9)) << "the link stays";
  EXPECT_TRUE(loadGemData(*readDataFile(files, eq.DataFileName()))->reports.FindReport(9));
  EXPECT_TRUE(eq.SetReportVIDs(9, ""));
  EXPECT_FALSE(eq.SetReportVIDs(9, ""));
  EXPECT_THAT(data.events.FindCeid(7)->reports, IsEmpty());

  EXPECT_TRUE(call("SetVIDRole", {int32_t{2}, int16_t{RoleControlState}}));
  EXPECT_EQ(data.variables.FindVid(1)->role, kNoRole);
  EXPECT_EQ(eq.ControlState(), 7);
  for (const int16_t role : std::initializer_list<int16_t>{27, 256, -1})
    EXPECT_FALSE(eq.SetVIDRole(2, role)) << role;
  EXPECT_FALSE(eq.SetVIDRole(99, kNoRole));
  EXPECT_TRUE(eq.SetVIDRole(2, kNoRole));
  EXPECT_EQ(eq.ControlState(), 0);
}

TEST_F(GemControl, ValuesAreNumbersToo) {
  const struct {
    int32_t vid; // 1: U1, 3: U4 from 10 to 20, 4: text
    const char *given;
    bool taken;
  } rows[] = {{99, "1", false}, {1, "255", true}, {1, "256", false}, {1, "-1", false},
              {1, "", false},   {1, "x", false},  {3, "20", true},   {3, "21", false},
              {3, "9", false},  {4, "", true},    {4, "LOT 7", true}};
  for (const auto &row : rows) {
    const std::string before = eq.VIDValue(row.vid);
    EXPECT_EQ(eq.call("TrySetVIDValue", std::vector<Variant>{row.vid, row.given}).value.toBool(),
              row.taken)
        << row.vid << row.given;
    EXPECT_EQ(eq.VIDValue(row.vid), row.taken ? row.given : before);
  }
  EXPECT_TRUE(eq.TrySetVIDValue(3, 12));
  EXPECT_FALSE(eq.TrySetVIDValue(3, 12.5));
  eq.SetVIDNodeType(2, SecsDouble);
  eq.SetVIDValue(2, -2.5);
  double real = 0;
  int64_t whole = 7;
  EXPECT_TRUE(eq.GetVIDValue(2, real));
  EXPECT_EQ(real, -2.5);
  EXPECT_FALSE(eq.GetVIDValue(2, whole));
  EXPECT_TRUE(eq.GetVIDValue(3, whole));
  EXPECT_EQ(whole, 12);
  eq.SetVIDNodeType(2, SecsDWord8);
  eq.SetVIDValue(2, UINT64_MAX);
  EXPECT_EQ(eq.VIDRawValue(2), "<u8 18446744073709551615>");
  for (const int32_t none : {2, 4, 99})
    EXPECT_FALSE(eq.GetVIDValue(none, whole)) << none;
}

TEST_F(GemControl, APortOutsideItsRangeIsAProblem) {
  eq.SetPhysicalConnection(false);
  settle();
  for (const bool server : {true, false}) {
    equipment.take();
    eq.SetServer(server);
    eq.SetPortNumber(70000);
    eq.SetPhysicalConnection(true);
    settle();
    EXPECT_THAT(equipment.take(), testing::Contains("Problem 10022 Error : Invalid argument"));
    eq.SetPhysicalConnection(false);
    settle();
  }
}

TEST_F(GemControl, AfterSendTheSystemBytesAreThoseThatWentOut) {
  establish();
  for (const int32_t slot : {0, 1, 2}) {
    eq.SetWorkSpace(slot);
    eq.SetSML("s1f1w");
    EXPECT_TRUE(eq.Send());
    const int32_t sent = eq.SystemBytes();
    EXPECT_LT(sent, 0) << "an equipment has the upper half";
    settle();
    EXPECT_EQ(static_cast<int32_t>(host.model().slot(0).message.header.systemBytes), sent);
  }
}

// The same primary without the W-bit, sent again from the same work space, is another message; the
// host's own system bytes stay.
TEST_F(GemControl, APrimarySentAgainIsNoDuplicate) {
  establish();
  eq.SetWorkSpace(2);
  eq.SetSML("s6f3{<u4 1><u4 2>{}}");
  std::set<int32_t> sent;
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(eq.Send());
    sent.insert(eq.SystemBytes());
  }
  EXPECT_EQ(sent.size(), 3U);
  eq.SetSystemBytes(4711);
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(eq.Send());
    EXPECT_EQ(eq.SystemBytes(), 4711);
  }
}

TEST_F(GemControl, AnAlarmSetWithoutAReportIsSaved) {
  eq.SetALIDSet(5, true);
  settle(2);
  EXPECT_TRUE(loadGemData(*readDataFile(files, eq.DataFileName()))->alarms.FindAlid(5)->isSet());
}

TEST_F(GemControl, LoadDataIsTrueWheneverThereIsAModel) {
  eq.SetDataBakCount(1);
  EXPECT_TRUE(eq.SaveData());
  eq.SetVIDValue(2, "8");
  EXPECT_TRUE(eq.SaveData());
  const auto backup = readDataFile(systemFiles(), eq.DataFileName() + "001");
  ASSERT_TRUE(backup);
  EXPECT_EQ(loadGemData(*backup)->variables.FindVid(2)->GetValue(), "7");
  eq.SetVIDValue(2, "9");
  eq.SetControlState(0);
  EXPECT_TRUE(eq.LoadIniFile());
  EXPECT_EQ(eq.VIDValue(2), "8");
  EXPECT_EQ(eq.ControlState(), 4) << "the initial state";
  EXPECT_FALSE(eq.Host()) << "saved with the settings";
  EXPECT_EQ(eq.DataBakCount(), 1);

  eq.SetDataFileName(folder / "none.kel");
  EXPECT_TRUE(eq.LoadData());
  EXPECT_EQ(eq.VIDCount(), 0) << "no such file: an empty model";
  eq.SetIniFileName(folder / "none.ini");
  EXPECT_TRUE(eq.LoadData());
  EXPECT_TRUE(eq.Host()) << "without the key the role is the host";
  eq.SetHost(false);
  EXPECT_FALSE(eq.Host());
  systemFiles().write(folder / "none.ini",
                      "[LogicalConnection]\nObjectModel=0\nDeviceID=7\nT3=9000\nEdition=1\n");
  EXPECT_FALSE(eq.LoadData());
  EXPECT_EQ(eq.DeviceID(), 7);
  EXPECT_EQ(eq.Edition(), 1);
  EXPECT_EQ(eq.LogicalConnection(), 0);
}

TEST_F(GemControl, APlainConnectionHasNoModel) {
  eq.SetT3(30);
  eq.SetLogicalConnection(0);
  for (const TableRow &row : tableOf("controls/gem_properties.txt", "plain"))
    EXPECT_EQ(read(eq, row[0], row[2].empty() ? -1 : row.number(2)), row[1]) << row[0];
  eq.SetT3(30);
  EXPECT_EQ(eq.T3(), 45) << "nowhere to keep it";
  EXPECT_FALSE(eq.DefProc());
  EXPECT_FALSE(eq.Send());
  EXPECT_FALSE(eq.SaveData());
  EXPECT_FALSE(eq.InvokeEvent(7));
  EXPECT_FALSE(eq.InvokeAlarm(5, 0x80));
  EXPECT_FALSE(eq.RegisterVID(9, 2, 15, "", "", "", "", ""));
  EXPECT_FALSE(eq.RegisterCEID(9, 255, ""));
  EXPECT_FALSE(eq.RegisterALID(9, 1, ""));
  EXPECT_FALSE(eq.UnregisterVID(2));
  EXPECT_FALSE(eq.UnregisterALID(5));
  EXPECT_EQ(eq.ToVID(0), -1);
  EXPECT_EQ(eq.ToCEID(0), -1);
  EXPECT_EQ(eq.ToALID(0), -1);
  eq.SetControlState(4);
  eq.SetControlStateSwitch(true);
  eq.SetSML("s1f1w");
  EXPECT_EQ(eq.Function(), 1) << "messages can be composed all the same";
  eq.SetHost(true);
  EXPECT_TRUE(eq.Host());
  eq.SetLogicalConnection(1);
  EXPECT_FALSE(eq.Host()) << "a fresh model is an equipment";
  EXPECT_EQ(eq.VIDCount(), 0);
  eq.SetHost(true);
  EXPECT_FALSE(eq.Host()) << "and stays one";
}

TEST_F(GemControl, SetupShowsOnlyThePagesThatThereAre) {
  const struct {
    int16_t model;
    const char *caption;
    int32_t options;
    bool accepts;
    const char *title; // empty: nothing is shown
  } rows[] = {
      {1, "", 0x1000, true, ""},
      {1, "", 0, true, ""},
      {1, "", 0x001, true, "VeltoGem Setup"},
      {1, "Mine", 0xFFF, true, "Mine"},
      {1, "Mine", 0x040, false, "Mine"},
      {0, "", 0x040, true, ""},
      {0, "", 0xDF8, true, ""},
      {0, "", 0x200, true, "VeltoGem Setup"},
  };
  for (const auto &row : rows) {
    fresh.SetLogicalConnection(row.model);
    front.shown.clear();
    front.accepts = row.accepts;
    EXPECT_EQ(fresh.Setup(row.caption, row.options), row.title[0] != '\0' && row.accepts);
    EXPECT_EQ(front.shown, row.title[0] == '\0' ? Lines{} : Lines{row.title}) << row.options;
  }
  fresh.AboutBox();
  EXPECT_THAT(front.shown.back(), HasSubstr("VeltoGem"));
}

TEST_F(GemControl, TheWindowShowsTheTreeOfTheViewStyle) {
  const auto roots = [this] {
    std::vector<std::string> labels;
    for (const TreeNode &root : eq.view().roots)
      labels.push_back(root.label);
    return labels;
  };
  EXPECT_THAT(roots(), ElementsAre("Entire System"));
  EXPECT_EQ(eq.view().roots[0].children.size(), 3U);
  eq.SetViewStyle(1);
  EXPECT_THAT(roots(), ElementsAre("Physical Connection"));
  eq.SetViewStyle(2);
  EXPECT_THAT(roots(), ElementsAre("Logical Connection", "Gem"));
  EXPECT_THAT(eq.window(), HasSubstr("State : On Line Remote"));
  eq.SetControlState(3);
  EXPECT_THAT(eq.window(), HasSubstr("State : On Line Local"));
  for (const int none : {0, 4, -1}) {
    eq.SetViewStyle(static_cast<int16_t>(none));
    EXPECT_EQ(eq.window(), "");
  }
}

TEST_F(GemControl, WritesToTheLogWhileItIsOn) {
  eq.SetLogFileName(folder / "log");
  EXPECT_FALSE(eq.WriteLogFile("first"));
  eq.SetLog(true);
  EXPECT_TRUE(eq.WriteLogFile("second"));
  const std::string log = systemFiles().read(folder / "log.log").value_or("");
  EXPECT_THAT(log, HasSubstr("second"));
  EXPECT_THAT(log, testing::Not(HasSubstr("first")));
}

TEST_F(GemControl, SendRefusesWhatIsNoMessageOrDoesNotFit) {
  establish();
  CVeltoGemCtrl &sender = *equipment.control;
  const struct {
    const char *sml;
    const char *property; ///< set to `number` afterwards
    int32_t number;
    bool sent;
  } rows[] = {
      {"s1f1w", "Stream", 1, true},
      {"s1f1w <u1", "Wbit", 1, false},
      {"", "Wbit", 1, false},
      {"{<u1 1>}", "Wbit", 0, false},
      {"s1f1w", "Stream", 129, false},
      {"s1f1w", "Stream", -1, false},
      {"s1f1w", "Function", 257, false},
      {"s1f1w", "PType", 256, false},
      {"s1f1w", "SType", 256, false},
      {"s1f1w", "SessionID", 65536, false},
      {"s129f1w", "Wbit", 1, false},
      {"s1f257w", "Wbit", 1, false},
      {"s1f1w", "SystemBytes", -5, true},
      {"s1f1w", "DeviceID", 65536, false},
      {"s1f1w", "DeviceID", 32768, false},
      {"s1f1w", "DeviceID", 0, true},
  };
  sender.SetWorkSpace(CHGem::kWork);
  for (const auto &row : rows) {
    sender.SetNode("");
    sender.SetSML(row.sml);
    ASSERT_TRUE(sender.set(row.property, Variant(row.number)));
    EXPECT_EQ(sender.Send(), row.sent) << row.sml << " " << row.property << " " << row.number;
    sender.SetDeviceID(0);
  }
  sender.SetSML("s1f1w");
  sender.SetStream(300);
  EXPECT_EQ(sender.Stream(), 300 & 0x7F) << "as it was stored";
  EXPECT_FALSE(sender.Send());
  sender.SetStream(1);
  EXPECT_TRUE(sender.Send()) << "mended";
}

TEST_F(GemControl, TheEditionDecidesAndIsKept) {
  establish();
  EXPECT_EQ(ask("s16f27w"), "S16F28");
  EXPECT_EQ(ask("s2f25w<b 1 2>"), "S2F26 <b>");
  EXPECT_EQ(ask("s2f31w<a'2026-01-02T03:04:05.0Z'>").substr(0, 4), "S9F7");
  equipment.control->SetEdition(1);
  equipment.model().data().changePCClock = true;
  EXPECT_EQ(ask("s16f27w"), "S16F28 { <bool true> { } }");
  EXPECT_EQ(ask("s2f25w<b 1 2>"), "S2F26 <b 0x01 0x02>");
  EXPECT_EQ(ask("s2f31w<a'2026-01-02T03:04:05.0Z'>"), "S2F32 <b 0x00>");
  EXPECT_EQ(ask("s1f21w{}"), "S1F22 { }");
  equipment.control->SetEdition(2);
  EXPECT_EQ(equipment.control->Edition(), 1);
  ASSERT_TRUE(equipment.control->SaveData());
  fresh.SetIniFileName(equipment.control->IniFileName());
  ASSERT_TRUE(fresh.LoadData());
  EXPECT_EQ(fresh.Edition(), 1);
}

TEST_F(GemControl, TheBagHoldsTheSettingsAndNothingElse) {
  fresh.SetT3(30);
  fresh.SetPortNumber(5009);
  fresh.SetDeviceID(5);
  const PropertyBag bag = *PropertyBag::parse(fresh.save().text());
  EXPECT_FALSE(fresh.modified());
  for (const char *name : {"IniFileName",
                           "IPAddress",
                           "PortNumber",
                           "MyPortNumber",
                           "Server",
                           "T1",
                           "T2",
                           "T3",
                           "T4",
                           "T5",
                           "T6",
                           "T7",
                           "T8",
                           "DeviceID",
                           "DiscardDuplicatedBlock",
                           "Host",
                           "LogSize",
                           "LogBakCount",
                           "Log",
                           "LogCommunication",
                           "Edition",
                           "LinktestInterval",
                           "Capabilities",
                           "MaxSpoolSize",
                           "MaxSpoolMessages",
                           "KeepAliveIdle",
                           "KeepAliveInterval",
                           "KeepAliveCount",
                           "SendTimeout"})
    EXPECT_NE(bag.find(name), nullptr) << name;
  EXPECT_EQ(bag.size(), 29U);
  CVeltoGemCtrl copy(net.loop);
  copy.load(bag);
  EXPECT_EQ(copy.T3(), 30);
  EXPECT_FALSE(copy.Host());
  EXPECT_EQ(copy.PortNumber(), 5009);
  EXPECT_EQ(copy.DeviceID(), 5);
}

TEST_F(GemControl, TheBagBringsTheRoleBack) {
  fresh.SetIniFileName(folder / "none.ini");
  ASSERT_TRUE(fresh.LoadData()); // without the key the role is the host
  ASSERT_TRUE(fresh.Host());
  CVeltoGemCtrl copy(net.loop);
  copy.load(fresh.save());
  EXPECT_TRUE(copy.Host()) << "though no property makes a host of an equipment with its model on";
  EXPECT_FALSE(copy.engine().gem()->slot(CHGem::kReceived).isEquipmentSide);
}

TEST_F(GemControl, AFreshModelKeepsTheBackupsOfTheControl) {
  eq.SetDataBakCount(1);
  eq.SetLogicalConnection(0);
  eq.SetLogicalConnection(1);
  EXPECT_EQ(eq.DataBakCount(), 1);
  EXPECT_EQ(equipment.model().DataBakCount(), 1);
}

} // namespace
} // namespace velto
