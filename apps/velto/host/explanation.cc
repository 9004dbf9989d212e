#include "apps/velto/host/explanation.h"

#include "gem/messages/items.h"
#include "secs2/message_table.h"
#include "secs2/reply_text.h"

#include <algorithm>
#include <array>
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

constexpr Acknowledge kAcknowledges[] = {
    {1, 14, true, 0, {"denied, try again"}},
    {1, 16, false, 0, {"not accepted"}},
    {1, 18, false, 2, {"not allowed", "already on-line"}},
    {2, 16, false, 0, {"a constant does not exist", "busy", "a value is out of range"}},
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
    {5, 4, false, 0, {"not accepted"}},
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

void appendItem(std::string &out, const CHSecsItem &item, size_t depth) {
  if (!item.isList()) {
    const ElementKind kind = formatInfo(item.format()).kind;
    const std::string value = valueText(item, ValueForm::Decimal);
    out += kind == ElementKind::Text   ? '"' + value + '"'
           : kind == ElementKind::Real ? withoutTrailingZeros(value)
                                       : value;
    return;
  }
  out += '{';
  for (const CHSecsItem &child : item.children()) {
    if (&child != &item.children().front())
      out += ", ";
    if (depth == CHSecsItem::kMaxDepth)
      break;
    appendItem(out, child, depth + 1);
  }
  out += '}';
}

std::string titled(uint32_t number, std::string_view name) {
  return std::to_string(number).append(name.empty() ? "" : " ").append(name);
}

std::string explainReport(const CHSecsItem &item, const GemData &known) {
  const uint32_t rptid = numberOf(childOf(item, 1));
  const auto values = childOf(item, 2).children();
  const CHGemEventReport *report = known.reports.FindReport(rptid);
  const bool named = report != nullptr && report->variables.size() == values.size();
  std::string line =
      "  report " + titled(rptid, report != nullptr ? report->description : "") + ':';
  for (size_t i = 0; i < values.size(); ++i) {
    line += i == 0 ? " " : ", ";
    if (named)
      line += variableTitle(report->variables[i], known) + " = ";
    line += readableItem(values[i]);
  }
  return line;
}

std::vector<std::string> explainEvent(const CHSecsItem &body, const GemData &known) {
  const uint32_t ceid = numberOf(childOf(body, 2));
  const CHGemEventCeid *event = known.events.FindCeid(ceid);
  std::vector<std::string> lines{"event " +
                                 titled(ceid, event != nullptr ? event->description : "")};
  for (const CHSecsItem &report : childOf(body, 3).children())
    lines.push_back(explainReport(report, known));
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
  return out;
}

std::string variableTitle(uint32_t vid, const GemData &known) {
  const CHGemEventVid *variable = known.variables.FindVid(vid);
  return titled(vid, variable != nullptr ? variable->description() : "");
}

std::vector<std::string> explainPrimary(const CHSecsMessage &message, const GemData &known) {
  const CHSecsItem &body = message.root;
  const int name = message.header.stream() * 256 + message.header.function();
  switch (name) {
  case 6 * 256 + 11:
    return explainEvent(body, known);
  case 5 * 256 + 1:
    return {"alarm " + std::to_string(numberOf(childOf(body, 2))) +
            ((numberOf(childOf(body, 1)) & CHGemAlarmAlid::kSet) != 0 ? " set: " : " cleared: ") +
            std::string(childOf(body, 3).text())};
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
