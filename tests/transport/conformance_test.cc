#include "transport/carriers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numeric>
#include <set>

namespace velto {
namespace {

using testing::Contains;

// What every transport that carries messages has to do alike.
template <typename C> class Conformance : public testing::Test {
protected:
  std::unique_ptr<Carrier> make() { return std::make_unique<C>(net.loop); }

  /// Runs the loop until `done`; time goes on when nothing else happens.
  bool drive(const std::function<bool()> &done, int mostIdle = 200) {
    for (int idle = 0; idle < mostIdle && !done();)
      if (!net.loop.runOnce(1)) {
        net.clock.advance(1);
        ++idle;
      }
    return done();
  }
  void rest() {
    drive([] { return false; }, 8);
  }
  /// A listener and an end that has connected to it, through `relay` if there is one.
  void join(std::unique_ptr<Relay> *relay = nullptr) {
    listener = make();
    client = make();
    ASSERT_TRUE(listener->listen(0));
    int32_t port = listener->port();
    if (relay != nullptr) {
      *relay = std::make_unique<Relay>(net.loop, port);
      port = (*relay)->port();
    }
    ASSERT_TRUE(client->connect(port));
    ASSERT_TRUE(drive([&] { return client->ready() && !listener->events.empty(); }));
    rest();
  }
  static Bytes body(size_t size) {
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), uint8_t{});
    return bytes;
  }

  Network net;
  std::unique_ptr<Carrier> listener;
  std::unique_ptr<Carrier> client;
};

using TcpTransports = testing::Types<HsmsLinkCarrier, TcpLinkCarrier<LinkProtocol::Hsms>,
                                     SecsISocketCarrier, TcpLinkCarrier<LinkProtocol::SecsITcp>>;
using Transports =
    testing::Types<HsmsLinkCarrier, TcpLinkCarrier<LinkProtocol::Hsms>, SecsISocketCarrier,
                   TcpLinkCarrier<LinkProtocol::SecsITcp>, SerialLinkCarrier>;
TYPED_TEST_SUITE(Conformance, Transports);

// What only those have to do that make connections.
template <typename C> class TcpConformance : public Conformance<C> {};
TYPED_TEST_SUITE(TcpConformance, TcpTransports);

TYPED_TEST(TcpConformance, ARefusedConnectMayBeTriedAgain) {
  const int32_t port = freePort();
  this->client = this->make();
  EXPECT_FALSE(this->client->connect(port));
  EXPECT_FALSE(this->client->ready());
  this->listener = this->make();
  ASSERT_TRUE(this->listener->listen(port));
  EXPECT_TRUE(this->client->connect(port));
  EXPECT_TRUE(this->drive([this] { return this->client->ready(); }));
}

TYPED_TEST(TcpConformance, APortInUseIsNotListenedOnAndAListenerListensOnce) {
  this->join();
  const auto other = this->make();
  EXPECT_FALSE(other->listen(this->listener->port()));
  EXPECT_FALSE(this->listener->listen(0));
  EXPECT_TRUE(this->client->send(this->body(3)));
  EXPECT_TRUE(this->drive([this] { return !this->listener->received.empty(); }));
}

TYPED_TEST(Conformance, CarriesMessagesOfAnySizeBothWays) {
  this->join();
  for (const size_t size : {0UL, 1UL, 244UL, 245UL, 70'000UL, 1'000'000UL}) {
    for (const auto &[from, to] : {std::pair{this->client.get(), this->listener.get()},
                                   std::pair{this->listener.get(), this->client.get()}}) {
      to->received.clear();
      ASSERT_TRUE(from->send(this->body(size))) << size;
      ASSERT_TRUE(this->drive([to = to] { return !to->received.empty(); }, 5000))
          << size << testing::PrintToString(from->events) << testing::PrintToString(to->events);
      EXPECT_TRUE(to->received == std::vector<Bytes>{this->body(size)}) << size;
    }
  }
}

TYPED_TEST(TcpConformance, TakesMessagesInAnyPieces) {
  for (const size_t piece : {1UL, 3UL, 13UL}) {
    std::unique_ptr<Relay> relay;
    this->join(&relay);
    relay->piece = piece;
    const std::vector<Bytes> bodies{this->body(300), this->body(301), this->body(302)};
    for (const Bytes &body : bodies)
      EXPECT_TRUE(this->client->send(body));
    EXPECT_TRUE(this->drive([this] { return this->listener->received.size() == 3; })) << piece;
    EXPECT_TRUE(this->listener->received == bodies) << piece;
    this->client.reset();
    this->listener.reset();
  }
}

TYPED_TEST(TcpConformance, TellsOnceOfAPartnerThatIsGoneInTheMiddleOfAMessage) {
  for (const size_t passed : {1UL, 2UL, 5UL, 12UL, 100UL}) {
    std::unique_ptr<Relay> relay;
    this->join(&relay);
    relay->budget = passed;
    EXPECT_TRUE(this->client->send(this->body(200)));
    this->rest();
    for (const Carrier *end : {this->client.get(), this->listener.get()}) {
      EXPECT_THAT(end->events, Contains("disconnected").Times(1)) << passed;
      EXPECT_EQ(end->received.size(), 0U) << passed;
    }
    EXPECT_FALSE(this->client->ready());
    const auto next = this->make();
    EXPECT_TRUE(next->connect(this->listener->port())) << "the listener goes on";
    EXPECT_TRUE(this->drive([&] { return next->ready(); }));
    EXPECT_TRUE(next->send(this->body(5)));
    EXPECT_TRUE(this->drive([this] { return !this->listener->received.empty(); })) << passed;
    this->client.reset();
    this->listener.reset();
  }
}

// What a host may do inside an event, at either end, in each event of an exchange.
TYPED_TEST(Conformance, EveryActMayStandInEveryEvent) {
  const std::pair<const char *, std::function<void(Network &, Carrier &)>> acts[] = {
      {"close", [](Network &, Carrier &end) { end.close(); }},
      {"destroy", [](Network &, Carrier &end) { end.destroy(); }},
      {"pump", [](Network &network, Carrier &) { network.settle(); }},
      {"send",
       [](Network &, Carrier &end) {
         end.send({1, 2, 3});
       }},
  };
  std::set<std::string> seen;
  const auto exchange = [&](bool atListener, const std::string &event,
                            const std::function<void(Network &, Carrier &)> &act) {
    this->listener = this->make();
    this->client = this->make();
    bool acting = false;
    for (Carrier *end : {this->listener.get(), this->client.get()})
      end->onEvent = [&, end](const std::string &happened) {
        seen.insert(happened);
        if (happened != event || acting || (end == this->listener.get()) != atListener)
          return;
        acting = true;
        act(this->net, *end);
        acting = false;
      };
    ASSERT_TRUE(this->listener->listen(0));
    this->client->connect(this->listener->port());
    this->rest();
    this->client->send(this->body(10));
    this->rest();
    this->client->close();
    this->rest();
    this->client->destroy();
    this->listener->destroy();
    EXPECT_FALSE(this->net.loop.runOnce(0));
  };
  exchange(true, "", {});
  for (const std::string &event : std::set<std::string>(seen)) {
    for (const auto &[name, act] : acts) {
      for (const bool atListener : {true, false}) {
        SCOPED_TRACE(event + ": " + name + (atListener ? " the listener" : " the client"));
        exchange(atListener, event, act);
      }
    }
  }
  EXPECT_GE(seen.size(), 3U);
}

} // namespace
} // namespace velto
