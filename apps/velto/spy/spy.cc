#include "apps/velto/spy/spy.h"

#include "platform/clock.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <pthread.h>
#include <utility>

namespace velto {

namespace {

// What was seen before a time-out was due may still wait to be looked at when that is noticed.
constexpr uint64_t kGrace = 100'000; // microseconds

} // namespace

/// Takes what the relay tells on its thread to the loop that looks at it.
class Spy::Feed final : public RelaySink {
public:
  explicit Feed(Spy &spy) : spy_(spy) {}

private:
  // The task is dropped when the spy has gone meanwhile.
  template <typename Task> void post(Task task) {
    spy_.loop_.postFromAnyThread(
        [alive = std::weak_ptr(spy_.alive_), task = std::move(task)]() mutable {
          if (!alive.expired())
            task();
        });
  }

  void opened(uint32_t id, const TcpSocket::Ends &ends) override {
    post([this, at = now(), id, ends] { spy_.opened(at, id, ends); });
  }
  void passed(uint32_t id, SpyDirection direction, ByteView bytes) override {
    uint64_t &lost = lost_[{id, direction}];
    if (behind_ + bytes.size() > spy_.settings_.mostBehind) {
      lost += bytes.size();
      return;
    }
    behind_ += bytes.size();
    post([this, at = now(), id, direction, copy = Bytes(bytes.begin(), bytes.end()),
          missing = std::exchange(lost, 0)] {
      spy_.passed(at, id, direction, copy, missing);
      behind_ -= copy.size();
    });
  }
  void ended(uint32_t id, const std::string &how, bool isProblem) override {
    for (const SpyDirection direction : {SpyDirection::ToTarget, SpyDirection::FromTarget}) {
      const uint64_t missing = lost_[{id, direction}];
      lost_.erase({id, direction});
      if (missing != 0)
        post([this, at = now(), id, direction, missing] {
          spy_.passed(at, id, direction, {}, missing);
        });
    }
    post([this, at = now(), id, how, isProblem] { spy_.ended(at, id, how, isProblem); });
  }
  void refused(const std::string &why) override {
    post([this, at = now(), why] { spy_.console_.trouble(at, why); });
  }

  Spy &spy_;
  std::atomic<size_t> behind_ = 0;                             // bytes in posted tasks
  std::map<std::pair<uint32_t, SpyDirection>, uint64_t> lost_; // of the relay's thread
};

SpyMoment Spy::now() {
  const auto since = std::chrono::steady_clock::now().time_since_epoch();
  return {
      static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(since).count()),
      systemClock().localTime(), microsSince1970()};
}

Spy::Spy(EventLoop &loop, SpyConsole &console, const Settings &settings)
    : loop_(loop), console_(console), settings_(settings),
      target_(settings.targetHost + ':' + std::to_string(settings.targetPort)),
      timer_(loop, [this] { tick(); }), feed_(std::make_unique<Feed>(*this)),
      relay_(std::make_unique<Relay>(passing_, *feed_, settings.targetHost, settings.targetPort)) {}

Spy::~Spy() { stop(); }

// Signals are for the thread that shows.
std::string Spy::listen(uint16_t port) {
  if (!settings_.capture.empty()) {
    capture_ = std::make_shared<CaptureFile>(
        [this](const std::string &problem) { console_.trouble(now(), problem); });
    if (std::string problem = capture_->open(settings_.capture); !problem.empty())
      return problem;
  }
  if (const int error = relay_->listen(port); error != 0)
    return "cannot listen on port " + std::to_string(port) + ": " + std::strerror(error);
  console_.listening(now(), relay_->port());
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  thread_ = std::thread([this] { passing_.run(); });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return "";
}

void Spy::stop() {
  if (!thread_.joinable())
    return;
  passing_.postFromAnyThread([this] { passing_.quit(); });
  thread_.join();
  relay_.reset();
  while (loop_.runOnce(0)) {
  }
  const SpyMoment at = now();
  for (auto &[id, spied] : std::exchange(connections_, {})) {
    spied.conversation->end(at);
    console_.ended(at, id, "closed by the end of the spy", false, spied.conversation->counters());
  }
  alive_.reset();
}

void Spy::opened(const SpyMoment &at, uint32_t id, const TcpSocket::Ends &ends) {
  Spied &spied = connections_[id];
  spied.conversation = std::make_unique<Conversation>(
      settings_.conversation,
      Conversation::Reports{
          [this, id](const SpiedMessage &message) { console_.message(id, message); },
          [this, id](const SpiedProblem &problem) { console_.problem(id, problem); }});
  if (capture_)
    spied.captured =
        std::make_unique<CaptureFile::Connection>(capture_, ends.turned(), at.since1970);
  console_.opened(at, id, ends.remote, ends.remotePort, target_);
}

void Spy::passed(const SpyMoment &at, uint32_t id, SpyDirection direction, const Bytes &bytes,
                 uint64_t lost) {
  const Spied &spied = connections_.at(id);
  if (spied.captured) {
    const auto from = static_cast<CaptureFile::Connection::Side>(indexOf(direction));
    spied.captured->missed(from, lost);
    spied.captured->passed(from, bytes, at.since1970);
  }
  Conversation &conversation = *spied.conversation;
  if (lost != 0)
    conversation.lost(direction, lost, at);
  if (!bytes.empty())
    conversation.take(direction, bytes, at);
  awaitTick(conversation);
}

void Spy::ended(const SpyMoment &at, uint32_t id, const std::string &how, bool isProblem) {
  const auto found = connections_.find(id);
  Conversation &conversation = *found->second.conversation;
  conversation.end(at);
  console_.ended(at, id, how, isProblem, conversation.counters());
  connections_.erase(found);
}

void Spy::tick() {
  SpyMoment at = now();
  at.micros -= kGrace;
  for (const auto &[id, spied] : connections_) {
    spied.conversation->tick(at);
    awaitTick(*spied.conversation);
  }
}

void Spy::awaitTick(const Conversation &conversation) {
  const auto next = conversation.nextTick();
  if (!next)
    return;
  const uint64_t due = *next + kGrace;
  const uint64_t current = now().micros;
  timer_.startWithin(static_cast<uint32_t>(due > current ? (due - current) / 1000 + 1 : 1));
}

} // namespace velto
