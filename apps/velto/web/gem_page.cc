#include "apps/velto/web/gem_page.h"

#include "apps/velto/console/gem_console.h"
#include "base/date_time.h"
#include "base/text.h"
#include "gem/capabilities/capabilities.h"
#include "gem/engine/engine.h"
#include "transport/hsms/hsms_engine.h"

#include <chrono>

namespace velto {

namespace {

constexpr size_t kLongestCell = 2000;
constexpr size_t kSmlBehindCut = 64; // bytes at least that a cut SML has of its limit

uint64_t steadyMicros() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

template <typename States> WebStates statesOf(const char *name, size_t present) {
  return {name, {States::kNames.begin(), States::kNames.end()}, stateName<States>(present)};
}

std::string spoolState(CHGemSpool::State state) {
  switch (state) {
  case CHGemSpool::Active:
    return "Active";
  case CHGemSpool::Full:
    return "Full";
  case CHGemSpool::Transmitting:
    return "Transmitting";
  default:
    return "Inactive";
  }
}

WebStates linkStates(const CHPhysicalConnection &link) {
  WebStates states{"Link", {}, link.link().stateText()};
  if (link.isHsms())
    for (const LinkState state : {LinkState::Down, LinkState::Up, LinkState::Ready})
      states.states.emplace_back(hsmsStateText(state));
  else
    states.states = {"Not Connected", states.present == "Open" ? "Open" : "Connected"};
  return states;
}

} // namespace

std::string hexDump(ByteView bytes) {
  std::string text;
  for (size_t i = 0; i < bytes.size() && text.size() < WebFeed::kMostText; ++i)
    text += formatText(i == 0 ? "%02x" : i % 16 == 0 ? "\n%02x" : " %02x", bytes[i]);
  return text;
}

std::string webCell(std::string_view text) { return std::string(text.substr(0, kLongestCell)); }

// A message costs its SML only when it is shown.
void GemPage::message(bool received) {
  CHGem *gem = control_.engine().gem();
  if (gem == nullptr)
    return;
  const CHSecsHeader header =
      received ? gem->slot(CHGem::kReceived).message.header : gem->sentHeader();
  times_.take(header, received, steadyMicros());
  ++messages_[received ? 1 : 0];
  events_ += header.stream() == 6 && (header.function() == 11 || header.function() == 13) ? 1 : 0;
  alarms_ += header.stream() == 5 && header.function() == 1 ? 1 : 0;
  if (!feed_.takes())
    return;
  std::string sml = messageSml(control_, received, WebFeed::kMostText);
  std::erase(sml, '\r');
  Bytes bytes;
  if (sml.size() + kSmlBehindCut < WebFeed::kMostText)
    control_.MsgBytes(bytes);
  feed_.add({0, CJTime(clock_.localTime()).TimeText(0), received ? "in" : "out",
             messageTitle(control_, sml), std::move(sml), hexDump(bytes)});
}

void GemPage::event(std::string_view name, const std::string &text) {
  if (name == "disconnected")
    times_.forgetOpen();
  const bool isProblem = name == "problem";
  if (feed_.takes(isProblem))
    feed_.add(
        {0, CJTime(clock_.localTime()).TimeText(0), isProblem ? "problem" : "event", text, {}, {}});
}

void addGemStates(WebSnapshot &snapshot, CVeltoGemCtrl &control, const std::string &prefix) {
  const auto add = [&snapshot, &prefix](WebStates states) {
    states.name.insert(0, prefix);
    snapshot.states.push_back(std::move(states));
  };
  CHGem *gem = control.engine().gem();
  add(linkStates(control.engine().physical()));
  if (gem == nullptr)
    return;
  add(statesOf<CommunicationState>("Communication", gem->communication().State()));
  if (control.Host())
    return;
  add(statesOf<ControlState>("Control", gem->control().GetState()));
  add(statesOf<ProcessingState>("Processing", gem->processing().State()));
  CHGemSpool &spool = gem->capabilities().spool();
  add({"Spool", {"Inactive", "Active", "Full", "Transmitting"}, spoolState(spool.state())});
}

void GemPage::addCounters(WebSnapshot &snapshot) const {
  snapshot.activity = {{"Messages in", messages_[1]},
                       {"Messages out", messages_[0]},
                       {"Event reports", events_},
                       {"Alarm reports", alarms_}};
  const auto counters = namedCounters(control_.counters());
  const size_t problems = counters.size() - kLinkProblems;
  for (size_t i = 0; i < counters.size(); ++i) {
    auto &part = i < problems ? snapshot.counters : snapshot.problems;
    part.push_back(
        {std::string(counters[i].name), counters[i].value, counters[i].name == "QueuePeak"});
  }
}

void GemPage::addTo(WebSnapshot &snapshot) {
  const CHPhysicalConnection &link = control_.engine().physical();
  const int32_t port = link.LocalPort();
  snapshot.place = port > 0 ? "port " + std::to_string(port) : link.link().protocolName();
  addGemStates(snapshot, control_);
  addCounters(snapshot);
  const bool isHost = control_.Host();
  if (CHGem *gem = control_.engine().gem(); gem != nullptr && !isHost)
    snapshot.gauges.push_back({"Messages spooled", gem->capabilities().spool().count(), true});
  snapshot.replies = {times_.own(), times_.partner()};
  snapshot.replies[0].name = isHost ? "host" : "equipment";
  snapshot.replies[1].name = isHost ? "equipment" : "host";
}

} // namespace velto
