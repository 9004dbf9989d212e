#include "controls/gem_subscriptions.h"

#include "base/text.h"
#include "controls/gem_requests.h"
#include "gem/engine/engine.h"
#include "gem/messages/items.h"
#include "gem/messages/stream7.h"

#include <algorithm>
#include <set>
#include <utility>

namespace velto {

namespace {

constexpr uint32_t kFirstReport = 900'001;
constexpr uint32_t kRetryAfter = 10'000; // ms; an equipment that is off-line aborts everything
constexpr size_t kMostWaiting = 10'000;  // events that wait for names

std::string idItem(const GemId &id) {
  return id.isText() ? stream7::smlOf(textItem(id.name())) : "<u4 " + id.name() + '>';
}

std::string idItem(uint32_t rptid) { return idItem(GemId(rptid)); }

std::string idItems(const auto &ids) {
  std::string items;
  for (const auto &id : ids)
    items += idItem(id);
  return items;
}

// An equipment may send a number as the text of its digits.
GemId idOf(const CHSecsItem &item) {
  if (formatInfo(item.format()).kind == ElementKind::Text)
    return std::string(item.text());
  return numberOf(item);
}

// That of the model, else what the equipment told, else what it is known by.
std::string chosenName(std::string_view ofModel, const std::map<GemId, std::string> &told,
                       const GemId &id) {
  if (!ofModel.empty())
    return std::string(ofModel);
  if (const auto found = told.find(id); found != told.end())
    return found->second;
  return id.isNumber() ? "" : id.name();
}

} // namespace

GemSubscriptions::GemSubscriptions(EventLoop &loop, GemRequests &requests,
                                   std::function<CHGemEngine &()> engine)
    : loop_(loop), requests_(requests), engine_(std::move(engine)),
      timer_(loop, [this] { work(); }) {}

int32_t GemSubscriptions::add(GemId ceid, std::vector<GemId> vids, Handler handler) {
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
  std::set<GemId> ceids;
  for (const auto &[ceid, rptid] : gone_)
    ceids.insert(ceid);
  for (const auto &one : subscriptions_)
    ceids.insert(one->ceid);
  for (const GemId &ceid : ceids)
    plan(ceid);
}

void GemSubscriptions::plan(const GemId &ceid) {
  std::erase_if(
      work_, [&ceid](const Work &planned) { return asksNames(planned) || planned.ceid == ceid; });
  for (const Step step :
       {Step::EventNames, Step::ConstantNames, Step::DataNames, Step::StatusNames})
    work_.push_front({step, 0U});
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
    definitions += '{' + idItem(one->rptid) + '{' + idItems(one->vids) + "}}";
  }
  std::string old; // reports that are to go, be it to come again
  for (const uint32_t rptid : rptids)
    old += '{' + idItem(rptid) + "{}}";
  const auto [first, last] = gone_.equal_range(work.ceid);
  for (auto gone = first; gone != last; ++gone)
    old += '{' + idItem(gone->second) + "{}}";
  if (work.step == Step::Enable)
    return std::string("s2f37w{<bool ") + (wanted ? "1>{" : "0>{") + idItem(work.ceid) + "}}";
  if (work.step <= Step::Delete ? old.empty() : rptids.empty())
    return "";
  if (work.step == Step::Unlink)
    return "s2f35w{<u4 0>{{" + idItem(work.ceid) + "{}}}}";
  if (work.step == Step::Link)
    return "s2f35w{<u4 0>{{" + idItem(work.ceid) + '{' + idItems(rptids) + "}}}}";
  return "s2f33w{<u4 0>{" + (work.step == Step::Delete ? old : definitions) + "}}";
}

std::string GemSubscriptions::namesRequest(Step step) const {
  const std::string ids = idItems(step == Step::EventNames ? unnamedEvents() : unnamed());
  const char *name = step == Step::StatusNames     ? "s1f11w"
                     : step == Step::DataNames     ? "s1f21w"
                     : step == Step::ConstantNames ? "s2f29w"
                                                   : "s1f23w";
  return ids.empty() ? "" : name + ("{" + ids + "}");
}

// What had to go may have been gone. An equipment that does not know a message of names has none to
// tell.
void GemSubscriptions::answered(const Work &work, const GemReply &reply) {
  asked_.reset();
  const bool mayFail = work.step <= Step::Delete;
  if (asksNames(work) && reply) {
    learn(work.step == Step::EventNames ? eventNames_ : names_, reply.message);
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
  engine().reportFailure("Event " + work.ceid.name() + " is not subscribed: " + reason);
}

// Names ------------------------------------------------------------------------------------------

// S1F12, S1F22, S1F24 and S2F30: a list each, of the identifier, the name and what else there is.
void GemSubscriptions::learn(Names &names, const CHSecsMessage &told) {
  for (const CHSecsItem &entry : told.root.children()) {
    const std::string name = valueText(childOf(entry, 2), ValueForm::Decimal);
    if (!name.empty())
      names[idOf(childOf(entry, 1))] = name;
  }
}

std::string GemSubscriptions::nameOf(const GemId &vid) const {
  const CHGem *gem = engine().gem();
  const CHGemEventVid *known =
      gem == nullptr || !vid.isNumber() ? nullptr : gem->data().variables.FindVid(vid.number());
  return chosenName(known == nullptr ? std::string_view() : known->description(), names_, vid);
}

std::string GemSubscriptions::eventNameOf(const GemId &ceid) const {
  const CHGem *gem = engine().gem();
  const CHGemEventCeid *known =
      gem == nullptr || !ceid.isNumber() ? nullptr : gem->data().events.FindCeid(ceid.number());
  return chosenName(known == nullptr ? std::string_view() : known->description, eventNames_, ceid);
}

std::vector<GemId> GemSubscriptions::unnamed() const {
  std::set<GemId> vids;
  for (const auto &one : subscriptions_)
    for (const GemId &vid : one->vids)
      if (nameOf(vid).empty() || (!vid.isNumber() && !names_.contains(vid)))
        vids.insert(vid);
  return {vids.begin(), vids.end()};
}

// The early edition has no message that tells them.
std::vector<GemId> GemSubscriptions::unnamedEvents() const {
  std::set<GemId> ceids;
  if (engine().logical().Edition() != E5Edition::Early)
    for (const auto &one : subscriptions_)
      if (eventNameOf(one->ceid).empty() ||
          (!one->ceid.isNumber() && !eventNames_.contains(one->ceid)))
        ceids.insert(one->ceid);
  return {ceids.begin(), ceids.end()};
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
  const GemId ceid = idOf(childOf(message.root, 2));
  const auto wants = [&ceid](const auto &one) { return one->ceid == ceid; };
  return std::ranges::any_of(subscriptions_, wants) ? std::optional(message.root.clone())
                                                    : std::nullopt;
}

void GemSubscriptions::take(CHSecsItem &&body) {
  const auto self = shared_from_this();
  waiting_.push_back(std::move(body));
  if (!awaitsNames() || (unnamed().empty() && unnamedEvents().empty()) ||
      waiting_.size() > kMostWaiting)
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
  const GemId ceid = idOf(childOf(body, 2));
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
  event.ceid = subscription.ceid.number();
  event.name = eventNameOf(subscription.ceid);
  for (const CHSecsItem &report : childOf(body, 3).children()) {
    const auto values = childOf(report, 2).children();
    if (numberOf(childOf(report, 1)) != subscription.rptid || subscription.vids.empty() ||
        values.size() != subscription.vids.size())
      continue;
    event.values.all.clear();
    for (size_t i = 0; i < values.size(); ++i) {
      const GemId &vid = subscription.vids[i];
      event.values.all.push_back(
          {nameOf(vid), vid.number(), valueText(values[i], ValueForm::Decimal), values[i].clone()});
    }
  }
  return event;
}

} // namespace velto
