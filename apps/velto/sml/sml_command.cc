#include "apps/velto/sml/sml_command.h"

#include "base/text.h"
#include "platform/file.h"
#include "secs2/message.h"
#include "secs2/sml_lexer.h"
#include "secs2/sml_printer.h"
#include "secs2/verifier.h"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <optional>

namespace velto {

namespace {

enum class Mode { Print, ToHex, FromHex, Verify };

struct Options {
  Mode mode = Mode::Print;
  bool crlf = false;
  bool host = false;
  E5Edition edition = E5Edition::Current;
  std::vector<std::string> files;
};

constexpr const char *kUsage =
    "usage: velto sml [--hex | --from-hex | --verify [--host]] [--crlf] [FILE…]\n"
    "       velto sml --verify [--host] [--edition N] [FILE…]\n\n"
    "Reads messages in SML, from standard input without files, and prints them as normalised\n"
    "SML. In a file of several messages each ends with a period.\n\n"
    "  --hex       print header and body in hexadecimal, one message a line\n"
    "  --from-hex  read such lines and print SML; blanks inside a line do not count\n"
    "  --verify    print what an equipment finds in each message, the item and the rule that it\n"
    "              objects to, and the reply that it suggests\n"
    "  --host      verify as a host\n"
    "  --edition N of SEMI E5: 1 the current one (default), 0 the early one\n"
    "  --crlf      end lines of SML with CR LF, as the controls do\n";

// The text of a message, and the line of the file where it begins.
struct Source {
  std::string_view text;
  int line;
};

// Cuts a file into messages. It holds one, or several that each end with a period.
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
    if (inside || !empty || messages.empty())
      messages.push_back({text.substr(start, end - start), line});
    start = std::min(end + 1, text.size());
    line = lexer.line();
    empty = true;
  }
  return messages;
}

class SmlCommand {
public:
  explicit SmlCommand(const Options &options) : options_(options) {}

  int run() {
    if (options_.files.empty())
      return read("-");
    for (const std::string &file : options_.files)
      if (const int status = read(file); status != kExitDone)
        return status;
    return kExitDone;
  }

private:
  int read(const std::string &file) {
    std::optional<std::string> text;
    if (file == "-")
      text.emplace(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
    else
      text = systemFiles().read(file);
    if (!text) {
      std::cerr << "velto: " << file << ": cannot be read\n";
      return kExitFailed;
    }
    file_ = file == "-" ? "standard input" : file;
    return options_.mode == Mode::FromHex ? fromHexLines(*text) : fromSml(*text);
  }

  int fromSml(std::string_view text) {
    const std::vector<Source> sources = splitMessages(text);
    for (const Source &source : sources) {
      CHSecsMessage message;
      SmlError error;
      const std::string_view sml = source.text.empty() ? " " : source.text;
      if (!message.SetFromSml(sml, &error))
        return fail(source.line + error.line - 1, error.what());
      const int status = options_.mode == Mode::Verify
                             ? verify(std::move(message), &source != &sources.front())
                             : print(message, source.line, sources.size() > 1);
      if (status != kExitDone)
        return status;
    }
    return kExitDone;
  }

  int verify(CHSecsMessage message, bool blankLine) {
    CHSecsVerifier slot;
    slot.isEquipmentSide = !options_.host;
    slot.edition = options_.edition;
    slot.message = std::move(message);
    std::string text = blankLine ? "\r\n" : "";
    text += toText(slot.Verify(true));
    if (const std::string finding = slot.FindingText(true); !finding.empty())
      text += ": " + finding;
    text += "\r\n";
    if (slot.partner()->replyValid)
      text += RenderSml(slot.partner()->message);
    write(std::move(text));
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
    for (const auto &[digits, line] : messages)
      if (const int status = fromHex(digits, line, messages.size() > 1); status != kExitDone)
        return status;
    return kExitDone;
  }

  int fromHex(const std::string &digits, int line, bool several) {
    if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
      return fail(line, "not hexadecimal");
    CHSecsMessage message;
    if (digits.size() % 2 != 0 || !message.SetMsg(digits))
      return fail(line, "a message has at least ten bytes of two digits each");
    return print(message, line, several);
  }

  int print(const CHSecsMessage &message, int line, bool several) {
    std::string text =
        options_.mode == Mode::ToHex ? message.GetMsg() + "\r\n" : RenderSml(message);
    if (text.size() <= 2)
      return fail(line, "the message is too long to encode");
    if (several && options_.mode != Mode::ToHex)
      text += ".\r\n";
    write(std::move(text));
    return kExitDone;
  }

  void write(std::string text) const {
    if (!options_.crlf || options_.mode == Mode::ToHex)
      std::erase(text, '\r');
    std::cout << text << std::flush;
  }

  int fail(int line, const std::string &reason) const {
    std::cerr << "velto: " << file_ << ":" << line << ": " << reason << '\n';
    return kExitFailed;
  }

  const Options &options_;
  std::string file_;
};

std::optional<Options> parseOptions(const CommandArguments &arguments) {
  Options options;
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string &argument = arguments[i];
    if (argument == "--hex")
      options.mode = Mode::ToHex;
    else if (argument == "--from-hex")
      options.mode = Mode::FromHex;
    else if (argument == "--verify")
      options.mode = Mode::Verify;
    else if (argument == "--host")
      options.host = true;
    else if (argument == "--edition" && i + 1 < arguments.size() &&
             (arguments[i + 1] == "0" || arguments[i + 1] == "1"))
      options.edition = arguments[++i] == "0" ? E5Edition::Early : E5Edition::Current;
    else if (argument == "--crlf")
      options.crlf = true;
    else if (argument.size() > 1 && argument[0] == '-')
      return std::nullopt;
    else
      options.files.push_back(argument);
  }
  return options;
}

} // namespace

int runSmlCommand(const CommandArguments &arguments) {
  if (std::ranges::find(arguments, "--help") != arguments.end()) {
    std::cout << kUsage;
    return kExitDone;
  }
  const auto options = parseOptions(arguments);
  if (!options) {
    std::cerr << kUsage;
    return kExitUsage;
  }
  return SmlCommand(*options).run();
}

} // namespace velto
