#pragma once

#include "base/handle.h"
#include "platform/null_modem.h"
#include "transport/hsms/hsms_link.h"
#include "transport/message_links.h"
#include "transport/network.h"
#include "transport/secsi/secsi_socket.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace velto {

/// An end of a link that carries messages, whatever the transport, as the conformance tests drive
/// it. What happens is kept as lines: "connected", "disconnected", "received" and the body.
class Carrier {
public:
  virtual ~Carrier() = default;
  virtual bool listen(int32_t port) = 0;
  virtual bool connect(int32_t port) = 0;
  /// Ready to exchange messages.
  virtual bool ready() const = 0;
  virtual int32_t port() const = 0;
  virtual bool send(const Bytes &body) = 0;
  virtual void close() = 0;
  virtual void destroy() = 0;

  std::vector<std::string> events;
  std::vector<Bytes> received;
  std::function<void(const std::string &event)> onEvent;

protected:
  void note(const std::string &event) {
    events.push_back(event);
    if (onEvent)
      onEvent(event);
  }
  void noteMessage(ByteView message) {
    if (message[0] == 0xff)
      return; // a control message
    const ByteView body = message.subspan(CHSecsHeader::kSize);
    received.emplace_back(body.begin(), body.end());
    note("received");
  }
  // S1F3 without the W-bit: no reply is awaited.
  static Bytes messageOf(const Bytes &body) {
    Bytes message = fromHex("00000103000000000001");
    message.insert(message.end(), body.begin(), body.end());
    return message;
  }
};

/// The ends that report to a CHConnectionSink.
template <typename Engine> class ConnectionCarrier : public Carrier, private CHConnectionSink {
public:
  explicit ConnectionCarrier(Handle<Engine> engine) : engine_(std::move(engine)) {
    engine_->SetSink(this);
  }
  bool listen(int32_t port) override {
    engine_->SetServerMode(true);
    engine_->SetMyPortNumber(port);
    return engine_->Open();
  }
  bool connect(int32_t port) override {
    engine_->SetIPAddress("127.0.0.1");
    engine_->SetPortNumber(port);
    return engine_->Open();
  }
  bool ready() const override { return engine_ && engine_->Connected(); }
  int32_t port() const override { return engine_->LocalPort(); }
  void close() override {
    if (engine_)
      engine_->Close();
  }
  void destroy() override { engine_.reset(); }

protected:
  Handle<Engine> engine_;

private:
  void OnReceived(ConnectionKind, const std::string &, int32_t, ByteView data) override {
    noteMessage(data);
  }
  void OnSent(ConnectionKind, const std::string &, int32_t, ByteView, bool sent) override {
    note(sent ? "sent" : "failed");
  }
  void OnProblem(ConnectionKind, const std::string &, int32_t, const Problem &problem) override {
    note(std::string("problem ") + linkProblemName(problem.code));
  }
  void OnConnectionChanged(ConnectionKind, const std::string &, int32_t, bool connected) override {
    note(connected ? "connected" : "disconnected");
  }
  void OnTrace(ConnectionKind, ByteView, TraceDirection) override {}
};

class HsmsLinkCarrier final : public ConnectionCarrier<CHHsmsLink> {
public:
  explicit HsmsLinkCarrier(EventLoop &loop) : ConnectionCarrier(makeHandle<CHHsmsLink>(loop)) {}
  bool send(const Bytes &body) override {
    return engine_ && engine_->SendFrame(fromHex(frame(toHex(messageOf(body))))) > 0;
  }
};

class SecsISocketCarrier final : public ConnectionCarrier<CHSecsISocket> {
public:
  explicit SecsISocketCarrier(EventLoop &loop)
      : ConnectionCarrier(makeHandle<CHSecsISocket>(loop)) {
    SecsISettings settings;
    settings.master = false;
    engine_->SetSettings(settings);
  }
  bool send(const Bytes &body) override {
    return engine_ && engine_->QueueMessage(messageOf(body));
  }
};

/// The ends that the equipment's engine has: each a link that carries messages.
class MessageLinkCarrier : public Carrier, private MessageLinkOwner {
public:
  MessageLinkCarrier(EventLoop &loop, LinkProtocol protocol, bool equipment)
      : loop_(loop), settings_(std::make_shared<LinkSettings>()),
        link_(makeMessageLink(protocol, loop, *this, settings_)) {
    settings_->equipment = equipment;
  }
  bool listen(int32_t port) override {
    settings_->server = true;
    settings_->myPortNumber = port;
    return open();
  }
  bool connect(int32_t port) override {
    settings_->ipAddress = "127.0.0.1";
    settings_->portNumber = port;
    return open();
  }
  bool ready() const override { return link_ && link_->State() == LinkState::Ready; }
  int32_t port() const override { return link_->LocalPort(); }
  bool send(const Bytes &body) override {
    return link_ && link_->Send(*readHeader(messageOf({})), body);
  }
  void close() override {
    if (link_)
      link_->Close();
  }
  void destroy() override { link_.reset(); }

protected:
  LinkSettings &settings() { return *settings_; }
  bool open() {
    std::optional<bool> outcome;
    if (!link_->StartOpen([&outcome](bool connected) { outcome = connected; }))
      return false;
    // Time stands still: a port that was opened tells of it on the next tick.
    for (int turns = 0; turns < 2000 && link_ && link_->IsOpen() && !outcome; ++turns)
      if (!loop_.runOnce(1))
        static_cast<ManualClock &>(loop_.clock()).advance(1);
    return outcome.value_or(false);
  }

private:
  void OnConnected(const std::string &, int32_t) override { note("connected"); }
  void OnDisconnected(const std::string &, int32_t) override { note("disconnected"); }
  void OnReceived(const std::string &, int32_t, ByteView message, bool) override {
    noteMessage(message);
  }
  void OnSent(const std::string &, int32_t, const CHSecsHeader &, ByteView) override {
    note("sent");
  }
  void OnTransmitted(uint32_t) override { note("sent"); }
  void OnSendFailed(const CHSecsHeader &, ByteView) override { note("failed"); }
  void OnProblem(const std::string &, int32_t, const Problem &problem, ByteView) override {
    note(std::string("problem ") + linkProblemName(problem.code));
  }
  void OnStateChanged(LinkState next, LinkState) override {
    note("state " + std::to_string(static_cast<int>(next)));
  }

  EventLoop &loop_;
  std::shared_ptr<LinkSettings> settings_;
  Handle<MessageLink> link_;
};

template <LinkProtocol kProtocol> class TcpLinkCarrier final : public MessageLinkCarrier {
public:
  explicit TcpLinkCarrier(EventLoop &loop) : MessageLinkCarrier(loop, kProtocol, false) {}
};

/// The two ends of a serial line: who "listens" has the one that the other finds by its number.
class SerialLinkCarrier final : public MessageLinkCarrier {
public:
  explicit SerialLinkCarrier(EventLoop &loop)
      : MessageLinkCarrier(loop, LinkProtocol::SecsISerial, false), loop_(loop) {}
  bool listen(int32_t) override {
    cable_ = std::make_unique<NullModem>(loop_);
    settings().secsI.portName = cable_->a().path();
    settings().equipment = true;
    return open() || !events.empty(); // which may have closed it again
  }
  bool connect(int32_t port) override {
    settings().secsI.portName = "/dev/pts/" + std::to_string(port);
    return open();
  }
  int32_t port() const override {
    const std::string &path = cable_->b().path();
    return std::stoi(path.substr(path.rfind('/') + 1));
  }

private:
  EventLoop &loop_;
  std::unique_ptr<NullModem> cable_;
};

/// A relay between an end that connects to it and one that listens: passes the bytes on in pieces,
/// and cuts the connection after so many of them.
class Relay {
public:
  Relay(EventLoop &loop, int32_t target) : loop_(loop) {
    listener_.create(0, true);
    listener_.listen(1);
    far_.create(0, false);
    far_.connect("127.0.0.1", static_cast<uint16_t>(target));
    accepting_ = std::make_unique<DescriptorWatch>(loop, listener_.fd(), DescriptorWatch::kReadable,
                                                   [this](unsigned) { accept(); });
  }
  int32_t port() const { return listener_.localPort(); }

  size_t piece = 1;     ///< bytes passed on at once
  size_t budget = ~0UL; ///< bytes passed on until the connection is cut

private:
  void accept() {
    int error = 0;
    auto peer = listener_.accept(error);
    if (!peer)
      return;
    near_ = std::move(peer->socket);
    accepting_.reset();
    for (auto [from, to] : {std::pair{&near_, &far_}, std::pair{&far_, &near_}})
      watches_.push_back(std::make_unique<DescriptorWatch>(
          loop_, from->fd(), DescriptorWatch::kReadable,
          [this, from = from, to = to](unsigned) { forward(*from, *to); }));
  }
  void forward(TcpSocket &from, TcpSocket &to) {
    std::array<uint8_t, 4096> bytes{};
    const ssize_t count = from.receive(bytes.data(), std::min({bytes.size(), piece, budget}));
    if (count > 0)
      to.send({bytes.data(), static_cast<size_t>(count)});
    budget -= count > 0 ? static_cast<size_t>(count) : 0;
    if (count == 0 || budget == 0) {
      watches_.clear();
      near_.close();
      far_.close();
    }
  }

  EventLoop &loop_;
  TcpSocket listener_;
  TcpSocket near_;
  TcpSocket far_;
  std::unique_ptr<DescriptorWatch> accepting_;
  std::vector<std::unique_ptr<DescriptorWatch>> watches_;
};

} // namespace velto
