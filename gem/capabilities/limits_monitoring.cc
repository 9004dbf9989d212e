#include "gem/capabilities/limits_monitoring.h"

#include "gem/data/list_text.h"
#include "gem/data/number_text.h"
#include "gem/messages/items.h"
#include "gem/messages/reply.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <set>
#include <utility>

namespace velto {

namespace {

constexpr uint8_t kDefineLimits = 45;
constexpr uint8_t kLimitAttributes = 47;
constexpr uint8_t kMostLimits = 7;
constexpr uint8_t kDefinitionError = 1; // VLAACK
constexpr size_t kMostFaultsTold = 1000;
constexpr size_t kLongestNumberText = 64;
constexpr ArchiveClass kWatchedClass{"CHGemWatched", 1};
constexpr ArchiveClass kLimitClass{"CHGemLimit", 1};
constexpr size_t kSmallestWatched = 10; // bytes
constexpr size_t kSmallestLimit = 5;

// What a crossing sets: these cannot have limits of their own, which would never come to rest.
bool isOfCrossings(uint8_t role) {
  return role == RoleLimitVariable || role == RoleEventLimit || role == RoleTransitionType;
}

bool isBoolean(uint8_t code) { return formatInfo(code).kind == ElementKind::Boolean; }

std::string encodedText(const CHSecsItem &item) {
  std::string bytes(bytesOf(item), '\0');
  EncodeItem(item, reinterpret_cast<uint8_t *>(bytes.data()));
  return bytes;
}

CHSecsItem decodedText(std::string_view bytes) {
  CHSecsItem item;
  DecodeItem(item, {reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()});
  return item;
}

} // namespace

// Numbers ---------------------------------------------------------------------------------------

// The first element of an array of numbers.
std::optional<CHGemLimits::Number> CHGemLimits::numberIn(const CHSecsItem &item) {
  if (item.isList() || item.count() == 0)
    return std::nullopt;
  switch (item.format()) {
  case format::kBoolean:
  case format::kU1:
    return item.element<uint8_t>(0);
  case format::kU2:
    return item.element<uint16_t>(0);
  case format::kU4:
    return item.element<uint32_t>(0);
  case format::kU8:
    return static_cast<Number>(item.element<uint64_t>(0));
  case format::kI1:
    return item.element<int8_t>(0);
  case format::kI2:
    return item.element<int16_t>(0);
  case format::kI4:
    return item.element<int32_t>(0);
  case format::kI8:
    return static_cast<Number>(item.element<int64_t>(0));
  case format::kF4:
    return item.element<float>(0);
  case format::kF8:
    return static_cast<Number>(item.element<double>(0));
  default:
    return std::nullopt;
  }
}

// A boundary as the variable's type states it, so that it is held against values of the same kind.
CHGemLimits::Number CHGemLimits::rounded(uint8_t nodeType, Number number) {
  switch (formatOf(nodeType)) {
  case format::kF4:
    return static_cast<float>(number);
  case format::kF8:
    return static_cast<double>(number);
  default:
    return number;
  }
}

// UPPERDB or LOWERDB: one finite number, also as a text. Returns its LimitFault, or 0.
uint8_t CHGemLimits::readBoundary(const CHSecsItem &item, uint8_t nodeType, Number &number) {
  if (item.format() == format::kAscii) {
    const std::string_view text = trim(item.text());
    if (text.size() > kLongestNumberText || !isDecimalNumber(text))
      return NotANumber;
    const std::string_view digits = text.substr(text.starts_with('+') ? 1 : 0);
    const char *end = digits.data() + digits.size();
    if (std::from_chars(digits.data(), end, number).ec != std::errc())
      return NotANumber;
    number = rounded(nodeType, number);
    return 0;
  }
  const std::optional<Number> read = numberIn(item);
  if (!read || item.count() != 1 || !std::isfinite(*read) ||
      isBoolean(item.format()) != isBoolean(formatOf(nodeType)))
    return BadFormat;
  number = rounded(nodeType, *read);
  return 0;
}

// LIMITMIN and LIMITMAX of a variable that can have limits.
std::optional<CHGemLimits::Bounds> CHGemLimits::boundsOf(const CHGemEventVid *variable) const {
  if (variable == nullptr || variable->kind == EquipmentConstant || !variable->isNumeric() ||
      variable->minimum().empty() || variable->maximum().empty() || isOfCrossings(variable->role))
    return std::nullopt;
  Bounds bounds{itemFromSml(variable->FormatBound(Bound::Minimum)),
                itemFromSml(variable->FormatBound(Bound::Maximum))};
  const auto lowest = numberIn(bounds.minimum);
  const auto highest = numberIn(bounds.maximum);
  if (!lowest || !highest)
    return std::nullopt;
  bounds.lowest = *lowest;
  bounds.highest = *highest;
  return bounds;
}

std::optional<CHGemLimits::Number> CHGemLimits::valueOf(uint32_t vid) const {
  const CHGemEventVid *variable = data().variables.FindVid(vid);
  if (variable == nullptr || isOfCrossings(variable->role))
    return std::nullopt;
  const CHSecsItem *item = variable->parsedValue();
  return item != nullptr ? numberIn(*item) : numberIn(itemFromSml(variable->rawValue()));
}

// Crossings -------------------------------------------------------------------------------------

// Inside the dead band, and where the value is none, the zone is what it was.
CHGemLimits::Zone CHGemLimits::Limit::zoneOf(Number value) const {
  if (value >= top)
    return Zone::Above;
  return value <= bottom ? Zone::Below : zone;
}

void CHGemLimits::OnVariableChanged(uint32_t vid) {
  const auto watched = watched_.find(vid);
  if (watched == watched_.end())
    return;
  const std::optional<Number> value = valueOf(vid);
  if (!value)
    return;
  for (Limit &limit : watched->second) {
    const Zone next = limit.zoneOf(*value);
    if (std::exchange(limit.zone, next) != next)
      crossings_.push_back({vid, limit.id, next == Zone::Above ? Upwards : Downwards});
  }
  reportCrossings();
}

// A variable that gets the number later is another one.
void CHGemLimits::OnVariableRemoved(uint32_t vid) {
  if (watched_.erase(vid) != 0)
    setModified();
}

// The application may change values inside each report: what that crosses is reported behind.
void CHGemLimits::reportCrossings() {
  if (std::exchange(reporting_, true))
    return;
  while (!crossings_.empty()) {
    const Crossing crossing = crossings_.front();
    crossings_.pop_front();
    setByRole(RoleLimitVariable, crossing.vid);
    setByRole(RoleEventLimit, crossing.limit);
    setByRole(RoleTransitionType, crossing.transition);
    events().InvokeRole(crossing.transition == Upwards ? RoleLimitCrossedUpwards
                                                       : RoleLimitCrossedDownwards);
  }
  reporting_ = false;
}

// Requests --------------------------------------------------------------------------------------

bool CHGemLimits::OnReceive(CHSecsVerifier &slot) {
  const CHSecsHeader &header = slot.message.header;
  if (owner().isHost() || slot.result != VerificationCorrect || header.stream() != 2)
    return false;
  if (header.function() == kDefineLimits)
    rebuildReply(slot, define(slot.message.root));
  else if (header.function() == kLimitAttributes)
    rebuildReply(slot, attributes(slot.message.root));
  else
    return false;
  return true;
}

// S2F45 and its reply: all that is wrong, or all is done.
CHSecsItem CHGemLimits::define(const CHSecsItem &body) {
  const auto entries = childOf(body, 2).children();
  std::vector<Change> changes;
  std::set<uint32_t> named;
  CHSecsItem faults = listItem();
  for (const CHSecsItem &entry : entries) {
    Change &change = changes.emplace_back();
    std::optional<Fault> fault = readChange(entry, change);
    const auto vid = identifierOf(childOf(entry, 1));
    if (vid && !named.insert(*vid).second)
      fault = Fault{Repeated};
    if (!fault)
      continue;
    CHSecsItem limit = listItem();
    if (fault->fault != 0)
      limit = listItem(numberItem(fault->limit, format::kBinary),
                       numberItem(fault->fault, format::kBinary));
    faults.appendChild(listItem(childOf(entry, 1).clone(),
                                numberItem(fault->variable, format::kBinary), std::move(limit)));
    if (faults.count() == kMostFaultsTold)
      break;
  }
  const bool refused = faults.count() != 0;
  if (!refused) {
    if (entries.empty())
      watched_.clear();
    for (Change &change : changes)
      apply(std::move(change));
    setModified();
  }
  return listItem(numberItem(refused ? kDefinitionError : 0, format::kBinary), std::move(faults));
}

std::optional<CHGemLimits::Fault> CHGemLimits::readChange(const CHSecsItem &entry,
                                                          Change &change) const {
  const CHSecsItem &vid = childOf(entry, 1);
  const CHGemEventVid *variable = data().variables.find(identifierOf(vid));
  if (variable == nullptr)
    return Fault{NoSuchVariable};
  change.vid = variable->vid;
  const std::optional<Bounds> bounds = boundsOf(variable);
  if (!bounds)
    return Fault{NoLimits};
  const auto limits = childOf(entry, 2).children();
  change.all = limits.empty();
  for (const CHSecsItem &limit : limits)
    if (const uint8_t fault = readLimit(limit, *variable, *bounds, change); fault != 0)
      return Fault{BadLimit, childOf(limit, 1).element<uint8_t>(0), fault};
  return std::nullopt;
}

// Returns the LimitFault, or 0.
uint8_t CHGemLimits::readLimit(const CHSecsItem &entry, const CHGemEventVid &variable,
                               const Bounds &bounds, Change &change) const {
  Limit limit;
  limit.id = childOf(entry, 1).element<uint8_t>(0);
  if (limit.id == 0 || limit.id > kMostLimits)
    return NoSuchLimit;
  if (std::ranges::find(change.defined, limit.id, &Limit::id) != change.defined.end() ||
      std::ranges::find(change.removed, limit.id) != change.removed.end())
    return Duplicate;
  const CHSecsItem &band = childOf(entry, 2);
  if (band.count() == 0) {
    change.removed.push_back(limit.id);
    return 0;
  }
  if (band.count() != 2)
    return BadFormat;
  limit.upper = childOf(band, 1).clone();
  limit.lower = childOf(band, 2).clone();
  for (const auto &[item, number] :
       {std::pair{&limit.upper, &limit.top}, std::pair{&limit.lower, &limit.bottom}})
    if (const uint8_t fault = readBoundary(*item, variable.nodeType, *number); fault != 0)
      return fault;
  if (limit.top > bounds.highest)
    return AboveMaximum;
  if (limit.bottom < bounds.lowest)
    return BelowMinimum;
  if (limit.top < limit.bottom)
    return BandReversed;
  change.defined.push_back(std::move(limit));
  return 0;
}

void CHGemLimits::apply(Change &&change) {
  const auto watched = watched_.find(change.vid);
  if (watched != watched_.end())
    std::erase_if(watched->second, [&change](const Limit &limit) {
      return change.all || std::ranges::find(change.removed, limit.id) != change.removed.end();
    });
  for (Limit &limit : change.defined)
    put(change.vid, std::move(limit));
  if (watched != watched_.end() && watched->second.empty())
    watched_.erase(watched);
}

// The zone in which a limit finds the value is no transition.
void CHGemLimits::put(uint32_t vid, Limit &&limit) {
  if (const std::optional<Number> value = valueOf(vid))
    limit.zone = limit.zoneOf(*value);
  Limits &limits = watched_[vid];
  const auto place = std::ranges::lower_bound(limits, limit.id, {}, &Limit::id);
  if (place != limits.end() && place->id == limit.id)
    *place = std::move(limit);
  else
    limits.insert(place, std::move(limit));
}

// S2F48: of each variable UNITS, LIMITMIN, LIMITMAX and its limits.
CHSecsItem CHGemLimits::attributes(const CHSecsItem &body) const {
  constexpr size_t kSmallest = kShortListHead + 2 + kShortListHead; // an unknown variable
  if (isTooMany(body.count(), kSmallest))
    return tooLongItem();
  ItemCollector list;
  for (const CHSecsItem &vid : body.children())
    if (!addAttributes(list, vid.clone(), data().variables.find(identifierOf(vid))))
      break;
  const CHGemEventVidList &variables = data().variables;
  for (size_t i = 0; body.count() == 0 && i < variables.Count(); ++i)
    if (boundsOf(&variables.at(i)) &&
        !addAttributes(list, numberItem(variables.at(i).vid), &variables.at(i)))
      break;
  return list.list();
}

bool CHGemLimits::addAttributes(ItemCollector &list, CHSecsItem &&vid,
                                const CHGemEventVid *variable) const {
  std::optional<Bounds> bounds = boundsOf(variable);
  if (!bounds)
    return list.add(listItem(std::move(vid), listItem()));
  CHSecsItem limits = listItem();
  if (const auto watched = watched_.find(variable->vid); watched != watched_.end())
    for (const Limit &limit : watched->second)
      limits.appendChild(listItem(numberItem(limit.id, format::kBinary), limit.upper.clone(),
                                  limit.lower.clone()));
  return list.add(
      listItem(std::move(vid), listItem(textItem(variable->unit()), std::move(bounds->minimum),
                                        std::move(bounds->maximum), std::move(limits))));
}

// What is kept ----------------------------------------------------------------------------------

void CHGemLimits::Reset() {
  watched_.clear();
  crossings_.clear();
}

void CHGemLimits::store(ArchiveWriter &archive) const {
  archive.count(watched_.size());
  for (const auto &[vid, limits] : watched_) {
    archive.object(kWatchedClass);
    archive.field(vid);
    archive.count(limits.size());
    for (const Limit &limit : limits) {
      archive.object(kLimitClass);
      archive.fields(limit.id, std::string_view(encodedText(limit.upper)),
                     std::string_view(encodedText(limit.lower)));
    }
  }
}

// A limit that says nothing is passed over.
void CHGemLimits::load(ArchiveReader &archive) {
  for (uint32_t left = archive.count(kSmallestWatched); left > 0 && !archive.failed(); --left) {
    archive.object(kWatchedClass.name);
    uint32_t vid = 0;
    archive.field(vid);
    const CHGemEventVid *variable = data().variables.FindVid(vid);
    for (uint32_t count = archive.count(kSmallestLimit); count > 0 && !archive.failed(); --count) {
      archive.object(kLimitClass.name);
      Limit limit;
      std::string upper;
      std::string lower;
      archive.fields(limit.id, upper, lower);
      limit.upper = decodedText(upper);
      limit.lower = decodedText(lower);
      if (limit.id != 0 && limit.id <= kMostLimits && variable != nullptr &&
          readBoundary(limit.upper, variable->nodeType, limit.top) == 0 &&
          readBoundary(limit.lower, variable->nodeType, limit.bottom) == 0)
        put(vid, std::move(limit));
    }
  }
}

void CHGemLimits::addStatus(TreeNode &parent) const {
  TreeNode &branch = parent.add(countedTitle("Variables with Limits", watched_.size()));
  for (const auto &[vid, limits] : watched_)
    for (const Limit &limit : limits)
      branch.add(numberedLine(vid, "limit " + std::to_string(limit.id) + ", " +
                                       valueText(limit.lower, ValueForm::Decimal) + " to " +
                                       valueText(limit.upper, ValueForm::Decimal)));
}

} // namespace velto
