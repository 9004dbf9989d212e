#pragma once

#include "platform/event_loop.h"
#include "platform/tcp_socket.h"
#include "platform/text.h"
#include "transport/connection_sink.h"

#include <array>
#include <cerrno>
#include <functional>
#include <string>
#include <sys/socket.h>
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
    ended_ = count == 0 || errno == ECONNRESET;
    return all;
  }
  std::string readHex() { return toHex(read()); }
  /// True when the other end has closed the connection.
  bool ended() {
    read();
    return ended_;
  }

private:
  TcpSocket socket_;
  bool ended_ = false;
};

/// Keeps what an engine reports as lines of text, and lets a test act inside the report.
class RecordingSink final : public CHConnectionSink {
public:
  void OnReceived(ConnectionKind, const std::string &, int32_t, ByteView data) override {
    record("received " + (data.size() > 64 ? std::to_string(data.size()) : toHex(data)));
  }
  void OnSent(ConnectionKind, const std::string &, int32_t, ByteView, bool) override {}
  void OnProblem(ConnectionKind, const std::string &, int32_t, int16_t code,
                 const std::string &text) override {
    record("problem " + std::to_string(code) + " " + text);
  }
  void OnConnectionChanged(ConnectionKind, const std::string &, int32_t port,
                           bool connected) override {
    lastPort = port;
    record(connected ? "connected" : "disconnected");
  }
  void OnTrace(ConnectionKind, const std::string &) override {}

  /// The reports since the last call.
  std::vector<std::string> take() { return std::exchange(lines_, {}); }

  std::function<void(const std::string &line)> onReport;
  int32_t lastPort = 0;

private:
  void record(std::string line) {
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
