#include "apps/velto/spy/conversation.h"

#include "base/text.h"
#include "secs2/message_table.h"
#include "secs2/transaction.h"
#include "transport/hsms/hsms_frame.h"

#include <algorithm>
#include <numeric>

namespace velto {

namespace {

constexpr size_t kMostOpenTransactions = 10'000;
constexpr uint64_t kNearMissPercent = 80;

std::string nameOf(const CHSecsHeader &header) { return HeaderText(header, HeaderTextMode::Name); }

std::string seconds(uint64_t micros) {
  return formatText("%u.%03u s", static_cast<unsigned>(micros / 1'000'000),
                    static_cast<unsigned>(micros / 1000 % 1000));
}

// "1 s" rather than "1.000 s".
std::string limitText(uint64_t micros) {
  return micros % 1'000'000 == 0 ? std::to_string(micros / 1'000'000) + " s" : seconds(micros);
}

// Reasons of Reject.req (SEMI E37 8.3.21).
const char *rejectReason(uint8_t reason) {
  static constexpr std::array kReasons = {"", "SType not supported", "PType not supported",
                                          "transaction not open", "entity not selected"};
  return reason < kReasons.size() ? kReasons[reason] : "";
}

bool isResponse(const CHSecsHeader &header) {
  const auto type = static_cast<SType>(header.sType());
  return type == SType::SelectRsp || type == SType::DeselectRsp || type == SType::LinktestRsp;
}

} // namespace

const char *toText(SpiedProblemKind kind) {
  static constexpr std::array<const char *, kSpiedProblemKinds> kNames = {
      "unanswered", "near miss",    "late",  "error message", "abort",
      "reject",     "verification", "stray", "line",          "unreadable"};
  return kNames[static_cast<size_t>(kind)];
}

uint64_t SpyCounters::problemCount() const {
  return std::accumulate(problems.begin(), problems.end(), uint64_t{0});
}

Conversation::Conversation(const Settings &settings, Reports reports)
    : settings_(settings), reports_(std::move(reports)),
      blocks_({[this](SpyDirection direction, ByteView message, bool fromEquipment) {
                 fromEquipment_ = fromEquipment ? direction : opposite(direction);
                 received(direction, message, message.size(), now_);
               },
               [this](SpyDirection direction, const std::string &text) {
                 problem(direction, SpiedProblemKind::Line, text, now_);
               }}) {
  slot_.edition = settings_.edition;
}

void Conversation::take(SpyDirection direction, ByteView bytes, const SpyMoment &at) {
  now_ = at;
  started_ = started_ == 0 ? at.micros : started_;
  counters_.bytes[indexOf(direction)] += bytes.size();
  if (settings_.secsI)
    return blocks_.take(direction, bytes, at.micros);
  HsmsStream &stream = frames_[indexOf(direction)];
  stream.take(bytes,
              [&](ByteView message, uint64_t size) { received(direction, message, size, at); });
  if (!stream.readable() && !std::exchange(told_[indexOf(direction)], true))
    problem(direction, SpiedProblemKind::Unreadable,
            "a length that is no HSMS: what follows is passed on and not looked at", at);
}

void Conversation::lost(SpyDirection direction, uint64_t count, const SpyMoment &at) {
  frames_[indexOf(direction)].lost();
  blocks_.lost(direction);
  inTheMiddle_ = true;
  started_ = at.micros;
  forgetAsked(opposite(direction));
  problem(direction, SpiedProblemKind::Unreadable,
          std::to_string(count) + " bytes " + settings_.lost, at);
}

// What was missed may have answered it.
void Conversation::forgetAsked(SpyDirection asker) {
  for (Waiting &waiting : waiting_)
    std::erase_if(waiting, [asker](const Key &key) { return key.direction == asker; });
  std::erase_if(open_, [asker](const auto &each) { return each.first.direction == asker; });
}

void Conversation::beginInTheMiddle() {
  inTheMiddle_ = true;
  for (HsmsStream &stream : frames_)
    stream.lost();
}

void Conversation::received(SpyDirection direction, ByteView bytes, uint64_t size,
                            const SpyMoment &at) {
  slot_.message.Decode(bytes, static_cast<uint32_t>(size));
  const CHSecsHeader header = slot_.message.header;
  ++counters_.messages[indexOf(direction)];
  const auto request = answered(direction, header);
  SpiedMessage message{at, direction, bytes, size, slot_.message, std::nullopt};
  if (request)
    message.latency = at.micros - request->since;
  reports_.message(message);

  if (request)
    judgeLatency(direction, header, *request, *message.latency, at);
  const bool isControl = header.sType() != 0;
  if (isControl)
    judgeControl(direction, header, at);
  else
    judgeData(direction, header, request.has_value(), at);
  if (!isControl)
    judge(direction, bytes.size() == size, at);
  if (isControl ? isControlRequest(header) : awaitsReply(header))
    open({direction, isControl, header.systemBytes}, header, at);
}

// What only one side receives tells which is which. Until then the equipment is whom the connection
// was made to.
void Conversation::learnSides(SpyDirection direction, const CHSecsHeader &header) {
  const MessageRow *row = findMessage(header.stream(), header.function());
  if (fromEquipment_ || row == nullptr || row->of(settings_.edition).side == Side::Both)
    return;
  const bool toHost = row->of(settings_.edition).side == Side::Host;
  fromEquipment_ = toHost ? direction : opposite(direction);
}

void Conversation::judge(SpyDirection direction, bool whole, const SpyMoment &at) {
  const CHSecsHeader header = slot_.message.header;
  learnSides(direction, header);
  if (!whole)
    return;
  slot_.isEquipmentSide = direction != fromEquipment_.value_or(SpyDirection::FromTarget);
  if (std::string finding = slot_.FindingText(true); !finding.empty())
    problem(direction, SpiedProblemKind::Verification, std::move(finding), at, header);
}

void Conversation::open(const Key &key, const CHSecsHeader &header, const SpyMoment &at) {
  if (const auto found = open_.find(key); found != open_.end() && !found->second.expired)
    problem(key.direction, SpiedProblemKind::Stray,
            nameOf(header) + ": its system bytes are those of the open " +
                nameOf(found->second.header),
            at, header);
  close(key);
  Waiting &waiting = this->waiting(key.control);
  open_[key] = {header, at.micros, false, waiting.insert(waiting.end(), key)};
  if (waiting.size() > kMostOpenTransactions)
    expire(waiting.front(), at,
           "no answer, and " + std::to_string(kMostOpenTransactions) + " others wait for theirs");
}

std::optional<Conversation::Open> Conversation::close(const Key &key) {
  const auto found = open_.find(key);
  if (found == open_.end())
    return std::nullopt;
  const Open entry = found->second;
  if (!entry.expired)
    waiting(key.control).erase(entry.place);
  open_.erase(found);
  return entry;
}

// The request that a message answers, which is closed. A stream 9 message and Reject.req name it,
// too, but have no latency of their own.
std::optional<Conversation::Open> Conversation::answered(SpyDirection direction,
                                                         const CHSecsHeader &header) {
  const SpyDirection asker = opposite(direction);
  if (isReject(header)) {
    close({asker, false, header.systemBytes});
    close({asker, true, header.systemBytes});
    return std::nullopt;
  }
  if (header.sType() == 0 && header.stream() == kErrorStream) {
    const auto mhead = readMhead(slot_.message);
    for (const SpyDirection sender : {asker, direction}) // S9F9 is about one's own primary
      if (mhead)
        close({sender, false, mhead->systemBytes});
    return std::nullopt;
  }
  const Key key{asker, header.sType() != 0, header.systemBytes};
  const auto found = open_.find(key);
  if (found == open_.end())
    return std::nullopt;
  const CHSecsHeader &request = found->second.header;
  const bool answers = key.control ? isControlResponse(header, request) : isReply(header, request);
  return answers ? close(key) : std::nullopt;
}

void Conversation::judgeLatency(SpyDirection direction, const CHSecsHeader &header,
                                const Open &primary, uint64_t latency, const SpyMoment &at) {
  ++counters_.replies;
  counters_.totalLatency += latency;
  counters_.mostLatency = std::max(counters_.mostLatency, latency);
  const bool control = header.sType() != 0;
  const uint64_t most = limit(control);
  const std::string timer = control ? "T6" : "T3";
  const std::string took =
      nameOf(header) + " came " + seconds(latency) + " after " + nameOf(primary.header) + ": ";
  if (latency > most)
    problem(direction, SpiedProblemKind::Late, took + timer + " is " + limitText(most), at, header);
  else if (latency * 100 > most * kNearMissPercent)
    problem(direction, SpiedProblemKind::NearMiss,
            took + "near " + timer + " of " + limitText(most), at, header);
}

void Conversation::judgeControl(SpyDirection direction, const CHSecsHeader &header,
                                const SpyMoment &at) {
  const uint8_t code = header.functionByte; // byte 3: a status or a reason
  if (isReject(header)) {
    const std::string reason = rejectReason(code);
    problem(direction, SpiedProblemKind::Reject,
            "RejectReq, reason " + std::to_string(code) + (reason.empty() ? "" : " ") + reason +
                ", system bytes " + std::to_string(header.systemBytes),
            at, header);
  } else if (isResponse(header) && code != 0) {
    problem(direction, SpiedProblemKind::Reject,
            nameOf(header) + ", status " + std::to_string(code), at, header);
  } else if (!header.isControl()) {
    problem(direction, SpiedProblemKind::Unreadable,
            formatText("a message of PType %u and SType %u, which HSMS does not know",
                       header.pType(), header.sType()),
            at, header);
  }
}

void Conversation::judgeData(SpyDirection direction, const CHSecsHeader &header, bool awaited,
                             const SpyMoment &at) {
  if (header.stream() == kErrorStream && header.function() % 2 == 1) {
    const MessageRow *row = findMessage(header.stream(), header.function());
    std::string text = nameOf(header);
    text += row != nullptr ? std::string(" ") + row->name : "";
    if (const auto mhead = readMhead(slot_.message))
      text += ": " + nameOf(*mhead) + ", system bytes " + std::to_string(mhead->systemBytes);
    return problem(direction, SpiedProblemKind::ErrorMessage, std::move(text), at, header);
  }
  if (header.function() == 0)
    return problem(direction, SpiedProblemKind::Abort,
                   nameOf(header) + ", system bytes " + std::to_string(header.systemBytes) +
                       ": the transaction was aborted",
                   at, header);
  const bool knowsAll = !inTheMiddle_ || at.micros - started_ > settings_.t3;
  if (header.function() % 2 == 0 && !awaited && knowsAll)
    problem(direction, SpiedProblemKind::Stray,
            nameOf(header) + ", system bytes " + std::to_string(header.systemBytes) +
                ": nothing awaits this reply",
            at, header);
}

// It stays, to be known when its answer comes late after all; but not for ever.
void Conversation::expire(const Key &key, const SpyMoment &now, const std::string &how) {
  Open &entry = open_.at(key);
  entry.expired = true;
  const Key kept = key; // which stands in the list
  waiting(kept.control).erase(entry.place);
  problem(kept.direction, SpiedProblemKind::Unanswered,
          nameOf(entry.header) + ", system bytes " + std::to_string(kept.systemBytes) + ": " + how,
          now, entry.header);
  if (open_.size() > 3 * kMostOpenTransactions)
    std::erase_if(open_, [](const auto &candidate) { return candidate.second.expired; });
}

void Conversation::tick(const SpyMoment &now) {
  for (const bool control : {false, true}) {
    const Waiting &waiting = this->waiting(control);
    const uint64_t most = limit(control);
    while (!waiting.empty() && open_.at(waiting.front()).since + most < now.micros)
      expire(waiting.front(), now,
             std::string(control ? "no response within T6 of " : "no reply within T3 of ") +
                 limitText(most));
  }
}

std::optional<uint64_t> Conversation::nextTick() const {
  std::optional<uint64_t> next;
  for (const Waiting &waiting : waiting_)
    if (!waiting.empty()) {
      const Key &first = waiting.front();
      const uint64_t due = open_.at(first).since + limit(first.control) + 1;
      next = std::min(next.value_or(due), due);
    }
  return next;
}

void Conversation::end(const SpyMoment &at) {
  for (const bool control : {false, true})
    while (!waiting(control).empty()) {
      const Key &first = waiting(control).front();
      expire(first, at,
             "no answer before the connection ended, " +
                 seconds(at.micros - open_.at(first).since) + " later");
    }
  for (const SpyDirection direction : {SpyDirection::ToTarget, SpyDirection::FromTarget})
    if (frames_[indexOf(direction)].isInside())
      problem(direction, SpiedProblemKind::Unreadable,
              "the connection ended in the middle of a message", at);
}

void Conversation::problem(SpyDirection direction, SpiedProblemKind kind, std::string text,
                           const SpyMoment &at, std::optional<CHSecsHeader> header) {
  ++counters_.problems[static_cast<size_t>(kind)];
  reports_.problem({at, direction, kind, std::move(text), header});
}

} // namespace velto
