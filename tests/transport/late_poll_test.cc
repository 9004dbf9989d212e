// A host that polls the SECS-I engines by itself, and late: the loop does not run, so that what has
// arrived is still with the system.
#include "base/handle.h"
#include "block_line.h"
#include "network.h"
#include "support/pty.h"
#include "transport/secsi/secsi.h"
#include "transport/secsi/secsi_socket.h"

#include <gtest/gtest.h>
#include <memory>
#include <poll.h>

namespace velto {
namespace {

// An engine on a line, and the far end of that line.
class PolledLine {
public:
  virtual ~PolledLine() = default;
  virtual void poll() = 0;
  virtual bool queue(const Bytes &message) = 0;
  virtual void send(const Bytes &bytes) = 0;
  virtual Bytes read() = 0;

  Network net;
  RecordingSink sink;
};

class PolledPort final : public PolledLine {
public:
  PolledPort() {
    sink.kind = ConnectionKind::SecsI;
    sink.address = "";
    engine_->SetSink(&sink);
    EXPECT_TRUE(engine_->Open(line_.path(), 9600, 8, 0, 0));
  }
  void poll() override { engine_->Poll(); }
  bool queue(const Bytes &message) override { return engine_->QueueMessage(message); }
  void send(const Bytes &bytes) override { line_.send(bytes); }
  Bytes read() override { return line_.read(); }

private:
  PtyLine line_;
  Handle<CHSecsI> engine_ = makeHandle<CHSecsI>(net.loop);
};

class PolledSocket final : public PolledLine {
public:
  PolledSocket() {
    sink.kind = ConnectionKind::SecsI;
    engine_->SetSink(&sink);
    engine_->SetServerMode(true);
    EXPECT_TRUE(engine_->Open());
    far_ = std::make_unique<RawClient>(engine_->LocalPort());
    net.settle();
    sink.take();
  }
  void poll() override { engine_->Poll(); }
  bool queue(const Bytes &message) override { return engine_->QueueMessage(message); }
  void send(const Bytes &bytes) override { far_->send(ByteView(bytes)); }
  Bytes read() override { return far_->read(); }

private:
  Handle<CHSecsISocket> engine_ = makeHandle<CHSecsISocket>(net.loop);
  std::unique_ptr<RawClient> far_;
};

// What `line` answers, so many bytes, to what arrived long before it was polled.
std::string answersLate(PolledLine &line, const std::string &hex, size_t count) {
  line.send(fromHex(hex));
  pollfd arrived{line.net.loop.descriptor(), POLLIN, 0};
  EXPECT_EQ(::poll(&arrived, 1, 2000), 1);
  line.net.clock.advance(100'000);
  Bytes answer;
  for (int turns = 0; turns < 2000 && answer.size() < count; ++turns) {
    line.poll();
    const Bytes more = line.read();
    answer.insert(answer.end(), more.begin(), more.end());
    if (answer.size() < count)
      ::poll(&arrived, 1, 1);
  }
  return toHex(answer);
}

TEST(LatePoll, ReadsWhatHasArrivedBeforeItLooksForTimeOuts) {
  const std::string first = "0000060b0001000000090102";
  const std::string last = "0000060b80020000000903";
  for (const bool serial : {true, false}) {
    SCOPED_TRACE(serial ? "serial port" : "connection");
    const std::unique_ptr<PolledLine> line = serial ? std::unique_ptr<PolledLine>(new PolledPort)
                                                    : std::unique_ptr<PolledLine>(new PolledSocket);
    ASSERT_EQ(answersLate(*line, "05", 1), "04");
    ASSERT_EQ(answersLate(*line, blockHex(first), 1), "06") << "T2";
    ASSERT_EQ(answersLate(*line, "05", 1), "04") << "T4";
    ASSERT_EQ(answersLate(*line, blockHex(last), 1), "06");
    ASSERT_EQ(line->sink.take(), Lines{"received 0000060b800200000009010203"});

    ASSERT_TRUE(line->queue(fromHex("00008101000100000007")));
    line->poll();
    const std::string block = blockHex("80008101800100000007");
    ASSERT_EQ(answersLate(*line, "04", 1 + block.size() / 2), "05" + block) << "T2";
    ASSERT_EQ(answersLate(*line, "0605", 1), "04");
    ASSERT_EQ(line->sink.take(), Lines{"sent 80008101800100000007"});
    ASSERT_EQ(answersLate(*line, blockHex("00000102800100000007"), 1), "06") << "T3";
    ASSERT_EQ(line->sink.take(), Lines{"received 00000102800100000007"});
  }
}

} // namespace
} // namespace velto
