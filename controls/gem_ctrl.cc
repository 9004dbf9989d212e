#include "controls/gem_ctrl.h"

#include "controls/gem_requests.h"
#include "controls/gem_subscriptions.h"
#include "controls/pages/gem_setup.h"
#include "gem/engine/engine.h"
#include "gem/gem_problem.h"
#include "secs2/transaction.h"

#include <algorithm>

namespace velto {

// What the engine reports, raised as events.
class CVeltoGemCtrl::Reports final : public CHGemEventSink {
public:
  explicit Reports(CVeltoGemCtrl &owner) : owner_(owner) {}

  /// The host answers the message that is being handled, or has the model answer it.
  void answering() {
    if (handling_ != nullptr)
      handling_->answered = true;
  }
  bool showsMessage() const { return handling_ != nullptr; }

private:
  // A message, as long as the host is told of it; kept where the model is to answer it behind that.
  struct Handling {
    std::optional<CHGemEngine::Received> message;
    Handling *outer;
    bool answered = false;
  };

  void OnConnected(const std::string &ipAddress, int32_t portNumber) override {
    owner_.onConnected.raise(std::string(ipAddress), portNumber);
  }
  void OnDisconnected(const std::string &ipAddress, int32_t portNumber) override {
    owner_.onDisconnected.raise(std::string(ipAddress), portNumber);
  }
  void OnConnectionStateChanged(int16_t next, int16_t previous) override {
    auto lost = endedBy(static_cast<LinkState>(next) != LinkState::Ready);
    owner_.onConnectionStateChanged.raise(next, previous);
    GemRequests::tell(lost);
  }
  void OnCommunicationStateChanged(int16_t next, int16_t previous) override;
  void OnControlStateChanged(int16_t next, int16_t previous) override {
    owner_.onControlStateChanged.raise(next, previous);
  }
  void OnVariableChanged(int32_t vid) override { owner_.onVIDChanged.raise(vid); }
  void OnRemoteCommand(const std::string &name, const std::string &parameters) override {
    if (!owner_.carryOut(name))
      owner_.onRemoteCommand.raise(std::string(name), std::string(parameters));
  }
  void OnTerminalText(uint8_t tid, const std::string &text) override {
    owner_.onTerminalText.raise(int16_t{tid}, std::string(text));
  }
  void OnProcessProgram(int16_t action, const std::string &ppid) override {
    owner_.onProcessProgram.raise(int16_t{action}, std::string(ppid));
  }
  void OnProblem(const Problem &problem) override;
  void OnFailure(int16_t code, const std::string &text) override {
    owner_.onProblem.raise(int16_t{code}, std::string(text));
  }
  void OnReceived(const std::string &ipAddress, int32_t portNumber) override;
  void OnSent() override;
  void OnRejected(uint32_t systemBytes) override {
    GemRequests::tell(owner_.requests().unanswered(systemBytes, GemOutcome::Rejected));
  }

  std::vector<GemRequests::Ended> endedBy(bool loss) {
    return loss ? owner_.requests().end(GemOutcome::LinkLost) : std::vector<GemRequests::Ended>();
  }
  template <typename Raise> void selected(uint8_t slot, Raise raise);
  template <typename Raise> void shown(bool answers, Raise raise);
  bool restartsCommunications(const CHSecsHeader &header) const;

  CVeltoGemCtrl &owner_;
  Handling *handling_ = nullptr; // the innermost message
};

// A reply time-out also ends the reply that the host may be composing.
void CVeltoGemCtrl::Reports::OnProblem(const Problem &problem) {
  if (problem.code == LinkProblem::T3)
    owner_.selection_.reply = false;
  const int number = gemProblemNumber(problem);
  std::string text = "Error : " + gemErrorText(number);
  if (!problem.text.empty())
    text += ' ' + problem.text;
  std::vector<GemRequests::Ended> ended;
  if (const auto &primary = owner_.engine_->unanswered();
      problem.code == LinkProblem::T3 && primary)
    ended = owner_.requests().unanswered(*primary, GemOutcome::TimedOut);
  owner_.onProblem.raise(static_cast<int16_t>(number), text);
  GemRequests::tell(ended);
}

void CVeltoGemCtrl::Reports::OnCommunicationStateChanged(int16_t next, int16_t previous) {
  auto lost = endedBy(next == CommunicationState::Disabled);
  if (next == CommunicationState::Communicating)
    owner_.subscriptions().established();
  else if (previous == CommunicationState::Communicating)
    owner_.subscriptions().ended();
  owner_.onCommunicationStateChanged.raise(next, previous);
  GemRequests::tell(lost);
}

// During the event the current message is that of `slot`; afterwards the host's choice is back.
template <typename Raise> void CVeltoGemCtrl::Reports::selected(uint8_t slot, Raise raise) {
  const Lifetime::Watch alive(owner_.lifetime());
  const Selection chosen = std::exchange(owner_.selection_, Selection{slot, false});
  raise();
  if (alive)
    owner_.selection_ = chosen;
}

// A reply that somebody asked for is handled by the model in any case: its transaction would run
// into T3. Who asked, and who has subscribed the event, hears of it when all that is done.
void CVeltoGemCtrl::Reports::OnReceived(const std::string &ipAddress, int32_t portNumber) {
  const CHSecsMessage &message = owner_.engine_->gem()->slot(CHGem::kReceived).message;
  auto answered = owner_.requests().answered(message);
  auto event = owner_.subscriptions().read(message);
  const bool restarts = restartsCommunications(message.header);
  const Lifetime::Watch alive(owner_.lifetime());
  shown(owner_.autoReply_ || answered, [&] {
    selected(CHGem::kReceived,
             [&] { owner_.onReceived.raise(std::string(ipAddress), portNumber); });
  });
  if (alive && restarts)
    owner_.subscriptions().established();
  if (alive && event)
    owner_.subscriptions().take(std::move(*event));
  if (answered && answered->handler)
    answered->handler(answered->reply);
}

// An equipment that establishes communications anew may have forgotten what it was told.
bool CVeltoGemCtrl::Reports::restartsCommunications(const CHSecsHeader &header) const {
  constexpr uint8_t kEstablish = 13;
  return header.sType() == 0 && header.stream() == 1 && header.function() == kEstablish &&
         owner_.engine_->GetCommunicationState() == CommunicationState::Communicating;
}

// A message that comes inside the event takes the slot and is answered there; then the outer one is
// in its place again.
template <typename Raise> void CVeltoGemCtrl::Reports::shown(bool answers, Raise raise) {
  const Lifetime::Watch alive(owner_.lifetime());
  Handling handling{answers ? std::optional(owner_.engine_->received()) : std::nullopt, handling_};
  handling_ = &handling;
  raise();
  if (!alive)
    return;
  if (answers && !handling.answered)
    owner_.DefProc();
  if (!alive)
    return;
  handling_ = handling.outer;
  if (handling_ != nullptr && handling_->message)
    owner_.engine_->putBack(*handling_->message);
}

void CVeltoGemCtrl::Reports::OnSent() {
  if (CHGem *gem = owner_.engine_->gem()) {
    const CHSecsHeader &header = gem->sentHeader();
    owner_.requests().sent(header);
    for (Handling *at = handling_; at != nullptr; at = at->outer)
      at->answered =
          at->answered || (at->message && isReply(header, at->message->slot->message.header));
  }
  selected(CHGem::kSent, [this] { owner_.onSent.raise(); });
}

CVeltoGemCtrl::CVeltoGemCtrl(const ControlSite &site)
    : Control(site), GemCtrlRequests(site.loop), reports_(std::make_unique<Reports>(*this)),
      engine_(makeHandle<CHGemEngine>(site.loop, site.files, site.ports)) {
  static_assert(kSlots == CHGem::kSlots);
  engine_->SetIniFileName("./Velto.ini");
  engine_->gem()->SetDataFileName(dataFileName_);
  engine_->SetSink(reports_.get());
}

CVeltoGemCtrl::~CVeltoGemCtrl() { endRequests(); }

bool CVeltoGemCtrl::showsMessage() const { return reports_->showsMessage(); }

void CVeltoGemCtrl::onModified() { engine_->changed(); }

// Methods ----------------------------------------------------------------------------------------

bool CVeltoGemCtrl::DefProc() {
  reports_->answering();
  viewChanged();
  return engine_->DefProc();
}

bool CVeltoGemCtrl::InvokeEvent(int32_t ceid) {
  viewChanged(); // it may be spooled, of which no event tells
  return engine_->InvokeEvent(static_cast<uint32_t>(ceid));
}

bool CVeltoGemCtrl::InvokeAlarm(int32_t alid, int16_t alcd) {
  viewChanged();
  return engine_->InvokeAlarm(static_cast<uint32_t>(alid), static_cast<uint8_t>(alcd));
}

bool CVeltoGemCtrl::WriteLogFile(const std::string &text) { return engine_->WriteLog(text); }

bool CVeltoGemCtrl::Setup(const std::string &caption, int32_t options) {
  GemSetup setup(*this, site().frontEnd, options);
  PropertySheet &sheet = setup.sheet();
  if (sheet.pages.empty())
    return false;
  sheet.title = caption.empty() ? "VeltoGem Setup" : caption;
  if (!showSheet(sheet))
    return false;
  const GemSetup::Applied applied = setup.apply(*this);
  if (applied.changed)
    setModified();
  if (!applied.problem.empty())
    site().frontEnd.showBox(errorBox(applied.problem));
  if (applied.constants)
    constantsChanged();
  return applied.problem.empty();
}

void CVeltoGemCtrl::SetAutoReply(bool on) {
  autoReply_ = on;
  setModified();
}

void CVeltoGemCtrl::SetViewStyle(int16_t style) {
  viewStyle_ = style;
  viewChanged();
}

TreeView CVeltoGemCtrl::view() const {
  if (viewStyle_ < 1 || viewStyle_ > 3)
    return {};
  TreeView view = engine_->status(viewStyle_ - 1);
  if (viewStyle_ != 2)
    addStatistics(view, counters(), connectionCounters());
  return view;
}

LinkCounters CVeltoGemCtrl::counters() const { return engine_->physical().counters(); }

std::vector<ConnectionCounters> CVeltoGemCtrl::connectionCounters() const {
  return engine_->physical().connectionCounters();
}

CHGemEngine &CVeltoGemCtrl::engine() { return *engine_; }

} // namespace velto
