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
    "its lengths say is wrong.\n\n"
    "| Message | Name | W-bit | Received by | Body | Suggested reply |\n"
    "| --- | --- | --- | --- | --- | --- |\n";

const char *text(WBit wbit) {
  return wbit == WBit::Required ? "required" : wbit == WBit::Forbidden ? "forbidden" : "";
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

std::string body(const MessageRow &row) {
  return row.hostBody == nullptr ? cell(row.body)
                                 : "equipment " + cell(row.body) + ", host " + cell(row.hostBody);
}

std::string reply(const MessageRow &row) {
  if (row.wbit != WBit::Required)
    return "";
  const auto text = [&row](const ReplyArguments &arguments) {
    return cell(replyText(row.stream, static_cast<uint8_t>(row.function + 1), true, arguments));
  };
  return text(row.proposal) + (row.refusal[0].empty() ? "" : ", else " + text(row.refusal));
}

} // namespace

std::string describeMessages() {
  std::string page = kIntroduction;
  for (const MessageRow &row : messageTable())
    if (row.body != nullptr)
      page += "| S" + std::to_string(row.stream) + "F" + std::to_string(row.function) + " | " +
              row.name + " | " + text(row.wbit) + " | " + text(row.side) + " | " + body(row) +
              " | " + reply(row) + " |\n";
  return page;
}

} // namespace velto
