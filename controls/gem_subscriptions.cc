#include "controls/gem_subscriptions.h"

#include "base/text.h"
#include "controls/gem_requests.h"
#include "gem/engine/engine.h"
#include "gem/messages/items.h"

#include <algorithm>
#include <set>
#include <utility>

namespace velto {

namespace {

constexpr uint32_t kFirstReport = 900'001;
constexpr uint32_t kRetryAfter = 10'000; // ms; an equipment that is off-line aborts everything
constexpr size_t kMostWaiting = 10'000;  // events that wait for names

std::string idItems(const std::vector<uint32_t> &numbers) {
  std::string items;
  for (const uint32_t number : numbers)
    items += formatText("<u4 %u>", number);
  return items;
}

} // namespace

GemSubscriptions::GemSubscriptions(EventLoop &loop, GemRequests &requests,
                                   std::function<CHGemEngine &()> engine)
    : loop_(loop), requests_(requests), engine_(std::move(engine)),
      timer_(loop, [this] { work(); }) {}

int32_t GemSubscriptions::add(uint32_t ceid, std::vector<uint32_t> vids, Handler handler) {
  const int32_t number = ++count_;
  const uint32_t rptid = kFirstReport + static_cast<uint32_t>(number) - 1;
  subscriptions_.push_back(std::make_shared<Subscription>(
      Subscription{number, ceid, rptid, std::move(vids), std::move(handler)}));
  plan(ceid);
  start();
  return number;
}

bool GemSubscriptions::remove(int32_t number) {
  const auto found =
      std::ranges::find(subscriptions_, number, [](const auto &one) { return one->number; });
  if (found == subscriptions_.end())
    return false;
  const auto removed = *found;
  subscriptions_.erase(found);
  removed->active = false;
  if (!removed->vids.empty())
    gone_.emplace(removed->ceid, removed->rptid);
  plan(removed->ceid);
  start();
  return true;
}

// What the equipment is asked to do --------------------------------------------------------------

void GemSubscriptions::established() {
  endSession();
  planAll();
  start();
}

void GemSubscriptions::ended() {
  endSession();
  start(); // events do not wait any longer
}

void GemSubscriptions::endSession() {
  ++session_;
  asked_.reset();
  work_.clear();
  again_ = false;
}

void GemSubscriptions::planAll() {
  std::set<uint32_t> ceids;
  for (const auto &[ceid, rptid] : gone_)
    ceids.insert(ceid);
  for (const auto &one : subscriptions_)
    ceids.insert(one->ceid);
  for (const uint32_t ceid : ceids)
    plan(ceid);
}

void GemSubscriptions::plan(uint32_t ceid) {
  std::erase_if(work_,
                [ceid](const Work &planned) { return asksNames(planned) || planned.ceid == ceid; });
  for (const Step step : {Step::ConstantNames, Step::DataNames, Step::StatusNames})
    work_.push_front({step, 0});
  for (const Step step : {Step::Unlink, Step::Delete, Step::Define, Step::Link, Step::Enable})
    work_.push_back({step, ceid});
}

// In a turn of its own: inside Subscribe(), and in the report of a state, nothing is sent yet.
void GemSubscriptions::start() { timer_.start(1); }

bool GemSubscriptions::mayWork() const {
  return !closed_ && engine().gem() != nullptr && engine().logical().Host() &&
         engine().GetCommunicationState() == CommunicationState::Communicating;
}

void GemSubscriptions::work() {
  const auto self = shared_from_this();
  if (asked_)
    return;
  if (std::exchange(again_, false) && mayWork())
    planAll();
  while (mayWork() && !work_.empty()) {
    const Work next = work_.front();
    work_.pop_front();
    const std::string sml = messageOf(next);
    if (sml.empty())
      continue;
    CHSecsMessage message;
    message.SetFromSml(sml);
    asked_ = next;
    requests_.Send(engine(), std::move(message), "", 0,
                   [weak = weak_from_this(), next, session = session_](const GemReply &reply) {
                     const auto there = weak.lock();
                     if (there != nullptr && there->session_ == session && !there->closed_)
                       there->answered(next, reply);
                   });
    return;
  }
  tellWaiting();
}

// The SML of a step; empty when it has nothing to do.
std::string GemSubscriptions::messageOf(const Work &work) const {
  if (asksNames(work))
    return namesRequest(work.step);
  std::vector<uint32_t> rptids; // of the event
  std::string definitions;
  bool wanted = false;
  for (const auto &one : subscriptions_) {
    if (one->ceid != work.ceid)
      continue;
    wanted = true;
    if (one->vids.empty())
      continue;
    rptids.push_back(one->rptid);
    definitions += formatText("{<u4 %u>{%s}}", one->rptid, idItems(one->vids).c_str());
  }
  std::string old; // reports that are to go, be it to come again
  for (const uint32_t rptid : rptids)
    old += formatText("{<u4 %u>{}}", rptid);
  const auto [first, last] = gone_.equal_range(work.ceid);
  for (auto gone = first; gone != last; ++gone)
    old += formatText("{<u4 %u>{}}", gone->second);
  if (work.step == Step::Enable)
    return formatText("s2f37w{<bool %d>{<u4 %u>}}", wanted ? 1 : 0, work.ceid);
  if (work.step <= Step::Delete ? old.empty() : rptids.empty())
    return "";
  if (work.step == Step::Unlink)
    return formatText("s2f35w{<u4 0>{{<u4 %u>{}}}}", work.ceid);
  if (work.step == Step::Link)
    return formatText("s2f35w{<u4 0>{{<u4 %u>{%s}}}}", work.ceid, idItems(rptids).c_str());
  return "s2f33w{<u4 0>{" + (work.step == Step::Delete ? old : definitions) + "}}";
}

std::string GemSubscriptions::namesRequest(Step step) const {
  const std::string vids = idItems(unnamed());
  const char *name = step == Step::StatusNames ? "s1f11w"
                     : step == Step::DataNames ? "s1f21w"
                                               : "s2f29w";
  return vids.empty() ? "" : name + ("{" + vids + "}");
}

// What had to go may have been gone. An equipment that does not know a message of names has none to
// tell.
void GemSubscriptions::answered(const Work &work, const GemReply &reply) {
  asked_.reset();
  const bool mayFail = work.step <= Step::Delete;
  if (asksNames(work) && reply) {
    learn(reply.message);
  } else if (reply.outcome == GemOutcome::NotSent ||
             (reply.outcome == GemOutcome::Aborted && !asksNames(work))) {
    work_.clear();
    again_ = true;
    timer_.start(kRetryAfter);
    tellWaiting();
    return;
  } else if (reply && work.step == Step::Delete) {
    gone_.erase(work.ceid);
  } else if (reply && numberOf(reply.message.root) != 0 && !mayFail) {
    refused(work, formatText("S%uF%u answers %u", reply.message.header.stream(),
                             reply.message.header.function(), numberOf(reply.message.root)));
  } else if (!reply && !mayFail) {
    refused(work, reply.reason);
  }
  if (!closed_)
    this->work();
}

void GemSubscriptions::refused(const Work &work, const std::string &reason) {
  std::erase_if(work_, [&work](const Work &planned) {
    return !asksNames(planned) && planned.ceid == work.ceid;
  });
  engine().reportFailure(formatText("Event %u is not subscribed: %s", work.ceid, reason.c_str()));
}

// Names ------------------------------------------------------------------------------------------

// S1F12, S1F22 and S2F30: a list each, of the number, the name and what else there is.
void GemSubscriptions::learn(const CHSecsMessage &names) {
  for (const CHSecsItem &entry : names.root.children()) {
    const std::string name = valueText(childOf(entry, 2), ValueForm::Decimal);
    if (!name.empty())
      names_[numberOf(childOf(entry, 1))] = name;
  }
}

std::string GemSubscriptions::nameOf(uint32_t vid) const {
  const CHGem *gem = engine().gem();
  const CHGemEventVid *known = gem == nullptr ? nullptr : gem->data().variables.FindVid(vid);
  if (known != nullptr && !known->description().empty())
    return std::string(known->description());
  const auto told = names_.find(vid);
  return told == names_.end() ? "" : told->second;
}

std::vector<uint32_t> GemSubscriptions::unnamed() const {
  std::set<uint32_t> vids;
  for (const auto &one : subscriptions_)
    for (const uint32_t vid : one->vids)
      if (nameOf(vid).empty())
        vids.insert(vid);
  return {vids.begin(), vids.end()};
}

bool GemSubscriptions::awaitsNames() const {
  return mayWork() && ((asked_ && asksNames(*asked_)) || std::ranges::any_of(work_, asksNames));
}

// Events -----------------------------------------------------------------------------------------

std::optional<CHSecsItem> GemSubscriptions::read(const CHSecsMessage &message) const {
  constexpr uint8_t kEventReport = 11;
  if (subscriptions_.empty() || message.header.sType() != 0 || message.header.stream() != 6 ||
      message.header.function() != kEventReport)
    return std::nullopt;
  const uint32_t ceid = numberOf(childOf(message.root, 2));
  const auto wants = [ceid](const auto &one) { return one->ceid == ceid; };
  return std::ranges::any_of(subscriptions_, wants) ? std::optional(message.root.clone())
                                                    : std::nullopt;
}

void GemSubscriptions::take(CHSecsItem &&body) {
  const auto self = shared_from_this();
  waiting_.push_back(std::move(body));
  if (!awaitsNames() || unnamed().empty() || waiting_.size() > kMostWaiting)
    tellWaiting();
}

// A handler may run the loop: each event is taken out before it is told of.
void GemSubscriptions::tellWaiting() {
  const auto self = shared_from_this();
  while (!closed_ && !waiting_.empty()) {
    const CHSecsItem body = std::move(waiting_.front());
    waiting_.pop_front();
    tell(body);
  }
}

void GemSubscriptions::tell(const CHSecsItem &body) {
  const uint32_t ceid = numberOf(childOf(body, 2));
  const auto subscriptions = subscriptions_;
  for (const auto &one : subscriptions) {
    if (closed_)
      return;
    if (one->ceid == ceid && one->active && one->handler)
      one->handler(eventFor(*one, body));
  }
}

GemEvent GemSubscriptions::eventFor(const Subscription &subscription,
                                    const CHSecsItem &body) const {
  GemEvent event;
  event.ceid = subscription.ceid;
  if (CHGem *gem = engine().gem())
    event.name = gem->eventName(static_cast<int32_t>(event.ceid)).value_or("");
  for (const CHSecsItem &report : childOf(body, 3).children()) {
    const auto values = childOf(report, 2).children();
    if (numberOf(childOf(report, 1)) != subscription.rptid || subscription.vids.empty() ||
        values.size() != subscription.vids.size())
      continue;
    event.values.all.clear();
    for (size_t i = 0; i < values.size(); ++i) {
      const uint32_t vid = subscription.vids[i];
      event.values.all.push_back(
          {nameOf(vid), vid, valueText(values[i], ValueForm::Decimal), values[i].clone()});
    }
  }
  return event;
}

} // namespace velto
