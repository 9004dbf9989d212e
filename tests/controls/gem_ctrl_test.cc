// The properties of a Gem control by itself. What scripts reach of it is tested by those.
#include "controls/gem_ctrl.h"
#include "gem/engine/engine.h"

#include "controls/gem_pair.h"
#include "gem/data/data_file.h"
#include "support/table.h"

#include <filesystem>

namespace velto {
namespace {

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

class GemControl : public testing::Test, protected GemLink {
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

TEST_F(GemControl, VariablesEventsAndAlarmsAreReachedByNumber) {
  for (const TableRow &row : tableOf("controls/gem_properties.txt", "numbered")) {
    const int number = row.number(1);
    EXPECT_EQ(read(eq, row[0], number), row[2]) << row[0] << number;
    put(eq, row[0], row[3], number);
    EXPECT_EQ(read(eq, row[0], number), row[4]) << row[0] << number;
  }
  EXPECT_THAT(equipment.take(), testing::IsEmpty()) << "nothing is reported";
}

TEST_F(GemControl, ValuesAreNumbersToo) {
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

TEST_F(GemControl, AChangeThatCouldNotBeWrittenIsTriedAgain) {
  eq.SetDataFileName(folder / "missing/eq.kel");
  EXPECT_TRUE(eq.RegisterCEID(10, 255, ""));
  EXPECT_FALSE(eq.SaveData());
  std::filesystem::create_directory(folder / "missing");
  net.clock.advance(1000);
  net.settle();
  EXPECT_TRUE(readDataFile(systemFiles(), folder / "missing/eq.kel"));
}

// The settings file states only what differs from the defaults.
TEST_F(GemControl, WhatTheHostMayDefineIsLimitedAndKept) {
  eq.SetMaxReports(3);
  eq.SetMaxReportLinks(-1);
  EXPECT_EQ(eq.engine().gem()->data().limits, (GemLimits{3, 0}));
  EXPECT_TRUE(eq.SaveData());
  CVeltoGemCtrl next(net.loop);
  next.SetIniFileName(eq.IniFileName());
  EXPECT_EQ(next.MaxReports(), 100'000);
  next.LoadData();
  EXPECT_EQ(next.MaxReports(), 3);
  EXPECT_EQ(next.MaxReportLinks(), 0);
  next.SetLogicalConnection(0);
  next.SetMaxReports(5);
  EXPECT_EQ(next.MaxReports(), 100'000) << "nothing that a host could define";
}

TEST_F(GemControl, TheBagHoldsTheSettingsAndNothingElse) {
  fresh.SetT3(30);
  fresh.SetPortNumber(5009);
  fresh.SetDeviceID(5);
  const PropertyBag bag = *PropertyBag::parse(fresh.save().text());
  EXPECT_FALSE(fresh.modified());
  for (const TableRow &row : tableOf("controls/gem_properties.txt", "bag"))
    EXPECT_NE(bag.find(row[0]), nullptr) << row[0];
  EXPECT_EQ(bag.size(), tableOf("controls/gem_properties.txt", "bag").size());
  fresh.SetEdition(1);
  fresh.SetLinktestInterval(20);
  fresh.SetSendTimeout(0);
  EXPECT_EQ(fresh.save().size(), bag.size() + 3) << "later properties where they are not normal";
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

} // namespace
} // namespace velto
