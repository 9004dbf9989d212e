#pragma once

#include "base/text.h"
#include "platform/event_loop.h"
#include "platform/tcp_socket.h"
#include "transport/link/connection_sink.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <utility>
#include <vector>

namespace velto {

/// A loop whose clock stands still, so that only the test makes time pass.
struct Network {
  explicit Network(uint32_t ticks = 1000) : clock(ticks) {}

  /// Runs the loop until nothing happens for a moment.
  void settle() {
    for (int turns = 0; turns < 100'000 && loop.runOnce(1);)
      ++turns;
  }
  /// Runs the loop until `done`, for about two seconds at most.
  bool until(const std::function<bool()> &done) {
    for (int turns = 0; turns < 2000 && !done(); ++turns)
      loop.runOnce(1);
    return done();
  }

  ManualClock clock;
  EventLoop loop{clock};
};

/// A port that nobody listens on.
inline uint16_t freePort() {
  TcpSocket probe;
  probe.create(0, false);
  return probe.localPort();
}

/// The far end of a connection, without any protocol.
class RawClient {
public:
  explicit RawClient(int32_t port) {
    socket_.create(0, false);
    socket_.connect("127.0.0.1", static_cast<uint16_t>(port));
  }
  explicit RawClient(TcpSocket socket) : socket_(std::move(socket)) {}

  int32_t port() const { return socket_.localPort(); }
  void send(ByteView bytes) { EXPECT_EQ(ssize_t(bytes.size()), socket_.send(bytes)); }
  void send(std::string_view hex) { send(ByteView(fromHex(hex))); }
  /// As much of it as the sockets take now.
  size_t sendSome(ByteView bytes) {
    return static_cast<size_t>(std::max<ssize_t>(socket_.send(bytes), 0));
  }
  void close() { socket_.close(); }
  /// Ends the connection with a reset.
  void reset() {
    const linger now{1, 0};
    setsockopt(socket_.fd(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    socket_.close();
  }

  /// Everything that has arrived.
  Bytes read() {
    Bytes all;
    std::array<uint8_t, 65536> chunk{};
    ssize_t count = 0;
    while ((count = socket_.receive(chunk.data(), chunk.size())) > 0)
      all.insert(all.end(), chunk.begin(), chunk.begin() + count);
    reset_ = reset_ || (count < 0 && errno == ECONNRESET);
    ended_ = count == 0 || reset_;
    return all;
  }
  std::string readHex() { return toHex(read()); }
  bool wasReset() const { return reset_; }
  /// True when the other end has closed the connection.
  bool ended() {
    read();
    return ended_;
  }

private:
  TcpSocket socket_;
  bool ended_ = false;
  bool reset_ = false;
};

/// Keeps what an engine reports as lines of text, and lets a test act inside the report. Checks
/// that each report names the expected kind and the address of this machine.
class RecordingSink final : public CHConnectionSink {
public:
  void OnReceived(ConnectionKind from, const std::string &ipAddress, int32_t port,
                  ByteView data) override {
    record(from, ipAddress, port,
           "received " + (data.size() > 64 ? std::to_string(data.size()) : toHex(data)));
  }
  void OnSent(ConnectionKind from, const std::string &ipAddress, int32_t port, ByteView data,
              bool sent) override {
    record(from, ipAddress, port, (sent ? "sent " : "failed ") + toHex(data));
  }
  void OnProblem(ConnectionKind from, const std::string &ipAddress, int32_t port,
                 const Problem &problem) override {
    record(from, ipAddress, port,
           std::string("problem ") + linkProblemName(problem.code) +
               (problem.number != 0 ? " " + std::to_string(problem.number) : "") + " " +
               problem.text);
  }
  void OnConnectionChanged(ConnectionKind from, const std::string &ipAddress, int32_t port,
                           bool connected) override {
    record(from, ipAddress, port, connected ? "connected" : "disconnected");
  }
  void OnTrace(ConnectionKind, ByteView, TraceDirection) override {}
  void OnChanged() override { ++changes; }

  /// The reports since the last call.
  std::vector<std::string> take() { return std::exchange(lines_, {}); }

  std::function<void(const std::string &line)> onReport;
  ConnectionKind kind = ConnectionKind::Stream;
  std::string address = "127.0.0.1"; ///< that every report names
  int32_t lastPort = 0;              ///< that a report named
  int changes = 0;                   ///< that were told of

private:
  void record(ConnectionKind from, const std::string &ipAddress, int32_t port, std::string line) {
    EXPECT_EQ(kind, from) << line;
    EXPECT_EQ(address, ipAddress) << line;
    lastPort = port;
    lines_.push_back(line);
    if (onReport)
      onReport(line);
  }
  std::vector<std::string> lines_;
};

/// The bytes of a frame: the length, and the message given in hexadecimal.
inline std::string frame(const std::string &messageHex) {
  std::array<uint8_t, 4> length{};
  writeBigEndian(length.data(), static_cast<uint32_t>(messageHex.size() / 2));
  return toHex(length) + messageHex;
}

using Lines = std::vector<std::string>;

} // namespace velto
