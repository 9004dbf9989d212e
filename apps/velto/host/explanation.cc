#include "apps/velto/host/explanation.h"

#include "apps/velto/console/literal.h"
#include "gem/messages/items.h"
#include "secs2/message_table.h"
#include "secs2/reply_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace velto {

namespace {

// An acknowledge code of SEMI E5: in which message it is, and what its values mean.
struct Acknowledge {
  uint8_t stream;
  uint8_t function;
  bool inList;          ///< it is the first item of a list, otherwise the body itself
  uint8_t alsoGood = 0; ///< a second code, beside 0, that means success
  std::array<const char *, 6> reasons; ///< what the codes from 1 on mean
};

constexpr std::array<const char *, 6> kProgramReasons = {
    "not permitted",   "wrong length",     "the matrix is full",
    "no such program", "not in this mode", "will be performed later"};

constexpr Acknowledge kAcknowledges[] = {
    {1, 14, true, 0, {"denied, try again"}},
    {1, 16, false, 0, {"not accepted"}},
    {1, 18, false, 2, {"not allowed", "already on-line"}},
    {2,
     16,
     false,
     0,
     {"a constant does not exist, or not with this value", "busy", "a value is out of range"}},
    {2,
     24,
     false,
     0,
     {"too many variables", "no more traces", "an invalid period", "a variable does not exist",
      "an invalid size of groups"}},
    {2, 32, false, 0, {"the time was not set"}},
    {2,
     34,
     false,
     0,
     {"not enough space", "invalid format", "a report is already defined",
      "a variable does not exist"}},
    {2,
     36,
     false,
     0,
     {"not enough space", "invalid format", "an event is already linked", "an event does not exist",
      "a report does not exist"}},
    {2, 38, false, 0, {"an event does not exist"}},
    {2,
     42,
     true,
     4,
     {"the command does not exist", "cannot be performed now", "a parameter is invalid",
      "will be performed later", "already in the desired condition", "no such object"}},
    {2, 44, true, 0, {"a stream or function cannot be spooled"}},
    {2, 46, true, 0, {"a limit is not possible", "cannot be performed now"}},
    {5, 4, false, 0, {"not accepted"}},
    {6, 24, false, 0, {"busy, try again", "nothing is spooled"}},
    {7,
     2,
     false,
     1,
     {"already there", "no space", "invalid name", "busy, try again", "will not be accepted"}},
    {7, 4, false, 6, kProgramReasons},
    {7, 18, false, 6, kProgramReasons},
    {7, 24, false, 6, kProgramReasons},
    {7, 32, false, 6, kProgramReasons},
    {10, 4, false, 0, {"will not be displayed", "the terminal is not available"}},
};

std::string nameOf(const CHSecsHeader &header) { return HeaderText(header, HeaderTextMode::Name); }

// Real numbers are printed with six decimals. Removes the zeros at their ends.
std::string withoutTrailingZeros(const std::string &numbers) {
  std::string out;
  for (size_t i = 0; i <= numbers.size(); ++i) {
    if (i == numbers.size() || numbers[i] == ' ') {
      const size_t point = out.find('.', out.rfind(' ') + 1);
      if (point != std::string::npos)
        out.resize(std::max(out.find_last_not_of('0') + 1, point));
      if (out.ends_with('.'))
        out.pop_back();
    }
    if (i < numbers.size())
      out += numbers[i];
  }
  return out;
}

// The elements of an item that is no list, as many as there is room for.
std::string elementText(const CHSecsItem &item) {
  std::string out;
  for (size_t i = 0; i < item.count() && out.size() < kMostOnScreen; ++i) {
    out += i == 0 ? "" : " ";
    out += valueText(item, ValueForm::Decimal, i);
  }
  return out;
}

// Stops when the text is longer than what a screen is given of a message.
void appendItem(std::string &out, const CHSecsItem &item, size_t depth) {
  if (out.size() > kMostOnScreen)
    return;
  if (!item.isList()) {
    const ElementKind kind = formatInfo(item.format()).kind;
    if (kind == ElementKind::Text)
      out.append("\"").append(item.text().substr(0, kMostOnScreen)).append("\"");
    else
      out +=
          kind == ElementKind::Real ? withoutTrailingZeros(elementText(item)) : elementText(item);
    return;
  }
  out += '{';
  for (const CHSecsItem &child : item.children()) {
    if (&child != &item.children().front())
      out += ", ";
    if (depth == CHSecsItem::kMaxDepth || out.size() > kMostOnScreen)
      break;
    appendItem(out, child, depth + 1);
  }
  out += '}';
}

std::string titled(const std::string &identifier, std::string_view name) {
  return identifier + (name.empty() ? "" : " ") + std::string(name);
}

// The number that the model knows an object by. Nothing for a text.
std::optional<uint32_t> modelNumber(std::string_view identifier) {
  uint32_t number = 0;
  const char *end = identifier.data() + identifier.size();
  const auto [last, error] = std::from_chars(identifier.data(), end, number);
  return error == std::errc{} && last == end ? std::optional(number) : std::nullopt;
}

LearntNames::Variable variableOf(const std::string &vid, const KnownNames &known) {
  if (const auto learnt = known.learnt.variables.find(vid); learnt != known.learnt.variables.end())
    return learnt->second;
  const auto number = modelNumber(vid);
  const CHGemEventVid *variable = number ? known.model.variables.FindVid(*number) : nullptr;
  return variable == nullptr ? LearntNames::Variable{}
                             : LearntNames::Variable{std::string(variable->description()),
                                                     std::string(variable->unit())};
}

// The variables of a report and its description; none when it is not known.
std::pair<std::vector<std::string>, std::string> reportOf(const std::string &rptid,
                                                          const KnownNames &known) {
  if (const auto learnt = known.learnt.reports.find(rptid); learnt != known.learnt.reports.end())
    return {learnt->second, ""};
  const auto number = modelNumber(rptid);
  const CHGemEventReport *report = number ? known.model.reports.FindReport(*number) : nullptr;
  std::pair<std::vector<std::string>, std::string> found;
  if (report == nullptr)
    return found;
  for (const uint32_t vid : report->variables)
    found.first.push_back(std::to_string(vid));
  found.second = report->description;
  return found;
}

std::string explainReport(const CHSecsItem &item, const KnownNames &known) {
  const std::string rptid = identifierText(childOf(item, 1));
  const auto values = childOf(item, 2).children();
  const auto [variables, description] = reportOf(rptid, known);
  std::string line = "  report " + titled(rptid, description) + ':';
  for (size_t i = 0; i < values.size() && line.size() <= kMostOnScreen; ++i) {
    line += i == 0 ? " " : ", ";
    if (variables.size() == values.size())
      line += variableTitle(variables[i], known) + " = ";
    line += readableItem(values[i]);
  }
  return line;
}

std::string eventName(const std::string &ceid, const KnownNames &known) {
  if (const auto learnt = known.learnt.events.find(ceid); learnt != known.learnt.events.end())
    return learnt->second;
  const auto number = modelNumber(ceid);
  const CHGemEventCeid *event = number ? known.model.events.FindCeid(*number) : nullptr;
  return event != nullptr ? std::string(event->description) : "";
}

std::vector<std::string> explainEvent(const CHSecsItem &body, const KnownNames &known) {
  const std::string ceid = identifierText(childOf(body, 2));
  std::vector<std::string> lines{"event " + titled(ceid, eventName(ceid, known))};
  size_t size = 0;
  for (const CHSecsItem &report : childOf(body, 3).children()) {
    if (size > kMostOnScreen)
      break;
    lines.push_back(explainReport(report, known));
    size += lines.back().size();
  }
  return lines;
}

// S7F27: PPID, and a list of ACKC7A, SEQNUM and ERRW7 each.
std::vector<std::string> explainVerification(const CHSecsItem &body) {
  std::vector<std::string> lines;
  for (const CHSecsItem &fault : childOf(body, 2).children()) {
    const uint32_t code = numberOf(childOf(fault, 1));
    std::string line = "recipe " + readableItem(childOf(body, 1));
    line += code == 0 ? " verified"
                      : " error " + std::to_string(code) + " in command " +
                            std::to_string(numberOf(childOf(fault, 2))) + ": " +
                            readableItem(childOf(fault, 3));
    lines.push_back(std::move(line));
    if (lines.size() * lines.back().size() > kMostOnScreen)
      break;
  }
  return lines;
}

bool fits(const CHSecsItem &item, std::string_view text) {
  switch (formatInfo(item.format()).kind) {
  case ElementKind::Binary:
  case ElementKind::Signed:
  case ElementKind::Unsigned:
    return text.starts_with("0x") ||
           parseDecimal(valueText(item, ValueForm::Decimal)) == parseDecimal(text);
  case ElementKind::Real:
    return std::isfinite(parseReal(valueText(item, ValueForm::Decimal)));
  default:
    return true;
  }
}

} // namespace

std::string refusal(const CHSecsMessage &reply) {
  const CHSecsHeader &header = reply.header;
  const MessageRow *row = findMessage(header.stream(), header.function());
  if (header.stream() == 9)
    return nameOf(header) + ": " + (row != nullptr ? row->name : "unknown error");
  if (header.function() == 0)
    return nameOf(header) + ": the equipment aborted the transaction";
  const auto *kind = std::ranges::find_if(kAcknowledges, [&header](const Acknowledge &candidate) {
    return candidate.stream == header.stream() && candidate.function == header.function();
  });
  if (kind == std::end(kAcknowledges))
    return "";
  const CHSecsItem &item = kind->inList ? childOf(reply.root, 1) : reply.root;
  const uint32_t code = numberOf(item);
  if (item.count() == 1 && (code == 0 || code == kind->alsoGood))
    return "";
  const char *reason =
      code >= 1 && code <= kind->reasons.size() ? kind->reasons[code - 1] : nullptr;
  return nameOf(header) + ": " + (reason != nullptr ? reason : "refused") + " (code " +
         std::to_string(code) + ')';
}

std::string readableItem(const CHSecsItem &item) {
  std::string out;
  appendItem(out, item, 0);
  if (out.size() > kMostOnScreen) {
    out.resize(kMostOnScreen);
    out += "...";
  }
  return out;
}

bool isText(const CHSecsItem &item) { return formatInfo(item.format()).kind == ElementKind::Text; }

std::string identifierText(const CHSecsItem &item) {
  return isText(item) ? std::string(item.text()) : std::to_string(numberOf(item));
}

std::string variableTitle(const std::string &vid, const KnownNames &known) {
  return titled(vid, variableOf(vid, known).name);
}

std::string variableUnit(const std::string &vid, const KnownNames &known) {
  return variableOf(vid, known).unit;
}

std::vector<ReportedValue> reportedValues(const CHSecsMessage &message, const KnownNames &known) {
  std::vector<ReportedValue> reported;
  for (const CHSecsItem &report : childOf(message.root, 3).children()) {
    const auto values = childOf(report, 2).children();
    const std::vector<std::string> vids = reportOf(identifierText(childOf(report, 1)), known).first;
    for (size_t i = 0; i < values.size() && vids.size() == values.size(); ++i)
      reported.push_back({vids[i], variableOf(vids[i], known), readableItem(values[i])});
  }
  return reported;
}

std::vector<std::string> explainPrimary(const CHSecsMessage &message, const KnownNames &known) {
  const CHSecsItem &body = message.root;
  const int name = message.header.stream() * 256 + message.header.function();
  switch (name) {
  case 6 * 256 + 11:
    return explainEvent(body, known);
  case 5 * 256 + 1:
    return {"alarm " + identifierText(childOf(body, 2)) +
            ((numberOf(childOf(body, 1)) & CHGemAlarmAlid::kSet) != 0 ? " set: " : " cleared: ") +
            std::string(childOf(body, 3).text())};
  case 7 * 256 + 27:
    return explainVerification(body);
  case 6 * 256 + 1:
    return {"trace " + readableItem(childOf(body, 1)) + ", sample " +
            readableItem(childOf(body, 2)) + ": " + readableItem(childOf(body, 4))};
  case 10 * 256 + 1:
    return {"terminal " + readableItem(childOf(body, 1)) + ": " + readableItem(childOf(body, 2))};
  default:
    return {};
  }
}

std::optional<CHSecsItem> itemFromText(uint8_t format, std::string_view text) {
  const FormatInfo &info = formatInfo(format);
  CHSecsMessage message;
  std::string sml = info.lowerTag;
  if (info.kind == ElementKind::Text)
    sml += '\'' + smlQuoted(text) + "'>";
  else
    sml.append(" ").append(text).append(">");
  if (info.kind == ElementKind::List || !message.SetFromSml(sml) ||
      message.root.format() != format || !fits(message.root, text))
    return std::nullopt;
  return std::move(message.root);
}

} // namespace velto
