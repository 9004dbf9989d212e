#pragma once

#include <cstdint>
#include <string>

namespace velto {

class CHGemEngine;
struct SecsILine;

/// The part of `VeltoGem` that says how messages travel, and how the line of SECS-I (SEMI E4)
/// works.
class GemCtrlLine {
public:
  /// How messages travel: 0 HSMS, 1 SECS-I on a serial port, 2 SECS-I over TCP (LinkProtocol).
  /// Other numbers are ignored.
  int16_t Transport() const;
  void SetTransport(int16_t transport);
  /// Of SECS-I: a device ("/dev/ttyUSB0"), or "com1" and so on.
  std::string SerialPort() const;
  void SetSerialPort(const std::string &port);
  int32_t BaudRate() const;
  void SetBaudRate(int32_t rate);
  // Its times in ms, which count at once: T1 below 1 becomes 500, T2 10000, T4 below 0 45000.
  int32_t SecsIT1() const;
  void SetSecsIT1(int32_t ms);
  int32_t SecsIT2() const;
  void SetSecsIT2(int32_t ms);
  int32_t SecsIT4() const;
  void SetSecsIT4(int32_t ms);
  /// Further attempts for a block; negative becomes 3.
  int16_t SecsIRetry() const;
  void SetSecsIRetry(int16_t count);
  /// Who wins contention: -1 the equipment, 0 the other side, 1 this side. Others are ignored.
  int16_t SecsIMaster() const;
  void SetSecsIMaster(int16_t master);
  // The same times in seconds; with HSMS 0, and what is set is ignored.
  int32_t T1() const;
  void SetT1(int32_t seconds);
  int32_t T2() const;
  void SetT2(int32_t seconds);
  int32_t T4() const;
  void SetT4(int32_t seconds);

protected:
  ~GemCtrlLine() = default;

private:
  virtual CHGemEngine &gemEngine() const = 0;
  /// A property was set.
  virtual void lineSet() = 0;

  const SecsILine &line() const;
  bool usesLine() const { return Transport() != 0; }
  void setLine(int32_t SecsILine::*part, int32_t value, int32_t least);
  void setLineTime(int32_t SecsILine::*part, int32_t seconds, int32_t least);
};

} // namespace velto
