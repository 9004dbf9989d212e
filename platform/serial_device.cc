#include "platform/serial_device.h"

// The C library's <termios.h> knows a fixed list of rates, the kernel's own settings any. The two
// headers cannot be included together.
#include <asm/termbits.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <utility>

namespace velto {

namespace {

constexpr uint32_t kFormat = CSIZE | PARENB | PARODD | CMSPAR | CSTOPB;

template <size_t N>
std::optional<uint32_t> row(const std::array<std::optional<uint32_t>, N> &table, int64_t index) {
  return index >= 0 && index < int64_t{N} ? table[static_cast<size_t>(index)] : std::nullopt;
}

// The control flags of a character format; nothing when there is no such format.
std::optional<uint32_t> formatFlags(const SerialSettings &settings) {
  using Flags = std::optional<uint32_t>;
  static constexpr std::array<Flags, 4> kSizes{CS5, CS6, CS7, CS8};
  static constexpr std::array<Flags, 5> kParities{0, PARENB | PARODD, PARENB,
                                                  PARENB | PARODD | CMSPAR, PARENB | CMSPAR};
  static constexpr std::array<Flags, 3> kStopBits{0, std::nullopt, CSTOPB};
  const Flags size = row(kSizes, int64_t{settings.byteSize} - 5);
  const Flags parity = row(kParities, static_cast<int64_t>(settings.parity));
  const Flags stopBits = row(kStopBits, static_cast<int64_t>(settings.stopBits));
  if (!size || !parity || !stopBits)
    return std::nullopt;
  return *size | *parity | *stopBits;
}

// The flag of a rate: its own where it has one, since other programs read the rate from that, else
// the one that leaves it to the speed fields.
uint32_t rateFlag(int32_t baudRate) {
  struct Rate {
    int32_t baudRate;
    uint32_t flag;
  };
  static constexpr std::array kRates{
      Rate{50, B50},           Rate{75, B75},           Rate{110, B110},
      Rate{134, B134},         Rate{150, B150},         Rate{200, B200},
      Rate{300, B300},         Rate{600, B600},         Rate{1200, B1200},
      Rate{1800, B1800},       Rate{2400, B2400},       Rate{4800, B4800},
      Rate{9600, B9600},       Rate{19200, B19200},     Rate{38400, B38400},
      Rate{57600, B57600},     Rate{115200, B115200},   Rate{230400, B230400},
      Rate{460800, B460800},   Rate{500000, B500000},   Rate{576000, B576000},
      Rate{921600, B921600},   Rate{1000000, B1000000}, Rate{1152000, B1152000},
      Rate{1500000, B1500000}, Rate{2000000, B2000000}, Rate{2500000, B2500000},
      Rate{3000000, B3000000}, Rate{3500000, B3500000}, Rate{4000000, B4000000},
  };
  const auto *rate = std::find_if(kRates.begin(), kRates.end(), [baudRate](const Rate &candidate) {
    return candidate.baudRate == baudRate;
  });
  return rate == kRates.end() ? BOTHER : rate->flag;
}

// A receiver samples right up to a deviation of about two percent, so drivers give the nearest rate
// that their divisor allows.
bool sameRate(uint32_t actual, int32_t wanted) {
  return std::abs(int64_t{actual} - wanted) * 50 <= wanted;
}

bool isPseudoTerminal(int fd) {
  constexpr unsigned kFirstMajor = 136;
  constexpr unsigned kLastMajor = 143;
  struct stat status {};
  if (fstat(fd, &status) != 0)
    return false;
  const unsigned number = major(status.st_rdev);
  return number >= kFirstMajor && number <= kLastMajor;
}

} // namespace

SerialDevice::SerialDevice() = default;

SerialDevice::~SerialDevice() { close(); }

int SerialDevice::open(const std::string &path, const SerialSettings &settings) {
  if (isOpen())
    return EBUSY;
  const auto format = formatFlags(settings);
  if (!format || settings.baudRate < 1)
    return EINVAL;
  fd_ = ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (fd_ < 0)
    return errno;
  if (const int error = lock()) { // the device is another one's: nothing in it may change
    ::close(std::exchange(fd_, -1));
    return error;
  }
  const int error = configure(*format, settings.baudRate);
  if (error != 0)
    close();
  return error;
}

// The lock keeps this class from opening a device twice, in whatever process; the exclusive mark
// keeps everyone else out. A pseudo terminal goes without the mark: it would outlive a crash of
// this process for as long as the other end exists.
int SerialDevice::lock() const {
  if (!isatty(fd_))
    return errno;
  if (flock(fd_, LOCK_EX | LOCK_NB) != 0)
    return errno == EWOULDBLOCK ? EBUSY : errno;
  return isPseudoTerminal(fd_) || ioctl(fd_, TIOCEXCL) == 0 ? 0 : errno;
}

int SerialDevice::configure(uint32_t format, int32_t baudRate) {
  auto found = std::make_unique<termios2>();
  if (ioctl(fd_, TCGETS2, found.get()) != 0)
    return errno;
  found_ = std::move(found);

  termios2 wanted = *found_;
  wanted.c_iflag &= ~uint32_t{IGNBRK | BRKINT | IGNPAR | PARMRK | INPCK | ISTRIP | INLCR | IGNCR |
                              ICRNL | IUCLC | IXON | IXOFF | IXANY};
  wanted.c_oflag &= ~uint32_t{OPOST};
  wanted.c_lflag &= ~uint32_t{ECHO | ECHONL | ICANON | ISIG | IEXTEN};
  wanted.c_cflag &= ~(kFormat | CBAUD | CIBAUD);
  wanted.c_cflag |= format | rateFlag(baudRate) | CREAD | CLOCAL;
  wanted.c_ispeed = wanted.c_ospeed = static_cast<uint32_t>(baudRate);
  wanted.c_cc[VMIN] = 1; // read() then tells "nothing there" from "the device is gone"
  wanted.c_cc[VTIME] = 0;
  termios2 actual{};
  if (ioctl(fd_, TCSETS2, &wanted) != 0 || ioctl(fd_, TCGETS2, &actual) != 0)
    return errno;

  const bool formatTaken = (actual.c_cflag & kFormat) == format || isPseudoTerminal(fd_);
  return formatTaken && sameRate(actual.c_ospeed, baudRate) ? 0 : EINVAL;
}

// Without the flush, the close of a line that is held up would wait for it to drain.
void SerialDevice::close() {
  if (!isOpen())
    return;
  if (const auto found = std::move(found_)) {
    ioctl(fd_, TCFLSH, TCIOFLUSH);
    ioctl(fd_, TCSETS2, found.get());
  }
  ioctl(fd_, TIOCNXCL);
  ::close(std::exchange(fd_, -1));
}

ssize_t SerialDevice::read(uint8_t *buffer, size_t size) { return ::read(fd_, buffer, size); }

ssize_t SerialDevice::write(ByteView bytes) { return ::write(fd_, bytes.data(), bytes.size()); }

bool SerialDevice::hungUp() const {
  pollfd state{fd_, 0, 0};
  return poll(&state, 1, 0) > 0;
}

} // namespace velto
