#include "apps/gateway/payload.h"

#include "apps/gateway/json.h"
#include "base/json_text.h"
#include "base/text.h"
#include "gem/messages/items.h"
#include "secs2/message_json.h"

#include <algorithm>
#include <chrono>

namespace velto::gateway {

namespace {

constexpr uint8_t kAlarmSet = 0x80; // ALCD, bit 8
constexpr uint8_t kAnnotated = 13;  // S6F13

} // namespace

std::string utcText(Clock &clock) {
  namespace chrono = std::chrono;
  const LocalTime at = clock.localTime();
  const chrono::sys_time<chrono::milliseconds> utc =
      chrono::sys_days(chrono::year(at.year) / at.month / at.day) + chrono::hours(at.hour) +
      chrono::minutes(int{at.minute} - clock.utcOffset()) + chrono::seconds(at.second) +
      chrono::milliseconds(at.milliseconds);
  const auto day = chrono::floor<chrono::days>(utc);
  const chrono::year_month_day date(day);
  const auto time = static_cast<int>((utc - day).count()); // ms
  return formatText("%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", int{date.year()}, unsigned{date.month()},
                    unsigned{date.day()}, time / 3'600'000, time / 60'000 % 60, time / 1000 % 60,
                    time % 1000);
}

std::string toolTimeText(std::string_view text) {
  if (text.size() > 16 && text.size() <= 40 && text.find('T') == 10)
    return std::string(text);
  if ((text.size() != 12 && text.size() != 16) ||
      text.find_first_not_of("0123456789") != std::string_view::npos)
    return "";
  std::string digits(text);
  if (digits.size() == 12)
    digits = "20" + digits;
  std::string out = digits.substr(0, 4) + '-' + digits.substr(4, 2) + '-' + digits.substr(6, 2) +
                    'T' + digits.substr(8, 2) + ':' + digits.substr(10, 2) + ':' +
                    digits.substr(12, 2);
  return digits.size() == 16 ? out + '.' + digits.substr(14) : out;
}

std::string Payloads::head(std::string_view kind, std::optional<uint64_t> sequence,
                           std::string_view toolTime) const {
  JsonObject object;
  object.text("kind", kind).text("site", out_.site).text("tool", tool_.name);
  object.text("gateway", out_.name);
  if (sequence)
    object.number("seq", *sequence);
  object.text("time", utcText(clock_));
  if (const std::string told = toolTimeText(toolTime); !told.empty())
    object.text("tool_time", told);
  std::string text = object.take();
  text.pop_back(); // goes on
  return text;
}

std::string Payloads::valueJson(std::optional<uint32_t> vid, const CHSecsItem &item) const {
  JsonObject value;
  const CHGemEventVid *variable = vid ? tool_.names->variable(*vid) : nullptr;
  if (vid)
    value.number("vid", *vid);
  if (variable != nullptr && !variable->description().empty())
    value.text("name", variable->description());
  value.json("value", itemJson(item));
  if (variable != nullptr && !variable->unit().empty())
    value.text("unit", variable->unit());
  value.text("type", item.hasData() ? formatInfo(item.format()).upperTag + 1 : "");
  return value.take();
}

std::string Payloads::valuesJson(std::span<const uint32_t> vids,
                                 std::span<const CHSecsItem> values) const {
  std::string out = "[";
  for (size_t i = 0; i < values.size(); ++i) {
    out += i == 0 ? "" : ",";
    out += valueJson(i < vids.size() ? std::optional(vids[i]) : std::nullopt, values[i]);
  }
  return out + ']';
}

std::string Payloads::annotatedJson(std::span<const CHSecsItem> pairs) const {
  std::string out = "[";
  for (const CHSecsItem &pair : pairs) {
    out += out.size() == 1 ? "" : ",";
    out += valueJson(numberOf(childOf(pair, 1)), childOf(pair, 2));
  }
  return out + ']';
}

const std::vector<uint32_t> *Payloads::variablesOf(uint32_t rptid, const Reports &reports) const {
  const auto told = reports.find(rptid);
  if (told != reports.end())
    return &told->second;
  const CHGemEventReport *known = tool_.names->model().reports.FindReport(rptid);
  return known == nullptr ? nullptr : &known->variables;
}

std::string_view Payloads::toolTime(std::span<const uint32_t> vids,
                                    std::span<const CHSecsItem> values) const {
  const uint32_t clock = tool_.names->clock();
  const auto at = static_cast<size_t>(std::ranges::find(vids, clock) - vids.begin());
  return clock != 0 && at < vids.size() && at < values.size() ? values[at].text()
                                                              : std::string_view();
}

void Payloads::addRaw(std::string &payload, const CHSecsMessage &message) const {
  Bytes bytes;
  if (tool_.raw && message.Encode(bytes))
    payload += ",\"raw\":{" + messageJsonMembers(bytes, {.encodings = false}) + '}';
  payload += '}';
}

// S6F11: {DATAID CEID {{RPTID {V...}}...}}; S6F13: {VID V} for each V. CEID and RPTID may be texts.
std::optional<Publication> Payloads::event(const CHSecsMessage &message, const Reports &reports,
                                           uint64_t sequence) const {
  if (message.root.children().size() != 3 || !childOf(message.root, 3).isList())
    return std::nullopt;
  const CHSecsItem &id = childOf(message.root, 2);
  const bool isText = formatInfo(id.format()).kind == ElementKind::Text;
  const uint32_t ceid = numberOf(id);
  const bool isAnnotated = message.header.function() == kAnnotated;
  std::string_view time;
  std::string body;
  for (const CHSecsItem &report : childOf(message.root, 3).children()) {
    const uint32_t rptid = numberOf(childOf(report, 1));
    const auto *vids = variablesOf(rptid, reports);
    const std::span<const uint32_t> known = vids == nullptr ? std::span<const uint32_t>() : *vids;
    const std::span<const CHSecsItem> values = childOf(report, 2).children();
    if (time.empty() && !isAnnotated)
      time = toolTime(known, values);
    body += body.empty() ? "" : ",";
    body += JsonObject()
                .json("rptid", itemJson(childOf(report, 1)))
                .json("values", isAnnotated ? annotatedJson(values) : valuesJson(known, values))
                .take();
  }
  std::string name = isText ? std::string(id.text()) : tool_.names->eventName(ceid);
  for (const EventWish &wish : tool_.subscription.events)
    if (!isText && wish.ceid == ceid && !wish.name.empty())
      name = wish.name;
  if (name.empty())
    name = std::to_string(ceid);
  Publication made;
  made.topic = out_.topic(tool_.name, "event/" + topicLevel(name));
  made.payload =
      head("event", sequence, time) + ",\"ceid\":" + itemJson(id) + ",\"name\":" + jsonText(name) +
      ",\"dataid\":" + itemJson(childOf(message.root, 1)) + ",\"reports\":[" + body + ']';
  addRaw(made.payload, message);
  return made;
}

// S5F1: {ALCD ALID ALTX}.
std::optional<Publication> Payloads::alarm(const CHSecsMessage &message, uint64_t sequence) const {
  if (message.root.children().size() != 3)
    return std::nullopt;
  const uint32_t alcd = numberOf(childOf(message.root, 1));
  const uint32_t alid = numberOf(childOf(message.root, 2));
  Publication made;
  made.topic = out_.topic(tool_.name, "alarm/" + std::to_string(alid));
  made.payload = head("alarm", sequence, "") + ",\"alid\":" + std::to_string(alid) +
                 ",\"set\":" + ((alcd & kAlarmSet) != 0 ? "true" : "false") +
                 ",\"category\":" + std::to_string(alcd & ~uint32_t{kAlarmSet}) +
                 ",\"text\":" + jsonText(childOf(message.root, 3).text());
  addRaw(made.payload, message);
  return made;
}

// S6F1: {TRID SMPLN STIME {SV...}}, of one or more samples.
std::optional<Publication> Payloads::trace(const CHSecsMessage &message, uint64_t sequence) const {
  if (message.root.children().size() != 4 || !childOf(message.root, 4).isList())
    return std::nullopt;
  const std::string trid = itemJson(childOf(message.root, 1));
  const uint32_t id = numberOf(childOf(message.root, 1));
  const auto &traces = tool_.subscription.traces;
  const auto wish = std::ranges::find(traces, id, &TraceWish::id);
  const auto values = childOf(message.root, 4).children();
  std::string samples;
  const size_t width = wish == traces.end() || wish->vids.empty()
                           ? std::max<size_t>(values.size(), 1)
                           : wish->vids.size();
  const std::span<const uint32_t> vids =
      wish == traces.end() ? std::span<const uint32_t>() : wish->vids;
  for (size_t at = 0; at < values.size(); at += width) {
    samples += at == 0 ? "" : ",";
    samples += valuesJson(vids, values.subspan(at, std::min(width, values.size() - at)));
  }
  Publication made;
  made.topic = out_.topic(tool_.name, "trace/" + topicLevel(trid));
  made.payload = head("trace", sequence, childOf(message.root, 3).text()) + ",\"trid\":" + trid +
                 ",\"sample\":" + itemJson(childOf(message.root, 2)) + ",\"samples\":[" + samples +
                 ']';
  addRaw(made.payload, message);
  return made;
}

Publication Payloads::values(const PollWish &poll, const CHSecsItem &answer,
                             uint64_t sequence) const {
  Publication made;
  made.topic = out_.topic(tool_.name, "values/" + topicLevel(poll.name));
  made.payload = head("values", sequence, toolTime(poll.vids, answer.children())) +
                 ",\"name\":" + jsonText(poll.name) +
                 ",\"values\":" + valuesJson(poll.vids, answer.children()) + '}';
  return made;
}

Publication Payloads::state(std::string_view connection, std::string_view control) const {
  Publication made;
  made.topic = out_.topic(tool_.name, "state");
  made.payload = head("state", std::nullopt, "") + ",\"state\":" + jsonText(connection);
  if (!control.empty())
    made.payload += ",\"control\":" + jsonText(control);
  made.payload += '}';
  made.retain = true;
  return made;
}

} // namespace velto::gateway
