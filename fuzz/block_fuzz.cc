// The far end of a SECS-I line sends any bytes and any blocks, with any pauses, to an engine that
// sends, too; every message that was queued ends as sent or failed.
#include "transport/secsi/block_transfer.h"

#include <algorithm>
#include <cstdlib>
#include <deque>

using namespace velto;

namespace {

class Line final : public ByteChannel, public BlockTransferOwner {
public:
  bool IsOpen() const override { return true; }
  size_t InputCount() override { return input.size(); }
  uint8_t ReadByte() override {
    const uint8_t byte = input.front();
    input.pop_front();
    return byte;
  }
  bool Write(ByteView) override { return true; }
  void OnMessage(ByteView message) override {
    if (message.size() < CHSecsHeader::kSize)
      abort();
  }
  void OnMessageSent(ByteView, bool) override { --waiting; }
  void OnTransferProblem(LinkProblem, const std::string &) override {}
  void OnTransferTrace(ByteView, TraceDirection) override {}

  std::deque<uint8_t> input;
  int waiting = 0;
};

ByteView take(ByteView &rest, size_t count) {
  const ByteView taken = rest.first(std::min(count, rest.size()));
  rest = rest.subspan(taken.size());
  return taken;
}

// ENQ and a block with the right sum.
void sendBlock(Line &line, ByteView block) {
  const uint16_t sum = blockSum(block);
  line.input.push_back(kEnq);
  line.input.push_back(static_cast<uint8_t>(block.size()));
  line.input.insert(line.input.end(), block.begin(), block.end());
  line.input.push_back(static_cast<uint8_t>(sum >> 8));
  line.input.push_back(static_cast<uint8_t>(sum));
}

void step(BlockTransfer &engine, Line &line, ManualClock &clock, ByteView &rest) {
  const uint8_t what = take(rest, 1)[0];
  const ByteView bytes = take(rest, what / 4);
  switch (what % 4) {
  case 0:
    line.input.insert(line.input.end(), bytes.begin(), bytes.end());
    break;
  case 1:
    sendBlock(line, bytes);
    break;
  case 2:
    line.waiting += engine.QueueMessage(bytes) ? 1 : 0;
    break;
  default:
    clock.advance(what * 10U);
  }
  engine.Poll();
}

} // namespace

// The first byte sets the engine up.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  ByteView rest(data, size);
  if (rest.empty())
    return 0;
  const uint8_t setup = take(rest, 1)[0];
  ManualClock clock;
  Line line;
  BlockTransfer engine(line, line, (setup & 1) != 0 ? kSocketVariant : kSerialVariant, clock,
                       systemFiles());
  SecsISettings &settings = engine.settings();
  settings.t1 = 100;
  settings.t2 = 500;
  settings.t3 = settings.t4 = 2000;
  settings.master = (setup & 2) != 0;
  settings.msec = (setup & 4) != 0;
  settings.equipment = (setup & 8) != 0;
  settings.retry = setup >> 6;
  while (!rest.empty())
    step(engine, line, clock, rest);
  // The line falls silent.
  for (int ticks = 0; engine.OutCount() != 0 || engine.InCount() != 0; ++ticks) {
    if (ticks > 10'000)
      abort();
    clock.advance(500);
    engine.Poll();
  }
  if (line.waiting > 0)
    abort();
  return 0;
}
