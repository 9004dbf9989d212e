// The commands of the host's prompt about process programs (SEMI E5 stream 7).

#include "apps/velto/host/host_prompt.h"

#include "gem/messages/stream7.h"
#include "platform/file.h"

namespace velto {

namespace {

constexpr double kVerificationPatience = 45; // s until S7F27 must have come

constexpr const char *kNoFiles = "files are for the keyboard and scripts alone";

} // namespace

std::string HostPrompt::recipes(const Line &) {
  if (std::string problem = ask(7, stream7::Directory); !problem.empty())
    return problem;
  for (const CHSecsItem &name : host_.reply().root.children())
    host_.say("recipe " + readableItem(name));
  return "";
}

std::string HostPrompt::recipe(const Line &line) {
  const size_t count = line.words.size();
  const std::string verb = count == 0 ? "" : line.words[0].text;
  if (verb == "get" && (count == 2 || count == 3))
    return getRecipe(line.words[1], count == 3 ? line.words[2].text : "");
  if (verb == "put" && count == 3)
    return putRecipe(line.words[1], line.words[2]);
  if (verb == "delete" && count > 1) {
    CHSecsItem names = listItem();
    for (size_t i = 1; i < count; ++i)
      names.appendChild(textItem(line.words[i].text));
    return ask(7, stream7::DeleteBodies, std::move(names));
  }
  if (verb == "verify" && count == 2) {
    std::string problem = ask(7, stream7::RequestVerification,
                              listItem(textItem(line.words[1].text), textItem(""), textItem("")));
    return problem.empty() ? host_.await("S7F27", kVerificationPatience) : problem;
  }
  return "recipe takes get, put, delete or verify, and a PPID; put also an item or a file";
}

// The equipment has it as a PPBODY or as a formatted one.
std::string HostPrompt::getRecipe(const Word &ppid, const std::string &fileName) {
  if (!fileName.empty() && files_ == Files::No)
    return kNoFiles;
  for (const uint8_t function : {stream7::RequestBody, stream7::RequestFormatted}) {
    if (std::string problem = ask(7, function, textItem(ppid.text)); !problem.empty())
      return problem;
    if (host_.reply().root.count() == 0)
      continue;
    const std::string sml = stream7::smlOf(stream7::keptBody(host_.reply().root));
    if (!fileName.empty() && !systemFiles().replace(fileName, sml))
      return fileName + " cannot be written";
    return "";
  }
  return "the equipment has no recipe \"" + ppid.text + '"';
}

// From an item in SML, or from a file that holds it. One that is there is replaced.
std::string HostPrompt::putRecipe(const Word &ppid, const Word &source) {
  const bool isItem = source.text.starts_with('<') && !source.quoted;
  if (!isItem && files_ == Files::No)
    return kNoFiles;
  const auto sml = isItem ? std::optional(source.text) : systemFiles().read(source.text);
  if (!sml)
    return source.text + " cannot be read";
  CHSecsMessage message;
  if (!message.SetFromSml("s7f3w " + *sml) || !message.root.hasData())
    return source.text + " holds no item in SML";
  const CHSecsItem &body = message.root;
  const bool formatted = body.isList();
  if (std::string problem = ask(7, stream7::Inquire,
                                listItem(textItem(ppid.text), numberItem(stream7::lengthOf(body))));
      !problem.empty())
    return problem;
  return ask(7, formatted ? stream7::SendFormatted : stream7::SendBody,
             stream7::sentBody(ppid.text, std::move(message.root)));
}

} // namespace velto
