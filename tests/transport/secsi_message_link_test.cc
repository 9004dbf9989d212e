#include "transport/secsi/secsi_message_link.h"

#include "support/pty.h"
#include "transport/hsms_engine_fixture.h"
#include "transport/message_links.h"
#include "transport/network.h"

#include <gtest/gtest.h>

namespace velto {
namespace {

// One end of a line over TCP, whose other end is the test.
class SecsIMessageLink : public testing::Test {
protected:
  void SetUp() override {
    settings->server = true;
    settings->equipment = true;
    ASSERT_TRUE(link->StartOpen({}));
    far = std::make_unique<RawClient>(link->LocalPort());
    net.settle();
    EXPECT_EQ(owner.take(), (Lines{"connected", "state 02"}));
  }
  std::optional<CHSecsHeader> send(const std::string &header, const std::string &body = "") {
    const auto sent = link->Send(*readHeader(fromHex(header)), fromHex(body));
    pass(1);
    return sent;
  }
  void pass(uint32_t ms) {
    net.clock.advance(ms);
    net.settle();
  }
  /// Grants the line, reads the block that comes, and acknowledges it.
  std::string takeBlock() {
    net.settle();
    EXPECT_EQ(far->readHex(), "05");
    far->send("04");
    net.settle();
    const std::string block = far->readHex();
    far->send("06");
    pass(1);
    return block;
  }
  /// Sends a block, header and body in hexadecimal; what the link answers to it.
  std::string giveBlock(const std::string &hex) {
    Bytes line;
    OutgoingMessage(fromHex(hex)).appendBlock(line);
    far->send("05");
    net.settle();
    far->send(line);
    net.settle();
    return far->readHex();
  }

  Network net;
  RecordingOwner owner;
  std::shared_ptr<LinkSettings> settings = std::make_shared<LinkSettings>();
  Handle<MessageLink> link = makeMessageLink(LinkProtocol::SecsITcp, net.loop, owner, settings);
  std::unique_ptr<RawClient> far;
};

// What the owner sees has the form of HSMS; the line that of SECS-I.
TEST_F(SecsIMessageLink, HeadersGetWhatTheLineNeeds) {
  struct Case {
    bool equipment;
    const char *header, *body, *block;
  };
  const Case cases[] = {
      // A primary with the W-bit gets system bytes of its own, others keep theirs.
      {true, "00058101000000000000", "", "0a 80058101800100000001 0189"},
      {false, "00058101000000000000", "", "0a 00058101800100000002 010a"},
      {true, "000501020000000000aa", "", "0a 800501028001000000aa 01b3"},
      // The complaint about a message of the partner, and about one's own.
      {true, "00050905000000000009", "210a00058107000000000077",
       "16 80050905800100000009 210a00058107800100000077 02cd"},
      {true, "00050909000000000009", "210a00058107000000000077",
       "16 80050909800100000009 210a80058107800100000077 0351"},
  };
  for (const Case &c : cases) {
    settings->equipment = c.equipment;
    EXPECT_TRUE(send(c.header, c.body));
    std::string block = c.block;
    std::erase(block, ' ');
    EXPECT_EQ(takeBlock(), block) << c.header;
  }
  owner.take();
  EXPECT_EQ(giveBlock("00058103800100000007"
                      "0100"),
            "0406");
  EXPECT_EQ(owner.take(), (Lines{"data 000581030000000000070100"}));
  EXPECT_FALSE(send(kSelectReq)) << "there are no control messages";
}

TEST_F(SecsIMessageLink, TheEquipmentIsTheMasterUnlessSetOtherwise) {
  for (const auto &[equipment, master, givesWay] :
       {std::tuple{true, -1, false}, {false, -1, true}, {true, 0, true}, {false, 1, false}}) {
    settings->equipment = equipment;
    settings->secsI.master = master;
    link->settingsChanged();
    EXPECT_TRUE(send(kS1F1));
    EXPECT_EQ(far->readHex(), "05");
    far->send("05");
    net.settle();
    EXPECT_EQ(far->readHex(), givesWay ? "04" : "") << equipment << master;
    link->Close();
    pass(1);
    ASSERT_TRUE(link->StartOpen({}));
    far = std::make_unique<RawClient>(link->LocalPort());
    net.settle();
  }
}

// The time for a reply begins when all of the message is there, and waits for a reply that has
// begun to arrive.
TEST_F(SecsIMessageLink, TellsWhenAMessageIsThereAndAReplyOnItsWay) {
  const auto sent = send(kS1F1, std::string(600, '0'));
  ASSERT_TRUE(sent);
  EXPECT_TRUE(link->sendsLater());
  takeBlock();
  EXPECT_EQ(owner.take(), Lines{});
  takeBlock();
  EXPECT_EQ(owner.take(), (Lines{"transmitted 1"}));
  EXPECT_FALSE(link->replyArrives(*sent));
  EXPECT_EQ(giveBlock("00010102000100000001"
                      "a5"),
            "0406");
  EXPECT_TRUE(link->replyArrives(*sent));
  EXPECT_EQ(giveBlock("00010102800200000001"
                      "a6"),
            "0406");
  EXPECT_FALSE(link->replyArrives(*sent));
  EXPECT_EQ(owner.take(), (Lines{"data 00010102000000000001a5a6"}));
}

TEST_F(SecsIMessageLink, TimersAndRetriesAreThoseOfTheLine) {
  settings->secsI = {"", 0, 9600, 100, 300, 500, 1, SecsILine::MasterByRole};
  link->settingsChanged();
  EXPECT_TRUE(send(kS1F1));
  EXPECT_TRUE(send("000101020000000000aa"));
  pass(300);
  EXPECT_EQ(owner.take(), (Lines{"problem T2 "}));
  pass(300);
  EXPECT_EQ(owner.take(), (Lines{"failed S1F1W", "failed S1F2"})) << "one takes the other along";
  EXPECT_EQ(far->readHex(), "0505");
  far->send("050a00");
  net.settle();
  pass(100);
  EXPECT_EQ(owner.take(), (Lines{"problem T1 "}));
  EXPECT_EQ(giveBlock("00010105000100000009"), "04150406");
  pass(500);
  EXPECT_EQ(owner.take(), (Lines{"problem T4 "}));
  EXPECT_TRUE(send(kS1F1));
  far->read();
  far->close();
  pass(1);
  pass(1);
  EXPECT_EQ(owner.take(), (Lines{"failed S1F1W", "disconnected", "state 20"}));
  EXPECT_EQ(link->counters().of(LinkProblem::SendFailed), 3U);
}

// A partner that hangs, or is none, keeps its connection: the host that comes back waits behind it.
TEST_F(SecsIMessageLink, APartnerThatIsSilentGivesWayToOneThatWaits) {
  constexpr int kSpeaks = 1;    // once, when it has come
  constexpr int kIsSent = 2;    // a message, of which it hears nothing
  constexpr int kRefuses = 4;   // that message, by NAK
  constexpr int kComesLate = 8; // the newcomer, when the time is over
  const Lines changed{"disconnected", "problem System 10060 ", "state 20", "connected", "state 02"};
  struct Case {
    int32_t interval;
    int what;
    bool getsIn;
  };
  for (const Case &c :
       {Case{5000, 0, true}, Case{5000, kComesLate, true}, Case{5000, kSpeaks, false},
        Case{5000, kSpeaks | kIsSent, true}, Case{5000, kSpeaks | kIsSent | kComesLate, true},
        Case{5000, kSpeaks | kIsSent | kRefuses, false}, Case{0, 0, false},
        Case{0, kSpeaks | kIsSent, false}}) {
    SCOPED_TRACE(testing::Message() << c.interval << ' ' << c.what);
    settings->secsI = {"", 0, 9600, 100, 300, 500, 1, SecsILine::MasterByRole};
    settings->linktestInterval = c.interval;
    link->settingsChanged();
    if ((c.what & kSpeaks) != 0)
      giveBlock("00058105800100000009");
    std::unique_ptr<RawClient> next;
    const auto comes = [&] { next = std::make_unique<RawClient>(link->LocalPort()); };
    if ((c.what & kComesLate) == 0)
      comes();
    pass(4999);
    if ((c.what & kIsSent) != 0) {
      EXPECT_TRUE(send(kS1F1));
      for (int attempt = 0; attempt < 2; ++attempt, pass(300)) {
        if ((c.what & kRefuses) != 0)
          far->send("0415");
        net.settle();
      }
    }
    pass(1);
    if (next == nullptr)
      comes();
    pass(1);
    pass(1);
    EXPECT_EQ(far->ended(), c.getsIn);
    Lines heard = owner.take();
    std::erase_if(heard, [&changed](const std::string &line) {
      return std::ranges::find(changed, line) == changed.end();
    });
    EXPECT_EQ(heard, c.getsIn ? changed : Lines{});
    link->Close();
    pass(1);
    ASSERT_TRUE(link->StartOpen({}));
    far = std::make_unique<RawClient>(link->LocalPort());
    net.settle();
    owner.take();
  }
}

TEST(SecsIMessageLinkOnAPort, TellsOfAPortThatCannotBeOpenedAndOfOneThatIsGone) {
  Network net;
  RecordingOwner owner;
  const auto settings = std::make_shared<LinkSettings>();
  SerialPorts ports;
  const auto link = makeMessageLink(LinkProtocol::SecsISerial, net.loop, owner, settings, ports);
  const auto run = [&] {
    for (int i = 0; i < 5; ++i, net.clock.advance(1))
      net.settle();
    return owner.take();
  };
  settings->secsI.portName = "/nowhere/tty";
  EXPECT_FALSE(link->StartOpen({}));
  EXPECT_EQ(run(), (Lines{"problem System 2 "}));
  PtyLine line;
  ports.map(4, line.path());
  settings->secsI.portName = "";
  settings->secsI.portNumber = 3; // "com4"
  bool opened = false;
  EXPECT_TRUE(link->StartOpen([&opened](bool outcome) { opened = outcome; }));
  EXPECT_EQ(run(), (Lines{"connected", "state 02"}));
  EXPECT_TRUE(opened);
  line.hangUp();
  EXPECT_EQ(run(), (Lines{"problem System 5 ", "disconnected", "state 20"}));
  EXPECT_FALSE(link->IsOpen());
}

} // namespace
} // namespace velto
