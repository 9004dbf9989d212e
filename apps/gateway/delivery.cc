#include "apps/gateway/delivery.h"

#include "apps/gateway/json.h"

#include <algorithm>
#include <utility>

namespace velto::gateway {

namespace {

constexpr uint64_t kMegabyte = uint64_t{1024} * 1024;
constexpr uint64_t kMostLoaded = uint64_t{16} * kMegabyte;   // of what the outbox has, in memory
constexpr uint64_t kMostUnstored = uint64_t{64} * kMegabyte; // of what nothing has stored
constexpr size_t kMostHeld = 100'000; // acknowledges; T3 of the oldest has long passed
constexpr uint64_t kHoldAt = 80;      // percent of the outbox
constexpr uint64_t kReleaseAt = 60;
constexpr uint32_t kRetry = 1000;    // ms until a disk that took nothing is tried again
constexpr uint32_t kCleaning = 50;   // ms that delivered ones may stay in the outbox
constexpr uint32_t kAgeCheck = 5000; // ms

int64_t secondsNow() {
  using namespace std::chrono;
  return duration_cast<seconds>(system_clock::now().time_since_epoch()).count();
}

uint64_t microsecondsNow() {
  using namespace std::chrono;
  return static_cast<uint64_t>(
      duration_cast<microseconds>(system_clock::now().time_since_epoch()).count());
}

} // namespace

Publication lastWill(const OutConfig &out) {
  return {out.topic("gateway", topicLevel(out.name) + "/state"),
          JsonObject()
              .text("kind", "gateway")
              .text("site", out.site)
              .text("gateway", out.name)
              .text("state", "offline")
              .take(),
          true};
}

Delivery::Delivery(EventLoop &loop, const OutConfig &out, Events events)
    : loop_(loop), out_(out), events_(std::move(events)), worker_(loop, [this] { work(); }),
      cleaner_(loop, [this] { clean(); }), ager_(loop, [this] { clean(); }) {}

Delivery::~Delivery() = default;

std::string Delivery::open() {
  if (!out_.outbox.path.empty()) {
    outbox_ = makeOutbox();
    if (outbox_ == nullptr)
      return "this program was built without SQLite, which the outbox needs (libsqlite3-dev)";
    if (std::string problem = outbox_->open(out_.outbox.path); !problem.empty())
      return problem;
    const Outbox::Content content = outbox_->content();
    storedCount_ = content.count;
    storedBytes_ = content.bytes;
    lastId_ = content.lastId;
    counters_.dropped = storedDropped_ = content.dropped;
    more_ = content.count != 0;
    ager_.startPeriodic(kAgeCheck);
  }
  Sink::Owner &owner = *this;
  sink_ = out_.sink == SinkKind::Mqtt ? makeMqttSink(loop_, owner, out_)
                                      : makeLineSink(loop_, owner, out_);
  if (sink_ == nullptr)
    return "this program was built without libmosquitto, which MQTT needs (libmosquitto-dev)";
  checkHolding();
  return sink_->open();
}

void Delivery::close(uint32_t patience) {
  setState(lastWill(out_));
  loop_.runUntil(
      [this] {
        return !connected_ || (queue_.empty() && incoming_.empty() && underWay_.empty() &&
                               changed_.empty() && !more_);
      },
      patience);
  closing_ = true;
  sink_->close(patience);
  if (outbox_ != nullptr && (!incoming_.empty() || !done_.empty()))
    store();
}

// Without an outbox nothing outlives the program but the time.
std::optional<uint64_t> Delivery::nextSequence(const std::string &tool) {
  if ((outbox_ == nullptr || storeFailed_) && unstoredBytes_ > kMostUnstored) {
    ++counters_.refused;
    return std::nullopt;
  }
  const auto [entry, isNew] = sequences_.try_emplace(tool);
  if (isNew)
    entry->second = outbox_ != nullptr ? outbox_->sequence(tool) : microsecondsNow();
  moved_.insert(tool);
  return ++entry->second;
}

void Delivery::post(Publication &&publication, Acknowledge acknowledge) {
  ++counters_.posted;
  unstoredBytes_ += bytesOf(publication);
  incoming_.push_back({{++lastId_, std::move(publication)},
                       std::move(acknowledge),
                       std::chrono::steady_clock::now()});
  if (!storeFailed_)
    worker_.startWithin(1);
}

void Delivery::setState(Publication &&state, bool last) {
  changed_.insert(state.topic);
  std::string topic = state.topic;
  states_[std::move(topic)] = {std::move(state), last};
  worker_.startWithin(1);
}

void Delivery::subscribe(const std::string &topic) { sink_->subscribe(topic); }

Delivery::Counters Delivery::counters() const {
  Counters now = counters_;
  now.waiting = outbox_ != nullptr ? storedCount_ - done_.size() + incoming_.size()
                                   : queue_.size() + incoming_.size() + underWay_.size();
  now.waitingBytes = outbox_ != nullptr ? storedBytes_ : unstoredBytes_;
  now.connected = connected_;
  now.holding = holds_;
  return now;
}

// Storing ----------------------------------------------------------------------------------------

void Delivery::work() {
  if (outbox_ == nullptr) {
    for (Entry &entry : std::exchange(incoming_, {}))
      enqueue(std::move(entry));
    moved_.clear();
  } else if ((!incoming_.empty() || clean_) && !store()) {
    if (!std::exchange(storeFailed_, true))
      events_.told("the outbox takes nothing: " + outbox_->error());
    worker_.start(kRetry);
  }
  pump();
}

void Delivery::clean() {
  clean_ = true;
  worker_.startWithin(1);
}

// One transaction for all that came, and all that is delivered.
bool Delivery::store() {
  if (!outbox_->begin() || !storeAll())
    return false;
  clean_ = false;
  if (std::exchange(storeFailed_, false))
    events_.told("the outbox takes publications again");
  storedNow();
  return true;
}

bool Delivery::storeAll() {
  const uint64_t count = storedCount_;
  const uint64_t bytes = storedBytes_;
  const uint64_t dropped = counters_.dropped;
  const uint64_t lost = lost_;
  const int64_t now = secondsNow();
  bool good = true;
  for (const auto &[id, size] : done_) {
    good = good && outbox_->remove(id);
    --storedCount_;
    storedBytes_ -= size;
  }
  for (const Entry &entry : incoming_) {
    good = good && outbox_->add(entry, now);
    ++storedCount_;
    storedBytes_ += bytesOf(entry.publication);
  }
  for (const std::string &tool : moved_)
    good = good && outbox_->setSequence(tool, sequences_[tool]);
  good = good && makeRoom();
  if (good && counters_.dropped != storedDropped_)
    good = outbox_->setDropped(counters_.dropped);
  good = good && outbox_->commit();
  if (good) {
    storedDropped_ = counters_.dropped;
  } else {
    storedCount_ = count;
    storedBytes_ = bytes;
    counters_.dropped = dropped;
    lost_ = lost;
  }
  return good;
}

bool Delivery::makeRoom() {
  const uint64_t most = kMegabyte * static_cast<uint64_t>(out_.outbox.megabytes);
  const auto tooOld = secondsNow() - static_cast<int64_t>(out_.outbox.days * 86400);
  while (storedCount_ > 0) {
    const auto oldest = outbox_->oldest();
    if (!oldest || (storedBytes_ <= most && oldest->seconds >= tooOld))
      return true;
    if (!outbox_->remove(oldest->id))
      return false;
    --storedCount_;
    storedBytes_ -= std::min(storedBytes_, oldest->bytes);
    ++counters_.dropped;
    lost_ = std::max(lost_, oldest->id);
  }
  return true;
}

void Delivery::storedNow() {
  done_.clear();
  moved_.clear();
  std::vector<Acknowledge> ready;
  for (Entry &entry : std::exchange(incoming_, {})) {
    if (entry.acknowledge)
      ready.push_back(std::exchange(entry.acknowledge, nullptr));
    unstoredBytes_ -= bytesOf(entry.publication);
    if (!more_ && loadedBytes_ < kMostLoaded)
      enqueue(std::move(entry));
    else
      more_ = true;
  }
  while (!queue_.empty() && queue_.front().id <= lost_) {
    loadedBytes_ -= bytesOf(queue_.front().publication);
    queue_.pop_front();
  }
  checkHolding();
  acknowledge(std::move(ready));
}

// Told once, until it has room again.
void Delivery::tellDrops() {
  if (std::exchange(seenLost_, lost_) == lost_)
    return;
  if (!std::exchange(toldDrops_, true))
    events_.told("the outbox drops its oldest publications");
}

void Delivery::checkHolding() {
  if (outbox_ == nullptr)
    return;
  tellDrops();
  const uint64_t most = kMegabyte * static_cast<uint64_t>(out_.outbox.megabytes);
  const bool before = holds_;
  if (storedBytes_ * 100 > most * kHoldAt)
    holds_ = true;
  else if (storedBytes_ * 100 < most * kReleaseAt)
    holds_ = false;
  if (before == holds_)
    return;
  events_.told(holds_ ? "the outbox is nearly full: acknowledges are held back"
                      : "acknowledges go out again");
  if (!holds_) {
    toldDrops_ = false;
    std::vector<Acknowledge> ready(std::make_move_iterator(held_.begin()),
                                   std::make_move_iterator(held_.end()));
    held_.clear();
    acknowledge(std::move(ready));
  }
  events_.holding(holds_);
}

void Delivery::acknowledge(std::vector<Acknowledge> &&ready) {
  for (Acknowledge &one : ready) {
    if (holds_)
      held_.push_back(std::move(one));
    else
      one();
  }
  if (held_.size() > kMostHeld)
    held_.erase(held_.begin(), held_.end() - kMostHeld);
}

// Publishing -------------------------------------------------------------------------------------

void Delivery::pump() {
  if (!connected_ || closing_)
    return;
  pumpStates();
  while (sink_->ready()) {
    if (queue_.empty() && more_ && loadedBytes_ < kMostLoaded)
      refill();
    if (queue_.empty())
      break;
    Entry entry = std::move(queue_.front());
    queue_.pop_front();
    publish(std::move(entry));
  }
  sink_->flush();
}

// States are told by IDs of their own, from the top down.
void Delivery::pumpStates() {
  while (sink_->ready() && !changed_.empty()) {
    const auto state = states_.find(*changed_.begin());
    changed_.erase(changed_.begin());
    underWay_[--stateId_].isState = true;
    sink_->publish(stateId_, state->second.publication);
    if (state->second.last)
      states_.erase(state);
  }
}

void Delivery::refill() {
  auto entries = outbox_->read(queueEnd_, kMostLoaded - loadedBytes_);
  more_ = !entries.empty();
  for (Outbox::Entry &stored : entries)
    enqueue({std::move(stored), nullptr, {}});
}

void Delivery::enqueue(Entry &&entry) {
  queueEnd_ = entry.id;
  loadedBytes_ += bytesOf(entry.publication);
  queue_.push_back(std::move(entry));
}

void Delivery::publish(Entry &&entry) {
  underWay_[entry.id] = {.bytes = bytesOf(entry.publication),
                         .acknowledge = std::move(entry.acknowledge),
                         .since = entry.since,
                         .isState = false};
  sink_->publish(entry.id, entry.publication);
}

void Delivery::delivered(uint64_t id) {
  const auto found = underWay_.find(id);
  if (found == underWay_.end())
    return;
  const UnderWay &one = found->second;
  if (!one.isState) {
    ++counters_.delivered;
    if (one.since != Instant())
      latencies_.add(static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                               std::chrono::steady_clock::now() - one.since)
                                               .count()));
  }
  settle(found);
}

// The tool and the outbox are done with it: it would come to the same end again and again.
void Delivery::undeliverable(uint64_t id, const std::string &reason) {
  events_.told(reason);
  const auto found = underWay_.find(id);
  if (found == underWay_.end())
    return;
  if (!found->second.isState)
    ++counters_.dropped;
  settle(found);
}

void Delivery::settle(std::map<uint64_t, UnderWay>::iterator at) {
  const uint64_t id = at->first;
  const UnderWay one = std::move(at->second);
  underWay_.erase(at);
  worker_.startWithin(1);
  if (one.isState)
    return;
  loadedBytes_ -= one.bytes;
  if (outbox_ != nullptr) {
    if (id > lost_)
      done_.emplace_back(id, one.bytes);
    cleaner_.startWithin(kCleaning);
    return;
  }
  unstoredBytes_ -= one.bytes;
  if (one.acknowledge)
    one.acknowledge();
}

// A sink that begins anew may have lost the states.
void Delivery::sinkReady(bool afresh) {
  if (afresh) {
    // What a tool got no answer to meanwhile is in its spool.
    if (!std::exchange(connected_, true) && outbox_ == nullptr)
      events_.holding(false);
    if (!std::exchange(lossesTold_, {}).empty())
      events_.told("publications go out again");
    for (const auto &[topic, state] : states_)
      changed_.insert(topic);
  }
  worker_.startWithin(1);
}

void Delivery::sinkLost(const std::string &reason) {
  const bool isNew = lossesTold_.insert(reason).second;
  if (std::exchange(connected_, false) || isNew)
    events_.told(reason);
}

void Delivery::requested(const std::string &topic, const std::string &payload) {
  events_.requested(topic, payload);
}

// What waits does not go out any more.
void Delivery::sinkFailed(const std::string &reason) {
  connected_ = false;
  events_.failed(reason);
}

} // namespace velto::gateway
