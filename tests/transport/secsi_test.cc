#include "network.h"
#include "platform/null_modem.h"
#include "support/pty.h"
#include "transport/secsi/block.h"
#include "transport/secsi/secsi.h"

#include <gtest/gtest.h>
#include <memory>

namespace velto {
namespace {

const std::string kMessage = "80008101800000000007";
const std::string kBlock = "0a" + kMessage + "0189"; // its sum: 80 00 81 01 80 07

struct SecsILine : Network {
  SecsILine() {
    sink.kind = ConnectionKind::SecsI;
    sink.address = "";
    CHSerialPort::MapPort(41, pty.path());
    port = makeHandle<CHSecsI>(loop);
    port->SetSink(&sink);
  }
  ~SecsILine() { CHSerialPort::MapPort(41, ""); }
  bool open() { return port->Open("com41", 9600, 8, 0, 0); }
  // The kernel hands bytes on when it has time: so each step waits for what it has to bring, for
  // about two seconds at most. Says something, and returns the answer of so many bytes.
  std::string say(const std::string &hex, size_t length) {
    pty.send(fromHex(hex));
    Bytes answer;
    until([&] {
      port->Poll();
      const Bytes more = pty.read();
      answer.insert(answer.end(), more.begin(), more.end());
      return answer.size() >= length;
    });
    return toHex(answer);
  }
  // Says something, and waits until so many reports have come in all.
  Lines reports(const std::string &hex, size_t count) {
    pty.send(fromHex(hex));
    Lines lines;
    until([&] {
      if (port)
        port->Poll();
      for (std::string &line : sink.take())
        lines.push_back(std::move(line));
      return lines.size() >= count || !port;
    });
    return lines;
  }

  PtyLine pty;
  RecordingSink sink;
  Handle<CHSecsI> port;
};

TEST(SecsI, ExchangesMessagesOnASerialDevice) {
  SecsILine line;
  EXPECT_FALSE(line.port->QueueHex("00008101000000000007")) << "not open";
  ASSERT_TRUE(line.open());
  EXPECT_FALSE(line.open()) << "open already";
  EXPECT_FALSE(line.port->QueueHex("000081010000000000")) << "no header";
  EXPECT_TRUE(line.port->QueueHex("00008101000000000007"));
  EXPECT_EQ("05", line.say("", 1));
  EXPECT_EQ(kBlock, line.say("04", 13));
  EXPECT_EQ((Lines{"sent " + kMessage}), line.reports("06", 1));
  EXPECT_EQ("04", line.say("05", 1));
  EXPECT_EQ("06", line.say("0a00008102800000000009010c", 1));
  EXPECT_EQ((Lines{"received 00008102800000000009"}), line.sink.take());
}

TEST(SecsI, CarriesEveryByteUnchanged) {
  Network net;
  NullModem modem(net.loop);
  std::string all;
  for (int round = 0; round < 4; ++round)
    for (unsigned byte = 0; byte < 256; ++byte)
      all += formatText("%02x", byte);
  RecordingSink sink;
  sink.kind = ConnectionKind::SecsI;
  sink.address = "";
  const auto a = makeHandle<CHSecsI>(net.loop);
  const auto b = makeHandle<CHSecsI>(net.loop);
  b->SetSink(&sink);
  bool reported = false;
  sink.onReport = [&](const std::string &) { reported = true; };
  ASSERT_TRUE(a->Open(modem.a().path(), 115'200, 8, 0, 0));
  ASSERT_TRUE(b->Open(modem.b().path(), 115'200, 8, 0, 0));
  ASSERT_TRUE(a->QueueHex("00008101000000000007" + all));
  EXPECT_TRUE(net.until([&] {
    a->Poll();
    b->Poll();
    return reported;
  }));
  EXPECT_EQ((Lines{"received 1034"}), sink.take());
}

TEST(SecsI, ADeviceThatVanishesFailsTheQueueAndIsReportedOnce) {
  SecsILine line;
  ASSERT_TRUE(line.open());
  line.port->QueueHex("00008101000000000007");
  EXPECT_EQ("05", line.say("", 1));
  line.pty.hangUp();
  EXPECT_EQ((Lines{"failed " + kMessage, "problem System 5 The serial device is gone."}),
            line.reports("", 2));
  line.port->Poll();
  EXPECT_FALSE(line.port->IsOpen());
  EXPECT_EQ(std::nullopt, line.port->NextPoll());
  EXPECT_EQ(Lines{}, line.sink.take());
}

TEST(SecsI, ClosingDropsWhatIsQueued) {
  SecsILine line;
  ASSERT_TRUE(line.open());
  line.port->QueueHex("00008101000000000007");
  line.port->Close();
  EXPECT_EQ(0U, line.port->transfer().OutCount());
  ASSERT_TRUE(line.open()) << "a port can be opened again";
  EXPECT_EQ("04", line.say("05", 1));
  EXPECT_EQ(Lines{}, line.sink.take());
}

TEST(SecsI, TheSinkMayDestroyThePort) {
  for (const char *victim :
       {"received", "problem UnexpectedCharacter", "problem System 5", "failed"}) {
    SecsILine line;
    ASSERT_TRUE(line.open());
    line.sink.onReport = [&](const std::string &text) {
      if (text.starts_with(victim))
        line.port.reset();
    };
    line.reports("41", 1);
    line.reports("05" + kBlock, 1);
    if (line.port)
      line.port->QueueHex("00008101000000000007");
    line.pty.hangUp();
    line.reports("", 2);
    EXPECT_EQ(nullptr, line.port) << victim;
  }
}

} // namespace
} // namespace velto
