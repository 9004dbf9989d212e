#pragma once

#include "controls/component/ini_control.h"

#include <memory>

namespace velto {

class CHSerialPort;

/// `VeltoComm`: a raw serial port. The host writes bytes and texts; while input waits, Received
/// tells so every millisecond, and the host reads it byte by byte.
class CVeltoCommCtrl final : public IniControl {
public:
  explicit CVeltoCommCtrl(const ControlSite &site);
  ~CVeltoCommCtrl() override;

  static const MemberTable &table();
  const MemberTable &members() const override { return table(); }

  /// Whether the port is open; false again when the device is unplugged.
  bool Connect() const;
  /// Closes the port, dropping what waits in both directions, and with `connect` opens it with the
  /// settings of now. Connect() stays false when that fails; the window tells why.
  void SetConnect(bool connect);

  /// Bytes that wait to be read.
  int32_t Count();
  /// The next of them, 0 to 255; 65535 when none waits or the port is closed.
  int32_t ByteStream();
  /// Sends the low eight bits of `byte`; nothing on a closed port.
  void SetByteStream(int32_t byte);

  // Settings of the line, which count from the next opening on. A value out of range becomes the
  // default, for ByteSize 7.
  int32_t BaudRate() const { return baudRate_; }
  void SetBaudRate(int32_t rate);
  int16_t ByteSize() const { return byteSize_; }
  void SetByteSize(int16_t bits);
  int16_t Parity() const { return parity_; }
  void SetParity(int16_t parity);
  int16_t PortNumber() const { return portNumber_; }
  void SetPortNumber(int16_t number);
  int16_t StopBit() const { return stopBit_; }
  void SetStopBit(int16_t stopBit);

  /// Sends the characters of `data` as they are; false when the port is closed, and when more than
  /// 1 MiB would wait.
  bool Send(const std::string &data);

  /// One line: the port, its device, the settings, and whether it is open or why it is not.
  std::string window() const override;

  /// Input waits, so many bytes. Raised every millisecond until all is read; not again while its
  /// handler runs.
  Event<int32_t> onReceived{*this, 1};

private:
  std::span<const char *const> iniKeys() const override;
  std::span<const Page> pages() const override;
  void prepareLoad() override;
  template <typename T> void store(T &setting, T value);
  void tick();

  std::unique_ptr<CHSerialPort> port_;
  Timer timer_;
  int32_t baudRate_ = 9600;
  int16_t byteSize_ = 8;
  int16_t parity_ = 0;
  int16_t portNumber_ = 0;
  int16_t stopBit_ = 0;
  int lostError_ = 0; ///< why the port ended by itself
  bool raising_ = false;
};

} // namespace velto
