#include "apps/gateway/session.h"

#include "base/text.h"
#include "gem/messages/items.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

namespace velto::gateway {

namespace {

constexpr uint32_t kOnlineRetry = 10'000; // ms until an equipment that is off-line is asked again
constexpr uint32_t kAlreadyThere = 3; // DRACK: the report is defined; LRACK: the event has reports

std::string idItems(const std::vector<uint32_t> &numbers) {
  std::string items;
  for (const uint32_t number : numbers)
    items += formatText("<u4 %u>", number);
  return items;
}

// DSPER: hhmmss, or hhmmsscc where there are hundredths of a second.
std::string samplePeriod(double seconds) {
  const auto hundredths = static_cast<unsigned>(std::lround(seconds * 100));
  const unsigned whole = hundredths / 100;
  std::string period = formatText("%02u%02u%02u", whole / 3600, whole / 60 % 60, whole % 60);
  return hundredths % 100 == 0 ? period : period + formatText("%02u", hundredths % 100);
}

// The first number of an answer: an acknowledge alone, or with a list behind it.
uint32_t acknowledgeOf(const CHSecsItem &root) {
  return root.isList() ? numberOf(childOf(root, 1)) : numberOf(root);
}

std::string real(double value) {
  std::string text;
  appendFixed(text, value);
  return text;
}

} // namespace

Session::Session(EventLoop &loop, CVeltoGemCtrl &control, const Payloads &payloads, Events events)
    : control_(control), payloads_(payloads), events_(std::move(events)),
      retry_(loop, [this] { next(); }) {}

void Session::start(const Subscription &subscription, bool askForSpooled) {
  stop();
  subscription_ = &subscription;
  reports_.clear();
  for (const EventWish &event : subscription.events)
    if (event.rptid != 0)
      reports_[event.rptid] = event.vids;
  if (subscription.goOnline)
    steps_.emplace_back([this] { goOnline(); });
  planReports();
  planAlarms();
  planTraces();
  planLimits();
  planSpool();
  busy_ = true;
  retry_.start(1);
  if (subscription.spooled && askForSpooled)
    this->askForSpooled();
  steps_.emplace_back([this] {
    events_.ready();
    next();
  });
}

void Session::stop() {
  ++number_;
  subscription_ = nullptr;
  steps_.clear();
  busy_ = false;
  retry_.stop();
}

void Session::next() {
  busy_ = !steps_.empty();
  if (!busy_)
    return;
  const auto step = std::move(steps_.front());
  steps_.pop_front();
  step();
}

// A request whose answer belongs to an earlier session says nothing of this one.
void Session::ask(std::string sml, Handle handle) {
  control_.Request(sml,
                   [this, number = number_, handle = std::move(handle)](const GemReply &reply) {
                     if (reply.outcome == GemOutcome::Gone || number != number_)
                       return;
                     handle(reply);
                   });
}

// S1F17: 0 accepted, 2 on-line already. An equipment that is off-line aborts all else.
void Session::goOnline() {
  ask("s1f17w", [this](const GemReply &reply) {
    const uint32_t code = reply ? acknowledgeOf(reply.message.root) : 1;
    const bool online = reply && code != 1;
    // An equipment that does not know the request may be on-line all the same.
    const bool unknown = reply.outcome == GemOutcome::Refused;
    events_.online(online || unknown);
    if (online || unknown)
      return next();
    steps_.emplace_front([this] { goOnline(); });
    retry_.start(kOnlineRetry);
  });
}

void Session::askAll(std::shared_ptr<const Batch> batch) {
  if (batch->parts.empty())
    return next();
  std::string sml = batch->head;
  for (const std::string &part : batch->parts)
    sml += part;
  ask(sml + batch->tail, [this, batch](const GemReply &reply) {
    const bool accepted = reply && acknowledgeOf(reply.message.root) == 0;
    for (size_t i = batch->parts.size(); i > 0 && !accepted; --i)
      steps_.emplace_front([this, batch, i] { askOne(batch, i - 1); });
    next();
  });
}

void Session::askOne(std::shared_ptr<const Batch> batch, size_t part) {
  ask(batch->head + batch->parts[part] + batch->tail, [this, batch, part](const GemReply &reply) {
    const uint32_t code = reply ? acknowledgeOf(reply.message.root) : 0;
    if (!reply)
      events_.problem(batch->name + ": " + reply.reason);
    else if (code != 0 && (!batch->kept || !batch->kept(part, code)))
      events_.problem(batch->name + ' ' + batch->parts[part] + ": the tool answers " +
                      std::to_string(code));
    next();
  });
}

// Events -----------------------------------------------------------------------------------------

void Session::planReports() {
  const auto &events = subscription_->events;
  auto define = std::make_shared<Batch>(Batch{"report", "s2f33w{<u4 1>{", "}}", {}, {}});
  auto link = std::make_shared<Batch>(Batch{"link of event", "s2f35w{<u4 1>{", "}}", {}, {}});
  auto enable = std::make_shared<Batch>(Batch{"event", "s2f37w{<bool 1>{", "}}", {}, {}});
  std::vector<EventWish> linked;
  for (const auto &[rptid, vids] : reports_)
    define->parts.push_back(formatText("{<u4 %u>{%s}}", rptid, idItems(vids).c_str()));
  for (const EventWish &event : events) {
    enable->parts.push_back(formatText("<u4 %u>", event.ceid));
    if (event.rptid == 0)
      continue;
    link->parts.push_back(formatText("{<u4 %u>{<u4 %u>}}", event.ceid, event.rptid));
    linked.push_back(event);
  }
  define->kept = [](size_t, uint32_t code) { return code == kAlreadyThere; };
  link->kept = [this, linked](size_t part, uint32_t code) {
    if (code != kAlreadyThere)
      return false;
    steps_.emplace_front([this, event = linked[part]] { askWhatIsLinked(event); });
    return true;
  };
  steps_.emplace_back([this, define] { askAll(define); });
  steps_.emplace_back([this, link] { askAll(link); });
  if (subscription_->allEvents)
    steps_.emplace_back(
        [this] { ask("s2f37w{<bool 1>{}}", [this](const GemReply &) { next(); }); });
  steps_.emplace_back([this, enable] { askAll(enable); });
}

// S6F15 tells the reports of an event. Where those hold all that is asked for, nothing is to be
// done.
void Session::askWhatIsLinked(const EventWish &event) {
  ask(formatText("s6f15w<u4 %u>", event.ceid), [this, event](const GemReply &reply) {
    std::vector<uint32_t> rptids;
    std::set<uint32_t> missing(event.vids.begin(), event.vids.end());
    for (const CHSecsItem &report : childOf(reply.message.root, 3).children()) {
      rptids.push_back(numberOf(childOf(report, 1)));
      const auto *vids = payloads_.variablesOf(rptids.back(), reports_);
      if (vids != nullptr && vids->size() == childOf(report, 2).children().size())
        for (const uint32_t vid : *vids)
          missing.erase(vid);
    }
    if (missing.empty())
      return next();
    rptids.push_back(event.rptid);
    linkAnew(event, rptids);
  });
}

// The reports that the event has stay with it. A link cannot be added to others (LRACK 3), they are
// to be removed first: the two requests go out together, so that no event is reported in between.
void Session::linkAnew(const EventWish &event, const std::vector<uint32_t> &rptids) {
  ask(formatText("s2f35w{<u4 1>{{<u4 %u>{}}}}", event.ceid), [](const GemReply &) {});
  ask(formatText("s2f35w{<u4 1>{{<u4 %u>{%s}}}}", event.ceid, idItems(rptids).c_str()),
      [this, event](const GemReply &reply) {
        if (const uint32_t code = acknowledgeOf(reply.message.root); !reply || code != 0)
          events_.problem(formatText("link of event %u: the tool answers %u", event.ceid, code));
        next();
      });
}

// Alarms, traces, limits, spool -------------------------------------------------------------------

void Session::planAlarms() {
  auto enable = std::make_shared<Batch>(Batch{"alarm", "s5f3w{<b 0x80>", "}", {}, {}});
  if (subscription_->allAlarms)
    enable->parts.emplace_back("<u4>");
  for (const uint32_t alid : subscription_->alarms)
    enable->parts.push_back(formatText("<u4 %u>", alid));
  // S5F3 names one alarm, or all.
  for (size_t i = 0; i < enable->parts.size(); ++i)
    steps_.emplace_back([this, enable, i] { askOne(enable, i); });
}

void Session::planTraces() {
  auto traces = std::make_shared<Batch>(Batch{"trace", "s2f23w", "", {}, {}});
  for (const TraceWish &trace : subscription_->traces)
    traces->parts.push_back(formatText("{<u4 %u><a '%s'><u4 %u><u4 %u>{%s}}", trace.id,
                                       samplePeriod(trace.period).c_str(), trace.samples,
                                       trace.group, idItems(trace.vids).c_str()));
  for (size_t i = 0; i < traces->parts.size(); ++i)
    steps_.emplace_back([this, traces, i] { askOne(traces, i); });
}

void Session::planLimits() {
  auto limits = std::make_shared<Batch>(Batch{"limit", "s2f45w{<u4 1>{", "}}", {}, {}});
  for (const LimitWish &limit : subscription_->limits)
    limits->parts.push_back(formatText("{<u4 %u>{{<b %u>{<f8 %s><f8 %s>}}}}", limit.vid, limit.id,
                                       real(limit.upper).c_str(), real(limit.lower).c_str()));
  for (size_t i = 0; i < limits->parts.size(); ++i)
    steps_.emplace_back([this, limits, i] { askOne(limits, i); });
}

void Session::planSpool() {
  auto streams = std::make_shared<Batch>(Batch{"spooling", "s2f43w{", "}", {}, {}});
  for (const uint32_t stream : subscription_->spooling)
    streams->parts.push_back(formatText("{<u1 %u>{}}", stream));
  steps_.emplace_back([this, streams] { askAll(streams); });
}

// S6F23: the tool has none, or none to tell, or does not know the message: all of that is well.
void Session::askForSpooled() {
  steps_.emplace_back([this] { ask("s6f23w<u1 0>", [this](const GemReply &) { next(); }); });
  if (!busy_)
    next();
}

} // namespace velto::gateway
