#include "controls/gem_requests.h"

#include "base/text.h"
#include "gem/engine/engine.h"
#include "secs2/transaction.h"
#include "transport/link/deadline.h"

#include <algorithm>
#include <utility>

namespace velto {

namespace {

// The engine reports that T3 is over; where it has forgotten the transaction, nobody does.
constexpr uint32_t kGrace = 1000; // ms

const char *outcomeText(GemOutcome outcome) {
  constexpr const char *kTexts[] = {"",
                                    "it was not sent",
                                    "it went to the spool",
                                    "the partner aborted it",
                                    "the partner complains of it",
                                    "the partner rejected it",
                                    "no reply in time",
                                    "the link was lost",
                                    "the control is gone"};
  return kTexts[static_cast<size_t>(outcome)];
}

GemReply withoutReply(GemOutcome outcome, const CHSecsHeader &primary) {
  GemReply reply;
  reply.outcome = outcome;
  reply.reason =
      formatText("S%uF%u: %s", primary.stream(), primary.function(), outcomeText(outcome));
  return reply;
}

GemOutcome outcomeOf(const CHSecsHeader &reply, const CHSecsHeader &primary) {
  if (reply.stream() != primary.stream() || !isReply(reply, primary))
    return GemOutcome::Refused;
  return reply.function() == 0 ? GemOutcome::Aborted : GemOutcome::Answered;
}

} // namespace

void GemRequests::tell(const std::vector<Ended> &ended) {
  for (const Ended &request : ended)
    if (request.handler)
      request.handler(request.reply);
}

GemReply GemRequests::goneReply() {
  GemReply reply;
  reply.outcome = GemOutcome::Gone;
  reply.reason = outcomeText(GemOutcome::Gone);
  return reply;
}

GemRequests::GemRequests(EventLoop &loop) : loop_(loop), timer_(loop, [this] { expire(); }) {}

// The message is registered before it goes out: inside Sent the host may run the loop, and the
// reply come.
void GemRequests::Send(CHGemEngine &engine, CHSecsMessage &&primary, std::string problem,
                       uint32_t limit, Handler handler) {
  if (closed_)
    return;
  CHSecsHeader &header = primary.header;
  header.setWbit(true);
  header.systemBytes = 0;
  const uint32_t t3 = engine.logical().T3();
  const uint64_t number = ++count_;
  const bool mayGo = problem.empty();
  entries_.push_back({.number = number,
                      .primary = header,
                      .since = loop_.clock().ticks(),
                      .limit = limit == 0 ? t3 + kGrace : limit,
                      .lifetime = std::max(limit, t3 + kGrace),
                      .handler = std::move(handler),
                      .failed = std::nullopt,
                      .problem = std::move(problem)});
  const bool isPrimary = header.sType() == 0 && header.function() % 2 == 1 && header.misfits == 0;
  const Lifetime::Watch alive(lifetime_);
  bool taken = false;
  if (mayGo && isPrimary && engine.gem() != nullptr && engine.logical().deviceIdFits()) {
    const auto outer = std::exchange(sending_, number);
    taken = engine.Send(primary);
    if (!alive)
      return;
    sending_ = outer;
  }
  const auto entry = std::ranges::find(entries_, number, &Entry::number);
  if (entry != entries_.end() && !entry->out)
    entry->failed = taken ? GemOutcome::Spooled : GemOutcome::NotSent;
  arm();
}

void GemRequests::sent(const CHSecsHeader &header) {
  if (!sending_)
    return;
  const auto entry = std::ranges::find(entries_, *sending_, &Entry::number);
  if (entry == entries_.end() || entry->primary.stream() != header.stream() ||
      entry->primary.function() != header.function())
    return;
  entry->primary = header;
  entry->out = true;
  sending_.reset();
}

std::optional<GemRequests::Ended> GemRequests::answered(const CHSecsMessage &message) {
  if (entries_.empty() || message.header.sType() != 0)
    return std::nullopt;
  const auto mhead = readMhead(message);
  const auto entry = std::ranges::find_if(entries_, [&](const Entry &open) {
    return open.out && answers(message.header, mhead, open.primary);
  });
  if (entry == entries_.end())
    return std::nullopt;
  const GemOutcome outcome = outcomeOf(message.header, entry->primary);
  Ended ended{std::move(entry->handler),
              outcome == GemOutcome::Answered ? GemReply{} : withoutReply(outcome, entry->primary)};
  ended.reply.outcome = outcome;
  ended.reply.message.header = message.header;
  ended.reply.message.root = message.root.clone();
  entries_.erase(entry);
  arm();
  return ended;
}

template <typename Which>
std::vector<GemRequests::Ended> GemRequests::take(Which which, GemOutcome outcome) {
  std::vector<Ended> ended;
  for (auto entry = entries_.begin(); entry != entries_.end();) {
    if (!which(*entry)) {
      ++entry;
      continue;
    }
    ended.push_back({std::move(entry->handler), withoutReply(outcome, entry->primary)});
    entry = entries_.erase(entry);
  }
  arm();
  return ended;
}

std::vector<GemRequests::Ended> GemRequests::unanswered(const CHSecsHeader &primary,
                                                        GemOutcome outcome) {
  return take(
      [&primary](const Entry &entry) { return entry.out && isSameMessage(entry.primary, primary); },
      outcome);
}

std::vector<GemRequests::Ended> GemRequests::unanswered(uint32_t systemBytes, GemOutcome outcome) {
  return take(
      [systemBytes](const Entry &entry) {
        return entry.out && entry.primary.systemBytes == systemBytes;
      },
      outcome);
}

std::vector<GemRequests::Ended> GemRequests::end(GemOutcome outcome) {
  return take([](const Entry &entry) { return entry.out; }, outcome);
}

std::vector<GemRequests::Ended> GemRequests::close() {
  closed_ = true;
  return take([](const Entry &) { return true; }, GemOutcome::Gone);
}

// Time ------------------------------------------------------------------------------------------

void GemRequests::arm() {
  const uint32_t now = loop_.clock().ticks();
  std::optional<uint32_t> next;
  for (const Entry &entry : entries_) {
    const uint32_t wait = entry.handler ? std::min(entry.limit, entry.lifetime) : entry.lifetime;
    next = sooner(next, entry.failed ? 0 : timeLeft(now, entry.since, wait));
  }
  if (next)
    timer_.start(std::max<uint32_t>(*next, 1));
  else
    timer_.stop();
}

// Whoever does not wait any more leaves the transaction open, as its reply may still come.
void GemRequests::expire() {
  const uint32_t now = loop_.clock().ticks();
  std::vector<Ended> ended;
  for (auto entry = entries_.begin(); entry != entries_.end();) {
    const bool over = timeLeft(now, entry->since, entry->lifetime) == 0;
    if (entry->failed) {
      ended.push_back({std::move(entry->handler), withoutReply(*entry->failed, entry->primary)});
      if (!entry->problem.empty())
        ended.back().reply.reason = entry->problem;
    } else if (entry->handler && (over || timeLeft(now, entry->since, entry->limit) == 0)) {
      ended.push_back({std::exchange(entry->handler, nullptr),
                       withoutReply(GemOutcome::TimedOut, entry->primary)});
    }
    entry = entry->failed || over ? entries_.erase(entry) : std::next(entry);
  }
  arm();
  tell(ended);
}

} // namespace velto
