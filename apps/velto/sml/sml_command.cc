#include "apps/velto/sml/sml_command.h"

#include "apps/velto/console/literal.h"
#include "apps/velto/sml/json_messages.h"
#include "base/text.h"
#include "platform/file.h"
#include "secs2/item_codec.h"
#include "secs2/message.h"
#include "secs2/message_json.h"
#include "secs2/sml_lexer.h"
#include "secs2/sml_printer.h"
#include "secs2/verifier.h"

#include <algorithm>
#include <iostream>
#include <optional>
#include <utility>

namespace velto {

namespace {

enum class Input { Sml, Hex, Json };
enum class Output { Sml, Hex, Json, Verdict };

struct Options {
  Input input = Input::Sml;
  Output output = Output::Sml;
  bool crlf = false;
  bool host = false;
  E5Edition edition = E5Edition::Current;
  std::vector<std::string> files;
};

constexpr const char *kAbout =
    "Reads messages in SML, from standard input without files, and prints them as normalised "
    "SML. Of several messages each ends with a period.";

// The text of a message, and the line of the file where it begins.
struct Source {
  std::string_view text;
  int line;
  bool empty = false; // nothing but blanks and comments
};

// Cuts a file into messages. It holds one, or several that each end with a period; none when there
// is nothing but blanks and comments.
std::vector<Source> splitMessages(std::string_view text) {
  std::vector<Source> messages;
  CHSmlLex lexer(text);
  size_t start = 0;
  int line = 1;
  bool empty = true;
  for (SmlToken token = lexer.next(); token.kind != SmlToken::Kind::End; token = lexer.next()) {
    const bool inside =
        token.text.data() >= text.data() && token.text.data() < text.data() + text.size();
    empty = empty && token.kind == SmlToken::Kind::Period;
    if (token.kind == SmlToken::Kind::Other) {
      messages.push_back({text.substr(start), line}); // the parser will report the error
      break;
    }
    if (token.kind != SmlToken::Kind::Period)
      continue;
    const size_t end = inside ? static_cast<size_t>(token.text.data() - text.data()) : text.size();
    if (inside || !empty)
      messages.push_back({text.substr(start, end - start), empty ? lexer.line() : line, empty});
    start = std::min(end + 1, text.size());
    line = lexer.line();
    empty = true;
  }
  return messages;
}

// An item or list whose bracket is closed by that of the other kind, which the parser takes.
std::optional<SmlError> mixedBracket(std::string_view text) {
  CHSmlLex lexer(text);
  std::string closing; // of what is open
  for (SmlToken token = lexer.next(); token.kind != SmlToken::Kind::End; token = lexer.next()) {
    if (token.kind == SmlToken::Kind::Item || token.kind == SmlToken::Kind::List)
      closing += token.text.front() == '{' ? '}' : '>';
    if (token.kind == SmlToken::Kind::Other)
      break; // the parser will report that
    if (token.kind != SmlToken::Kind::Close || closing.empty())
      continue;
    if (token.text.front() != closing.back())
      return SmlError{lexer.line(), std::string(token.text), "parse error", closing.back(), false};
    closing.pop_back();
  }
  return std::nullopt;
}

class SmlCommand {
public:
  explicit SmlCommand(const Options &options) : options_(options) {}

  // A remark on one message is no reason to leave out those behind it; an error is.
  int run() {
    for (const std::string &file : options_.files) {
      file_ = file == "-" ? "standard input" : file;
      const auto text = file == "-" ? readStandardInput() : systemFiles().read(file);
      if (!text)
        return failFile("cannot be read");
      const int status = options_.input == Input::Hex    ? fromHexLines(*text)
                         : options_.input == Input::Json ? fromJson(*text)
                                                         : fromSml(*text);
      if (status != kExitDone)
        return status;
    }
    return remarked_ ? kExitFailed : kExitDone;
  }

private:
  int fromSml(std::string_view text) {
    const std::vector<Source> sources = splitMessages(text);
    if (sources.empty())
      return failFile("there is no message");
    for (const Source &source : sources) {
      if (source.empty)
        return fail(source.line, "there is no message");
      CHSecsMessage message;
      SmlError error;
      const auto mixed = mixedBracket(source.text);
      if (mixed || !message.SetFromSml(source.text, &error))
        error = mixed.value_or(error);
      if (!error.reason.empty())
        return fail(source.line + firstLine(error) - 1, smlProblem(error));
      Bytes bytes;
      if (options_.output != Output::Verdict && !message.Encode(bytes))
        return fail(source.line, "the message is too long to encode");
      print(std::move(message), bytes, sources.size());
    }
    return kExitDone;
  }

  int fromHexLines(std::string_view text) {
    std::vector<std::pair<std::string, int>> messages; // digits and line
    for (int line = 1; !text.empty(); ++line) {
      const size_t end = std::min(text.find('\n'), text.size());
      std::string digits(text.substr(0, end));
      text.remove_prefix(std::min(end + 1, text.size()));
      std::erase_if(digits, [](char c) { return c == ' ' || c == '\t' || c == '\r'; });
      if (!digits.empty())
        messages.emplace_back(std::move(digits), line);
    }
    if (messages.empty())
      return failFile("there is no message");
    for (const auto &[digits, line] : messages) {
      if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        return fail(line, "not hexadecimal");
      if (digits.size() % 2 != 0 || digits.size() < 2 * CHSecsHeader::kSize)
        return fail(line, "a message has at least ten bytes of two digits each");
      printBytes(velto::fromHex(digits), line, messages.size());
    }
    return kExitDone;
  }

  int fromJson(std::string_view text) {
    if (kJsonMissing != nullptr)
      return failFile(kJsonMissing);
    JsonProblem problem;
    const auto objects = splitJson(text, problem);
    if (!objects)
      return fail(problem.line, problem.text);
    if (objects->empty())
      return failFile("there is no message");
    for (const JsonObject &object : *objects) {
      const auto bytes = messageFromJson(object, problem);
      if (!bytes)
        return fail(problem.line, problem.text);
      printBytes(*bytes, object.line, objects->size());
    }
    return kExitDone;
  }

  // What is there of a message that was cut is printed all the same.
  void printBytes(const Bytes &bytes, int line, size_t count) {
    CHSecsMessage message;
    message.Decode(bytes);
    const bool malformed = isMalformed(message.root);
    const bool whole = ReadsBackAsItIs(message.root);
    const ByteView body = ByteView(bytes).subspan(CHSecsHeader::kSize);
    const size_t read = EncodedLength(body, 1);
    print(std::move(message), bytes, count);
    if (read != 0 && read < body.size())
      remark(line, std::to_string(body.size() - read) + (options_.output == Output::Sml
                                                             ? " bytes behind the item are left out"
                                                             : " bytes are behind the item"));
    else if (malformed)
      remark(line, "an item has a length that is no multiple of its element size, no length byte, "
                   "or an unknown format");
    else if (!whole)
      remark(line, "the message is cut short, or its lists nest too deeply");
  }

  void print(CHSecsMessage message, const Bytes &bytes, size_t count) {
    switch (options_.output) {
    case Output::Verdict:
      return verify(std::move(message));
    case Output::Hex:
      return write(toHex(bytes) + '\n');
    case Output::Json:
      return write('{' + messageJsonMembers(bytes) + "}\n");
    case Output::Sml:
      const bool several = count > 1 || options_.files.size() > 1;
      return write(RenderSml(message) + (several ? ".\r\n" : ""));
    }
  }

  void verify(CHSecsMessage message) {
    CHSecsVerifier slot;
    slot.isEquipmentSide = !options_.host;
    slot.edition = options_.edition;
    slot.message = std::move(message);
    std::string text = std::exchange(verified_, true) ? "\r\n" : "";
    text += toText(slot.Verify(true));
    if (const std::string finding = slot.FindingText(true); !finding.empty())
      text += ": " + finding;
    text += "\r\n";
    if (slot.partner()->replyValid)
      text += RenderSml(slot.partner()->message);
    write(std::move(text));
  }

  void write(std::string text) const {
    if (!options_.crlf)
      std::erase(text, '\r');
    std::cout << text << std::flush;
  }

  int failFile(const std::string &reason) const {
    std::cerr << "velto: " << file_ << ": " << reason << '\n';
    return kExitFailed;
  }
  int fail(int line, const std::string &reason) const {
    std::cerr << "velto: " << file_ << ':' << line << ": " << reason << '\n';
    return kExitFailed;
  }
  void remark(int line, const std::string &text) {
    fail(line, "remark: " + text);
    remarked_ = true;
  }

  const Options &options_;
  std::string file_;
  bool verified_ = false;
  bool remarked_ = false;
};

} // namespace

int runSmlCommand(const CommandArguments &arguments) {
  Options options;
  bool fromHex = false;
  bool fromJson = false;
  bool toHex = false;
  bool toJson = false;
  bool verify = false;
  int32_t edition = 1;
  CommandLine line("sml", kAbout);
  line.flag("--hex", toHex, "print header and body in hexadecimal, one message a line");
  line.flag("--from-hex", fromHex, "read such lines; blanks inside a line do not count");
  line.flag("--json", toJson,
            "print a JSON object a line, which holds header and body item by item");
  line.flag("--from-json", fromJson, "read such objects; docs/sml.md describes them");
  line.flag("--verify", verify,
            "print what an equipment finds in each message, the item and the rule that it objects "
            "to, and the reply that it suggests");
  line.flag("--host", options.host, "verify as a host");
  line.number("--edition", "N", 0, 1, edition, kEditionHelp);
  line.flag("--crlf", options.crlf, "end lines of SML with CR LF, as the controls do");
  line.arguments("FILE", options.files, "messages; - is standard input");
  line.exclude({"--from-hex", "--from-json"});
  line.exclude({"--hex", "--json", "--verify"});
  line.exclude({"--hex", "--crlf"});
  line.exclude({"--json", "--crlf"});
  line.need("--host", "--verify");
  line.need("--edition", "--verify");
  if (const auto status = line.read(arguments))
    return *status;
  options.edition = edition == 0 ? E5Edition::Early : E5Edition::Current;
  options.input = fromHex ? Input::Hex : fromJson ? Input::Json : Input::Sml;
  options.output = toHex    ? Output::Hex
                   : toJson ? Output::Json
                   : verify ? Output::Verdict
                            : Output::Sml;
  if (options.files.empty())
    options.files.emplace_back("-");
  return SmlCommand(options).run();
}

} // namespace velto
