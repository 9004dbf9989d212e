#include "controls/secsii_ctrl.h"

#include "platform/ini_file.h"
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

TEST_F(SecsIIControl, HeaderFieldsKeepTheBitsBesideThem) {
  const struct {
    const char *name;
    int32_t value;
    const char *header; ///< after setting it in a header of ones
    int32_t read;
  } rows[] = {
      {"BlockNumber", 5, "ffffffff8005ffffffff", 5},
      {"Ebit", 0, "ffffffff7fffffffffff", 0},
      {"DeviceID", 5, "8005ffffffffffffffff", 5},
      {"Rbit", 0, "7fffffffffffffffffff", 0},
      {"SessionID", 5, "0005ffffffffffffffff", 5},
      {"Function", 5, "ffffff05ffffffffffff", 5},
      {"Stream", 5, "ffff85ffffffffffffff", 5},
      {"Wbit", 0, "ffff7fffffffffffffff", 0},
      {"PType", 5, "ffffffff05ffffffffff", 5},
      {"SType", 5, "ffffffffff05ffffffff", 5},
      {"SystemBytes", 5, "ffffffffffff00000005", 5},
      {"SourceID", 5, "ffffffffffff0005ffff", 5},
      {"TransactionID", 5, "ffffffffffffffff0005", 5},
      {"SystemBytes", -2, "fffffffffffffffffffe", -2},
  };
  for (const auto &row : rows) {
    control.SetMsg("ffffffffffffffffffff");
    ASSERT_TRUE(control.set(row.name, Variant(row.value))) << row.name;
    EXPECT_EQ(control.Msg(), row.header) << row.name;
    EXPECT_EQ(control.get(row.name).value.as(ValueType::Int32)->toInteger(), row.read) << row.name;
  }
}

TEST_F(SecsIIControl, SmlGetsTheDeviceIdAndTheNextSystemBytes) {
  control.SetDeviceID(5);
  control.SetSML("S1F1W");
  EXPECT_EQ(control.Msg(), "00058101000000000001");
  control.SetSML("SelectReq");
  EXPECT_EQ(control.Msg(), "ffff0000000100000002");
  EXPECT_FALSE(control.Error());
  control.SetSML("nonsense");
  EXPECT_TRUE(control.Error());
  EXPECT_EQ(control.Msg(), "00050000000000000003") << "reset, and stamped all the same";
  control.SetSML("s1f13w{<a 'x'>}");
  control.SetNode("2");
  control.SetSML("<u1 7>");
  EXPECT_EQ(control.Msg(), "0005810d000000000005"
                           "0102410178a50107");
  EXPECT_EQ(control.NodeType(), SecsByte);
  EXPECT_EQ(control.NodeValue(), "7");
  EXPECT_EQ(control.NodeValueHex(), "07");
  EXPECT_EQ(control.NodeCount(), 1);
  control.SetSML("");
  EXPECT_EQ(control.SML(), "S1F13W\r\n{\r\n  <a 'x'>           * MDLN\r\n}\r\n");
  control.Reset();
  EXPECT_EQ(control.Msg(), "00050000000000000000");
  EXPECT_EQ(control.XML(), "");
}

TEST_F(SecsIIControl, SystemBytesSkipZero) {
  control.SetSystemBytes(-1);
  control.SetNode("1");
  control.SetSML("<u1 1>");
  EXPECT_EQ(control.SystemBytes(), 1) << "the counter is the control's own";
}

TEST_F(SecsIIControl, MsgIsVerifiedAndSuggestsAReply) {
  control.SetMsg("00058101000000000007");
  EXPECT_EQ(control.Verify(), VerificationCorrect);
  EXPECT_EQ(control.SuggestedReplyMsg(), "00050102000000000007"
                                         "010241034b656c4104312e3030");
  control.SetMsg("0005810100000000000");
  EXPECT_EQ(control.Msg(), "00058101000000000007") << "too short: ignored";
  control.SetMsg("00050101000000000007");
  EXPECT_EQ(control.Verify(), VerificationNoWBit);
  EXPECT_EQ(control.SuggestedReplyMsg(), "00050907000000000000"
                                         "210a00050101000000000007");
  control.SetHost(true);
  control.SetMsg("00058103000000000007");
  EXPECT_EQ(control.Verify(), VerificationWrongDirection);
  EXPECT_EQ(control.SuggestedReplyMsg(), "00050100000000000007");
  control.SetMsg("00050102000000000007"
                 "0102410161410162");
  EXPECT_EQ(control.Verify(), VerificationCorrect);
  EXPECT_EQ(control.SuggestedReplyMsg(), "");
  EXPECT_EQ(control.Node(), "2") << "compared last";
  const struct {
    const char *message;
    const char *node; ///< what was compared last
  } rows[] = {{"0005071a00000000000701014100", "2"},     // too few items
              {"0005071a0000000000070102a5010141", "1"}, // PPID a number
              {"0005071a0000000000074100", ""}};
  for (const auto &row : rows) {
    control.SetMsg(row.message);
    EXPECT_EQ(control.Verify(), VerificationIncorrect) << row.message;
    EXPECT_EQ(control.Node(), row.node) << row.message;
  }
}

TEST_F(SecsIIControl, TheEditionDecides) {
  const struct {
    int16_t edition; ///< as set; 2 is ignored
    int16_t result;
    const char *finding;
  } rows[] = {{0, VerificationIncorrect, "S1F13 1: MDLN longer than 6"},
              {1, VerificationCorrect, ""},
              {2, VerificationCorrect, ""},
              {-1, VerificationCorrect, ""},
              {0, VerificationIncorrect, "S1F13 1: MDLN longer than 6"}};
  control.SetHost(true);
  for (const auto &row : rows) {
    control.SetEdition(row.edition);
    control.SetNode("");
    control.SetSML("s1f13w{<a 'ETCHER-1'><a '1.00'>}");
    control.SetMsg(control.Msg());
    EXPECT_EQ(control.Verify(), row.result) << row.edition;
    EXPECT_EQ(control.VerificationText(), row.finding) << row.edition;
  }
  control.SetNode("");
  control.SetSML("s1f14w{<b 0>}");
  EXPECT_EQ(control.VerificationText(), "S1F14: a reply carries no W-bit") << "as it stands";
}

TEST_F(SecsIIControl, ReplyMakesTheHeader) {
  const struct {
    bool hsms;
    const char *primary;
    const char *reply;
  } rows[] = {
      {true, "0005810d000000000007",
       "0005010e000000000007"
       "41026162"},
      {true, "ffff0000000500000007", "ffff0000000600000007"},
      {true, "00050000000500000007",
       "00050000000600000007"
       "41026162"},
      {false, "0005810d800100030007",
       "8005010e800100030007"
       "41026162"},
      {false, "8005810d000100030007",
       "0005010e800100030007"
       "41026162"},
  };
  for (const auto &row : rows) {
    control.SetHSMS(row.hsms);
    control.SetSML("<a 'ab'>");
    control.Reply(row.primary);
    EXPECT_EQ(control.Msg(), row.reply) << row.primary;
    control.Reply("0005");
    EXPECT_EQ(control.Msg(), row.reply) << "too short: ignored";
  }
}

TEST_F(SecsIIControl, ShowsErrorsOnceWhenAsked) {
  control.SetSML("nonsense");
  EXPECT_TRUE(front.boxes.empty());
  control.SetErrorDialog(true);
  control.SetSML("nonsense");
  control.SetSML("{{}}");
  control.SetNode("1");
  control.SetSML("{}");
  EXPECT_THAT(front.boxes, testing::ElementsAre("Parse error!", "Cannot create list array."));
}

TEST_F(SecsIIControl, PersistsItsSettingsAndShowsTheMessage) {
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
  control.SetSML("s1f1w");
  EXPECT_EQ(control.window(), "S1F1W\n  00008101000000000001\n");
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

TEST(UserSettings, DecideOnErrorDialogs) {
  const FreshUser user;
  EventLoop loop;
  EXPECT_FALSE(CVeltoSecsIICtrl(loop).ErrorDialog());
  systemFiles().write(user.folder / "VeltoActiveX.ini", "[VeltoActiveX]\nShowMessageBox=1\n");
  EXPECT_TRUE(CVeltoSecsIICtrl(loop).ErrorDialog());
}

} // namespace
} // namespace velto
