#pragma once

#include "base/bytes.h"

#include <cstdint>
#include <memory>
#include <string>
#include <sys/types.h>

struct termios2; // the kernel's settings of a terminal device

namespace velto {

enum class SerialParity { None, Odd, Even, Mark, Space };
enum class SerialStopBits { One, OneAndHalf, Two };

/// How a serial line carries characters.
struct SerialSettings {
  int32_t baudRate = 9600; ///< bits per second, any rate that the device can do
  int32_t byteSize = 8;    ///< data bits, 5 to 8
  SerialParity parity = SerialParity::None;
  SerialStopBits stopBits = SerialStopBits::One;
};

/// A serial device that never blocks and carries every byte unchanged. Results are `errno` values,
/// 0 for success.
///
/// No one else may have the device open through this class, nor open it afterwards.
class SerialDevice {
public:
  SerialDevice();
  ~SerialDevice();
  SerialDevice(const SerialDevice &) = delete;
  SerialDevice &operator=(const SerialDevice &) = delete;

  /// Opens the device of this path with flow control by XON and XOFF off and the modem lines
  /// ignored; RTS/CTS flow control stays as the device has it. EBUSY when it is in use or this
  /// object is open already, EINVAL for settings that do not exist or that the device does not
  /// take (one and a half stop bits are such), ENOTTY for what is no serial device. A pseudo
  /// terminal has no line to set: it takes any settings.
  int open(const std::string &path, const SerialSettings &settings);
  /// Drops what waits in both directions, gives the device its settings of before back and closes
  /// it.
  void close();

  /// Up to `size` bytes; -1 with `errno` (EAGAIN: nothing there), 0 when the device is gone.
  ssize_t read(uint8_t *buffer, size_t size);
  /// The count of bytes taken, or -1 with `errno` (EAGAIN: none at the moment).
  ssize_t write(ByteView bytes);
  /// Whether the device is gone (unplugged, or the other end of a pseudo terminal closed).
  bool hungUp() const;

  int fd() const { return fd_; }
  bool isOpen() const { return fd_ >= 0; }

private:
  int lock() const;
  int configure(uint32_t format, int32_t baudRate);

  int fd_ = -1;
  std::unique_ptr<termios2> found_; ///< the settings before open()
};

} // namespace velto
