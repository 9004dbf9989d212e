#include "controls/gem_ctrl.h"
#include "gem/engine/engine.h"
#include "transport/network.h"

#include <arpa/inet.h>
#include <array>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sched.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

// A host whose computer loses its power: no FIN, no reset, no answer of its kernel. Both ends are
// in a network of their own, which only root can make; the host's address then goes.

namespace velto {
namespace {

constexpr const char *kToolAddress = "10.99.0.1";
constexpr const char *kHostAddress = "10.99.0.2";
constexpr int kCannot = 77;

sockaddr_in addressOf(const char *dotted, uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  inet_pton(AF_INET, dotted, &address.sin_addr);
  return address;
}

bool configure(const char *name, const char *address, bool up) {
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ifreq request{};
  std::strncpy(request.ifr_name, name, IFNAMSIZ - 1);
  bool done = true;
  if (address != nullptr) {
    const sockaddr_in own = addressOf(address, 0);
    std::memcpy(&request.ifr_addr, &own, sizeof own);
    done = ioctl(fd, SIOCSIFADDR, &request) == 0;
  }
  request.ifr_flags = static_cast<short>(up ? IFF_UP | IFF_RUNNING : 0);
  done = done && ioctl(fd, SIOCSIFFLAGS, &request) == 0;
  close(fd);
  return done;
}

/// A host at an address of its own that selects.
class Host {
public:
  Host(const char *address, uint16_t port)
      : fd_(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    const sockaddr_in own = addressOf(address, 0);
    const sockaddr_in tool = addressOf(kToolAddress, port);
    bind(fd_, reinterpret_cast<const sockaddr *>(&own), sizeof own);
    connect(fd_, reinterpret_cast<const sockaddr *>(&tool), sizeof tool);
  }
  ~Host() { close(fd_); }
  Host(const Host &) = delete;
  Host &operator=(const Host &) = delete;

  void select() {
    const Bytes request = fromHex("0000000affff0000000100000001");
    ::send(fd_, request.data(), request.size(), MSG_NOSIGNAL);
  }
  /// Whether a Select.rsp with that status has come.
  bool answered(uint8_t status) {
    std::array<uint8_t, 4096> chunk{};
    ssize_t count = 0;
    while ((count = recv(fd_, chunk.data(), chunk.size(), 0)) > 0)
      heard_.append(toHex(ByteView(chunk).first(static_cast<size_t>(count))));
    return heard_.find("ffff00" + toHex(std::array<uint8_t, 1>{status}) + "0002") !=
           std::string::npos;
  }
  /// From now on there is no such connection, and nobody is told.
  void losePower() {
    const int on = 1;
    setsockopt(fd_, IPPROTO_TCP, TCP_REPAIR, &on, sizeof on);
  }

private:
  int fd_;
  std::string heard_;
};

constexpr int kIsIn = 0;
constexpr int kLockedOut = 3;

// Whether the returning host gets in within that time of its first try.
int comesBack(const std::function<void(CVeltoGemCtrl &)> &prepare, uint32_t within) {
  if (unshare(CLONE_NEWNET) != 0 || !configure("lo", nullptr, true) ||
      !configure("lo:1", kToolAddress, true) || !configure("lo:2", kHostAddress, true))
    return kCannot;
  EventLoop loop;
  CVeltoGemCtrl tool(loop);
  tool.SetServer(true);
  tool.SetPortNumber(0);
  prepare(tool);
  tool.SetPhysicalConnection(true);
  const auto port = [&tool] { return static_cast<uint16_t>(tool.engine().physical().LocalPort()); };
  if (!loop.runUntil([&] { return port() != 0; }, 5000))
    return 1;
  {
    Host host(kHostAddress, port());
    loop.runUntil([&tool] { return tool.engine().physical().State() != LinkState::Down; }, 5000);
    host.select();
    if (!loop.runUntil([&host] { return host.answered(0); }, 5000))
      return 2;
    host.losePower();
  }
  if (!configure("lo:2", nullptr, false))
    return kCannot;
  const uint32_t begun = loop.clock().ticks();
  while (loop.clock().ticks() - begun < within) {
    Host returning(kToolAddress, port());
    loop.runUntil([] { return false; }, 100);
    returning.select();
    loop.runUntil([&] { return returning.answered(0) || returning.answered(3); }, 1000);
    if (returning.answered(0))
      return kIsIn;
    loop.runUntil([] { return false; }, 400);
  }
  return kLockedOut;
}

TEST(VanishedHost, TheReturningOneGetsIn) {
  const struct {
    const char *name;
    int outcome;
    uint32_t within; // ms
    std::function<void(CVeltoGemCtrl &)> prepare;
  } rows[] = {{"neither", kLockedOut, 2000, [](CVeltoGemCtrl &) {}},
              {"linktests", kIsIn, 6000,
               [](CVeltoGemCtrl &tool) {
                 tool.SetT6(1);
                 tool.SetLinktestInterval(60);
               }},
              {"keep-alive", kIsIn, 6000, [](CVeltoGemCtrl &tool) {
                 tool.SetKeepAliveIdle(1);
                 tool.SetKeepAliveInterval(1);
                 tool.SetKeepAliveCount(1);
                 tool.SetSendTimeout(2);
               }}};
  for (const auto &row : rows) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0)
      _exit(comesBack(row.prepare, row.within));
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    if (WIFEXITED(status) && WEXITSTATUS(status) == kCannot)
      GTEST_SKIP() << "only root may make a network";
    EXPECT_TRUE(WIFEXITED(status)) << row.name;
    EXPECT_EQ(WEXITSTATUS(status), row.outcome) << row.name;
  }
}

} // namespace
} // namespace velto
