#include "controls/gem_ctrl_line.h"

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

const SecsILine &GemCtrlLine::line() const { return gemEngine().physical().settings().secsI; }

int16_t GemCtrlLine::Transport() const {
  return static_cast<int16_t>(gemEngine().physical().transport);
}

void GemCtrlLine::SetTransport(int16_t transport) {
  if (!isLinkProtocol(transport))
    return;
  gemEngine().physical().transport = transport;
  lineSet();
}

std::string GemCtrlLine::SerialPort() const { return line().name(); }

// A port by its number is kept as such.
void GemCtrlLine::SetSerialPort(const std::string &port) {
  SecsILine &line = gemEngine().physical().settings().secsI;
  const int number = SerialPorts::number(port);
  line.portName = number == 0 ? port : "";
  line.portNumber = std::max(number - 1, 0);
  lineSet();
}

// What is below the least becomes what a fresh control has.
void GemCtrlLine::setLine(int32_t SecsILine::*part, int32_t value, int32_t least) {
  gemEngine().physical().settings().secsI.*part = value < least ? SecsILine().*part : value;
  lineSet();
}

int32_t GemCtrlLine::BaudRate() const { return line().baudRate; }
void GemCtrlLine::SetBaudRate(int32_t rate) { setLine(&SecsILine::baudRate, rate, 1); }
int32_t GemCtrlLine::SecsIT1() const { return line().t1; }
void GemCtrlLine::SetSecsIT1(int32_t ms) { setLine(&SecsILine::t1, ms, 1); }
int32_t GemCtrlLine::SecsIT2() const { return line().t2; }
void GemCtrlLine::SetSecsIT2(int32_t ms) { setLine(&SecsILine::t2, ms, 1); }
int32_t GemCtrlLine::SecsIT4() const { return line().t4; }
void GemCtrlLine::SetSecsIT4(int32_t ms) { setLine(&SecsILine::t4, ms, 0); }
int16_t GemCtrlLine::SecsIRetry() const { return word(line().retry); }
void GemCtrlLine::SetSecsIRetry(int16_t count) { setLine(&SecsILine::retry, count, 0); }
int16_t GemCtrlLine::SecsIMaster() const { return word(line().master); }

void GemCtrlLine::SetSecsIMaster(int16_t master) {
  if (master < SecsILine::MasterByRole || master > SecsILine::AlwaysMaster)
    return;
  gemEngine().physical().settings().secsI.master = master;
  lineSet();
}

int32_t GemCtrlLine::T1() const { return usesLine() ? secondsOf(line().t1) : 0; }
void GemCtrlLine::SetT1(int32_t seconds) { setLineTime(&SecsILine::t1, seconds, 1); }
int32_t GemCtrlLine::T2() const { return usesLine() ? secondsOf(line().t2) : 0; }
void GemCtrlLine::SetT2(int32_t seconds) { setLineTime(&SecsILine::t2, seconds, 1); }
int32_t GemCtrlLine::T4() const { return usesLine() ? secondsOf(line().t4) : 0; }
void GemCtrlLine::SetT4(int32_t seconds) { setLineTime(&SecsILine::t4, seconds, 0); }

void GemCtrlLine::setLineTime(int32_t SecsILine::*part, int32_t seconds, int32_t least) {
  if (usesLine())
    setLine(part, std::min(seconds, std::numeric_limits<int32_t>::max() / kSecond) * kSecond,
            least);
  else
    lineSet();
}

} // namespace velto
