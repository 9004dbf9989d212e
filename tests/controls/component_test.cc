#include "controls/component/version.h"
#include "support/sample_control.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velto {
namespace {

using Kind = Member::Kind;

class ComponentTest : public testing::Test {
protected:
  EventLoop loop_;
  std::unique_ptr<CSampleCtrl> control_ = std::make_unique<CSampleCtrl>(loop_);
};

TEST(Variant, ConvertsBetweenDeclaredTypes) {
  const struct {
    Variant value;
    ValueType type;
    std::optional<Variant> expected;
  } kRows[] = {
      {"12", ValueType::Int32, Variant(12)},
      {" -12 ", ValueType::Int16, Variant(-12)},
      {40000, ValueType::Int16, std::nullopt},
      {2147483647.0, ValueType::Int32, Variant(2147483647)},
      {1.5, ValueType::Int32, std::nullopt},
      {"1e3", ValueType::Int32, std::nullopt},
      {"+1e3", ValueType::Double, Variant(1000.0)},
      {"-", ValueType::Double, std::nullopt},
      {"1e999", ValueType::Double, std::nullopt},
      {"nan", ValueType::Double, std::nullopt},
      {"12x", ValueType::Double, std::nullopt},
      {"TRUE", ValueType::Bool, Variant(true)},
      {"yes", ValueType::Bool, std::nullopt},
      {0, ValueType::Bool, Variant(false)},
      {true, ValueType::Int32, Variant(1)},
      {0.1, ValueType::Text, Variant("0.1")},
      {5e-324, ValueType::Double, Variant(5e-324)},
      {Variant(), ValueType::Int32, std::nullopt},
  };
  for (const auto &row : kRows)
    EXPECT_EQ(row.value.as(row.type), row.expected)
        << row.value.text() << " as " << toText(row.type);
  for (const double number : {5e-324, -1.7976931348623157e308, 0.1, 1.0 / 3})
    EXPECT_EQ(Variant(Variant(number).text()).as(ValueType::Double), Variant(number));
}

TEST_F(ComponentTest, LateBoundAndTypedAccessReachTheSameMembers) {
  EXPECT_TRUE(control_->set("cOuNt", "7"));
  EXPECT_EQ(control_->Count(), 7);
  control_->SetCount(8);
  EXPECT_EQ(control_->get(1).value, Variant(8));

  const std::vector<Variant> index{2};
  EXPECT_TRUE(control_->set(7, "two", index));
  EXPECT_EQ(control_->Slot(2), "two");
  EXPECT_EQ(control_->get("Slot", index).value, Variant("two"));

  EXPECT_EQ(control_->call("add", std::vector<Variant>{2, "3"}).value, Variant(5));
  EXPECT_TRUE(control_->call(11, std::vector<Variant>{"x"}).value.empty());
  EXPECT_TRUE(control_->set(-520, 1));
  EXPECT_EQ(control_->Appearance(), 1);
}

TEST_F(ComponentTest, ReportsWhyAnAccessIsWrong) {
  CSampleCtrl &c = *control_;
  const std::vector<Variant> one{1}, two{1, "x"};
  const struct {
    Outcome outcome;
    const char *error;
  } kRows[] = {
      {c.get("Nothing"), "Sample has no property Nothing"},
      {c.get(99), "Sample has no property 99"},
      {c.get("Add"), "Sample has no property Add"},
      {c.get("Changed"), "Sample has no property Changed"},
      {c.set("Add", 1), "Sample has no property Add"},
      {c.call("Count"), "Sample has no method Count"},
      {c.call(1), "Sample has no method 1"},
      {c.get("Slot"), "Slot takes 1 argument, not 0"},
      {c.get("Count", one), "Count takes 0 arguments, not 1"},
      {c.call("Add", one), "Add takes 2 arguments, not 1"},
      {c.call("Add", two), "Add: lB must be int32"},
      {c.set("Count", "many"), "Count must be int32"},
      {c.set("Level", 32768), "Level must be int16"},
      {c.set("Slot", "x"), "Slot takes 1 argument, not 0"},
      {c.set("Size", 1), "Size is read only"},
  };
  for (const auto &row : kRows)
    EXPECT_EQ(row.outcome.error, row.error);
}

TEST_F(ComponentTest, TableKeepsEventsApartFromOtherMembers) {
  const MemberTable &table = control_->members();
  EXPECT_EQ(table.find(1, Kind::Property)->name, "Count");
  EXPECT_EQ(table.find(1, Kind::Event)->name, "Changed");
  EXPECT_EQ(table.find(1, Kind::Method), nullptr);
  EXPECT_EQ(table.find("ABOUTBOX")->id, -552);
  EXPECT_EQ(table.find("idle")->kind, Kind::Event);
  EXPECT_EQ(table.find("Add")->arguments[1].name, "lB");
  EXPECT_EQ(table.find("Slot")->arguments[0].type, ValueType::Int32);

  MemberTable shared;
  shared.members.resize(2);
  shared.members[0].name = shared.members[1].name = "Sent";
  shared.members[0].kind = Kind::Event;
  shared.index();
  EXPECT_EQ(shared.find("Sent")->kind, Kind::Property);
  EXPECT_EQ(shared.find("Sent", Kind::Event)->kind, Kind::Event);
}

TEST_F(ComponentTest, BagRoundTripsAndClearsTheModifiedFlag) {
  EXPECT_FALSE(control_->modified());
  control_->set("Count", 9);
  EXPECT_TRUE(control_->modified());
  control_->SetTitle("a\\b=c\r\nd");
  control_->SetRatio(1e-9);
  const std::string text = control_->save().text();
  EXPECT_FALSE(control_->modified());
  EXPECT_EQ(text, "Count=9\nEnabled=true\nLevel=1\nRatio=0.000000001\n"
                  "Title=a\\\\b=c\\r\\nd\n");

  CSampleCtrl copy(loop_);
  copy.SetLevel(5);
  copy.load(*PropertyBag::parse(text));
  EXPECT_FALSE(copy.modified());
  EXPECT_EQ(copy.save().text(), text);
}

TEST_F(ComponentTest, LoadGivesDefaultsToWhatTheBagLacksOrCannotSay) {
  control_->SetCount(9);
  control_->SetLevel(9);
  control_->SetTitle("changed");
  control_->load(*PropertyBag::parse("Level=99999\nUnknown=1\r\nCount=4\r\n"));
  EXPECT_EQ(control_->Count(), 4);
  EXPECT_EQ(control_->Level(), 1);
  EXPECT_EQ(control_->Title(), "none");
  EXPECT_FALSE(PropertyBag::parse("Count=4\nnonsense\n"));
  EXPECT_EQ(PropertyBag::parse("")->size(), 0U);
}

TEST_F(ComponentTest, EventGoesToTheHandlerThenToTheObserver) {
  std::string log;
  control_->onChanged = [&log](const std::string &text, int32_t count) {
    log += "handler " + text + ' ' + std::to_string(count) + '\n';
  };
  control_->observe([&log](const Member &event, Arguments arguments) {
    log += event.name + ' ' + arguments[0].text() + ' ' + arguments[1].text() + '\n';
  });
  control_->Raise("x");
  control_->onChanged = nullptr;
  control_->Raise("y");
  control_->observe(nullptr);
  control_->Raise("z");
  EXPECT_EQ(log, "handler x 3\nChanged x 3\nChanged y 3\n");
}

TEST_F(ComponentTest, HandlersMayReplaceThemselves) {
  std::string log;
  control_->onChanged = [this, &log](const std::string &, int32_t) {
    const std::string kept = "first ";
    control_->onChanged = [&log](const std::string &, int32_t) { log += "second "; };
    log += kept;
  };
  control_->observe([this, &log](const Member &, Arguments) {
    const std::string kept = "watched ";
    control_->observe(nullptr);
    log += kept;
  });
  control_->Raise("");
  control_->Raise("");
  EXPECT_EQ(log, "first watched second ");
}

TEST_F(ComponentTest, AnEmptyHandlerIsNone) {
  int seen = 0;
  control_->observe([&seen](const Member &, Arguments) { ++seen; });
  control_->onChanged = std::function<void(const std::string &, int32_t)>();
  control_->Raise("x");
  control_->onChanged = static_cast<void (*)(const std::string &, int32_t)>(nullptr);
  control_->Raise("y");
  EXPECT_EQ(seen, 2);
}

TEST_F(ComponentTest, HandlersMayDestroyTheControl) {
  bool observed = false;
  control_->observe([&observed](const Member &, Arguments) { observed = true; });
  control_->onChanged = [this](const std::string &, int32_t) { control_.reset(); };
  control_->Raise("x");
  EXPECT_EQ(control_, nullptr);
  EXPECT_FALSE(observed);

  control_ = std::make_unique<CSampleCtrl>(loop_);
  control_->observe([this](const Member &, Arguments) { control_.reset(); });
  EXPECT_TRUE(control_->call("Raise", std::vector<Variant>{"x"}));
  EXPECT_EQ(control_, nullptr);
}

TEST(Version, IsThatOfThePackage) {
  const auto build = systemFiles().read(VELTO_SOURCE_DIR "/CMakeLists.txt");
  ASSERT_TRUE(build);
  EXPECT_NE(build->find(std::string("VERSION ") + kVersion + ' '), std::string::npos);
}

} // namespace
} // namespace velto
