#include "apps/gateway/tool.h"

#include "base/text.h"
#include "gem/data/own_model.h"
#include "gem/engine/engine.h"
#include "gem/gem_problem.h"
#include "gem/messages/items.h"

#include <algorithm>
#include <utility>

namespace velto::gateway {

namespace {

/// Primaries whose answer waits until they are safe.
constexpr struct {
  uint8_t stream;
  uint8_t function;
  std::optional<Publication> (Payloads::*alarmOrTrace)(const CHSecsMessage &, uint64_t) const;
} kKept[] = {
    {6, 11, nullptr}, {6, 13, nullptr}, {5, 1, &Payloads::alarm}, {6, 1, &Payloads::trace}};

/// Primaries with data for the host that is not published: discrete variables without a report, and
/// text of the tool's operator. They are not acknowledged as if somebody had them.
constexpr std::pair<uint8_t, uint8_t> kNotTaken[] = {{6, 3}, {6, 9}, {10, 1}};

constexpr uint8_t kAccepted = 0; // ACKC5, ACKC6
constexpr uint8_t kRefused = 1;  // ACKC6: error, not accepted; ACKC10: it will not be displayed

} // namespace

Tool::Tool(EventLoop &loop, const OutConfig &out, Delivery &delivery, ToolConfig config,
           std::function<void(const std::string &text)> told)
    : loop_(loop), out_(out), delivery_(delivery), config_(std::move(config)),
      told_(std::move(told)), payloads_(out_, config_, loop.clock()), control_(loop),
      session_(loop, control_, payloads_,
               {.problem = [this](const std::string &text) { told_(name() + ": " + text); },
                .ready = [this] { ready(); },
                .online =
                    [this](bool online) {
                      online_ = online;
                      stateChanged();
                    }}),
      requests_(control_, out_, config_, payloads_, delivery_, loop.clock()) {
  // The property of the control cannot turn an equipment into a host. The engine can, as nothing is
  // connected yet.
  control_.engine().logical().SetHost(true);
  config_.address.apply(control_);
  control_.SetCapabilities(CapabilityVariables); // with any of them it asks before long messages
  const LinkConfig &link = config_.link;
  control_.SetDeviceID(link.device);
  control_.SetEdition(static_cast<int16_t>(link.edition));
  control_.SetT3(link.t3);
  control_.SetT5(link.t5);
  control_.SetT6(link.t6);
  control_.SetT7(link.t7);
  control_.SetLinktestInterval(link.linktest);
  control_.engine().SetModel(knownToHost({}));
  control_.onReceived = [this](const std::string &, int32_t) { received(); };
  control_.onCommunicationStateChanged = [this](int16_t next, int16_t) {
    if (next == CommunicationState::Communicating)
      startSession();
    else
      session_.stop();
    stateChanged();
  };
  control_.onConnectionStateChanged = [this](int16_t next, int16_t) {
    ++*connection_;
    link_ = static_cast<LinkState>(next);
    if (link_ != LinkState::Ready)
      session_.stop();
    stateChanged();
  };
  control_.onProblem = [this](int16_t code, const std::string &text) {
    if (code != ErrorGemHsmsT5Timeout) // the tool is not there, which its state says
      told_(name() + ": " + text);
  };
}

void Tool::open() {
  stateChanged();
  control_.SetPhysicalConnection(true);
}

void Tool::close() {
  session_.stop();
  requests_.close();
  delivery_.setState(payloads_.state("disconnected", ""), true);
  control_.onConnectionStateChanged = nullptr;
  control_.onCommunicationStateChanged = nullptr;
  separate(control_, loop_);
}

bool Tool::change(const ToolConfig &config) {
  if (config.link != config_.link)
    return false;
  session_.stop();
  polls_.clear();
  config_ = config;
  if (communicates())
    startSession();
  return true;
}

void Tool::released() {
  if (communicates() && session_.running() && config_.subscription.spooled)
    session_.askForSpooled();
}

void Tool::request(const std::string &id, const std::string &payload) {
  requests_.take(id, payload, communicates() && online_);
}

// Messages ---------------------------------------------------------------------------------------

// What is not to be kept, or not as the standard has it, is answered by the model.
void Tool::received() {
  const CHSecsVerifier &slot = control_.engine().gem()->slot(CHGem::kReceived);
  const CHSecsHeader header = slot.message.header;
  const bool good = slot.result == VerificationCorrect || slot.result == VerificationNoWBit ||
                    slot.result == VerificationWBit;
  if (header.sType() == 0 && good && communicates() && take(slot.message))
    return;
  const bool restarts =
      header.sType() == 0 && header.stream() == 1 && header.function() == 13 && communicates();
  const auto connection = connection_;
  const uint32_t before = *connection;
  control_.DefProc();
  // An equipment that establishes communications anew may have forgotten what it was told.
  if (restarts && *connection == before && communicates())
    startSession();
}

// True when the message is published, or left with the tool.
bool Tool::take(const CHSecsMessage &message) {
  for (const auto &row : kKept) {
    if (message.header.stream() != row.stream || message.header.function() != row.function)
      continue;
    const auto sequence = delivery_.nextSequence(name());
    if (!sequence)
      return true;
    auto made = row.alarmOrTrace == nullptr
                    ? payloads_.event(message, session_.reports(), *sequence)
                    : (payloads_.*row.alarmOrTrace)(message, *sequence);
    if (!made) {
      delivery_.giveBackSequence(name());
      return refuse(message.header);
    }
    delivery_.post(std::move(*made), answerTo(message.header, kAccepted));
    return true;
  }
  const std::pair both(message.header.stream(), message.header.function());
  return std::ranges::find(kNotTaken, both) != std::end(kNotTaken) && refuse(message.header);
}

bool Tool::refuse(const CHSecsHeader &primary) {
  if (const auto answer = answerTo(primary, kRefused))
    answer();
  return true;
}

// Nothing when the tool has another link by then, on which nobody waits for it.
Delivery::Acknowledge Tool::answerTo(const CHSecsHeader &primary, uint8_t code) {
  if (!primary.wbit())
    return nullptr;
  return [this, primary, code, connection = std::weak_ptr(connection_), number = *connection_] {
    const auto there = connection.lock();
    if (there == nullptr || *there != number)
      return;
    CHSecsMessage reply;
    reply.header = primary;
    reply.header.setWbit(false);
    reply.header.functionByte = static_cast<uint8_t>(primary.function() + 1);
    reply.header.length = CHSecsHeader::kUnknownLength;
    reply.root = numberItem(code, format::kBinary);
    control_.engine().Send(reply);
  };
}

// State ------------------------------------------------------------------------------------------

void Tool::stateChanged() {
  const std::string state = communicates()             ? "communicating"
                            : link_ != LinkState::Down ? "connected"
                                                       : "disconnected";
  const std::string control = !communicates() ? "" : online_ ? "online" : "offline";
  const std::string both = state + ' ' + control;
  if (std::exchange(state_, both) != both)
    delivery_.setState(payloads_.state(state, control));
}

void Tool::startSession() { session_.start(config_.subscription, !delivery_.holds()); }

void Tool::ready() {
  polls_.clear();
  const auto &wishes = config_.subscription.polls;
  for (size_t i = 0; i < wishes.size(); ++i) {
    polls_.emplace_back(loop_, [this, i] { poll(i); });
    polls_.back().timer.startPeriodic(static_cast<uint32_t>(wishes[i].every * 1000));
  }
}

// S1F3; one that is not answered yet is not asked again.
void Tool::poll(size_t index) {
  const auto at = std::next(polls_.begin(), static_cast<ptrdiff_t>(index));
  if (at->asked || !communicates() || delivery_.holds())
    return;
  at->asked = true;
  const PollWish wish = config_.subscription.polls[index];
  std::string sml = "s1f3w{";
  for (const uint32_t vid : wish.vids)
    sml += formatText("<u4 %u>", vid);
  control_.Request(sml + '}', [this, index, wish](const GemReply &reply) {
    if (reply.outcome == GemOutcome::Gone)
      return;
    if (index < polls_.size())
      std::next(polls_.begin(), static_cast<ptrdiff_t>(index))->asked = false;
    if (!reply)
      return;
    if (const auto sequence = delivery_.nextSequence(name()))
      delivery_.post(payloads_.values(wish, reply.message.root, *sequence), nullptr);
  });
}

} // namespace velto::gateway
