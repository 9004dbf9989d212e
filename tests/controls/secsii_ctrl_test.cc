#include "controls/secsii_ctrl.h"

#include "support/operator.h"
#include "support/temporary_directory.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

namespace velto {
namespace {

/// A user without settings, whoever runs the tests.
class FreshUser {
public:
  FreshUser() { setenv("XDG_CONFIG_HOME", (folder / "").c_str(), 1); }
  ~FreshUser() { unsetenv("XDG_CONFIG_HOME"); }
  TemporaryDirectory folder;
};

class SecsIIControl : public testing::Test {
protected:
  FreshUser user;
  EventLoop loop;
  Operator front;
  CVeltoSecsIICtrl control{ControlSite(loop, front)};
};

TEST_F(SecsIIControl, PersistsItsSettings) {
  const std::string normal = "Async=false\nDeviceID=0\nErrorDialog=false\nHSMS=true\nHost=false\n";
  EXPECT_EQ(control.save().text(), normal);
  control.SetEdition(1);
  const PropertyBag bag = control.save();
  EXPECT_NE(bag.find("Edition"), nullptr);
  control.load(*PropertyBag::parse(normal));
  EXPECT_EQ(control.Edition(), 0) << "what a bag lacks has its default";
  control.load(bag);
  EXPECT_EQ(control.Edition(), 1);
  control.SetAsync(true);
  EXPECT_TRUE(control.modified());
}

TEST_F(SecsIIControl, KeepsTheDeviceIdThatWasSet) {
  control.SetDeviceID(5);
  control.SetSML("SelectReq");
  control.SetSessionID(9);
  const PropertyBag bag = control.save();
  EXPECT_EQ(bag.find("DeviceID")->text(), "5");
  control.SetDeviceID(6);
  control.SetMsg("00050101000000000007");
  control.load(bag);
  control.Reset();
  EXPECT_EQ(control.DeviceID(), 5);
}

TEST_F(SecsIIControl, ThePropertyPageEditsWhatIsPersisted) {
  front.answer = [](PropertySheet &sheet) {
    EXPECT_EQ(sheet.title, "VeltoSecsII Properties");
    sheet.find("DeviceID")->value = "12";
    sheet.find("Host")->value = "true";
    return true;
  };
  EXPECT_TRUE(control.ShowPropertyPage());
  EXPECT_EQ(control.DeviceID(), 12);
  EXPECT_TRUE(control.Host());
  front.answer = [this](PropertySheet &sheet) {
    control.SetDeviceID(99);
    sheet.find("Host")->value = "false";
    return true;
  };
  EXPECT_TRUE(control.ShowPropertyPage());
  EXPECT_EQ(control.DeviceID(), 99) << "the host set it while the page was open";
  EXPECT_FALSE(control.Host());
  front.answer = nullptr;
  EXPECT_FALSE(control.ShowPropertyPage());
}

/// An operator's desk that closes the form, and the control with it, whatever is shown.
class ClosingDesk final : public FrontEnd {
public:
  void messageBox(const std::string &) override { control.reset(); }
  bool showSheet(PropertySheet &) override {
    control.reset();
    return true;
  }
  std::unique_ptr<CVeltoSecsIICtrl> control;
};

TEST(ClosingForm, DestroysTheControlWhileABoxIsShown) {
  const FreshUser user;
  EventLoop loop;
  void (*const actions[])(CVeltoSecsIICtrl &) = {
      [](CVeltoSecsIICtrl &c) { c.SetSML("nonsense"); },
      [](CVeltoSecsIICtrl &c) { c.set("SML", Variant("{<a}")); },
      [](CVeltoSecsIICtrl &c) {
        c.SetSML("{{}}");
        c.SetNode("1");
        c.SetSML("{}");
      },
      [](CVeltoSecsIICtrl &c) { c.AboutBox(); },
      [](CVeltoSecsIICtrl &c) { EXPECT_FALSE(c.ShowPropertyPage()); },
  };
  for (const auto &action : actions) {
    ClosingDesk desk;
    desk.control = std::make_unique<CVeltoSecsIICtrl>(ControlSite(loop, desk));
    desk.control->SetErrorDialog(true);
    action(*desk.control);
    EXPECT_EQ(desk.control, nullptr);
  }
}

} // namespace
} // namespace velto
