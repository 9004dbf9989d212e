#pragma once

#include <gtest/gtest.h>

#include "transport/hsms/hsms_engine.h"
#include "transport/network.h"

namespace velto {

inline const std::string kS1F1 = "00018101000000000007";
inline const std::string kSelectReq = "ffff0000000100000011";
inline const std::string kSelectRsp0 = "ffff0000000200000011";
inline const std::string kDeselectReq = "ffff0000000300000012";
inline const std::string kLinktestReq = "ffff0000000500000013";
inline const std::string kSeparateReq = "ffff0000000900000014";

/// Keeps what an engine reports as lines of text, and lets a test act inside the report.
class RecordingOwner final : public MessageLinkOwner {
public:
  uint8_t OnSelectRequest(const std::string &, int32_t, uint8_t proposed) override {
    record("select? " + std::to_string(proposed));
    return selectStatus.value_or(proposed);
  }
  void OnConnected(const std::string &, int32_t) override { record("connected"); }
  void OnDisconnected(const std::string &, int32_t) override { record("disconnected"); }
  void OnReceived(const std::string &, int32_t, ByteView message, bool refused) override {
    if (quiet)
      return;
    record((message[5] == 0 ? "data " : "control ") + toHex(message) +
           (refused ? " not selected" : ""));
  }
  void OnSent(const std::string &, int32_t, const CHSecsHeader &header, ByteView body) override {
    if (!quiet)
      record("sent " + HeaderText(header, HeaderTextMode::Name) + toHex(body));
  }
  void OnProblem(const std::string &, int32_t, const Problem &problem, ByteView data) override {
    record(std::string("problem ") + linkProblemName(problem.code) +
           (problem.number != 0 ? " " + std::to_string(problem.number) : "") + " " + toHex(data));
  }
  bool awaitsReply() const override { return owesReply; }
  void OnRejected(uint32_t systemBytes) override {
    record("rejected " + std::to_string(systemBytes));
  }
  void OnTransmitted(uint32_t systemBytes) override {
    record("transmitted " + std::to_string(systemBytes));
  }
  void OnSendFailed(const CHSecsHeader &header, ByteView) override {
    record("failed " + HeaderText(header, HeaderTextMode::Name));
  }
  void OnStateChanged(LinkState newState, LinkState oldState) override {
    record("state " + std::to_string(int(oldState)) + std::to_string(int(newState)));
  }

  Lines take() { return std::exchange(lines_, {}); }

  std::optional<uint8_t> selectStatus;
  bool owesReply = false;
  bool quiet = false; // of messages
  std::function<void(const std::string &line)> onReport;

private:
  void record(const std::string &line) {
    lines_.push_back(line);
    if (onReport)
      onReport(line);
  }
  Lines lines_;
};

/// A listening engine and a remote entity whose bytes the test writes itself.
class HsmsEngineTest : public testing::Test {
protected:
  void open(HsmsSessionMode mode = HsmsSessionMode::Single, uint32_t ticks = 1000) {
    engine.reset();
    net = std::make_unique<Network>(ticks);
    engine = makeHandle<CHHsms>(net->loop, owner);
    engine->settings().server = true;
    engine->settings().maxLength = 100;
    engine->settings().sessionMode = mode;
    ASSERT_TRUE(engine->Open());
    remote = join();
  }
  void openSelected(HsmsSessionMode mode = HsmsSessionMode::Single) {
    open(mode);
    engine->Poll();
    exchange(kSelectReq);
    EXPECT_EQ(LinkState::Ready, engine->State());
    owner.take();
  }
  /// An engine that connects to a plain socket, which takes the connection.
  void openActive(bool sendSelectRequest = true) {
    engine.reset();
    net = std::make_unique<Network>();
    ASSERT_EQ(0, server.create(0, true));
    ASSERT_EQ(0, server.listen(5));
    engine = makeHandle<CHHsms>(net->loop, owner);
    engine->settings().portNumber = server.localPort();
    engine->settings().sendSelectRequest = sendSelectRequest;
    ASSERT_TRUE(engine->Open());
    int error = 0;
    remote = std::make_unique<RawClient>(std::move(server.accept(error)->socket));
  }
  std::unique_ptr<RawClient> join() {
    const size_t before = engine->PeerCount();
    auto client = std::make_unique<RawClient>(engine->LocalPort());
    EXPECT_TRUE(net->until([&] { return !engine || engine->PeerCount() > before || closed; }));
    return client;
  }
  void TearDown() override { engine.reset(); }

  /// Sends a message to the engine and returns what comes back.
  std::string exchange(const std::string &message) {
    remote->send(frame(message));
    net->settle();
    return remote->readHex();
  }
  Lines poll() {
    engine->Poll();
    return owner.take();
  }
  Lines pollWhenDue(uint32_t expected) {
    EXPECT_EQ(expected, engine->NextPoll());
    net->clock.advance(expected - 1);
    EXPECT_EQ(Lines{}, poll());
    net->clock.advance(1);
    EXPECT_EQ(0U, engine->NextPoll());
    return poll();
  }

  std::unique_ptr<Network> net;
  RecordingOwner owner;
  Handle<CHHsms> engine;
  std::unique_ptr<RawClient> remote;
  TcpSocket server;
  bool closed = false; // by a report
};

} // namespace velto
