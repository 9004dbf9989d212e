#pragma once

#include "base/lifetime.h"
#include "controls/gem_ctrl_requests.h"
#include "platform/event_loop.h"

#include <cstdint>
#include <functional>
#include <list>
#include <optional>
#include <vector>

namespace velto {

/// Primaries that were sent with someone waiting for the reply. Who waits hears exactly once, as
/// soon as the transaction is known to have ended, and never inside Send().
///
/// What ends is taken out first and told afterwards: by then the control, and this, may be gone.
class GemRequests {
public:
  using Handler = std::function<void(const GemReply &)>;
  /// A request that has ended, and who is to be told.
  struct Ended {
    Handler handler;
    GemReply reply;
  };
  static void tell(const std::vector<Ended> &ended);
  /// What a control that goes answers.
  static GemReply goneReply();

  explicit GemRequests(EventLoop &loop);

  /// Sends a primary and waits `limit` ms for its reply (0: T3). `problem`: why it is not to be
  /// sent; empty when it is.
  void Send(CHGemEngine &engine, CHSecsMessage &&primary, std::string problem, uint32_t limit,
            Handler handler);

  /// A message went out.
  void sent(const CHSecsHeader &header);
  /// A message came: the request that it ends. Who asked may have stopped waiting; the reply is to
  /// be handled by the model all the same.
  std::optional<Ended> answered(const CHSecsMessage &message);
  /// A request ended without a reply: what its header says, or its system bytes.
  std::vector<Ended> unanswered(const CHSecsHeader &primary, GemOutcome outcome);
  std::vector<Ended> unanswered(uint32_t systemBytes, GemOutcome outcome);
  /// All of them end.
  std::vector<Ended> end(GemOutcome outcome);
  /// So does this. What is sent from now on is not, and nobody hears of it.
  std::vector<Ended> close();
  bool closed() const { return closed_; }

private:
  struct Entry {
    uint64_t number;
    CHSecsHeader primary;
    bool out = false;                 // it was sent; `primary` is its header as it went out
    uint32_t since;                   // tick
    uint32_t limit;                   // ms that the handler waits
    uint32_t lifetime;                // ms after which nothing comes any more
    Handler handler;                  // empty: nobody waits any more
    std::optional<GemOutcome> failed; // it is not on its way
    std::string problem;              // why not, where the outcome does not tell
  };
  using Entries = std::list<Entry>;

  template <typename Which> std::vector<Ended> take(Which which, GemOutcome outcome);
  void arm();
  void expire();

  EventLoop &loop_;
  Lifetime lifetime_;
  Entries entries_;
  uint64_t count_ = 0;
  std::optional<uint64_t> sending_; // number of the entry that is being sent
  bool closed_ = false;
  Timer timer_;
};

} // namespace velto
