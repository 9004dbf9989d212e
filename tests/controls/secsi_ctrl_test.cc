#include "controls/secsi_ctrl.h"

#include "support/event_lines.h"
#include "support/pty.h"
#include "support/temporary_directory.h"
#include "transport/block_line.h"
#include "transport/network.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velto {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr int16_t kLinePort = 50; // index of a port that the tests map

const std::string kPrimary = "00008101000000000007"; // S1F1W as the host gives it
const std::string kSent = "80008101800000000007";    // and as it goes out
const std::string kReply = "00000102800000000007";

class SecsIControl : public testing::Test {
protected:
  SecsIControl() { renew(); }

  void map(int index, const std::string &path) { ports.map(index + 1, path); }
  /// A fresh line and a fresh control on it.
  void renew() {
    control.reset();
    line = std::make_unique<PtyLine>();
    map(kLinePort, line->path());
    control = std::make_unique<CVeltoSecsICtrl>(site);
    control->SetPortNumber(kLinePort);
    events = std::make_unique<EventLines>(*control);
  }
  bool isOpen() const { return control != nullptr && control->Connect(); }
  void open() {
    control->SetConnect(true);
    ASSERT_TRUE(isOpen());
  }
  /// Runs with a tick now and then: the kernel hands bytes on when it has time.
  void until(const std::function<bool()> &done) {
    int turns = 0;
    net.until([&] {
      net.clock.advance(++turns % 4 == 0 ? 1 : 0);
      return done();
    });
  }
  /// So many milliseconds at once.
  void pass(uint32_t ms) {
    net.clock.advance(ms);
    net.settle();
  }
  /// The far end says something; what answers, that many bytes.
  std::string answer(const std::string &hex, size_t length) {
    line->send(fromHex(hex));
    Bytes bytes;
    until([&] {
      const Bytes more = line->read();
      bytes.insert(bytes.end(), more.begin(), more.end());
      return bytes.size() >= length || !isOpen();
    });
    return toHex(bytes);
  }
  /// The far end says something; the events, that many.
  Lines happens(const std::string &hex, size_t count) {
    line->send(fromHex(hex));
    until([&] { return events->size() >= count || control == nullptr; });
    return events->take();
  }
  /// The far end sends a block; the events.
  Lines receives(const std::string &hex) {
    EXPECT_EQ(answer("05", 1), "04");
    EXPECT_EQ(answer(blockHex(hex), 1), "06");
    return events->take();
  }
  /// The far end takes the message that is sent next.
  Lines accept(const std::string &sent) {
    EXPECT_EQ(answer("", 1), "05");
    EXPECT_EQ(answer("04", sent.size() / 2 + 3), blockHex(sent));
    return happens("06", 1);
  }

  Network net;
  SerialPorts ports;
  ControlSite site{net.loop, headlessFrontEnd(), systemFiles(), ports};
  TemporaryDirectory folder;
  std::unique_ptr<PtyLine> line;
  std::unique_ptr<CVeltoSecsICtrl> control;
  std::unique_ptr<EventLines> events;
};

TEST_F(SecsIControl, ConnectOpensThePortOfItsIndex) {
  PtyLine other;
  map(0, line->path());
  map(3, other.path());
  control->SetBaudRate(31'250);
  for (const auto &[index, wanted] : {std::pair<int16_t, PtyLine *>(0, line.get()), {3, &other}}) {
    control->SetPortNumber(index);
    open();
    EXPECT_EQ(wanted->baudRate(), 31'250);
    EXPECT_EQ(wanted->settings().c_cflag & (CSIZE | PARENB | CSTOPB), unsigned{CS8});
  }
  CVeltoSecsICtrl second(site);
  second.SetPortNumber(3);
  second.SetConnect(true);
  EXPECT_FALSE(second.Connect()) << "in use";
  control->SetConnect(false);
  EXPECT_FALSE(control->Connect());
}

TEST_F(SecsIControl, ShowsItsStatisticsWhenTheyAreWanted) {
  open();
  EXPECT_THAT(control->window(), Not(HasSubstr("Statistics")));
  control->SetStatistics(true);
  receives(kReply);
  for (const char *part : {"\nStatistics\n  FramesIn : 1\n", "\n  BlocksIn : 1\n", "\n  T2 : 0\n"})
    EXPECT_THAT(control->window(), HasSubstr(part));
}

TEST_F(SecsIControl, ExchangesMessagesAndShowsItsQueues) {
  EXPECT_FALSE(control->Send(kPrimary)) << "closed";
  open();
  EXPECT_FALSE(control->Send(kPrimary.substr(1))) << "shorter than a header";
  EXPECT_TRUE(control->Send(kPrimary));
  EXPECT_EQ(control->window(), "Out Queue\n  S1F1W\nIn Queue\n");
  EXPECT_THAT(accept(kSent), ElementsAre("Sent " + kSent));
  EXPECT_THAT(receives("0000060b000100000009" + repeated("AA", 244)), ElementsAre());
  EXPECT_EQ(control->window(), "Out Queue\nIn Queue\n  S6F11\n");
  EXPECT_THAT(receives("0000060b800200000009ff"),
              ElementsAre("Received 0000060b800200000009" + repeated("aa", 244) + "ff"));
  EXPECT_EQ(control->window(), "Out Queue\nIn Queue\n  S6F11\n") << "for T4";

  control->SetMaster(false);
  control->SetDeviceID(0x8123);
  EXPECT_TRUE(control->Send(kPrimary));
  EXPECT_THAT(accept("01238101800000000007"), ElementsAre("Sent 01238101800000000007"))
      << "settings count at once";
  control->Send(kPrimary);
  open();
  EXPECT_EQ(control->window(), "Out Queue\nIn Queue\n") << "opening anew empties the queues";
}

// Nothing comes from the line meanwhile: the control's own timer has to find each of these.
TEST_F(SecsIControl, FindsEveryTimeOut) {
  open();
  control->SetT2(50);
  control->SetRetry(1);
  control->Send(kPrimary);
  control->Send("00008111000000000008");
  EXPECT_EQ(answer("", 1), "05");
  pass(50);
  EXPECT_EQ(answer("", 1), "05");
  EXPECT_THAT(events->take(), ElementsAre("Problem 10 "));
  pass(50);
  EXPECT_THAT(events->take(), ElementsAre("Problem 8 " + kSent, "Problem 8 80008111800000000008"))
      << "a failed message takes the queue along";
  EXPECT_EQ(control->window(), "Out Queue\nIn Queue\n");

  control->SetT2(10'000);
  for (const char *sent : {"80008101800000000001", "80008101800000000002"}) {
    control->Send(sent);
    accept(sent);
  }
  control->SetT3(200);
  pass(200);
  pass(1);
  EXPECT_THAT(events->take(),
              ElementsAre("Problem 12 80008101800000000001", "Problem 12 80008101800000000002"));
  for (const char *first : {"00000105000100000003", "00000105000100000004"})
    receives(first);
  control->SetT4(300);
  pass(300);
  pass(1);
  EXPECT_THAT(events->take(),
              ElementsAre("Problem 9 00000105000100000003", "Problem 9 00000105000100000004"));
  control->SetT1(10'000);
  EXPECT_EQ(answer("05", 1), "04");
  EXPECT_THAT(happens("09", 1), ElementsAre("Problem 2 "));
  pass(10'000);
  EXPECT_THAT(events->take(), ElementsAre("Problem 11 "));
  EXPECT_EQ(answer("", 1), "15");
}

TEST_F(SecsIControl, TimeGoesOnWhileAHandlerPumpsTheLoop) {
  open();
  control->SetT2(50);
  control->SetRetry(1);
  size_t inside = 0;
  events->onEvent = [&](const std::string &) {
    if (events->size() == 1) {
      pass(50);
      inside = events->size();
    }
  };
  control->Send(kPrimary);
  EXPECT_EQ(answer("", 1), "05");
  pass(50);
  EXPECT_EQ(inside, 2U);
  EXPECT_THAT(events->take(), ElementsAre("Problem 10 ", "Problem 8 " + kSent));
}

TEST_F(SecsIControl, WithMsecDataIsCharactersOfEvenParity) {
  control->SetMSEC(true);
  open();
  control->Send("0000810100030000000A\x07"
                "A\xC1");
  EXPECT_EQ(control->window(), "Out Queue\n  \x07"
                               "A\nIn Queue\n");
  EXPECT_THAT(accept("0000810100030000000a874141"), ElementsAre("Sent 0000810100030000000a\x07"
                                                                "AA"));
  EXPECT_THAT(receives("0000010200050000000a8742"), ElementsAre("Received 0000010200050000000a\x07"
                                                                "B"));
  control->SetRetry(0);
  control->Send("0000810100030000000bC");
  EXPECT_EQ(answer("", 1), "05");
  pass(10'000);
  EXPECT_THAT(events->take(), ElementsAre("Problem 8 0000810100030000000bC"));
}

TEST_F(SecsIControl, WritesItsLog) {
  const auto log = [&] {
    std::string text = systemFiles().read(folder / "line.log").value_or("");
    systemFiles().remove(folder / "line.log");
    return text;
  };
  control->SetIniSection("Etcher");
  control->SetLogFileName(folder / "line");
  control->SetLog(true);
  control->Send(kPrimary);
  EXPECT_EQ(log(), "") << "closed: nothing is being sent";
  open();
  control->Send(kPrimary);
  accept(kSent);
  receives(kReply + "010241014141014d");
  std::string text = log();
  EXPECT_EQ(text.substr(0, 15), "1970/01/01 00:0");
  EXPECT_THAT(text, HasSubstr("\r\nSending to Etcher\r\nS1F1W\r\n\r\n1970"));
  EXPECT_TRUE(text.ends_with(
      "\r\nReceived from Etcher\r\nS1F2\r\n{\r\n  <a 'A'>\r\n  <a 'M'>\r\n}\r\n\r\n"))
      << text;
  EXPECT_THAT(text, Not(HasSubstr("ENQ")));

  control->SetLogVerbose(true);
  control->SetMSEC(true);
  control->Send("0000810100030000000A\x87"
                "A");
  accept("0000810100030000000a8741");
  receives("0000010200050000000a87");
  text = log();
  EXPECT_THAT(text, HasSubstr("\r\nSending to Etcher\r\n0000810100030000000A\x87"
                              "A\r\n1970"))
      << "the text as the host gave it";
  EXPECT_THAT(text, HasSubstr(" Sent ENQ\r\n"));
  EXPECT_TRUE(text.ends_with("\r\nReceived from Etcher\r\n0000010200050000000a\x07\r\n")) << text;

  control->SetLogFileName("");
  control->Send("0000810100030000000A");
  accept("0000810100030000000a");
  EXPECT_EQ(log(), "");
}

TEST_F(SecsIControl, AnUnpluggedDeviceFailsTheQueue) {
  open();
  control->Send(kPrimary);
  EXPECT_EQ(answer("", 1), "05");
  line->hangUp();
  until([&] { return events->size() >= 2; });
  EXPECT_THAT(events->take(),
              ElementsAre("Problem 8 " + kSent, "Problem 5 The serial device is gone."));
  EXPECT_FALSE(control->Connect());
  EXPECT_FALSE(control->Send(kPrimary));
  line = std::make_unique<PtyLine>();
  map(kLinePort, line->path());
  open();
  EXPECT_EQ(answer("05", 1), "04");
}

} // namespace
} // namespace velto
