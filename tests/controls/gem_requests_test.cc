// Requests of a Gem control: a primary and its reply in one call.
#include "controls/gem_capabilities.h"

namespace velto {
namespace {

using testing::Contains;
using testing::Not;
using testing::StartsWith;

/// Makes time pass while a call runs the loop: 10 ms each turn, at the tenth of which the test
/// acts.
class Passing {
public:
  Passing(GemLink &link, std::function<void()> act) : link_(link), act_(std::move(act)) { tick(); }
  ~Passing() { *going_ = false; }
  Passing(const Passing &) = delete;
  Passing &operator=(const Passing &) = delete;

private:
  void tick() {
    link_.net.loop.post([this, going = going_] {
      if (!*going)
        return;
      link_.net.clock.advance(10);
      tick();
      if (++turns_ == 10)
        act_();
    });
  }

  GemLink &link_;
  std::function<void()> act_;
  int turns_ = 0;
  std::shared_ptr<bool> going_ = std::make_shared<bool>(true);
};

CHSecsHeader &asked(GemLink &link) {
  return link.equipment.model().slot(CHGem::kReceived).message.header;
}

const struct {
  const char *sml;
  void (*before)(GemLink &link);
  void (*act)(GemLink &link);
  uint32_t limit;
  GemOutcome outcome;
  const char *reason; ///< when answered the value at 1
} kWays[] = {
    {"s1f1", [](GemLink &) {}, [](GemLink &) {}, 0, GemOutcome::Answered, "ETCH-1"},
    {"s1f3w{<u4 2>}", [](GemLink &link) { link.equipment.answers = false; },
     [](GemLink &link) { link.equipment.control->DefProc(); }, 0, GemOutcome::Answered, "7"},
    {"s1f3w{", [](GemLink &) {}, [](GemLink &) {}, 0, GemOutcome::NotSent,
     "SML line 1: parse error at \".\""},
    {"s1f4w{}", [](GemLink &) {}, [](GemLink &) {}, 0, GemOutcome::NotSent,
     "S1F4: it was not sent"},
    {"s1f1w", [](GemLink &link) { link.host.control->SetCommunicationState(1); }, [](GemLink &) {},
     0, GemOutcome::NotSent, "S1F1: it was not sent"},
    {"s1f1w", [](GemLink &link) { link.host.control->SetLogicalConnection(0); }, [](GemLink &) {},
     0, GemOutcome::NotSent, "S1F1: it was not sent"},
    {"s1f3w{}", [](GemLink &link) { link.equipment.control->SetControlState(0); }, [](GemLink &) {},
     0, GemOutcome::Aborted, "S1F3: the partner aborted it"},
    {"s64f1w", [](GemLink &) {}, [](GemLink &) {}, 0, GemOutcome::Refused,
     "S64F1: the partner complains of it"},
    {"s1f1w", [](GemLink &link) { link.equipment.answers = false; }, [](GemLink &) {}, 300,
     GemOutcome::TimedOut, "S1F1: no reply in time"},
    {"s1f1w",
     [](GemLink &link) {
       link.equipment.answers = false;
       link.host.control->SetT3(1);
     },
     [](GemLink &) {}, 0, GemOutcome::TimedOut, "S1F1: no reply in time"},
    {"s1f1w",
     [](GemLink &link) {
       link.equipment.answers = false;
       link.host.control->SetT3(1);
     },
     [](GemLink &link) { link.host.control->SetLogicalConnection(1); }, 0, GemOutcome::TimedOut,
     "S1F1: no reply in time"},
    {"s1f1w", [](GemLink &link) { link.equipment.answers = false; },
     [](GemLink &link) {
       CHSecsHeader reject = asked(link);
       reject.idWord = 0xFFFF;
       reject.streamByte = 0;
       reject.functionByte = 4; // not selected
       reject.setSType(SType::RejectReq);
       Bytes bytes(CHSecsHeader::kSize);
       EncodeHeader(reject, std::span<uint8_t, CHSecsHeader::kSize>(bytes));
       link.equipment.control->engine().SendEncoded(bytes);
     },
     0, GemOutcome::Rejected, "S1F1: the partner rejected it"},
    {"s1f1w", [](GemLink &link) { link.equipment.answers = false; },
     [](GemLink &link) { link.equipment.control->SetPhysicalConnection(false); }, 0,
     GemOutcome::LinkLost, "S1F1: the link was lost"},
    {"s1f1w", [](GemLink &link) { link.equipment.answers = false; },
     [](GemLink &link) { link.host.control->SetPhysicalConnection(false); }, 0,
     GemOutcome::LinkLost, "S1F1: the link was lost"},
    {"s1f1w", [](GemLink &link) { link.equipment.answers = false; },
     [](GemLink &link) { link.host.control->LoadData(); }, 0, GemOutcome::LinkLost,
     "S1F1: the link was lost"},
    {"s1f1w", [](GemLink &link) { link.equipment.answers = false; },
     [](GemLink &link) { link.host.control.reset(); }, 0, GemOutcome::Gone,
     "S1F1: the control is gone"},
};

TEST(GemRequest, EndsOnceInOneOfItsWays) {
  for (const auto &way : kWays)
    for (const bool waits : {true, false}) {
      SCOPED_TRACE(std::string(way.sml) + " " + way.reason + (waits ? ", waiting" : ""));
      GemLink link;
      link.establish();
      way.before(link);
      int ends = 0;
      GemReply got;
      const Passing time(link, [&] { way.act(link); });
      if (waits) {
        got = link.host.control->Request(way.sml, way.limit);
        ++ends;
      } else {
        link.host.control->Request(
            way.sml,
            [&](const GemReply &reply) {
              ++ends;
              got.outcome = reply.outcome;
              got.reason = reply ? reply.Value("1") : reply.reason;
            },
            way.limit);
        EXPECT_EQ(ends, 0) << "never inside the call";
      }
      link.net.until([&] { return ends != 0; });
      for (int i = 0; i < 1000 && !waits; ++i)
        link.net.loop.runOnce(0);
      EXPECT_EQ(ends, 1);
      EXPECT_EQ(got.outcome, way.outcome);
      EXPECT_EQ(waits && got ? got.Value("1") : got.reason, way.reason);
    }
}

class GemRequestPair : public GemPair {
protected:
  void SetUp() override { establish(); }
  int problems() {
    const auto lines = host.take();
    return static_cast<int>(
        std::ranges::count_if(lines, [](const auto &line) { return line.starts_with("Problem"); }));
  }

  CVeltoGemCtrl &control = *host.control;
};

// The reply may be too late for who asked, and not for T3.
TEST_P(GemRequestPair, AReplyIsHandledThoughTheHostLeavesIt) {
  host.answers = false;
  host.messages.clear();
  control.SetT3(2);
  for (const bool late : {false, true}) {
    equipment.answers = !late;
    std::vector<GemOutcome> outcomes;
    control.Request(
        "s1f1w", [&](const GemReply &reply) { outcomes.push_back(reply.outcome); }, 100);
    settle(200);
    if (late)
      equipment.control->DefProc();
    settle(5);
    EXPECT_EQ(outcomes, (std::vector{late ? GemOutcome::TimedOut : GemOutcome::Answered}));
    EXPECT_EQ(std::exchange(host.messages, {}).size(), 1U) << "Received tells of it too";
    net.clock.advance(5000);
    settle();
    EXPECT_EQ(problems(), 0) << "no T3";
  }
}

// The equipment asks while it is told of the host's question, which it answers afterwards; and
// other questions come meanwhile.
TEST_P(GemRequestPair, InsideReceivedTheMessageThereStays) {
  for (const bool automatic : {false, true}) {
    equipment.answers = !automatic;
    equipment.control->SetAutoReply(automatic);
    int inside = 0;
    equipment.onEvent = [&](const std::string &line) {
      if (!line.starts_with("Received S1F3W") || ++inside > 2)
        return;
      if (inside == 1)
        host.send("s1f3w{<u4 1>}");
      EXPECT_EQ(equipment.control->Request("s1f1w").Value(""), "") << "a host has no name";
      EXPECT_EQ(equipment.slot(CHGem::kReceived).substr(0, 5), "S1F3W");
    };
    host.messages.clear();
    EXPECT_EQ(host.send("s1f3w{<u4 2>}"), true);
    settle(20);
    std::erase(host.messages, "S1F1W");
    EXPECT_THAT(host.messages, testing::UnorderedElementsAre("S1F4 { <u4 7> }", "S1F4 { <u1 4> }"))
        << automatic;
  }
}

// What the host answers there is not what the model is to handle.
TEST_P(GemRequestPair, OtherMessagesMayComeInsideTheReply) {
  host.answers = false;
  control.SetT3(2);
  equipment.control->SetT3(2);
  host.onEvent = [this](const std::string &line) {
    if (line == "Received S1F1W")
      control.DefProc();
    if (line != "Received S1F2")
      return;
    equipment.send("s1f1w");
    settle(2);
  };
  std::string told;
  control.Request("s1f1w", [&told](const GemReply &reply) { told = reply.Value("1"); });
  settle(20);
  net.clock.advance(5000);
  settle();
  EXPECT_EQ(told, "ETCH-1");
  EXPECT_EQ(problems(), 0);
  EXPECT_THAT(equipment.take(), Not(Contains(StartsWith("Problem"))));
}

TEST_P(GemRequestPair, HandlersMayDoAnything) {
  std::vector<std::string> told;
  const auto note = [&told](const GemReply &reply) {
    told.push_back(reply ? reply.Value("1") : reply.reason);
  };
  control.Request("s1f1w", [&](const GemReply &reply) {
    note(reply);
    control.Request("s1f3w{<u4 2>}", note);
    EXPECT_EQ(control.Request("s1f3w{<u4 1>}").Value("1"), "4");
  });
  settle();
  EXPECT_THAT(told, testing::ElementsAre("ETCH-1", "7"));
  told.clear();
  equipment.answers = false;
  control.Request("s1f1w", [&](const GemReply &reply) {
    note(reply);
    host.control.reset();
  });
  control.Request("s1f3w{<u4 2>}", note);
  settle();
  equipment.control->SetPhysicalConnection(false);
  settle();
  EXPECT_THAT(told, testing::ElementsAre("S1F1: the link was lost", "S1F3: the link was lost"));
}

// What came is told though the control went while it was shown.
TEST_P(GemRequestPair, TheControlMayGoInsideReceivedAndSent) {
  for (const std::string event : {"Received S1F2", "Sent S1F1W"}) {
    GemLink link;
    link.establish();
    link.host.onEvent = [&](const std::string &line) {
      if (line == event)
        link.host.control.reset();
    };
    const GemReply reply = link.host.control->Request("s1f1w");
    EXPECT_EQ(reply.outcome, event == "Sent S1F1W" ? GemOutcome::Gone : GemOutcome::Answered);
    EXPECT_EQ(link.host.control, nullptr);
  }
}

TEST_P(GemCapabilitiesTest, TheSpoolMayTakeARequest) {
  establish();
  ask("s2f43w{{<u1 6>{}}}");
  leave();
  const Passing time(*this, [] {});
  EXPECT_EQ(equipment.control->Request("s6f11{<u4 1><u4 7>{}}").outcome, GemOutcome::Spooled);
  EXPECT_EQ(equipment.control->SpoolCount(), 1);
}

TEST_P(GemRequestPair, PrimariesMayBeMessages) {
  CHSecsMessage primary;
  primary.SetFromSml("s1f3w{<u4 2>}");
  primary.header.systemBytes = 5;
  EXPECT_EQ(control.Request(primary).Value("1"), "7");
  EXPECT_EQ(control.Request(primary).Value("1"), "7") << "each has system bytes of its own";
  primary.header.setStream(200);
  primary.header.noteFit(HeaderField::Stream, false);
  const Passing time(*this, [] {});
  EXPECT_EQ(control.Request(primary).outcome, GemOutcome::NotSent);
  EXPECT_THAT(equipment.messages, Not(Contains(StartsWith("S72"))));
}

// While a request waits, the time of these tests stands still, and a line needs it to send.
INSTANTIATE_TEST_SUITE_P(Over, GemRequestPair, testing::Values(LinkProtocol::Hsms), linkName);

} // namespace
} // namespace velto
