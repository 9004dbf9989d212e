#include "transport/secsi/serial_port.h"

#include <cerrno>
#include <numeric>

namespace velto {

namespace {

// Whether a failed read or write only has to be repeated.
bool isPassing(int error) { return error == EAGAIN || error == EINTR; }

} // namespace

bool CHSerialPort::Open(const std::string &portName, int32_t baudRate, int16_t byteSize,
                        int16_t parity, int16_t stopBits) {
  if (IsOpen()) {
    openError_ = EBUSY;
    return false;
  }
  Close(); // a port that ended by itself may be opened again
  openError_ = device_.open(ports_.devicePath(portName),
                            {baudRate, byteSize, static_cast<SerialParity>(parity),
                             static_cast<SerialStopBits>(stopBits)});
  if (openError_ != 0)
    return false;
  watch_.emplace(loop_, device_.fd(), DescriptorWatch::kReadable,
                 [this](unsigned events) { onReady(events); });
  return true;
}

void CHSerialPort::Close() {
  watch_.reset();
  device_.close();
  input_.clear();
  output_.clear();
  openError_ = lostError_ = 0;
}

size_t CHSerialPort::InputCount() { return input_.empty() ? FetchInput() : input_.size(); }

size_t CHSerialPort::FetchInput() {
  const size_t room = kInputLimit - input_.size();
  if (!device_.isOpen() || room == 0)
    return input_.size();
  const auto space = input_.space(room);
  const ssize_t count = device_.read(space.data(), space.size());
  if (count > 0) {
    input_.added(static_cast<size_t>(count));
    watch();
    wake();
  } else if (count == 0 || !isPassing(errno)) {
    lose(count == 0 ? EIO : errno);
  }
  return input_.size();
}

uint8_t CHSerialPort::ReadByte() {
  if (InputCount() == 0)
    return 0;
  const uint8_t byte = input_.view().front();
  input_.drop(1);
  watch();
  return byte;
}

bool CHSerialPort::Write(ByteView bytes) {
  if (!device_.isOpen() || bytes.size() > kOutputLimit - output_.size())
    return false;
  output_.append(bytes);
  flush();
  return device_.isOpen();
}

uint16_t CHSerialPort::WriteBlock(ByteView bytes) {
  if (!Write(bytes))
    return 0;
  return std::accumulate(bytes.begin(), bytes.end(), uint16_t{0}, [](uint16_t sum, uint8_t byte) {
    return static_cast<uint16_t>(sum + byte);
  });
}

// A watch that does not wait for input is called for a device that is gone, too: which it is has to
// be asked, since the call may also be older than the full buffer.
void CHSerialPort::onReady(unsigned events) {
  if (input_.size() < kInputLimit)
    FetchInput();
  else if (device_.hungUp())
    lose(EIO);
  if ((events & DescriptorWatch::kWritable) != 0)
    flush();
  onArrived();
}

void CHSerialPort::flush() {
  while (device_.isOpen() && !output_.empty()) {
    const ssize_t count = device_.write(output_.view());
    if (count > 0) {
      output_.drop(static_cast<size_t>(count));
      continue;
    }
    if (count < 0 && !isPassing(errno))
      lose(errno);
    break;
  }
  watch();
}

void CHSerialPort::watch() {
  if (!watch_)
    return;
  watch_->setEvents((input_.size() < kInputLimit ? DescriptorWatch::kReadable : 0) |
                    (output_.empty() ? 0 : DescriptorWatch::kWritable));
}

void CHSerialPort::lose(int error) {
  watch_.reset();
  device_.close();
  output_.clear();
  lostError_ = error;
  wake();
}

} // namespace velto
