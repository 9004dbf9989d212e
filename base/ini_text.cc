#include "base/ini_text.h"

#include "base/text.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace velto {

namespace {

bool isComment(std::string_view trimmed) {
  return trimmed.starts_with(';') || trimmed.starts_with('#');
}

/// The name of a `[section]` line. It ends at the last bracket, so that it may hold one.
std::optional<std::string_view> headingName(std::string_view line) {
  line = trim(line);
  const size_t end = line.rfind(']');
  if (!line.starts_with('[') || end == std::string_view::npos)
    return std::nullopt;
  return trim(line.substr(1, end - 1));
}

bool isQuoted(std::string_view text) {
  return text.size() >= 2 && text.front() == text.back() &&
         (text.front() == '"' || text.front() == '\'');
}

std::string_view valueOf(std::string_view line) {
  const std::string_view value = trim(line.substr(line.find('=') + 1));
  return isQuoted(value) ? value.substr(1, value.size() - 2) : value;
}

/// Without line ends, which would start a line of its own in the file.
std::string onOneLine(std::string_view text) {
  std::string line(text);
  std::erase_if(line, [](char c) { return c == '\r' || c == '\n'; });
  return line;
}

/// What stands behind "=" so that `value` reads back as it is.
std::string written(std::string_view value) {
  std::string text = onOneLine(value);
  if (trim(text).size() != text.size() || isQuoted(text))
    text = '"' + text + '"';
  return text;
}

std::string_view lineEnd(std::string_view line) {
  return line.substr(line.ends_with("\r\n") ? line.size() - 2
                                            : line.size() - (line.ends_with('\n') ? 1 : 0));
}

std::vector<std::string> splitLines(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const size_t length = std::min(text.find('\n'), text.size() - 1) + 1;
    lines.emplace_back(text.substr(0, length));
    text.remove_prefix(length);
  }
  return lines;
}

} // namespace

IniText::IniText(std::string_view text) : lines_(splitLines(text)) {}

bool IniText::has(std::string_view section, std::string_view key) const {
  return findKey(findSection(section), key) != kNone;
}

std::string IniText::text(std::string_view section, std::string_view key, std::string_view fallback,
                          size_t limit) const {
  const size_t line = findKey(findSection(section), key);
  const std::string_view value = line == kNone ? fallback : valueOf(lines_[line]);
  return std::string(value.substr(0, limit));
}

int IniText::integer(std::string_view section, std::string_view key, int fallback) const {
  const size_t line = findKey(findSection(section), key);
  return line == kNone ? fallback : decimal32(valueOf(lines_[line]));
}

void IniText::setText(std::string_view section, std::string_view key, std::string_view value) {
  const Section range = findSection(section);
  if (const size_t line = findKey(range, key); line != kNone) {
    std::string &entry = lines_[line];
    entry = entry.substr(0, entry.find('=') + 1) + written(value) + std::string(lineEnd(entry));
    return;
  }
  size_t end = range.end;
  if (range.begin == kNone) {
    end = lines_.size();
    insertLine(end++, '[' + onOneLine(trim(section)) + ']');
  }
  while (trim(lines_[end - 1]).empty()) // stops at the heading at the latest
    --end;
  insertLine(end, onOneLine(trim(key)) + '=' + written(value));
}

void IniText::setInteger(std::string_view section, std::string_view key, int value) {
  std::string digits;
  appendDecimal(digits, int64_t{value});
  setText(section, key, digits);
}

std::string IniText::text() const {
  std::string text;
  for (const std::string &line : lines_)
    text += line;
  return text;
}

IniText::Section IniText::findSection(std::string_view section) const {
  const std::string name = onOneLine(trim(section));
  const auto isHeading = [](const std::string &line) { return headingName(line).has_value(); };
  const auto begin = std::find_if(lines_.begin(), lines_.end(), [&](const std::string &line) {
    const auto heading = headingName(line);
    return heading && equalsIgnoreCase(*heading, name);
  });
  if (begin == lines_.end())
    return {};
  const auto end = std::find_if(begin + 1, lines_.end(), isHeading);
  return {static_cast<size_t>(begin - lines_.begin()), static_cast<size_t>(end - lines_.begin())};
}

size_t IniText::findKey(const Section &section, std::string_view key) const {
  const std::string name = onOneLine(trim(key));
  for (size_t i = section.begin; i < section.end; ++i) {
    const std::string_view line = trim(lines_[i]);
    const size_t equals = line.find('=');
    if (i != section.begin && equals != std::string_view::npos && !isComment(line) &&
        equalsIgnoreCase(trim(line.substr(0, equals)), name))
      return i;
  }
  return kNone;
}

void IniText::insertLine(size_t index, std::string line) {
  if (index > 0 && !lines_[index - 1].ends_with('\n'))
    lines_[index - 1] += '\n';
  lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(index), std::move(line) + '\n');
}

} // namespace velto
