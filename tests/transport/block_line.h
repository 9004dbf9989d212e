#pragma once

#include "base/text.h"
#include "platform/clock.h"
#include "transport/secsi/block_transfer.h"

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace velto {

/// A line in memory: what the engine writes is kept, what it is to read is put in.
class MemoryLine final : public ByteChannel {
public:
  bool IsOpen() const override { return open; }
  size_t InputCount() override { return input.size(); }
  uint8_t ReadByte() override {
    const uint8_t byte = input.front();
    input.pop_front();
    return byte;
  }
  bool Write(ByteView bytes) override {
    if (onWrite)
      onWrite(bytes);
    else
      appendHex(written, bytes);
    return true;
  }

  bool open = true;
  std::deque<uint8_t> input;
  std::string written; ///< in hexadecimal
  std::function<void(ByteView)> onWrite;
};

/// An engine on a line in memory. do-and-look: each action returns what was written ("> HEX") and
/// reported since, separated by "; ".
class BlockStation final : public BlockTransferOwner {
public:
  explicit BlockStation(const SecsIVariant &variant = kSerialVariant,
                        FileSystem &files = systemFiles())
      : engine(std::make_unique<BlockTransfer>(line, *this, variant, clock, files)) {}

  std::string queue(const std::string &hex) {
    return engine->QueueMessage(fromHex(hex)) ? poll() : "refused";
  }
  std::string receive(const std::string &hex) {
    for (const uint8_t byte : fromHex(hex))
      line.input.push_back(byte);
    return poll();
  }
  std::string wait(uint32_t ms) {
    clock.advance(ms);
    return poll();
  }
  std::string poll() {
    if (engine)
      engine->Poll();
    return take();
  }
  std::string take() {
    flush();
    return std::exchange(happened_, {});
  }

  void OnMessage(ByteView message) override { note("received " + brief(message)); }
  void OnMessageSent(ByteView message, bool sent) override {
    note((sent ? "sent " : "failed ") + brief(message));
  }
  void OnTransferProblem(LinkProblem code, const std::string &text) override {
    note(std::string("problem ") + linkProblemName(code) + (text.empty() ? "" : " " + text));
  }
  void OnTransferTrace(ByteView bytes, TraceDirection direction) override {
    traced += (direction == TraceDirection::Sent ? ">" : "<") + toHex(bytes);
  }

  ManualClock clock{4'294'960'000U}; // soon to wrap
  MemoryLine line;
  std::string traced;
  std::function<void(const std::string &)> onNote;
  std::unique_ptr<BlockTransfer> engine;

private:
  static std::string brief(ByteView bytes) {
    return bytes.size() <= 40 ? toHex(bytes)
                              : toHex(bytes.first(10)) + "+" + std::to_string(bytes.size() - 10);
  }
  void add(const std::string &text) { happened_ += (happened_.empty() ? "" : "; ") + text; }
  void flush() {
    if (!line.written.empty())
      add("> " + std::exchange(line.written, {}));
  }
  void note(const std::string &text) {
    flush();
    add(text);
    if (onNote)
      onNote(text);
  }

  std::string happened_;
};

/// A block as it goes over the line, from its header and data in hexadecimal.
inline std::string blockHex(const std::string &hex) {
  Bytes bytes = fromHex(hex);
  const uint16_t sum = blockSum(bytes);
  return formatText("%02x", static_cast<unsigned>(bytes.size())) + hex +
         formatText("%04x", unsigned{sum});
}

inline std::string repeated(const char *hex, size_t count) {
  std::string text;
  for (size_t i = 0; i < count; ++i)
    text += hex;
  return text;
}

} // namespace velto
