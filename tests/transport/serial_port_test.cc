#include "transport/secsi/serial_port.h"

#include "support/pty.h"
#include "transport/network.h"

#include <gtest/gtest.h>
#include <numeric>

namespace velto {
namespace {

Bytes bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

Bytes pattern(size_t size) {
  Bytes bytes(size);
  std::iota(bytes.begin(), bytes.end(), uint8_t{0});
  return bytes;
}

class SerialPort : public testing::Test {
protected:
  void SetUp() override {
    port.SetWake([this] { ++wakes; });
    ASSERT_TRUE(port.Open(line.path(), 9600, 8, 0, 0));
  }

  bool arrives(size_t count) {
    return net.until([&] { return port.InputCount() >= count; });
  }
  Bytes readAll() {
    Bytes all;
    while (port.InputCount() != 0)
      all.push_back(port.ReadByte());
    return all;
  }
  /// Whether the loop comes to rest, once the kernel has handed on what was on its way.
  bool idle() {
    return net.until([&] { return !net.loop.runOnce(20); });
  }

  Network net;
  PtyLine line;
  CHSerialPort port{net.loop};
  int wakes = 0;
};

TEST(SerialPortNames, StandForDevices) {
  setenv("VELTO_COM3", "/dev/serial/by-id/three", 1);
  setenv("VELTO_COM4", "", 1);
  setenv("VELTO_COM5", "/dev/five", 1);
  SerialPorts ports;
  ports.map(5, "/dev/mapped");
  ports.map(6, "/dev/mapped");
  ports.map(6, "");
  const struct {
    const char *name;
    const char *path;
  } rows[] = {
      {"com1", "/dev/ttyS0"},
      {"\\\\.\\com12", "/dev/ttyS11"},
      {"COM3", "/dev/serial/by-id/three"},
      {"com4", "/dev/ttyS3"},
      {"com5", "/dev/mapped"},
      {"com6", "/dev/ttyS5"},
      {"com32768", "/dev/ttyS32767"},
      {"com", "com"},
      {"com0", "com0"},
      {"com-1", "com-1"},
      {"com1x", "com1x"},
      {"com99999999999", "com99999999999"},
      {"", ""},
      {"/dev/ttyUSB0", "/dev/ttyUSB0"},
  };
  for (const auto &row : rows)
    EXPECT_EQ(ports.devicePath(row.name), row.path) << row.name;
  EXPECT_EQ(SerialPorts::name(0), "com1");
  EXPECT_EQ(systemPorts().devicePath("com5"), "/dev/five") << "a map concerns its owner alone";
  ports.map(5, "");
  EXPECT_EQ(ports.devicePath("com5"), "/dev/five");
  for (const char *name : {"VELTO_COM3", "VELTO_COM4", "VELTO_COM5"})
    unsetenv(name);
}

TEST_F(SerialPort, CountsWithoutTheLoopToo) {
  line.send(bytesOf("ab"));
  for (int i = 0; i < 1000 && port.InputCount() < 2; ++i)
    usleep(1000);
  EXPECT_EQ(port.InputCount(), 2U);
  EXPECT_GT(wakes, 0) << "an owner that waits to be told is told";
  line.send(bytesOf("cd"));
  for (int i = 0; i < 1000 && port.FetchInput() < 4; ++i)
    usleep(1000);
  EXPECT_EQ(readAll(), bytesOf("abcd"));
}

TEST_F(SerialPort, WritesAndSumsBlocks) {
  EXPECT_TRUE(port.WriteByte(0x05));
  const Bytes block(254, 0xFF);
  EXPECT_EQ(port.WriteBlock(block), 254 * 255);
  EXPECT_EQ(port.WriteBlock(Bytes(258, 0xFF)), 258 * 255 - 65536) << "the sum has 16 bits";
  EXPECT_TRUE(port.Write({}));
  Bytes got;
  EXPECT_TRUE(net.until([&] {
    const Bytes more = line.read();
    got.insert(got.end(), more.begin(), more.end());
    return got.size() >= 1 + 254 + 258;
  }));
  EXPECT_EQ(got.front(), 0x05);
  EXPECT_EQ(got.size(), 1U + 254 + 258);
}

// More than the device takes at once: the rest goes as the far end reads, in order, and what cannot
// be held is refused as a whole.
TEST_F(SerialPort, KeepsWhatTheDeviceDoesNotTakeYet) {
  const Bytes bytes = pattern(300'001);
  EXPECT_TRUE(port.Write(bytes));
  EXPECT_TRUE(port.Write(bytes));
  EXPECT_FALSE(port.Write(Bytes(CHSerialPort::kOutputLimit)));
  EXPECT_EQ(port.WriteBlock(Bytes(CHSerialPort::kOutputLimit, 1)), 0);
  EXPECT_TRUE(idle()) << "a line that stands still costs nothing";
  Bytes got;
  EXPECT_TRUE(net.until([&] {
    const Bytes more = line.read();
    got.insert(got.end(), more.begin(), more.end());
    return got.size() >= 2 * bytes.size();
  }));
  Bytes both = bytes;
  both.insert(both.end(), bytes.begin(), bytes.end());
  EXPECT_EQ(got, both);
  EXPECT_TRUE(idle());
}

// An owner that does not read holds the far end up; nothing is lost and nothing spins.
TEST_F(SerialPort, ReadsAheadWithinABound) {
  const Bytes bytes = pattern(200'000);
  size_t sent = 0;
  const auto send = [&] {
    const size_t count = std::min<size_t>(bytes.size() - sent, 4096);
    sent += line.send(ByteView(bytes).subspan(sent, count));
  };
  net.until([&] {
    send();
    return port.InputCount() == CHSerialPort::kInputLimit;
  });
  for (int i = 0; i < 100; ++i)
    send();
  EXPECT_LT(sent, bytes.size());
  EXPECT_TRUE(idle());
  EXPECT_EQ(port.FetchInput(), CHSerialPort::kInputLimit);
  Bytes got;
  EXPECT_TRUE(net.until([&] {
    send();
    const Bytes more = readAll();
    got.insert(got.end(), more.begin(), more.end());
    return got.size() == bytes.size();
  }));
  EXPECT_EQ(got, bytes);
}

TEST_F(SerialPort, OpensOnce) {
  EXPECT_FALSE(port.Open(line.path(), 9600, 8, 0, 0));
  EXPECT_EQ(port.OpenError(), EBUSY);
  EXPECT_TRUE(port.WriteByte('a')) << "and stays as it was";
  port.Close();
  EXPECT_FALSE(port.IsOpen());
  EXPECT_FALSE(port.WriteByte('a'));
  EXPECT_EQ(port.WriteBlock(bytesOf("a")), 0);
  EXPECT_FALSE(port.Open(line.path(), 9600, 8, 0, 1)) << "one and a half stop bits";
  EXPECT_EQ(port.OpenError(), EINVAL);
  EXPECT_FALSE(port.Open("/dev/null", 9600, 8, 0, 0));
  EXPECT_EQ(port.OpenError(), ENOTTY);
  EXPECT_TRUE(port.Open(line.path(), 9600, 7, 2, 2));
  EXPECT_EQ(port.OpenError(), 0);
}

TEST_F(SerialPort, CloseDropsWhatWaits) {
  line.send(bytesOf("old"));
  ASSERT_TRUE(arrives(3));
  port.Write(pattern(100'000));
  port.Close();
  EXPECT_EQ(port.InputCount(), 0U);
  ASSERT_TRUE(port.Open(line.path(), 9600, 8, 0, 0));
  line.read();
  line.send(bytesOf("new"));
  ASSERT_TRUE(arrives(3));
  EXPECT_EQ(readAll(), bytesOf("new"));
  EXPECT_TRUE(line.read().empty());
}

TEST_F(SerialPort, ReportsALineThatEndsOnce) {
  line.send(bytesOf("bye"));
  ASSERT_TRUE(arrives(3));
  wakes = 0;
  line.hangUp();
  ASSERT_TRUE(net.until([this] { return port.LostError() != 0; }));
  EXPECT_GT(wakes, 0);
  EXPECT_EQ(port.LostError(), EIO);
  EXPECT_TRUE(idle()) << "a dead line costs nothing";
  EXPECT_FALSE(port.WriteByte('x'));
  EXPECT_TRUE(port.IsOpen()) << "until the last bytes are read";
  EXPECT_EQ(readAll(), bytesOf("bye"));
  EXPECT_FALSE(port.IsOpen());
  PtyLine next;
  EXPECT_TRUE(port.Open(next.path(), 9600, 8, 0, 0));
  EXPECT_EQ(port.LostError(), 0);
}

TEST_F(SerialPort, NoticesTheEndWhileNothingIsRead) {
  const Bytes bytes(4096);
  net.until([&] {
    line.send(bytes);
    return port.InputCount() == CHSerialPort::kInputLimit;
  });
  line.hangUp();
  EXPECT_TRUE(net.until([this] { return port.LostError() != 0; }));
  EXPECT_TRUE(idle());
  EXPECT_EQ(readAll().size(), CHSerialPort::kInputLimit);
}

TEST_F(SerialPort, NoticesTheEndWhileItWrites) {
  port.Write(pattern(100'000));
  line.hangUp();
  EXPECT_FALSE(port.WriteByte('x'));
  EXPECT_EQ(port.LostError(), EIO);
  EXPECT_FALSE(port.IsOpen());
}

} // namespace
} // namespace velto
