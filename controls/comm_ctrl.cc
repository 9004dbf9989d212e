#include "controls/comm_ctrl.h"

#include "controls/shared_members.h"
#include "transport/secsi/serial_port.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace velto {

namespace {

constexpr int32_t kNoByte = 65535;
constexpr int32_t kDefaultRate = 9600;
constexpr int16_t kLastParity = 4;
constexpr int16_t kLastStopBit = 2;
constexpr std::array kCommIniKeys{"PortNumber", "BaudRate", "ByteSize", "Parity", "StopBit"};

} // namespace

const MemberTable &CVeltoCommCtrl::table() {
  using C = CVeltoCommCtrl;
  static const MemberTable table =
      SharedMembers<C>("VeltoComm", "CVeltoCommCtrl",
                       "A raw serial port: bytes and texts in and out.")
          .readOnly<&C::Count>(2, "Count", "Bytes that wait to be read.")
          .property<&C::ByteStream, &C::SetByteStream>(
              3, "ByteStream",
              "Reading takes the next byte, 65535 when there is none; writing sends one.")
          .range(0, 0xFF)
          .baudRate(4)
          .property<&C::ByteSize, &C::SetByteSize>(5, "ByteSize",
                                                   "Data bits; every value but 8 becomes 7.", 8)
          .range(7, 8)
          .iniFileName(6)
          .iniSection(7)
          .property<&C::Parity, &C::SetParity>(8, "Parity", "Parity; others become 0.", 0)
          .of(enumerations::parities())
          .serialPortNumber(9)
          .property<&C::StopBit, &C::SetStopBit>(10, "StopBit", "Stop bits; others become 0.", 0)
          .of(enumerations::stopBits())
          .serialConnect(1)
          .setup(11)
          .method<&C::Send>(12, "Send", {"lpszData"},
                            "Sends the characters as they are; false when the port is closed.")
          .loadIniFile(13)
          .event<int32_t>(1, "Received", {"lDataCount"},
                          "Bytes wait to be read; raised every millisecond while they do.")
          .build();
  return table;
}

CVeltoCommCtrl::CVeltoCommCtrl(const ControlSite &site)
    : IniControl(site, "VeltoComm"), port_(std::make_unique<CHSerialPort>(site.loop, site.ports)),
      timer_(site.loop, [this] { tick(); }) {
  port_->SetWake([this] {
    timer_.startWithin(1);
    if (port_->LostError() != 0)
      viewChanged();
  });
}

CVeltoCommCtrl::~CVeltoCommCtrl() = default;

bool CVeltoCommCtrl::Connect() const { return port_->IsOpen(); }

int32_t CVeltoCommCtrl::Count() { return static_cast<int32_t>(port_->FetchInput()); }

std::span<const char *const> CVeltoCommCtrl::iniKeys() const { return kCommIniKeys; }

std::span<const IniControl::Page> CVeltoCommCtrl::pages() const {
  static const std::array kPages{
      Page{"Communication",
           {{"PortNumber", "Port (0 is COM1)", 0, kMaxInt16},
            {"BaudRate", "Baud Rate", 1, kMaxInt32},
            {"ByteSize", "Data Bits", 7, 8},
            {"Parity", "Parity (0 none, 1 odd, 2 even, 3 mark, 4 space)", 0, kLastParity},
            {"StopBit", "Stop Bits (0 one, 2 two)", 0, kLastStopBit}}}};
  return kPages;
}

void CVeltoCommCtrl::SetConnect(bool connect) {
  port_->Close();
  lostError_ = 0;
  if (connect)
    port_->Open(SerialPorts::name(portNumber_), baudRate_, byteSize_, parity_, stopBit_);
  setModified();
}

// A loaded bag finds the port closed, so that all its settings count.
void CVeltoCommCtrl::prepareLoad() {
  if (Connect())
    SetConnect(false);
}

int32_t CVeltoCommCtrl::ByteStream() {
  return port_->InputCount() == 0 ? kNoByte : port_->ReadByte();
}

void CVeltoCommCtrl::SetByteStream(int32_t byte) {
  port_->WriteByte(static_cast<uint8_t>(byte & 0xFF));
}

template <typename T> void CVeltoCommCtrl::store(T &setting, T value) {
  setting = value;
  setModified();
}

void CVeltoCommCtrl::SetBaudRate(int32_t rate) { store(baudRate_, rate < 1 ? kDefaultRate : rate); }

void CVeltoCommCtrl::SetByteSize(int16_t bits) { store<int16_t>(byteSize_, bits == 8 ? 8 : 7); }

void CVeltoCommCtrl::SetParity(int16_t parity) {
  store<int16_t>(parity_, parity < 0 || parity > kLastParity ? 0 : parity);
}

void CVeltoCommCtrl::SetPortNumber(int16_t number) {
  store(portNumber_, std::max<int16_t>(number, 0));
}

void CVeltoCommCtrl::SetStopBit(int16_t stopBit) {
  store<int16_t>(stopBit_, stopBit < 0 || stopBit > kLastStopBit ? 0 : stopBit);
}

bool CVeltoCommCtrl::Send(const std::string &data) {
  return port_->Write({reinterpret_cast<const uint8_t *>(data.data()), data.size()});
}

// Stands for a timer of 1 ms: ticks on which nothing waits are left out. A device that is gone
// gets one last event for what it had sent.
void CVeltoCommCtrl::tick() {
  if (raising_)
    return;
  const bool lost = port_->LostError() != 0;
  if (const int32_t count = Count(); count != 0) {
    const Lifetime::Watch alive(lifetime());
    raising_ = true;
    onReceived.raise(count);
    if (!alive)
      return;
    raising_ = false;
  }
  if (lost && port_->LostError() != 0) {
    lostError_ = port_->LostError();
    port_->Close();
    viewChanged();
  }
  if (Count() != 0 || port_->LostError() != 0)
    timer_.startWithin(1);
}

std::string CVeltoCommCtrl::window() const {
  constexpr std::array kParities{"N", "O", "E", "M", "S"};
  constexpr std::array kStopBits{"1", "1.5", "2"};
  const std::string name = SerialPorts::name(portNumber_);
  const int error = lostError_ != 0 ? lostError_ : port_->OpenError();
  std::string state = "closed";
  if (Connect())
    state = "open";
  else if (error != 0)
    state = std::strerror(error);
  return name + " (" + site().ports.devicePath(name) + ") " + std::to_string(baudRate_) + ' ' +
         std::to_string(byteSize_) + kParities[static_cast<size_t>(parity_)] +
         kStopBits[static_cast<size_t>(stopBit_)] + ": " + state + '\n';
}

} // namespace velto
