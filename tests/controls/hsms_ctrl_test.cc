#include "controls/hsms_ctrl.h"

#include "controls/registry.h"
#include "controls/socket_ctrl.h"
#include "support/event_lines.h"
#include "support/operator.h"
#include "support/temporary_directory.h"
#include "transport/network.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velto {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char *kSelectReq = "ffff0000000100000001";
constexpr const char *kSelectRsp = "ffff0000000200000001";

class HsmsControl : public testing::Test {
protected:
  HsmsControl() {
    eq.SetServer(true);
    eq.SetMyPortNumber(freePort());
    eq.SetConnect(true);
  }

  /// Lets what was sent arrive and be handled on ticks.
  void settle() {
    for (int i = 0; i < 4; ++i) {
      net.settle();
      net.clock.advance(1);
    }
    net.settle();
  }

  std::unique_ptr<CVeltoHsmsCtrl> join() {
    auto client = std::make_unique<CVeltoHsmsCtrl>(ControlSite(net.loop, front));
    client->SetPortNumber(eq.MyPortNumber());
    client->SetConnect(true);
    EXPECT_TRUE(client->Connect());
    settle();
    return client;
  }

  Network net;
  Operator front;
  TemporaryDirectory directory;
  CVeltoHsmsCtrl eq{ControlSite(net.loop, front)};
};

TEST(ControlTables, DefaultsAreThoseOfANewControl) {
  EventLoop loop;
  for (const MemberTable *table : controlTables()) {
    const auto control = createControl(table->controlName, loop);
    for (const Member &member : table->members) {
      if (member.persisted) {
        EXPECT_EQ(control->get(member.name).value, *member.persisted)
            << table->controlName << "." << member.name;
      }
    }
    EXPECT_FALSE(control->modified());
  }
  EXPECT_EQ(createControl("Unknown", loop), nullptr);
}

TEST_F(HsmsControl, TheAddressedPeerGetsWhatIsSent) {
  auto first = join();
  const int32_t firstPort = eq.PortNumber();
  auto second = join();
  EXPECT_NE(eq.PortNumber(), firstPort) << "the newest peer is addressed";
  EventLines firstEvents(*first);
  EventLines secondEvents(*second);
  eq.SetPortNumber(firstPort);
  EXPECT_TRUE(eq.Send("FFFF000000010000000"
                      "17"))
      << "the odd digit is dropped, upper case is taken";
  settle();
  EXPECT_THAT(firstEvents.take(),
              ElementsAre("Received 127.0.0.1 " + std::to_string(eq.MyPortNumber()) +
                          " ffff0000000100000001"));
  EXPECT_THAT(secondEvents.take(), ElementsAre());
  auto third = join();
  EXPECT_NE(eq.PortNumber(), firstPort);
}

TEST_F(HsmsControl, SendsTheLengthInFront) {
  RawClient raw(eq.MyPortNumber());
  settle();
  EXPECT_TRUE(eq.Send("ffff0000000100000001"));
  settle();
  EXPECT_EQ(raw.readHex(), "0000000affff0000000100000001");
  EXPECT_TRUE(eq.Send("fgff")) << "a character that is no digit counts as 0";
  settle();
  EXPECT_EQ(raw.readHex(), "00000002f0ff");
}

TEST_F(HsmsControl, RefusesWhatCannotBeSent) {
  EventLines events(eq);
  EXPECT_FALSE(eq.Send(kSelectReq)) << "no peer";
  EXPECT_THAT(events.take(), ElementsAre("Problem 127.0.0.1 0 -1 "));
  auto client = join();
  events.take();
  EXPECT_FALSE(eq.Send(std::string(2 * (10'485'760 + 1), '0')));
  EXPECT_EQ(events.take().size(), 1U);
  EXPECT_TRUE(client->Connect()) << "the link is as before";
}

TEST_F(HsmsControl, SelectedFollowsTheMessagesAndTheOwner) {
  auto client = join();
  EXPECT_EQ(client->view().roots[0].children[0].image, 0);
  EXPECT_TRUE(client->Send(kSelectReq));
  settle();
  EXPECT_TRUE(eq.Selected());
  EXPECT_FALSE(client->Selected());
  EXPECT_TRUE(eq.Send(kSelectRsp));
  settle();
  EXPECT_TRUE(client->Selected());
  EXPECT_EQ(client->view().roots[0].children[0].image, 1);
  EXPECT_EQ(eq.window(), "Server\n  127.0.0.1 (" + std::to_string(eq.PortNumber()) + ")\n");
  client->SetSelected(false);
  EXPECT_FALSE(client->Selected());
  EXPECT_EQ(client->view().roots[0].children[0].image, 0);
  eq.SetPortNumber(1);
  EXPECT_FALSE(eq.Selected()) << "nobody has that address";
}

TEST_F(HsmsControl, ConnectFollowsTheLink) {
  auto client = join();
  EventLines events(*client);
  eq.SetServer(false);
  EXPECT_TRUE(eq.Server()) << "not while connected";
  EXPECT_FALSE(client->Disconnect("127.0.0.1", client->PortNumber()));
  EXPECT_FALSE(eq.Disconnect("127.0.0.1", 1));
  EXPECT_TRUE(eq.Disconnect(eq.IPAddress(), eq.PortNumber()));
  settle();
  EXPECT_FALSE(client->Connect());
  EXPECT_THAT(events.take(),
              ElementsAre("Disconnected 127.0.0.1 " + std::to_string(eq.MyPortNumber())));
  client->SetConnect(true);
  client->SetConnect(true);
  settle();
  EXPECT_TRUE(client->Connect()) << "reopened with a fresh engine, twice";
  eq.SetConnect(false);
  EXPECT_FALSE(eq.Connect());
  settle();
  EXPECT_FALSE(client->Connect());
  client->SetConnect(true);
  EXPECT_FALSE(client->Connect()) << "nobody listens any more";
}

/// A port that takes connections but never answers: its queue is full.
class SilentPort {
public:
  SilentPort() {
    listener_.create(0, false);
    listener_.listen(0);
    for (TcpSocket &client : clients_) {
      client.create(0, false);
      client.connect("127.0.0.1", number());
    }
  }
  uint16_t number() const { return listener_.localPort(); }

private:
  TcpSocket listener_;
  std::array<TcpSocket, 4> clients_;
};

TEST_F(HsmsControl, TheWaitForAConnectionMayBeEndedFromInside) {
  const SilentPort silent;
  const struct {
    const char *name;
    std::function<void(CVeltoHsmsCtrl &)> act;
    bool connected;
  } rows[] = {
      {"time runs out", [this](CVeltoHsmsCtrl &) { net.clock.advance(5000); }, false},
      {"closed", [](CVeltoHsmsCtrl &control) { control.SetConnect(false); }, false},
      {"opened elsewhere",
       [this](CVeltoHsmsCtrl &control) {
         control.SetServer(true);
         control.SetT7(20000); // schedules a tick
         net.clock.advance(2);
         net.loop.runOnce(0);
         EXPECT_TRUE(control.Connect());
         control.SetPortNumber(eq.MyPortNumber());
         control.SetConnect(true);
       },
       true},
  };
  for (const auto &row : rows) {
    CVeltoHsmsCtrl client(net.loop);
    EventLines events(client);
    client.SetPortNumber(silent.number());
    net.loop.post([&] { row.act(client); });
    client.SetConnect(true);
    EXPECT_EQ(client.Connect(), row.connected) << row.name;
    settle();
    EXPECT_EQ(client.Connect(), row.connected) << row.name;
    EXPECT_FALSE(client.Server()) << row.name;
    EXPECT_EQ(events.take().size(), row.connected ? 1U : 0U) << row.name;
  }
  auto destroyed = std::make_unique<CVeltoHsmsCtrl>(net.loop);
  destroyed->SetPortNumber(silent.number());
  net.loop.post([&] { destroyed.reset(); });
  destroyed->SetConnect(true);
  EXPECT_EQ(destroyed, nullptr);
}

TEST_F(HsmsControl, ClicksNameTheConnection) {
  auto client = join();
  EventLines serverEvents(eq);
  EventLines clientEvents(*client);
  eq.ClickConnection(0);
  eq.ClickConnection(1);
  client->ClickConnection(0);
  EXPECT_THAT(serverEvents.take(),
              ElementsAre("SelChanged 127.0.0.1 " + std::to_string(eq.PortNumber())));
  EXPECT_THAT(clientEvents.take(),
              ElementsAre("SelChanged 127.0.0.1 " + std::to_string(client->PortNumber())));
}

TEST_F(HsmsControl, TicksGoOnWhileAnEventPumpsTheLoop) {
  std::vector<std::string> log;
  eq.onConnected = [&](const std::string &, int32_t) {
    net.clock.advance(10000);
    settle();
    log.push_back("joined");
  };
  eq.onProblem = [&](const std::string &, int32_t, int16_t code, const std::string &) {
    log.push_back(std::to_string(code));
  };
  eq.onReceived = [&](const std::string &, int32_t, const std::string &message) {
    log.push_back(message);
    settle();
    log.push_back("done");
  };
  auto client = join();
  EXPECT_THAT(log, ElementsAre("-8", "joined")) << "T7 runs";
  log.clear();
  const std::vector<std::string> messages{"00000101000000000001", "00000103000000000002"};
  for (const std::string &message : messages)
    client->Send(message);
  settle();
  EXPECT_THAT(log, ElementsAre(messages[0], messages[1], "done", "done"))
      << "the second message had arrived with the first";
  client->onDisconnected = [&](const std::string &, int32_t) {
    settle();
    EXPECT_FALSE(client->Connect());
    log.push_back("dropped");
  };
  eq.SetConnect(false);
  settle();
  EXPECT_EQ(log.back(), "dropped");
}

TEST_F(HsmsControl, WritesItsLog) {
  auto client = join();
  client->SetLogFileName(directory / "link");
  client->SetIniSection("Etcher");
  client->SetLogVerbose(true);
  client->SetLog(true);
  client->Send("00008101000000000001");
  eq.Send("0000010200000000000101024103414243"
          "4103312e30");
  settle();
  client->SetT7(1);
  net.clock.advance(2);
  settle();
  eq.Disconnect(eq.IPAddress(), eq.PortNumber());
  settle();
  EXPECT_FALSE(client->Send("00"));
  const std::string stamp = "1970/01/01 00:00:00.0";
  const std::string log = systemFiles().read(directory / "link.log").value_or("");
  const std::string end =
      "IP Address  : 127.0.0.1\r\nPort Number : " + std::to_string(eq.MyPortNumber()) + "\r\n\r\n";
  EXPECT_THAT(log, HasSubstr("\r\nSent to Etcher\r\n00 00 81 01 00 00 00 00 00 01 \r\n\r\n"
                             "S1F1W\r\n\r\n"));
  EXPECT_THAT(log, HasSubstr("\r\nReceived from Etcher\r\n"
                             "00 00 01 02 00 00 00 00 00 01 \r\n"
                             "01 02 41 03 41 42 43 41 03 31 \r\n"
                             "2e 30 \r\n\r\n"
                             "S1F2\r\n{\r\n  <a 'ABC'>\r\n  <a '1.0'>\r\n}\r\n\r\n"));
  EXPECT_THAT(log, HasSubstr("\r\nError(-8)\r\n" + end));
  EXPECT_THAT(log, HasSubstr("\r\nDisconnected with Etcher\r\n" + end));
  EXPECT_THAT(log, HasSubstr("\r\nError(-1)\r\n" + end));
  EXPECT_EQ(log.substr(0, stamp.size()), stamp);
}

TEST_F(HsmsControl, KeepsItsSettingsInAnIniFile) {
  CVeltoHsmsCtrl control(ControlSite(net.loop, front));
  control.SetIniFileName(directory / "velto.ini");
  systemFiles().write(directory / "velto.ini", "; a comment\n[veltohsms]\nt3=\" 4500 \"\n"
                                               "IPAddress=" +
                                                   std::string(200, 'x') + "\nServer=1\n");
  EXPECT_TRUE(control.LoadIniFile());
  EXPECT_EQ(control.T3(), 4500);
  EXPECT_EQ(control.T5(), 10000) << "a missing key leaves the property";
  EXPECT_EQ(control.IPAddress(), std::string(128, 'x'));
  EXPECT_TRUE(control.Server());

  front.answer = [](PropertySheet &sheet) {
    sheet.find("T5")->value = "12";
    sheet.find("IP Address")->value = "10.0.0. 7";
    return true;
  };
  EXPECT_FALSE(control.Setup("Blank")) << "no address";
  EXPECT_EQ(control.T5(), 10000) << "and no half of the sheet";
  front.answer = [](PropertySheet &sheet) {
    EXPECT_EQ(sheet.value("T3"), "4") << "seconds";
    sheet.find("T5")->value = "12";
    sheet.find("Device ID")->value = "77";
    sheet.find("IP Address")->value = "10.0.0.7";
    sheet.find("Server")->value = "false";
    return true;
  };
  EXPECT_TRUE(control.Setup(""));
  EXPECT_EQ(control.T3(), 4000);
  EXPECT_EQ(control.T5(), 12000);
  EXPECT_FALSE(control.Server());
  const std::string file = systemFiles().read(directory / "velto.ini").value_or("");
  for (const char *line : {"; a comment\n", "t3=4000\n", "T5=12000\n", "IPAddress=10.0.0.7\n",
                           "Server=0\n", "DeviceID=77\n", "LogFileName=./Velto\n", "LogSize=1024\n",
                           "LogBakCount=1\n", "Log=0\n", "LogVerbose=0\n", "MyPortNumber=0\n"})
    EXPECT_THAT(file, HasSubstr(line));

  front.answer = nullptr;
  EXPECT_FALSE(control.Setup("Mine")) << "cancelled";
  control.SetIniFileName(directory / "missing/velto.ini");
  front.answer = [](PropertySheet &) { return true; };
  EXPECT_FALSE(control.Setup("Mine")) << "cannot be written";
  control.SetIniSection("");
  EXPECT_FALSE(control.Setup(""));
  EXPECT_FALSE(control.LoadIniFile());
  EXPECT_THAT(front.titles,
              ElementsAre("Blank", "VeltoHsms - VeltoHsms", "Mine", "Mine", "VeltoHsms Setup"));
}

TEST_F(HsmsControl, ABagOpensTheLinkWithItsSettings) {
  auto client = join();
  client->SetT6(1234);
  EXPECT_TRUE(client->modified());
  const PropertyBag bag = *PropertyBag::parse(client->save().text());
  EXPECT_FALSE(client->modified());
  CVeltoHsmsCtrl copy(net.loop);
  copy.load(bag);
  EXPECT_TRUE(copy.Connect());
  EXPECT_EQ(copy.T6(), 1234);
  EXPECT_EQ(copy.PortNumber(), eq.MyPortNumber());
  eq.load(bag);
  EXPECT_FALSE(eq.Server()) << "a loaded bag finds the link closed";
  eq.load(PropertyBag());
  EXPECT_FALSE(eq.Connect());
  EXPECT_EQ(eq.IPAddress(), "");
}

TEST_F(HsmsControl, ShowsAboutBoxAndNames) {
  eq.AboutBox();
  EXPECT_THAT(front.boxes, ElementsAre(HasSubstr("VeltoHsms")));
  EXPECT_EQ(eq.MyHostName(), localHostName());
  EXPECT_EQ(eq.ToIPAddress("127.0.0.1"), "127.0.0.1");
  EXPECT_EQ(eq.ToIPAddress("no.such.name.invalid"), "");
}

TEST_F(HsmsControl, RawSocketsDeliverWhatCameSinceTheLastTick) {
  CVeltoSocketCtrl server(net.loop);
  server.SetServer(true);
  server.SetMyPortNumber(freePort());
  server.SetConnect(true);
  CVeltoSocketCtrl client(net.loop);
  client.SetPortNumber(server.MyPortNumber());
  client.SetConnect(true);
  settle();
  EventLines events(server);
  EXPECT_FALSE(client.Send(""));
  EXPECT_FALSE(client.Send("0"));
  EXPECT_TRUE(client.Send("0A0b4gg4"));
  net.settle();
  EXPECT_TRUE(client.Send("0c"));
  settle();
  EXPECT_THAT(events.take(), ElementsAre(HasSubstr(" 0a0b00000c")));
  EXPECT_TRUE(server.Disconnect(server.IPAddress(), server.PortNumber()));
  settle();
  EXPECT_FALSE(client.Send("00"));
  EXPECT_EQ(client.window(),
            "Client\n  127.0.0.1 (" + std::to_string(server.MyPortNumber()) + ")\n");
}

} // namespace
} // namespace velto
