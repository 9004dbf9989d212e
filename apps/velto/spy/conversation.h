#pragma once

#include "apps/velto/spy/hsms_stream.h"
#include "apps/velto/spy/moment.h"
#include "apps/velto/spy/secsi_streams.h"
#include "secs2/message.h"
#include "secs2/verifier.h"

#include <array>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace velto {

/// A message that went through a connection.
struct SpiedMessage {
  SpyMoment at;
  SpyDirection direction = SpyDirection::ToTarget;
  ByteView bytes;    ///< header and body, of a very long one the beginning; the header as in HSMS
  uint64_t size = 0; ///< of the whole
  const CHSecsMessage &message;
  std::optional<uint64_t> latency; ///< of an answer: microseconds since what it answers
};

enum class SpiedProblemKind : uint8_t {
  Unanswered,   ///< no reply within T3, no response within T6, or none until the end
  NearMiss,     ///< a reply that took more than 80 % of T3
  Late,         ///< a reply after T3
  ErrorMessage, ///< stream 9
  Abort,        ///< SxF0
  Reject,       ///< Reject.req, or a response that declines
  Verification, ///< a message that is not what SEMI E5 says
  Stray,        ///< a reply that nothing awaits; system bytes that are in use
  Line,         ///< SECS-I: a block that was refused, repeated or is out of order
  Unreadable,   ///< the bytes are no HSMS, or were not looked at
};
inline constexpr size_t kSpiedProblemKinds = 10;
/// "unanswered", "near miss" and so on.
const char *toText(SpiedProblemKind kind);

struct SpiedProblem {
  SpyMoment at;
  SpyDirection direction = SpyDirection::ToTarget; ///< of what it is about
  SpiedProblemKind kind = SpiedProblemKind::Unanswered;
  std::string text;
  std::optional<CHSecsHeader> header; ///< of the message that it is about
};

/// What a conversation has seen.
struct SpyCounters {
  std::array<uint64_t, 2> messages{}; ///< by direction
  std::array<uint64_t, 2> bytes{};
  std::array<uint64_t, kSpiedProblemKinds> problems{};
  uint64_t replies = 0;
  uint64_t totalLatency = 0; ///< microseconds, of the replies
  uint64_t mostLatency = 0;

  uint64_t problemCount() const;
};

/// Follows one connection from the bytes of both ends: messages, which answers which and how long
/// it took, and what is wrong. It knows no clock and no connection: who has the bytes tells when
/// they were seen, in the order in which they were.
class Conversation {
public:
  struct Settings {
    bool secsI = false;
    E5Edition edition = E5Edition::Current;
    uint64_t t3 = 45'000'000; ///< microseconds
    uint64_t t6 = 5'000'000;
    const char *lost = "were not looked at"; ///< what became of bytes that are missing
  };
  struct Reports {
    std::function<void(const SpiedMessage &)> message;
    std::function<void(const SpiedProblem &)> problem;
  };

  Conversation(const Settings &settings, Reports reports);
  Conversation(const Conversation &) = delete;
  Conversation &operator=(const Conversation &) = delete;

  void take(SpyDirection direction, ByteView bytes, const SpyMoment &at);
  /// So many bytes of this direction are missing here.
  void lost(SpyDirection direction, uint64_t count, const SpyMoment &at);
  /// It is not known what was said before: nothing that depends on it is a problem.
  void beginInTheMiddle();
  /// Reports what has no answer by then.
  void tick(const SpyMoment &now);
  /// When tick() has something to do next, in microseconds.
  std::optional<uint64_t> nextTick() const;
  /// Nothing comes any more: what is open stays unanswered.
  void end(const SpyMoment &at);

  const SpyCounters &counters() const { return counters_; }

private:
  // What is open, by the direction of the request and its system bytes. Control and data
  // transactions have system bytes of their own.
  struct Key {
    SpyDirection direction;
    bool control;
    uint32_t systemBytes;
    auto operator<=>(const Key &) const = default;
  };
  using Waiting = std::list<Key>; // the open ones of a kind, in the order in which they began
  struct Open {
    CHSecsHeader header;
    uint64_t since = 0;
    bool expired = false; // reported, and no longer waiting
    Waiting::iterator place{};
  };

  void received(SpyDirection direction, ByteView bytes, uint64_t size, const SpyMoment &at);
  void judge(SpyDirection direction, bool whole, const SpyMoment &at);
  void learnSides(SpyDirection direction, const CHSecsHeader &header);
  void open(const Key &key, const CHSecsHeader &header, const SpyMoment &at);
  std::optional<Open> answered(SpyDirection direction, const CHSecsHeader &header);
  std::optional<Open> close(const Key &key);
  void forgetAsked(SpyDirection asker);
  Waiting &waiting(bool control) { return waiting_[control ? 1 : 0]; }
  void judgeLatency(SpyDirection direction, const CHSecsHeader &header, const Open &primary,
                    uint64_t latency, const SpyMoment &at);
  void judgeControl(SpyDirection direction, const CHSecsHeader &header, const SpyMoment &at);
  void judgeData(SpyDirection direction, const CHSecsHeader &header, bool awaited,
                 const SpyMoment &at);
  void expire(const Key &key, const SpyMoment &now, const std::string &how);
  uint64_t limit(bool control) const { return control ? settings_.t6 : settings_.t3; }
  void problem(SpyDirection direction, SpiedProblemKind kind, std::string text, const SpyMoment &at,
               std::optional<CHSecsHeader> header = std::nullopt);

  const Settings settings_;
  const Reports reports_;
  std::array<HsmsStream, 2> frames_;
  std::array<bool, 2> told_{}; // that the bytes are unreadable
  SecsIStreams blocks_;
  SpyMoment now_;       // of the bytes that are looked at
  CHSecsVerifier slot_; // holds the message that is looked at
  std::optional<SpyDirection> fromEquipment_;
  uint64_t started_ = 0;
  bool inTheMiddle_ = false;
  std::map<Key, Open> open_;
  std::array<Waiting, 2> waiting_; // of data and control
  SpyCounters counters_;
};

} // namespace velto
