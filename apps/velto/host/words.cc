#include "apps/velto/host/words.h"

#include "apps/velto/console/literal.h"
#include "base/text.h"

namespace velto {

namespace {

// Moves the quoted part at the front of a text to the word.
std::string takeQuoted(std::string_view &text, Word &word) {
  size_t end = 1;
  while (end < text.size() && text[end] != '"')
    end += text[end] == '\\' ? 2 : 1;
  if (end >= text.size())
    return "a quote is not closed";
  std::string problem;
  const auto inside = unquotedText(text.substr(1, end - 1), problem);
  if (!inside)
    return problem;
  word.text += *inside;
  word.quoted = true;
  text.remove_prefix(end + 1);
  return "";
}

// Whether the text begins with an item, or with a name and an item: NAME=<u4 5>.
bool holdsItem(std::string_view text) {
  return text.starts_with('<') || text.find("=<") < text.find_first_of(" \t\"");
}

} // namespace

std::string splitWords(std::string_view text, std::vector<Word> &words) {
  while (!(text = trim(text)).empty() && !text.starts_with('#')) {
    Word word;
    if (holdsItem(text)) {
      const size_t end = text.find('>');
      word.text = text.substr(0, end == std::string_view::npos ? end : end + 1);
      text.remove_prefix(word.text.size());
    }
    while (!text.empty() && text[0] != ' ' && text[0] != '\t') {
      if (text[0] == '"') {
        if (std::string problem = takeQuoted(text, word); !problem.empty())
          return problem;
        continue;
      }
      word.text += text[0];
      text.remove_prefix(1);
    }
    words.push_back(std::move(word));
  }
  return "";
}

} // namespace velto
