#pragma once

#include "platform/event_loop.h"
#include "platform/serial_device.h"
#include "transport/secsi/byte_channel.h"
#include "transport/secsi/serial_ports.h"
#include "transport/tcp/byte_queue.h"

#include <functional>
#include <optional>
#include <string>

namespace velto {

/// A serial port. Input is read as it arrives, and output that the device does not take at once is
/// written as it takes more, both while the owner's loop runs.
class CHSerialPort : public ByteChannel {
public:
  static constexpr size_t kInputLimit = size_t{64} * 1024;    ///< bytes read ahead of the owner
  static constexpr size_t kOutputLimit = size_t{1024} * 1024; ///< bytes that wait for the device

  explicit CHSerialPort(EventLoop &loop, const SerialPorts &ports = systemPorts())
      : loop_(loop), ports_(ports) {}
  ~CHSerialPort() override { Close(); }
  CHSerialPort(const CHSerialPort &) = delete;
  CHSerialPort &operator=(const CHSerialPort &) = delete;

  /// Opens a port by its name (see SerialPorts). `parity` is 0 none, 1 odd, 2 even, 3 mark, 4
  /// space; `stopBits` 0 one, 1 one and a half, 2 two. False when it is open already or the device
  /// cannot be opened so; OpenError() then tells why.
  bool Open(const std::string &portName, int32_t baudRate, int16_t byteSize, int16_t parity,
            int16_t stopBits);
  /// Why the last Open() failed, as an `errno` value (see SerialDevice::open); 0 when it did not.
  /// Close() clears it.
  int OpenError() const { return openError_; }
  /// Drops what waits in both directions and closes the port.
  void Close();
  /// Why the port ended by itself (an unplugged adapter, a closed pseudo terminal), as an `errno`
  /// value; 0 when it did not. Close() clears it.
  int LostError() const { return lostError_; }
  /// Called when bytes have been read ahead and when the port has ended by itself, also from inside
  /// the operations below. It may schedule the owner's work, nothing else.
  void SetWake(std::function<void()> wake) { wake_ = std::move(wake); }

  /// True from Open() to Close(). A port that ended by itself is open until the bytes are read that
  /// came before.
  bool IsOpen() const override { return device_.isOpen() || !input_.empty(); }
  /// Bytes that wait to be read. Looks at the device when none are known of.
  size_t InputCount() override;
  /// Those of them that were read from the device already.
  size_t BufferedCount() const { return input_.size(); }
  /// The same, with those that the device got in the meantime.
  size_t FetchInput();
  uint8_t ReadByte() override;
  /// Sends bytes; false when the port is not open or has just ended, and, with nothing sent, when
  /// more than kOutputLimit would wait.
  bool Write(ByteView bytes) override;
  bool WriteByte(uint8_t byte) { return Write({&byte, 1}); }
  /// Sends bytes and gives their sum, which is the checksum of a block (SEMI E4); 0 when they were
  /// not sent.
  uint16_t WriteBlock(ByteView bytes);

protected:
  /// The loop has read what arrived, or found the port ended; nothing else is done with this object
  /// afterwards. The owner has been woken already.
  virtual void onArrived() {}
  void wake() const {
    if (wake_)
      wake_();
  }

private:
  void onReady(unsigned events);
  void flush();
  void watch();
  void lose(int error);

  EventLoop &loop_;
  const SerialPorts &ports_;
  SerialDevice device_;
  std::optional<DescriptorWatch> watch_;
  std::function<void()> wake_;
  ByteQueue input_;
  ByteQueue output_;
  int openError_ = 0;
  int lostError_ = 0;
};

} // namespace velto
