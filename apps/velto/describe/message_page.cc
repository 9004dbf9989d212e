#include "apps/velto/describe/message_page.h"

#include "secs2/message_table.h"
#include "secs2/reply_text.h"

namespace velto {

namespace {

constexpr const char *kIntroduction =
    "# Messages\n\n"
    "What verification knows of SEMI E5: each message with its W-bit, the side that may receive "
    "it,\n"
    "the structure of its body, and the reply that is suggested to it. The page is the output of\n"
    "`velto describe messages`.\n\n"
    "Bodies are written as SML templates: `<a'RULE'>` an item of the kinds that RULE names, `<b "
    "0>`\n"
    "an item of that type with one value, `<b>` with any number, `{A B}` a list that begins with "
    "A\n"
    "and B, `{A...}` a list of none or more A, `{}` any list, `{2 A}` a list of exactly two "
    "children.\n"
    "`A or B`, `(A or B)` inside a list, is one of the two, `-` no body, `!` is never right, and "
    "where\n"
    "nothing stands the body is not checked. RULE is a\n"
    "set of formats (`u*|a`: any unsigned integer or ASCII; `#1` exactly one value), a length of "
    "ASCII\n"
    "text (`=6`, `<41`) or a data item (`@MDLN`); `@ITEM` is any item, `@NONE` one without "
    "values,\n"
    "`@NAK` a binary byte other than 0. A reply never carries the W-bit. An `else` is the reply to "
    "a\n"
    "wrong body, where the message has one of its own. Where bodies are checked, one that ends "
    "before\n"
    "its lengths say is wrong, and so is one with an item that arrived malformed.\n\n"
    "Where the editions differ (property `Edition`: 0 the early one, 1 the current one), each has "
    "a\n"
    "row of its own, or none when it does not know the message. In edition 1 `@MDLN` and "
    "`@SOFTREV`\n"
    "hold up to 20 characters instead of 6, `@PPID` up to 120 bytes instead of 80, and `@TIME` "
    "and\n"
    "`@TIMESTAMP` may be in the extended form, `2024-02-29T23:59:59.5+01:00`.\n\n"
    "| Message | Name | Edition | W-bit | Received by | Body | Suggested reply |\n"
    "| --- | --- | --- | --- | --- | --- | --- |\n";

const char *text(WBit wbit) {
  switch (wbit) {
  case WBit::Required:
    return "required";
  case WBit::Forbidden:
    return "forbidden";
  case WBit::Optional:
    return "optional";
  case WBit::Any:
    break;
  }
  return "";
}

const char *text(Side side) {
  return side == Side::Equipment ? "equipment" : side == Side::Host ? "host" : "both";
}

// Markdown code that can stand in a cell of a table.
std::string cell(std::string_view text) {
  if (text.empty())
    return "";
  std::string out = "`";
  for (const char c : text)
    out += c == '|' ? "\\|" : std::string(1, c == '\t' ? ' ' : c);
  return out + "`";
}

std::string body(const MessageRule &rule) {
  return rule.hostBody == nullptr
             ? cell(rule.body)
             : "equipment " + cell(rule.body) + ", host " + cell(rule.hostBody);
}

std::string reply(const MessageRow &row, E5Edition edition) {
  const MessageRule &rule = row.of(edition);
  if (!rule.hasReply())
    return "";
  if (rule.echoes)
    return "the same body";
  const auto text = [&](const ReplyArguments &arguments) {
    return cell(
        replyText(row.stream, static_cast<uint8_t>(row.function + 1), true, arguments, edition));
  };
  return text(rule.proposal) + (rule.refusal[0].empty() ? "" : ", else " + text(rule.refusal));
}

// The cells behind the name; empty when the edition does not know the message.
std::string cells(const MessageRow &row, E5Edition edition) {
  const MessageRule &rule = row.of(edition);
  if (rule.body == nullptr)
    return "";
  return std::string(" | ") + text(rule.wbit) + " | " + text(rule.side) + " | " + body(rule) +
         " | " + reply(row, edition) + " |\n";
}

std::string rows(const MessageRow &row) {
  const std::string early = cells(row, E5Edition::Early);
  const std::string current = cells(row, E5Edition::Current);
  const std::string name = "S" + std::to_string(row.stream) + "F" + std::to_string(row.function);
  std::string text;
  const auto add = [&](const char *edition, const std::string &behind) {
    if (!behind.empty())
      text.append("| ")
          .append(name)
          .append(" | ")
          .append(row.name)
          .append(" | ")
          .append(edition)
          .append(behind);
  };
  if (early == current) {
    add("", early);
  } else {
    add("0", early);
    add("1", current);
  }
  return text;
}

} // namespace

std::string describeMessages() {
  std::string page = kIntroduction;
  for (const MessageRow &row : messageTable())
    page += rows(row);
  return page;
}

} // namespace velto
