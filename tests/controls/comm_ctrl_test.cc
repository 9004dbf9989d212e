#include "controls/comm_ctrl.h"
#include "transport/secsi/serial_port.h"

#include "support/operator.h"
#include "support/pty.h"
#include "support/temporary_directory.h"
#include "transport/network.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velto {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr int16_t kMappedPort = 40; // index of a port that the tests map

class CommControl : public testing::Test {
protected:
  CommControl() {
    map(line.path());
    comm->SetPortNumber(kMappedPort);
    comm->onReceived = [this](int32_t count) {
      counts.push_back(count);
      if (onReceived)
        onReceived();
    };
  }

  void map(const std::string &path) { ports.map(kMappedPort + 1, path); }
  void open() {
    comm->SetConnect(true);
    ASSERT_TRUE(comm->Connect());
  }
  /// The far end sends, and all of it is there before the next tick.
  void send(std::string_view text) {
    const int32_t count = comm->Count() + static_cast<int32_t>(text.size());
    line.send({reinterpret_cast<const uint8_t *>(text.data()), text.size()});
    ASSERT_TRUE(net.until([&] { return comm->Count() == count; }));
  }
  void tick(int count = 1) {
    for (int i = 0; i < count; ++i) {
      net.clock.advance(1);
      net.loop.runOnce(0);
    }
  }
  /// What the far end gets.
  std::string arrived(size_t size) {
    std::string text;
    net.until([&] {
      const Bytes bytes = line.read();
      text.append(bytes.begin(), bytes.end());
      return text.size() >= size;
    });
    return text;
  }

  Network net;
  PtyLine line;
  Operator front;
  SerialPorts ports;
  ControlSite site{net.loop, front, systemFiles(), ports};
  std::unique_ptr<CVeltoCommCtrl> comm = std::make_unique<CVeltoCommCtrl>(site);
  std::vector<int32_t> counts; ///< of the Received events
  std::function<void()> onReceived;
};

TEST_F(CommControl, ReceivedComesOnEveryTickWhileBytesWait) {
  open();
  send("a");
  send("bc");
  for (int i = 0; i < 100; ++i)
    net.loop.runOnce(0);
  EXPECT_THAT(counts, ElementsAre()) << "time stands still";
  tick();
  EXPECT_THAT(counts, ElementsAre(3));
  EXPECT_EQ(comm->ByteStream(), 'a');
  tick(2);
  EXPECT_THAT(counts, ElementsAre(3, 2, 2));
  send("\xFF");
  tick();
  EXPECT_THAT(counts, ElementsAre(3, 2, 2, 3));
  for (const int32_t byte : {0x62, 0x63, 255, 65535, 65535})
    EXPECT_EQ(comm->ByteStream(), byte);
  counts.clear();
  tick(3);
  EXPECT_THAT(counts, ElementsAre());
}

TEST_F(CommControl, SendsCharactersAndBytesAsTheyAre) {
  EXPECT_FALSE(comm->Send("a")) << "closed";
  comm->SetByteStream('a');
  EXPECT_EQ(comm->ByteStream(), 65535);
  EXPECT_EQ(comm->Count(), 0);
  open();
  EXPECT_EQ(comm->ByteStream(), 65535) << "nothing waits";
  const std::string text("0A\r\n\0\x11\xFF", 7);
  EXPECT_TRUE(comm->Send(text));
  EXPECT_TRUE(comm->Send(""));
  comm->SetByteStream(0x105);
  comm->SetByteStream(255);
  EXPECT_EQ(arrived(9), text + "\x05\xFF");
  EXPECT_FALSE(comm->Send(std::string(CHSerialPort::kOutputLimit + 1, 'x')));
}

TEST_F(CommControl, ConnectOpensWithTheSettingsOfNow) {
  EXPECT_THAT(comm->window(), HasSubstr("com41 (" + line.path() + ") 9600 8N1: closed"));
  comm->SetBaudRate(31250);
  comm->SetByteSize(7);
  comm->SetParity(2);
  comm->SetStopBit(2);
  open();
  EXPECT_THAT(comm->window(), HasSubstr(" 31250 7E2: open"));
  EXPECT_EQ(line.baudRate(), 31250);
  EXPECT_NE(line.settings().c_cflag & CSTOPB, 0U);
  comm->SetBaudRate(9600);
  EXPECT_EQ(line.baudRate(), 31250) << "counts from the next opening on";
  send("old");
  comm->SetConnect(true);
  EXPECT_EQ(line.baudRate(), 9600);
  EXPECT_EQ(comm->Count(), 0) << "opening anew drops what waited";

  CVeltoCommCtrl other(site);
  other.SetPortNumber(kMappedPort);
  other.SetConnect(true);
  EXPECT_FALSE(other.Connect());
  EXPECT_THAT(other.window(), HasSubstr(": Device or resource busy"));
  comm->SetConnect(false);
  EXPECT_FALSE(comm->Connect());
  other.SetStopBit(1);
  other.SetConnect(true);
  EXPECT_FALSE(other.Connect()) << "one and a half stop bits";
  EXPECT_THAT(other.window(), HasSubstr("8N1.5: Invalid argument"));
  other.SetConnect(false);
  EXPECT_THAT(other.window(), HasSubstr(": closed"));
}

TEST_F(CommControl, AnUnpluggedDeviceEndsConnect) {
  open();
  send("bye");
  onReceived = [this] {
    line.hangUp();
    tick(2);
  };
  tick(5);
  EXPECT_THAT(counts, ElementsAre(3, 3)) << "what had arrived is offered once more";
  EXPECT_FALSE(comm->Connect());
  EXPECT_EQ(comm->ByteStream(), 65535);
  EXPECT_FALSE(comm->Send("x"));
  EXPECT_THAT(comm->window(), HasSubstr(": Input/output error"));
  counts.clear();
  tick(3);
  EXPECT_FALSE(net.loop.runOnce(0));
  EXPECT_THAT(counts, ElementsAre());
  PtyLine next;
  map(next.path());
  open();
}

TEST_F(CommControl, ABagOpensThePortWithItsSettings) {
  CVeltoCommCtrl other(site);
  other.SetPortNumber(kMappedPort);
  other.SetBaudRate(19200);
  other.SetParity(2);
  other.SetConnect(true);
  const PropertyBag bag = other.save();
  other.SetConnect(false);
  comm->load(bag);
  EXPECT_TRUE(comm->Connect()) << "a bag holds Connect too";
  EXPECT_EQ(comm->Parity(), 2);
  EXPECT_EQ(line.baudRate(), 19200);
  comm->load({});
  EXPECT_FALSE(comm->Connect());
  EXPECT_EQ(comm->BaudRate(), 9600);
}

} // namespace
} // namespace velto
