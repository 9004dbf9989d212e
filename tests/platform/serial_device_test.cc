#include "platform/serial_device.h"

#include "support/pty.h"
#include "support/temporary_directory.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <poll.h>

namespace velto {
namespace {

bool waitForInput(int fd) {
  pollfd state{fd, POLLIN, 0};
  return poll(&state, 1, 5000) == 1;
}

Bytes everyByte() {
  Bytes bytes;
  for (int byte = 0; byte < 256; ++byte)
    bytes.push_back(static_cast<uint8_t>(byte));
  return bytes;
}

TEST(SerialDevice, CarriesEveryByteUnchangedWhateverTheLineDidBefore) {
  PtyLine line;
  termios cooked = line.settings();
  cooked.c_iflag |= ICRNL | IXON | IXOFF | IXANY | ISTRIP | INPCK | PARMRK;
  cooked.c_oflag |= OPOST | ONLCR;
  cooked.c_lflag |= ICANON | ECHO | ISIG | IEXTEN;
  cooked.c_cc[VMIN] = 0;
  line.setSettings(cooked);
  SerialDevice device;
  ASSERT_EQ(device.open(line.path(), {}), 0);
  Bytes arrived(512);
  EXPECT_EQ(device.read(arrived.data(), arrived.size()), -1);
  EXPECT_EQ(errno, EAGAIN) << "nothing there is not the end";

  EXPECT_EQ(device.write(everyByte()), 256);
  ASSERT_TRUE(waitForInput(line.fd()));
  EXPECT_EQ(line.read(), everyByte());
  ASSERT_EQ(line.send(everyByte()), 256U);
  ASSERT_TRUE(waitForInput(device.fd()));
  const ssize_t count = device.read(arrived.data(), arrived.size());
  ASSERT_EQ(count, 256);
  arrived.resize(256);
  EXPECT_EQ(arrived, everyByte());
  EXPECT_TRUE(line.read().empty()) << "no echo";
}

TEST(SerialDevice, GivesTheSettingsOfBeforeBack) {
  PtyLine line;
  termios before = line.settings();
  before.c_iflag |= ICRNL | IXON;
  before.c_lflag |= ICANON;
  before.c_cc[VMIN] = 7;
  cfsetspeed(&before, B2400);
  line.setSettings(before);
  SerialDevice device;
  ASSERT_EQ(device.open(line.path(), {19200}), 0);
  EXPECT_EQ(line.baudRate(), 19200);
  device.close();
  device.close();
  const termios after = line.settings();
  EXPECT_EQ(after.c_iflag, before.c_iflag);
  EXPECT_EQ(after.c_lflag, before.c_lflag);
  EXPECT_EQ(after.c_cc[VMIN], before.c_cc[VMIN]);
  EXPECT_EQ(cfgetospeed(&after), B2400);
}

TEST(SerialDevice, TakesSettingsOrRefusesThem) {
  using Parity = SerialParity;
  using Stop = SerialStopBits;
  const struct {
    SerialSettings settings;
    int error;
    tcflag_t flags; ///< what a pseudo terminal keeps of them
  } rows[] = {
      {{300, 8, Parity::None, Stop::One}, 0, 0},
      {{12345, 7, Parity::Even, Stop::Two}, 0, CSTOPB},
      {{4'000'000, 5, Parity::Odd, Stop::One}, 0, PARODD},
      {{9600, 6, Parity::Mark, Stop::One}, 0, PARODD | CMSPAR},
      {{9600, 8, Parity::Space, Stop::Two}, 0, CMSPAR | CSTOPB},
      {{9600, 8, Parity::None, Stop::OneAndHalf}, EINVAL, 0},
      {{9600, 4, Parity::None, Stop::One}, EINVAL, 0},
      {{9600, 9, Parity::None, Stop::One}, EINVAL, 0},
      {{9600, -2'147'483'647 - 1, Parity::None, Stop::One}, EINVAL, 0},
      {{9600, 8, static_cast<Parity>(5), Stop::One}, EINVAL, 0},
      {{9600, 8, static_cast<Parity>(-1), Stop::One}, EINVAL, 0},
      {{9600, 8, Parity::None, static_cast<Stop>(3)}, EINVAL, 0},
      {{0, 8, Parity::None, Stop::One}, EINVAL, 0},
      {{-9600, 8, Parity::None, Stop::One}, EINVAL, 0},
  };
  PtyLine line;
  for (const auto &row : rows) {
    SerialDevice device;
    EXPECT_EQ(device.open(line.path(), row.settings), row.error) << &row - rows;
    EXPECT_EQ(device.isOpen(), row.error == 0);
    const tcflag_t kept = PARODD | CMSPAR | CSTOPB;
    EXPECT_EQ(line.settings().c_cflag & kept, row.flags) << &row - rows;
  }
}

TEST(SerialDevice, SetsAnyRate) {
  PtyLine line;
  for (const int32_t rate : {50, 134, 9600, 115200, 4'000'000, 1, 12345, 31250, 250'000}) {
    SerialDevice device;
    EXPECT_EQ(device.open(line.path(), {rate}), 0);
    EXPECT_EQ(line.baudRate(), rate);
  }
}

TEST(SerialDevice, TakesADeviceForItself) {
  PtyLine line;
  SerialDevice first;
  SerialDevice second;
  ASSERT_EQ(first.open(line.path(), {115200}), 0);
  EXPECT_EQ(first.open(line.path(), {}), EBUSY) << "open already";
  EXPECT_EQ(second.open(line.path(), {300}), EBUSY);
  EXPECT_FALSE(second.isOpen());
  EXPECT_EQ(line.baudRate(), 115200) << "the refused one changed nothing";
  EXPECT_EQ(first.write(everyByte()), 256) << "nor does it disturb the first";
  first.close();
  EXPECT_EQ(second.open(line.path(), {}), 0);
}

TEST(SerialDevice, RefusesWhatIsNoSerialDevice) {
  const TemporaryDirectory folder;
  SerialDevice device;
  EXPECT_EQ(device.open(folder / "none", {}), ENOENT);
  EXPECT_EQ(device.open(folder / "", {}), EISDIR);
  EXPECT_EQ(device.open("/dev/null", {}), ENOTTY);
  EXPECT_EQ(device.open("", {}), ENOENT);
  EXPECT_FALSE(device.isOpen());
}

TEST(SerialDevice, TellsThatTheDeviceIsGone) {
  PtyLine line;
  SerialDevice device;
  ASSERT_EQ(device.open(line.path(), {}), 0);
  EXPECT_FALSE(device.hungUp());
  line.hangUp();
  uint8_t byte = 0;
  EXPECT_TRUE(device.hungUp());
  EXPECT_EQ(device.read(&byte, 1), 0);
  EXPECT_EQ(device.write({&byte, 1}), -1);
  EXPECT_EQ(errno, EIO);
  device.close();
  EXPECT_FALSE(device.isOpen());
}

} // namespace
} // namespace velto
