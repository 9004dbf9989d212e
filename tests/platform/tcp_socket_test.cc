#include "platform/event_loop.h"
#include "platform/socket_error.h"
#include "platform/tcp_socket.h"

#include <array>
#include <cerrno>
#include <gtest/gtest.h>
#include <utility>

namespace velto {
namespace {

class TcpSocketTest : public testing::Test {
protected:
  bool wait(const TcpSocket &socket, unsigned events) {
    bool ready = false;
    DescriptorWatch watch(loop_, socket.fd(), events, [&ready](unsigned) { ready = true; });
    return loop_.runUntil([&ready] { return ready; }, 5000);
  }

  /// Connects to a port of this machine and returns the outcome.
  int connect(TcpSocket &socket, uint16_t port) {
    const int error = socket.connect("127.0.0.1", port);
    if (error != EINPROGRESS)
      return error;
    EXPECT_TRUE(wait(socket, DescriptorWatch::kWritable));
    return socket.takeError();
  }

  std::string receive(TcpSocket &socket, size_t size) {
    std::string text;
    std::array<uint8_t, 64> buffer{};
    while (text.size() < size && wait(socket, DescriptorWatch::kReadable)) {
      const ssize_t count = socket.receive(buffer.data(), buffer.size());
      if (count <= 0)
        break;
      text.append(buffer.begin(), buffer.begin() + count);
    }
    return text;
  }

  EventLoop loop_;
  TcpSocket listener_;
  TcpSocket client_;
};

TEST_F(TcpSocketTest, CarriesBytesBothWays) {
  int error = 0;
  ASSERT_EQ(listener_.create(0, true), 0);
  ASSERT_EQ(listener_.listen(1), 0);
  EXPECT_FALSE(listener_.accept(error));
  EXPECT_EQ(error, EAGAIN);

  ASSERT_EQ(client_.create(0, false), 0);
  ASSERT_EQ(connect(client_, listener_.localPort()), 0);
  ASSERT_TRUE(wait(listener_, DescriptorWatch::kReadable));
  auto peer = listener_.accept(error);
  ASSERT_TRUE(peer);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(peer->ipAddress, "127.0.0.1");
  EXPECT_EQ(peer->port, client_.localPort());

  uint8_t byte = 0;
  EXPECT_EQ(client_.receive(&byte, 1), -1);
  EXPECT_EQ(errno, EAGAIN);
  const Bytes head{'h', 'e', 'a', 'd'};
  const Bytes tail{'t', 'a', 'i', 'l'};
  EXPECT_EQ(client_.send(head, tail), 8);
  EXPECT_EQ(receive(peer->socket, 8), "headtail");
  EXPECT_EQ(peer->socket.send(tail), 4);
  EXPECT_EQ(receive(client_, 4), "tail");

  client_ = TcpSocket();
  ASSERT_TRUE(wait(peer->socket, DescriptorWatch::kReadable));
  EXPECT_EQ(peer->socket.receive(&byte, 1), 0) << "the end of the stream";
}

TEST_F(TcpSocketTest, ReportsARefusedConnection) {
  ASSERT_EQ(listener_.create(0, false), 0); // bound, but not listening
  ASSERT_EQ(client_.create(0, false), 0);
  EXPECT_EQ(connect(client_, listener_.localPort()), ECONNREFUSED);
  EXPECT_EQ(client_.connect("not an address", 1), EADDRNOTAVAIL);
}

TEST_F(TcpSocketTest, ReportsAPortInUseAndStaysClosed) {
  ASSERT_EQ(listener_.create(0, false), 0);
  ASSERT_EQ(listener_.listen(1), 0);
  EXPECT_EQ(client_.create(listener_.localPort(), false), EADDRINUSE);
  EXPECT_FALSE(client_.isOpen());
}

TEST_F(TcpSocketTest, MovesOwnership) {
  ASSERT_EQ(listener_.create(0, false), 0);
  ASSERT_EQ(client_.create(0, false), 0);
  const int fd = client_.fd();
  listener_ = std::move(client_);
  EXPECT_EQ(listener_.fd(), fd);
  EXPECT_FALSE(client_.isOpen());
  EXPECT_EQ(client_.localPort(), 0);
}

TEST(TcpHost, ResolvesAddresses) {
  EXPECT_EQ(resolveHost("127.0.0.1"), "127.0.0.1");
  EXPECT_EQ(resolveHost("localhost"), "127.0.0.1");
  EXPECT_EQ(resolveHost("no such host"), "");
}

TEST(SocketError, NumbersWhatHasANumber) {
  EXPECT_EQ(socketErrorNumber(ECONNREFUSED), ErrorSocketEConnRefused);
  EXPECT_EQ(socketErrorNumber(EADDRINUSE), ErrorSocketEAddrInUse);
  EXPECT_EQ(socketErrorNumber(EPIPE), EPIPE);
}

} // namespace
} // namespace velto
