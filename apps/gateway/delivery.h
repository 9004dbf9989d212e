#pragma once

#include "apps/gateway/latency.h"
#include "apps/gateway/outbox.h"
#include "apps/gateway/sink.h"

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>

namespace velto::gateway {

/// The way of publications from the tools to the sink. A publication is acknowledged to its tool
/// when it stands flushed in the outbox; without an outbox when the sink has it safe. What came in
/// a turn of the loop is one transaction.
///
/// When the outbox is nearly full acknowledges are held back, so that tools spool; when it is full
/// the oldest publications are dropped and counted.
class Delivery final : private Sink::Owner {
public:
  using Acknowledge = std::function<void()>;

  struct Events {
    std::function<void(const std::string &topic, const std::string &payload)> requested;
    std::function<void(const std::string &text)> told;     ///< what people should know
    std::function<void(const std::string &reason)> failed; ///< the program is to end
    std::function<void(bool holds)> holding;               ///< acknowledges are held back, or not
  };
  struct Counters {
    uint64_t posted = 0;
    uint64_t delivered = 0;
    uint64_t waiting = 0;
    uint64_t waitingBytes = 0;
    uint64_t dropped = 0; ///< by the outbox for want of room or by age, and by the sink; ever
    uint64_t refused = 0; ///< left with the tool, for want of memory
    bool connected = false;
    bool holding = false;
  };

  Delivery(EventLoop &loop, const OutConfig &out, Events events);
  ~Delivery() override;

  /// What is wrong, or nothing.
  std::string open();
  /// All that came has been stored, or is with the sink.
  bool settled() const { return incoming_.empty(); }
  /// Lets what waits go out, for so many milliseconds at the most.
  void close(uint32_t patience);

  /// The next sequence number of a tool. They rise over restarts; with an outbox by one. Nothing
  /// when there is no room for what it is to number, which stays with the tool then.
  std::optional<uint64_t> nextSequence(const std::string &tool);
  /// The number was not needed.
  void giveBackSequence(const std::string &tool) { --sequences_[tool]; }
  void post(Publication &&publication, Acknowledge acknowledge);
  /// The state of something, of which the latest counts: it is told again whenever the sink begins
  /// anew, but for the last one of something that is no concern of this gateway any more.
  void setState(Publication &&state, bool last = false);
  void subscribe(const std::string &topic);

  /// Acknowledges are held back now, or wait for a sink that is away.
  bool holds() const { return holds_ || (outbox_ == nullptr && !connected_); }
  Counters counters() const;
  Latencies &latencies() { return latencies_; }

private:
  using Instant = std::chrono::steady_clock::time_point;
  struct Entry : Outbox::Entry {
    Acknowledge acknowledge;
    Instant since;
  };
  struct UnderWay {
    uint64_t bytes = 0;
    Acknowledge acknowledge;
    Instant since;
    bool isState = false;
  };

  // Sink::Owner
  void delivered(uint64_t id) override;
  void sinkReady(bool afresh) override;
  void sinkLost(const std::string &reason) override;
  void requested(const std::string &topic, const std::string &payload) override;
  void undeliverable(uint64_t id, const std::string &reason) override;
  void sinkFailed(const std::string &reason) override;

  void work();
  void clean();
  bool store();
  bool storeAll();
  bool makeRoom();
  void storedNow();
  void acknowledge(std::vector<Acknowledge> &&ready);
  void tellDrops();
  void checkHolding();
  void pump();
  void pumpStates();
  void refill();
  void enqueue(Entry &&entry);
  void publish(Entry &&entry);
  void settle(std::map<uint64_t, UnderWay>::iterator at);

  EventLoop &loop_;
  const OutConfig out_;
  const Events events_;
  std::unique_ptr<Sink> sink_;
  std::unique_ptr<Outbox> outbox_;
  Timer worker_;  ///< works at the end of a turn of the loop
  Timer cleaner_; ///< has what is delivered taken from the outbox
  Timer ager_;    ///< looks for what is too old
  bool clean_ = false;
  bool connected_ = false;
  std::set<std::string> lossesTold_; ///< why the sink has been away since it was there
  bool storeFailed_ = false;
  bool closing_ = false;
  uint64_t lastId_ = 0;
  std::map<std::string, uint64_t> sequences_;
  std::set<std::string> moved_; ///< tools whose sequence number is to be stored
  std::vector<Entry> incoming_; ///< to be stored
  std::deque<Entry> queue_;     ///< to be given to the sink
  bool more_ = false;           ///< behind the queue there is more in the outbox
  uint64_t queueEnd_ = 0;       ///< the ID that the queue has reached
  uint64_t unstoredBytes_ = 0;
  uint64_t loadedBytes_ = 0; ///< of the queue and of what is under way
  std::map<uint64_t, UnderWay> underWay_;
  std::vector<std::pair<uint64_t, uint64_t>> done_; ///< IDs with bytes, to be taken from the outbox
  std::deque<Acknowledge> held_;
  bool holds_ = false;
  struct State {
    Publication publication;
    bool last = false;
  };
  std::map<std::string, State> states_;
  std::set<std::string> changed_; ///< topics of states that the sink does not have
  uint64_t lost_ = 0;             ///< the ID up to which the outbox has dropped
  uint64_t stateId_ = 0;          ///< of the state that was told last; from the top down
  uint64_t storedCount_ = 0;
  uint64_t storedBytes_ = 0;
  uint64_t storedDropped_ = 0;
  uint64_t seenLost_ = 0;
  bool toldDrops_ = false;
  Counters counters_;
  Latencies latencies_;
};

} // namespace velto::gateway
