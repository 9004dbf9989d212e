#include "apps/velto/spy/spy_options.h"

#include "apps/velto/console/gem_console.h"
#include "base/text.h"
#include "gem/model_text/model_file.h"

namespace velto {

namespace {

CommandLine::Take takeFilter(MessageFilter &filter) {
  return [&filter](const std::string &list) -> std::string {
    const auto read = MessageFilter::read(list);
    if (!read)
      return list + " is no list of messages such as S6F11,S5";
    filter = *read;
    return "";
  };
}

// Seconds, kept as microseconds.
void declareTime(CommandLine &line, const std::string &name, uint64_t &micros,
                 const std::string &help) {
  line.option(
      name, "SECONDS",
      [&micros](const std::string &value) -> std::string {
        const auto seconds = wholeNumber(value, 1, kLongestTime);
        if (!seconds)
          return value + " is no whole number from 1 to " + std::to_string(kLongestTime);
        micros = static_cast<uint64_t>(*seconds) * 1'000'000;
        return "";
      },
      help);
}

} // namespace

void SpyOptions::declare(CommandLine &line) {
  line.text("--names", "FILE", names,
            "a model of the equipment (FILE.kel or FILE.model): names of its events, reports and "
            "variables, for what is printed");
  line.option("--filter", "LIST", takeFilter(console.filter),
              "shows these messages with their replies, and problems: S6F11,S5");
  declareTime(line, "--t3", conversation.t3,
              "a primary without a reply by then is a problem (default 45)");
  declareTime(line, "--t6", conversation.t6, "the same for control messages of HSMS (default 5)");
  line.number("--edition", "N", 0, 1, edition, kEditionHelp);
  line.flag("--quiet", console.quiet, "prints problems alone");
  line.flag("--json", console.json, "prints a JSON object a line");
}

std::string SpyOptions::finish() {
  conversation.edition = edition == 0 ? E5Edition::Early : E5Edition::Current;
  std::string problem;
  if (!names.empty())
    console.names = readModel(systemFiles(), names, problem);
  return problem;
}

} // namespace velto
