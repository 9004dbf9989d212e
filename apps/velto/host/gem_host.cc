#include "apps/velto/host/gem_host.h"

#include "apps/velto/capture/capture_file.h"
#include "apps/velto/console/literal.h"
#include "base/text.h"
#include "gem/capabilities/capability.h"
#include "gem/data/own_model.h"
#include "gem/gem_problem.h"
#include "secs2/sml_printer.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace velto {

namespace {

constexpr size_t kMaxArrivals = 1000;
constexpr size_t kMaxArrivalBytes = size_t{16} * 1024 * 1024; // of all together
constexpr size_t kMostOfAnswer = size_t{1} * 1024 * 1024;     // bytes of SML
constexpr uint32_t kLinkWatch = 100; // ms between looks at the state of the link
constexpr uint32_t kGrace = 1000;    // ms after T3, so that the engine reports its timeout first
constexpr uint32_t kEver = std::numeric_limits<uint32_t>::max(); // T3 begins when a line is free
constexpr const char *kInterrupted = "interrupted";

std::string primaryName(const CHSecsHeader &header) {
  return formatText("S%uF%u", header.stream(), header.function());
}

uint32_t secondsToMs(double seconds) {
  return static_cast<uint32_t>(std::clamp(seconds * 1000, 0.0, 2e9));
}

} // namespace

GemHost::GemHost(EventLoop &loop, GemConsole &console, const Settings &settings)
    : loop_(loop), console_(console), settings_(settings), control_(loop),
      linkWatch_(loop, [this] { watchLink(); }) {
  // The property of the control cannot turn an equipment into a host. The engine can, as nothing is
  // connected yet.
  control_.engine().logical().SetHost(true);
  settings_.partner.apply(control_);
  control_.SetCapabilities(CapabilityVariables); // with any of them it asks before long messages
  control_.SetDeviceID(settings_.device);
  control_.SetEdition(settings_.edition);
  control_.SetT3(settings_.t3);
  control_.SetT5(settings_.t5);
  control_.SetLinktestInterval(settings_.linktest);
  setKnown({});
  console_.follow(control_);
  control_.onReceived = [this](const std::string &, int32_t) { received(); };
  control_.onSent = [this] { sent(); };
  control_.onProblem = [this](int16_t code, const std::string &text) { problem(code, text); };
}

void GemHost::setKnown(GemData &&model) { known() = knownToHost(std::move(model)); }

std::string GemHost::capture(const std::string &path) {
  if (settings_.partner.isSerial() && !path.empty())
    return "--pcap goes with TCP";
  return captureLink(control_.engine().physical().settings(), path,
                     [this](const std::string &problem) { console_.problem(problem); });
}

void GemHost::open() {
  openLink(control_, loop_, console_, settings_.partner);
  linkWatch_.startPeriodic(kLinkWatch);
}

// The link does not report an attempt to connect that fails. But T5 runs after it, so a link that
// is not connected and has a timer running has just failed.
void GemHost::watchLink() {
  if (settings_.partner.listens || settings_.partner.isSerial())
    return; // problems tell of those
  const CHPhysicalConnection &link = control_.engine().physical();
  if (link.State() != LinkState::Down) {
    wasConnected_ = true;
    connectFailed_ = false;
  } else if (!wasConnected_ && !connectFailed_ && link.NextPoll().value_or(0) > 0) {
    connectFailed_ = true;
    console_.problem("cannot connect to " + settings_.partner.partner() +
                     " (refused or not reachable), tries again" + " every " +
                     std::to_string(settings_.t5) + " s");
  }
}

void GemHost::problem(int16_t code, const std::string &text) {
  if (code == ErrorGemHsmsT5Timeout) {
    wasConnected_ = false; // T5 is over: the next attempt to connect begins
    return;
  }
  if (code == ErrorGemHsmsT3Timeout && pending_)
    timedOut_ = true;
  if (code == ErrorGemSecsIRetry && pending_)
    sendFailed_ = true;
  console_.problem(control_, text, code);
}

// Messages ---------------------------------------------------------------------------------------

void GemHost::received() {
  console_.received(control_);
  if (onMessage)
    onMessage(true);
  const CHSecsMessage &message = control_.engine().gem()->slot(CHGem::kReceived).message;
  std::string text = RenderSml(message, control_.engine().gem(), kMostOfAnswer);
  std::erase(text, '\r');
  const CHSecsHeader header = message.header;
  if (isReply(message)) {
    reply_.header = header;
    reply_.root = message.root.clone();
    answer_ = std::move(text);
    replied_ = true;
  } else if (header.sType() == 0 && header.function() % 2 == 1) {
    std::string explained;
    for (const std::string &line : explainPrimary(message, names())) {
      explained += (explained.empty() ? "  " : "\n  ") + line;
      text += line + '\n';
    }
    if (!explained.empty())
      console_.plain(screenText(std::move(explained)));
    arrived({primaryName(header), std::move(text)});
  }
  control_.DefProc();
}

void GemHost::arrived(Arrival arrival) {
  arrivalBytes_ += arrival.text.size();
  arrivals_.push_back(std::move(arrival));
  while (arrivals_.size() > kMaxArrivals || arrivalBytes_ > kMaxArrivalBytes) {
    arrivalBytes_ -= arrivals_.front().text.size();
    arrivals_.pop_front();
  }
}

void GemHost::forgetArrivals() {
  arrivals_.clear();
  arrivalBytes_ = 0;
}

// Whether a message answers the pending request: as its reply, its abort, or an error message about
// it (SEMI E5, stream 9).
bool GemHost::isReply(const CHSecsMessage &message) const {
  const CHSecsHeader &header = message.header;
  if (!pending_ || replied_ || header.sType() != 0)
    return false;
  if (header.stream() != 9)
    return header.systemBytes == pending_->systemBytes && header.stream() == pending_->stream() &&
           header.function() % 2 == 0;
  const CHSecsItem &head = message.root;
  if (head.format() != format::kBinary || head.count() < CHSecsHeader::kSize)
    return false;
  CHSecsHeader about;
  DecodeHeader(about, head.bytes().first<CHSecsHeader::kSize>(), CHSecsHeader::kUnknownLength);
  return about.systemBytes == pending_->systemBytes && about.stream() == pending_->stream() &&
         about.function() == pending_->function();
}

// The engine sets the system bytes when it sends a request, so the header is copied only here.
void GemHost::sent() {
  if (std::exchange(sending_, false))
    pending_ = control_.engine().gem()->sentHeader();
  console_.sent(control_);
  if (onMessage)
    onMessage(false);
}

std::string GemHost::waitForCommunications() {
  const auto ready = [this] {
    return control_.CommunicationState() == CommunicationState::Communicating;
  };
  loop_.runUntil([this, &ready] { return stopped_ || ready(); }, secondsToMs(settings_.t3));
  if (stopped_)
    return kInterrupted;
  return ready() ? ""
                 : "no communications with " + settings_.partner.partner() + " within " +
                       std::to_string(settings_.t3) + " s";
}

std::string GemHost::request(CHSecsMessage &message) {
  answer_.clear();
  if (std::string problem = waitForCommunications(); !problem.empty())
    return problem;
  replied_ = timedOut_ = sendFailed_ = false;
  sending_ = true;
  const bool sent = control_.engine().Send(message);
  sending_ = false;
  const auto request = std::exchange(pending_, std::nullopt);
  if (!sent || !request)
    return "the message could not be sent";
  if (!request->wbit() || request->function() % 2 == 0)
    return "";
  pending_ = request;
  const CHPhysicalConnection &link = control_.engine().physical();
  loop_.runUntil(
      [this, &link] {
        return stopped_ || replied_ || timedOut_ || sendFailed_ || link.State() != LinkState::Ready;
      },
      link.link().sendsLater() ? kEver : secondsToMs(settings_.t3) + kGrace);
  pending_.reset();
  return outcome();
}

std::string GemHost::outcome() {
  if (stopped_)
    return kInterrupted;
  if (replied_)
    return refusal(reply_);
  if (sendFailed_)
    return "the message could not be sent";
  return control_.engine().physical().State() != LinkState::Ready
             ? "the link was lost before an answer came"
             : "no answer within " + std::to_string(settings_.t3) + " s";
}

std::string GemHost::await(std::string_view name, double seconds) {
  const auto found = [this, name] {
    return std::ranges::find_if(
        arrivals_, [name](const Arrival &arrival) { return equalsIgnoreCase(arrival.name, name); });
  };
  loop_.runUntil([this, &found] { return stopped_ || found() != arrivals_.end(); },
                 secondsToMs(seconds));
  if (stopped_)
    return kInterrupted;
  const auto arrival = found();
  if (arrival == arrivals_.end())
    return std::string(name) + " did not come in time";
  for (auto passed = arrivals_.begin(); passed != arrival + 1; ++passed)
    arrivalBytes_ -= passed->text.size();
  answer_ = std::move(arrival->text);
  arrivals_.erase(arrivals_.begin(), arrival + 1);
  return "";
}

std::string GemHost::pause(double seconds) {
  loop_.runUntil([this] { return stopped_; }, secondsToMs(seconds));
  return stopped_ ? kInterrupted : "";
}

void GemHost::showCounters() {
  answer_.clear();
  for (const NamedCounter &counter : namedCounters(control_.counters()))
    if (counter.value != 0)
      say(std::string(counter.name) + ' ' + std::to_string(counter.value));
}

void GemHost::say(const std::string &line) {
  console_.plain("  " + line);
  answer_ += line + '\n';
}

} // namespace velto
