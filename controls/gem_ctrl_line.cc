// What the Gem control has for SECS-I.

#include "controls/gem_ctrl.h"

#include "gem/engine/engine.h"

#include <algorithm>
#include <limits>

namespace velto {

namespace {

constexpr int32_t kSecond = 1000; // ms

int32_t secondsOf(int32_t milliseconds) { return milliseconds / kSecond; }

int16_t word(int32_t value) {
  return static_cast<int16_t>(std::min<int32_t>(value, std::numeric_limits<int16_t>::max()));
}

} // namespace

const SecsILine &CVeltoGemCtrl::line() const { return engine_->physical().settings().secsI; }

int16_t CVeltoGemCtrl::Transport() const {
  return static_cast<int16_t>(engine_->physical().transport);
}

void CVeltoGemCtrl::SetTransport(int16_t transport) {
  if (!isLinkProtocol(transport))
    return;
  engine_->physical().transport = transport;
  setModified();
}

std::string CVeltoGemCtrl::SerialPort() const { return line().name(); }

// A port by its number is kept as such.
void CVeltoGemCtrl::SetSerialPort(const std::string &port) {
  SecsILine &line = engine_->physical().settings().secsI;
  const int number = SerialPorts::number(port);
  line.portName = number == 0 ? port : "";
  line.portNumber = std::max(number - 1, 0);
  setModified();
}

// What is below the least becomes what a fresh control has.
void CVeltoGemCtrl::setLine(int32_t SecsILine::*part, int32_t value, int32_t least) {
  engine_->physical().settings().secsI.*part = value < least ? SecsILine().*part : value;
  setModified();
}

int32_t CVeltoGemCtrl::BaudRate() const { return line().baudRate; }
void CVeltoGemCtrl::SetBaudRate(int32_t rate) { setLine(&SecsILine::baudRate, rate, 1); }
int32_t CVeltoGemCtrl::SecsIT1() const { return line().t1; }
void CVeltoGemCtrl::SetSecsIT1(int32_t ms) { setLine(&SecsILine::t1, ms, 1); }
int32_t CVeltoGemCtrl::SecsIT2() const { return line().t2; }
void CVeltoGemCtrl::SetSecsIT2(int32_t ms) { setLine(&SecsILine::t2, ms, 1); }
int32_t CVeltoGemCtrl::SecsIT4() const { return line().t4; }
void CVeltoGemCtrl::SetSecsIT4(int32_t ms) { setLine(&SecsILine::t4, ms, 0); }
int16_t CVeltoGemCtrl::SecsIRetry() const { return word(line().retry); }
void CVeltoGemCtrl::SetSecsIRetry(int16_t count) { setLine(&SecsILine::retry, count, 0); }
int16_t CVeltoGemCtrl::SecsIMaster() const { return word(line().master); }

void CVeltoGemCtrl::SetSecsIMaster(int16_t master) {
  if (master < SecsILine::MasterByRole || master > SecsILine::AlwaysMaster)
    return;
  engine_->physical().settings().secsI.master = master;
  setModified();
}

int32_t CVeltoGemCtrl::T1() const { return usesLine() ? secondsOf(line().t1) : 0; }
void CVeltoGemCtrl::SetT1(int32_t seconds) { setLineTime(&SecsILine::t1, seconds, 1); }
int32_t CVeltoGemCtrl::T2() const { return usesLine() ? secondsOf(line().t2) : 0; }
void CVeltoGemCtrl::SetT2(int32_t seconds) { setLineTime(&SecsILine::t2, seconds, 1); }
int32_t CVeltoGemCtrl::T4() const { return usesLine() ? secondsOf(line().t4) : 0; }
void CVeltoGemCtrl::SetT4(int32_t seconds) { setLineTime(&SecsILine::t4, seconds, 0); }

void CVeltoGemCtrl::setLineTime(int32_t SecsILine::*part, int32_t seconds, int32_t least) {
  if (usesLine())
    setLine(part, std::min(seconds, std::numeric_limits<int32_t>::max() / kSecond) * kSecond,
            least);
  else
    setModified();
}

} // namespace velto
