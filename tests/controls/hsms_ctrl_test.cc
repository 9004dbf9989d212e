#include "controls/hsms_ctrl.h"

#include "controls/registry.h"
#include "support/event_lines.h"
#include "transport/network.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velto {
namespace {

using testing::ElementsAre;

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
    auto client = std::make_unique<CVeltoHsmsCtrl>(net.loop);
    client->SetPortNumber(eq.MyPortNumber());
    client->SetConnect(true);
    EXPECT_TRUE(client->Connect());
    settle();
    return client;
  }

  Network net;
  CVeltoHsmsCtrl eq{net.loop};
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

TEST_F(HsmsControl, RefusesWhatIsLongerThanAMessage) {
  auto client = join();
  EventLines events(eq);
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

TEST_F(HsmsControl, KnowsTheNameOfThisMachine) { EXPECT_EQ(eq.MyHostName(), localHostName()); }

} // namespace
} // namespace velto
