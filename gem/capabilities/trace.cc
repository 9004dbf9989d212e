#include "gem/capabilities/trace.h"

#include "gem/data/list_text.h"
#include "gem/messages/items.h"
#include "gem/messages/reply.h"
#include "gem/messages/variables.h"
#include "gem/models/equipment_clock.h"
#include "transport/link/deadline.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <utility>

namespace velto {

namespace {

constexpr uint8_t kTraceRequest = 23;
constexpr size_t kMostValuesAtOnce = 50'000; // in one tick: others are to be served too
constexpr size_t kReportHead = 64;           // bytes of S6F1 beside TRID and values, at the most

// A number that came in whatever format; nothing when it is none, or below 0 or beyond U4.
std::optional<uint32_t> wholeNumber(const CHSecsItem &item) {
  const std::string text = valueText(item, ValueForm::Decimal);
  const std::string_view digits = trim(text);
  uint32_t value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  const bool whole = error == std::errc() && end == digits.data() + digits.size();
  return whole ? std::optional(value) : std::nullopt;
}

// DSPER in ms: hhmmss, or hhmmsscc with hundredths of a second. Nothing for a period of 0 and for
// what is no such time.
std::optional<uint32_t> periodOf(std::string_view text) {
  if ((text.size() != 6 && text.size() != 8) ||
      text.find_first_not_of("0123456789") != std::string_view::npos)
    return std::nullopt;
  const auto field = [text](size_t at) {
    return at < text.size() ? static_cast<uint32_t>(decimal32(text.substr(at, 2))) : 0;
  };
  const uint32_t minutes = field(2);
  const uint32_t seconds = field(4);
  const uint32_t period = ((field(0) * 60 + minutes) * 60 + seconds) * 1000 + field(6) * 10;
  return minutes < 60 && seconds < 60 && period != 0 ? std::optional(period) : std::nullopt;
}

// The variables that S2F23 names: items of a list, the elements of one array, or one text.
std::optional<std::vector<uint32_t>> tracedVariables(const CHGemEventVidList &variables,
                                                     const CHSecsItem &item) {
  const bool isText = item.format() == format::kAscii;
  const NamedIdentifiers named(item, E5Edition::Current);
  std::vector<uint32_t> vids = isText ? std::vector<uint32_t>{} : numbersOf(named);
  if (const auto vid = isText ? identifierOf(item) : std::nullopt)
    vids.push_back(*vid);
  const auto isOne = [](const CHSecsItem &svid) {
    return svid.format() == format::kAscii || (!svid.isList() && svid.count() == 1);
  };
  const auto isKnown = [&variables](uint32_t vid) {
    return findOfKind(variables, vid, StatusVariable) != nullptr;
  };
  const bool known = vids.size() == (isText ? 1 : named.size()) && !vids.empty() &&
                     std::ranges::all_of(item.children(), isOne) &&
                     std::ranges::all_of(vids, isKnown);
  return known ? std::optional(std::move(vids)) : std::nullopt;
}

size_t roomFor(const CHSecsItem &trid) {
  const size_t taken = CHSecsHeader::kSize + kReportHead + bytesOf(trid);
  return CHSecsMessage::kMaxEncodedSize - std::min(taken, CHSecsMessage::kMaxEncodedSize);
}

} // namespace

void CHGemTrace::addSettings(SettingList &settings) {
  settings.section("Trace");
  settings.rareInteger("MaxTraces", mostTraces_, kMostTraces);
  settings.rareInteger("MaxTraceVariables", mostVariables_, kMostVariables);
  settings.rareFlag("TraceReplies", wantsReplies_, false);
}

// Requests --------------------------------------------------------------------------------------

bool CHGemTrace::OnReceive(CHSecsVerifier &slot) {
  const CHSecsHeader &header = slot.message.header;
  if (owner().isHost() || slot.result != VerificationCorrect || header.stream() != 2 ||
      header.function() != kTraceRequest)
    return false;
  rebuildReply(slot, numberItem(begin(slot.message), format::kBinary));
  return true;
}

// A trace of that name is replaced; without samples it only ends.
CHGemTrace::Answer CHGemTrace::begin(const CHSecsMessage &request) {
  const CHSecsItem &trid = childOf(request.root, 1);
  Trace trace{.name = valueText(trid, ValueForm::Decimal), .trid = trid.clone()};
  const bool ends = wholeNumber(childOf(request.root, 3)) == 0U;
  if (!ends)
    if (const Answer fault = define(request, trace); fault != Accepted)
      return fault;
  end(trace.name);
  if (!ends)
    traces_.push_back(std::move(trace));
  return Accepted;
}

CHGemTrace::Answer CHGemTrace::define(const CHSecsMessage &request, Trace &trace) const {
  const CHSecsItem &svids = childOf(request.root, 5);
  const bool isOneText = svids.format() == format::kAscii;
  if (!isOneText && std::cmp_greater(svids.count(), mostVariables_))
    return TooManyVariables;
  const bool replaces = std::ranges::find(traces_, trace.name, &Trace::name) != traces_.end();
  if (std::cmp_greater_equal(traces_.size() - (replaces ? 1 : 0), mostTraces_))
    return NoMoreTraces;
  const auto period = periodOf(valueText(childOf(request.root, 2), ValueForm::Decimal));
  if (!period)
    return BadPeriod;
  auto vids = tracedVariables(data().variables, svids);
  if (!vids)
    return NoSuchVariable;
  const auto samples = wholeNumber(childOf(request.root, 3));
  const auto groupSize = wholeNumber(childOf(request.root, 4));
  if (!samples || !groupSize || *groupSize == 0 || *groupSize > *samples ||
      sample(*vids, roomFor(trace.trid) / *groupSize).size() > roomFor(trace.trid) / *groupSize)
    return BadGroupSize;
  trace.vids = std::move(*vids);
  trace.period = *period;
  trace.due = owner().clock().ticks() + *period;
  trace.samples = *samples;
  trace.groupSize = *groupSize;
  return Accepted;
}

void CHGemTrace::end(std::string_view name) {
  std::erase_if(traces_, [name](const Trace &trace) { return trace.name == name; });
}

void CHGemTrace::OnVariableChanged(uint32_t) {
  if (!traces_.empty() && !isOnline(owner().controlState()))
    traces_.clear();
}

// Samples ---------------------------------------------------------------------------------------

// The values now, encoded one behind the other; of a variable that has gone an empty list, as the
// host gets for an unknown one. More than `most` bytes are not collected: a short request may name
// a long value any number of times.
Bytes CHGemTrace::sample(std::span<const uint32_t> vids, size_t most) const {
  Bytes bytes;
  std::map<uint32_t, CHSecsItem> longValues; // which their variables do not keep
  const auto append = [&bytes](const CHSecsItem &item) {
    const size_t at = bytes.size();
    bytes.resize(at + EncodedItemSize(item).value_or(0));
    EncodeItem(item, bytes.data() + at);
  };
  for (const uint32_t vid : vids) {
    if (bytes.size() > most)
      return bytes;
    const CHGemEventVid *variable = findOfKind(data().variables, vid, StatusVariable);
    if (const CHSecsItem *item = variable == nullptr ? nullptr : variable->parsedValue()) {
      append(*item);
      continue;
    }
    const auto [value, isFirst] = longValues.try_emplace(vid);
    if (isFirst)
      value->second = variable == nullptr ? listItem() : itemFromSml(variable->rawValue());
    append(value->second);
  }
  return bytes;
}

// The trace whose sample is due longest; null when none is due.
CHGemTrace::Trace *CHGemTrace::nextDue() {
  const uint32_t now = owner().clock().ticks();
  const auto overdue = [now](const Trace &trace) { return static_cast<int32_t>(now - trace.due); };
  const auto longest = std::ranges::max_element(traces_, {}, overdue);
  return longest == traces_.end() || overdue(*longest) < 0 ? nullptr : &*longest;
}

// A group that has no room for the next sample any more, because values have grown, goes out before
// it; the sample is still due.
CHGemTrace::Sampled CHGemTrace::takeSample(Trace &trace) {
  host().beforeSampling(trace.vids);
  const Bytes values = sample(trace.vids, roomFor(trace.trid));
  if (trace.group.size() + values.size() > roomFor(trace.trid))
    return trace.grouped == 0 ? Sampled::DoesNotFit : Sampled::GroupIsWhole;
  trace.group.insert(trace.group.end(), values.begin(), values.end());
  trace.due += trace.period;
  ++trace.grouped;
  if (++trace.taken == trace.samples)
    return Sampled::TraceIsOver;
  return trace.grouped == trace.groupSize ? Sampled::GroupIsWhole : Sampled::Kept;
}

// S6F1 of the group, which begins anew.
CHSecsItem CHGemTrace::report(Trace &trace) const {
  CHSecsItem values = listItem();
  values.reserveChildren(trace.vids.size() * trace.grouped);
  const Bytes group = std::exchange(trace.group, {});
  trace.grouped = 0;
  for (ByteView rest = group; !rest.empty();)
    rest = rest.subspan(DecodeItem(values.appendChild(), rest));
  return listItem(trace.trid.clone(), numberItem(trace.taken),
                  textItem(currentTimeText(owner(), data())), std::move(values));
}

bool CHGemTrace::send(CHSecsItem body) {
  CHSecsMessage message;
  message.header.Reset(6, 1);
  message.header.setWbit(wantsReplies_ || owner().edition() == E5Edition::Early);
  message.root = std::move(body);
  return owner().Send(std::move(message));
}

// Whatever is sent is reported to the host application, which may end or begin traces then: they
// are looked at anew. A partner that does not take the data gets no more of them.
void CHGemTrace::Tick() {
  for (size_t left = kMostValuesAtOnce; left > 0;) {
    Trace *trace = nextDue();
    if (trace == nullptr)
      return;
    left -= std::min(left, trace->vids.size());
    const Sampled sampled = takeSample(*trace);
    if (sampled == Sampled::Kept)
      continue;
    const std::string name = trace->name;
    CHSecsItem body = report(*trace);
    if (sampled == Sampled::TraceIsOver || sampled == Sampled::DoesNotFit)
      end(name);
    const bool sent = sampled != Sampled::DoesNotFit && send(std::move(body));
    if (sent)
      continue;
    end(name);
    host().reportFailure("The trace " + name + " has ended: its data could not be sent.");
  }
}

std::optional<uint32_t> CHGemTrace::NextTick() const {
  const uint32_t now = owner().clock().ticks();
  std::optional<uint32_t> next;
  for (const Trace &trace : traces_) {
    const auto wait = static_cast<int32_t>(trace.due - now);
    next = sooner(next, milliseconds(wait));
  }
  return next;
}

void CHGemTrace::addStatus(TreeNode &parent) const {
  TreeNode &branch = parent.add(countedTitle("Traces", traces_.size()));
  for (const Trace &trace : traces_)
    branch.add(trace.name + " : " + std::to_string(trace.taken) + " of " +
               std::to_string(trace.samples) + " samples");
}

} // namespace velto
