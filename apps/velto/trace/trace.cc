#include "apps/velto/trace/trace.h"

#include <ctime>

namespace velto {

namespace {

constexpr uint64_t kTick = 100'000; // microseconds
// So long a reply may wait for what comes before it, see TcpFlow.
constexpr uint64_t kReplyPatience = 1'000'000;

SpyMoment momentOf(uint64_t micros) {
  const auto seconds = static_cast<time_t>(micros / 1'000'000);
  tm fields{};
  localtime_r(&seconds, &fields);
  SpyMoment at{micros, {}, micros};
  at.local.year = static_cast<uint16_t>(fields.tm_year + 1900);
  at.local.month = static_cast<uint16_t>(fields.tm_mon + 1);
  at.local.dayOfWeek = static_cast<uint16_t>(fields.tm_wday);
  at.local.day = static_cast<uint16_t>(fields.tm_mday);
  at.local.hour = static_cast<uint16_t>(fields.tm_hour);
  at.local.minute = static_cast<uint16_t>(fields.tm_min);
  at.local.second = static_cast<uint16_t>(fields.tm_sec);
  at.local.milliseconds = static_cast<uint16_t>(micros / 1000 % 1000);
  return at;
}

std::string textOf(const TcpEnd &end) { return end.host() + ':' + std::to_string(end.port); }

// Who listens: whom the first segment is to; in the middle of a connection, who has the lower port.
bool isToListener(const TcpSegment &segment) {
  if (segment.syn)
    return !segment.acknowledges;
  return segment.to.port < segment.from.port;
}

} // namespace

class Trace::Connection {
public:
  Connection(Trace &trace, const TcpSegment &first)
      : opener_(isToListener(first) ? first.from : first.to),
        listener_(isToListener(first) ? first.to : first.from), trace_(trace), middle_(!first.syn),
        guess_(std::make_unique<ProtocolGuess>(middle_)),
        flow_(
            {[this](size_t from, ByteView bytes, uint64_t micros) { passed(from, bytes, micros); },
             [this](size_t from, uint64_t count, uint64_t micros) { lost(from, count, micros); }}) {
  }

  void take(const TcpSegment &segment, uint64_t micros) {
    if (ended_)
      return; // its last acknowledge, or what was sent again
    began_ |= !segment.syn || segment.acknowledges;
    flow_.take(segment.from == opener_ ? 0 : 1, segment, micros);
    if (segment.reset) {
      flow_.finish();
      end(std::max(micros, flow_.lastTime()), "reset by " + textOf(segment.from), true);
    } else if (flow_.ended()) {
      end(flow_.lastTime(), "closed by " + textOf(flow_.endedBy() == 0 ? opener_ : listener_),
          false);
    }
  }
  // The capture, or what it has of this connection, is over: what is open may go on.
  void leave(const std::string &how) {
    flow_.finish();
    if (conversation_ && !ended_)
      trace_.console_.ended(momentOf(flow_.lastTime()), id_, how, false, conversation_->counters());
    forget();
  }
  void tick(const SpyMoment &at) {
    if (conversation_)
      conversation_->tick(at);
  }
  // The opener has been answered, so that another opening is another connection.
  bool began() const { return began_; }

private:
  void passed(size_t from, ByteView bytes, uint64_t micros) {
    const auto direction = static_cast<SpyDirection>(from);
    if (conversation_)
      conversation_->take(direction, bytes, momentOf(micros));
    else if (guess_)
      learn({direction, Bytes(bytes.begin(), bytes.end()), 0, micros});
  }
  void lost(size_t from, uint64_t count, uint64_t micros) {
    const auto direction = static_cast<SpyDirection>(from);
    if (conversation_)
      conversation_->lost(direction, count, momentOf(micros));
    else if (guess_)
      learn({direction, {}, count, micros});
  }

  void learn(ProtocolGuess::Piece piece) {
    const auto protocol = guess_->take(std::move(piece));
    if (protocol == ProtocolGuess::Protocol::Unknown)
      return;
    const auto guess = std::move(guess_); // now decided
    if (protocol == ProtocolGuess::Protocol::Other)
      return;
    begin(protocol == ProtocolGuess::Protocol::SecsI, guess->kept().front().micros);
    for (const ProtocolGuess::Piece &each : guess->kept()) {
      if (each.lost != 0)
        conversation_->lost(each.direction, each.lost, momentOf(each.micros));
      if (!each.bytes.empty())
        conversation_->take(each.direction, each.bytes, momentOf(each.micros));
    }
  }

  void begin(bool secsI, uint64_t micros) {
    id_ = ++trace_.shownCount_;
    Conversation::Settings settings = trace_.settings_;
    settings.secsI = secsI;
    settings.lost = "are missing in the capture";
    conversation_ = std::make_unique<Conversation>(
        settings, Conversation::Reports{
                      [this](const SpiedMessage &seen) { trace_.console_.message(id_, seen); },
                      [this](const SpiedProblem &seen) { trace_.console_.problem(id_, seen); }});
    trace_.console_.opened(momentOf(micros), id_, opener_.host(), opener_.port, textOf(listener_));
    if (middle_)
      conversation_->beginInTheMiddle();
  }

  void end(uint64_t micros, const std::string &how, bool isProblem) {
    if (conversation_ && !ended_) {
      conversation_->end(momentOf(micros));
      trace_.console_.ended(momentOf(micros), id_, how, isProblem, conversation_->counters());
    }
    forget();
  }

  void forget() {
    ended_ = true;
    guess_.reset();
    conversation_.reset();
  }

  const TcpEnd opener_;
  const TcpEnd listener_;
  Trace &trace_;
  const bool middle_;
  bool began_ = false;
  bool ended_ = false;
  uint32_t id_ = 0;
  std::unique_ptr<ProtocolGuess> guess_; // until it is known what this is
  std::unique_ptr<Conversation> conversation_;
  TcpFlow flow_;
};

Trace::Trace(SpyConsole &console, const Conversation::Settings &settings)
    : console_(console), settings_(settings) {}

Trace::~Trace() = default;

// One that has ended stays until another takes its place.
void Trace::take(const TcpSegment &segment, uint64_t micros) {
  const Key key = std::minmax(segment.from, segment.to);
  auto found = connections_.find(key);
  const bool opens = segment.syn && !segment.acknowledges;
  if (found != connections_.end() && opens && found->second->began()) {
    found->second->leave("another connection follows");
    connections_.erase(found);
    found = connections_.end();
  }
  if (found == connections_.end()) {
    if (!segment.syn && segment.data.empty())
      return;
    found = connections_.emplace(key, std::make_unique<Connection>(*this, segment)).first;
    ++connectionCount_;
  }
  found->second->take(segment, micros);
  if (micros > ticked_ + kTick)
    tick(micros);
}

void Trace::tick(uint64_t micros) {
  ticked_ = micros;
  const SpyMoment at = momentOf(micros - std::min(micros, kReplyPatience));
  for (const auto &[key, connection] : connections_)
    connection->tick(at);
}

void Trace::finish() {
  for (const auto &[key, connection] : connections_)
    connection->leave("the capture ends");
  connections_.clear();
}

} // namespace velto
