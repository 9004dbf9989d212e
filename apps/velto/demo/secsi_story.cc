#include "apps/velto/demo/secsi_story.h"

#include "apps/velto/demo/demo_end.h"
#include "apps/velto/demo/line_monitor.h"
#include "base/text.h"
#include "controls/secsi_ctrl.h"
#include "platform/null_modem.h"
#include "transport/secsi/block.h"

#include <algorithm>
#include <iostream>
#include <vector>

namespace velto {

namespace {

constexpr int kStepTurns = 5000; // how many turns of the loop, of up to 1 ms each, a step may take
constexpr int kReports = 72;

constexpr const char *kEvent = "s6f11w{<u4 0><u4 12>{{<u4 10>{<a'LOT-0042'><f4 19.75>}}}}";
constexpr const char *kStatus = "s1f4{<a'OXIDE-ETCH'>}";
constexpr const char *kAlarm = "s5f1w{<b 0x84><u4 3001><a'Chamber pressure drifting'>}";

// S2F33 that defines many reports of three variables each.
std::string defineReports() {
  std::string sml = "s2f33w{<u4 1>{";
  for (int report = 1; report <= kReports; ++report)
    sml += formatText("{<u4 %d>{<u4 101><u4 102><u4 %d>}}", report, 1000 + report);
  return sml + "}}";
}

int bodyLength(const std::string &sml) {
  CHSecsMessage message;
  message.SetFromSml(sml);
  return static_cast<int>(message.GetMsg().size() / 2 - CHSecsHeader::kSize);
}

// The story runs on a manual clock, which moves on only in turns of the loop where nothing happens.
// So a busy machine never causes a timeout.
class SecsIStory {
public:
  SecsIStory() {
    ports_.map(1, modem_.a().path());
    ports_.map(2, modem_.b().path());
    modem_.onBytes = [this](const PseudoTerminal &from, ByteView bytes) {
      line_.see(&from == &modem_.a() ? 0 : 1, bytes);
    };
    join(equipmentLink_, equipment_);
    join(hostLink_, host_);
  }

  bool tell() {
    const bool complete = connect() &&
                          exchange("Are you there?", "s1f1w", "s1f2{<a'ETCH-1'><a'1.00'>}") &&
                          sendSeveralBlocks() && contend() && missReply();
    std::cout << (complete ? "\nThe exchange is complete.\n" : "\nThe exchange FAILED.\n");
    return complete;
  }

private:
  void join(CVeltoSecsICtrl &link, DemoEnd &end) {
    link.onReceived = [&end](const std::string &hex) { end.receive(hex); };
    link.onSent = [this](const std::string &) { --onTheirWay_; };
    link.onProblem = [&end](int16_t code, const std::string &text) { end.problem(code, text); };
  }
  DemoEnd::Link through(CVeltoSecsICtrl &link) {
    return {false,
            [this, &link](const std::string &hex) {
              ++onTheirWay_;
              return link.Send(hex);
            },
            [this](const std::function<bool()> &done) { return wait(done); }};
  }

  // Waits for a condition, and until all messages sent have been acknowledged.
  bool wait(const std::function<bool()> &done) {
    for (int turn = 0; turn < kStepTurns && !(done() && onTheirWay_ == 0); ++turn)
      if (!loop_.runOnce(1))
        clock_.advance(1);
    transfers_ = line_.take();
    for (const std::string &transfer : transfers_)
      std::cout << "              " << transfer << '\n';
    return done();
  }

  bool connect() {
    std::cout << "== Connect\n";
    hostLink_.SetPortNumber(1);
    hostLink_.SetMaster(false);
    equipmentLink_.SetConnect(true);
    hostLink_.SetConnect(true);
    if (!equipmentLink_.Connect() || !hostLink_.Connect())
      return host_.fail("no serial line");
    std::cout << "The equipment, the master, is at COM1 (" << modem_.a().path()
              << "); the host, the slave, is at COM2 (" << modem_.b().path() << ").\n";
    return true;
  }

  bool exchange(const char *title, const std::string &request, const std::string &reply) {
    std::cout << "\n== " << title << '\n';
    return host_.send(request) && equipment_.expect(request) && equipment_.reply(reply) &&
           host_.expect(reply);
  }

  // The host inquires first whether it may send, as SEMI E5 demands for messages of several blocks.
  bool sendSeveralBlocks() {
    const std::string message = defineReports();
    const std::string inquiry = formatText("s2f39w{<u4 1><u4 %d>}", bodyLength(message));
    if (!exchange("May a message of several blocks come?", inquiry, "s2f40<b 0>"))
      return false;
    std::cout << "\n== Reports are defined, by a message of several blocks\n";
    if (!host_.send(message) || !equipment_.expect(message))
      return false;
    std::vector<std::string> blocks;
    constexpr int kMost = kBlockData;
    for (int left = bodyLength(message), number = 1; left > 0; left -= kMost, ++number)
      blocks.push_back(formatText(
          "host ENQ, equipment EOT, host %sblock %d (%d bytes), equipment ACK",
          left > kMost ? "" : "last ", number, std::min(left, kMost) + int{CHSecsHeader::kSize}));
    if (transfers_ != blocks)
      return host_.fail("the blocks are not those of the message");
    return equipment_.reply("s2f34<b 0>") && host_.expect("s2f34<b 0>");
  }

  // Both request the line at the same time: the slave gives way and sends later (SEMI E4 7.5).
  bool contend() {
    std::cout << "\n== Both send at once: the master goes first\n";
    if (!host_.send("s1f3w{<u4 5>}") || !equipment_.send(kEvent) || !host_.expect(kEvent))
      return false;
    const bool masterFirst =
        transfers_.size() == 2 &&
        transfers_[0].find("host EOT, equipment last block") != std::string::npos &&
        transfers_[0].find("host ENQ") != std::string::npos &&
        transfers_[1].starts_with("host ENQ, equipment EOT, host last block");
    if (!masterFirst)
      return host_.fail("there was no contention");
    return host_.reply("s6f12<b 0>") && equipment_.expect("s1f3w{<u4 5>}") &&
           equipment_.reply(kStatus) && equipment_.expect("s6f12<b 0>") && host_.expect(kStatus);
  }

  bool missReply() {
    std::cout << "\n== A reply does not come\n";
    if (!equipment_.send(kAlarm) || !host_.expect(kAlarm))
      return false;
    clock_.advance(static_cast<uint32_t>(equipmentLink_.T3()));
    return equipment_.expectProblem(ErrorSecsT3, "no reply to");
  }

  ManualClock clock_;
  EventLoop loop_{clock_};
  NullModem modem_{loop_};
  LineMonitor line_{"equipment", "host"};
  std::vector<std::string> transfers_; // the transfers seen by the last wait
  int onTheirWay_ = 0;                 // messages sent and not yet acknowledged
  SerialPorts ports_;
  ControlSite site_{loop_, headlessFrontEnd(), systemFiles(), ports_};
  CVeltoSecsICtrl equipmentLink_{site_};
  CVeltoSecsICtrl hostLink_{site_};
  DemoEnd equipment_{clock_, "equipment", "host", through(equipmentLink_)};
  DemoEnd host_{clock_, "host", "equipment", through(hostLink_)};
};

} // namespace

bool tellSecsIStory() { return SecsIStory().tell(); }

} // namespace velto
