#include "gem/engine/logical_connection.h"

#include "secs2/support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velto {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Keeps the system bytes of the primaries whose replies did not come.
class Timeouts final : public LogicalConnectionOwner {
public:
  explicit Timeouts(uint32_t ticks) : time(ticks) {}
  bool transmit(CHSecsMessage &) override { return false; }
  void reportReplyTimeout(const CHSecsHeader &primary) override {
    expired.push_back(primary.systemBytes);
  }
  bool sendsLater() const override { return line; }
  bool replyArrives(const CHSecsHeader &primary) const override {
    return primary.systemBytes == arriving;
  }
  void reportCommunicationState(uint8_t, uint8_t) override {}
  void reportControlState(uint8_t, uint8_t) override {}
  void reportVariable(uint32_t) override {}
  Clock &clock() const override { return time; }
  FileSystem &files() const override { return systemFiles(); }

  mutable ManualClock time;
  std::vector<uint32_t> expired;
  bool line = false;     ///< messages wait for a line
  uint32_t arriving = 0; ///< the system bytes of a reply that has begun to arrive
};

CHSecsMessage message(const char *sml, uint32_t systemBytes) {
  CHSecsMessage made = fromSml(sml);
  made.header.systemBytes = systemBytes;
  return made;
}

TEST(LogicalConnection, EndsTheTransactionThatAMessageAnswers) {
  static const struct {
    const char *sml;
    uint32_t systemBytes;
    bool ends; ///< the transaction of S6F11 with the system bytes 7
  } kCases[] = {
      {"s6f12<b 0>", 7, true},
      {"s6f12<b 0>", 8, false},
      {"s6f0", 7, true},
      {"s6f10<b 0>", 7, false},
      {"s5f12", 7, false},
      {"s6f11w{<u4 1><u4 2>{}}", 7, false}, // the partner's own, not an answer
      // Stream 9 names the message that it complains of; its own header says nothing.
      {"s9f7<b 0 0 0x86 11 0 0 0 0 0 7>", 99, true},
      {"s9f9<b 0 5 6 11 0 0 0 0 0 7>", 99, true},
      {"s9f7<b 0 0 0x86 13 0 0 0 0 0 7>", 7, false},
      {"s9f7<b 0 0 0x85 11 0 0 0 0 0 7>", 7, false},
      {"s9f7<b 0 0 0x86 11 0 0 0 0 0 8>", 7, false},
      {"s9f7<b 0 0 0x86 11 0 0 0 0 0>", 7, false},
      {"s9f7<b>", 7, false},
      {"s9f13{<a'x'><u4 7>}", 7, false},
  };
  Timeouts owner(1000);
  for (const auto &row : kCases) {
    CHLogicalConnection connection(owner, "");
    connection.OnSent(message("s6f11w{<u4 1><u4 2>{}}", 7).header, {});
    CHSecsVerifier slot;
    const CHSecsMessage received = message(row.sml, row.systemBytes);
    slot.message.header = received.header;
    slot.message.root = received.root.clone();
    connection.OnReceive(slot);
    EXPECT_EQ(connection.OpenTransactionCount(), row.ends ? 0U : 1U) << row.sml;
  }
}

TEST(LogicalConnection, WaitsForRepliesOfPrimariesWithTheWBitOnly) {
  Timeouts owner(1000);
  CHLogicalConnection connection(owner, "");
  for (const char *sml : {"s6f11{}", "s6f12w<b 0>", "s9f7<b>", "LinktestReq"})
    connection.OnSent(message(sml, 1).header, {});
  EXPECT_EQ(connection.OpenTransactionCount(), 0U);
  EXPECT_EQ(connection.NextTick(), std::nullopt);
}

TEST(LogicalConnection, TimesOutOneTransactionATickInTheOrderTheyWereSent) {
  for (const uint32_t start : {1000U, 0xFFFFFF00U}) { // also across the wrap of the ticks
    SCOPED_TRACE(start);
    Timeouts owner(start);
    CHLogicalConnection connection(owner, "");
    connection.SetT3(500);
    for (const uint32_t systemBytes : {1U, 2U, 3U})
      connection.OnSent(message("s6f11w{}", systemBytes).header, {});
    owner.time.advance(500);
    connection.Tick();
    EXPECT_THAT(owner.expired, IsEmpty()) << "T3 has not passed yet";
    EXPECT_EQ(connection.NextTick(), 1U);
    owner.time.advance(1);
    connection.Tick();
    EXPECT_THAT(owner.expired, ElementsAre(1));
    EXPECT_EQ(connection.NextTick(), 0U);
    connection.Tick();
    EXPECT_THAT(owner.expired, ElementsAre(1, 2));
    connection.SetT3(1000); // counts at once
    connection.Tick();
    EXPECT_THAT(owner.expired, ElementsAre(1, 2));
    EXPECT_EQ(connection.NextTick(), 500U);
  }
}

TEST(LogicalConnection, TheTimeForAReplyBeginsWhenTheLineHasTakenThePrimary) {
  Timeouts owner(1000);
  owner.line = true;
  CHLogicalConnection connection(owner, "");
  connection.SetT3(500);
  for (const uint32_t systemBytes : {1U, 2U, 3U})
    connection.OnSent(message("s6f11w{}", systemBytes).header, {});
  const auto pass = [&](uint32_t ms) {
    owner.time.advance(ms);
    connection.Tick();
  };
  pass(10'000);
  EXPECT_THAT(owner.expired, IsEmpty()) << "all wait";
  EXPECT_EQ(connection.NextTick(), std::nullopt);
  connection.OnTransmitted(1);
  pass(300);
  connection.OnTransmitted(2);
  EXPECT_EQ(connection.NextTick(), 201U);
  owner.arriving = 1;
  pass(501);
  EXPECT_THAT(owner.expired, ElementsAre(2)) << "the reply to the first one has begun to arrive";
  owner.arriving = 0;
  pass(0);
  EXPECT_THAT(owner.expired, ElementsAre(2, 1));
  connection.OnSendFailed(message("s6f11w{}", 3));
  EXPECT_EQ(connection.OpenTransactionCount(), 0U);
}

} // namespace
} // namespace velto
