#include "gem/model_text/model_fields.h"

#include "base/quoted_text.h"
#include "base/text.h"

#include <charconv>
#include <optional>

namespace velto {

namespace {

constexpr std::string_view kNone = "none";
constexpr std::string_view kBlanks = " \t\r";

// A text as a number; nothing when it is not a number, or too large.
template <typename T> std::optional<T> wholeNumber(std::string_view text) {
  T value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size())
    return std::nullopt;
  return value;
}

} // namespace

void printValue(std::string &out, uint8_t value, ValueNames names) {
  if (value < names().size() && !names()[value].empty())
    out += names()[value];
  else
    appendDecimal(out, uint64_t{value});
}

std::string readValue(std::string_view text, uint8_t &value, ValueNames names) {
  std::optional<uint8_t> found = wholeNumber<uint8_t>(text);
  if (!found && !text.empty())
    found = findRole(names(), text);
  value = found.value_or(value);
  if (found)
    return "";
  std::string expected;
  for (const std::string_view name : names())
    if (!name.empty())
      expected += std::string(name) + ", ";
  return expected + "or a number from 0 to 255";
}

void printRole(std::string &out, uint8_t value, ValueNames names) {
  if (value == kNoRole)
    out += kNone;
  else
    printValue(out, value, names);
}

std::string readRole(std::string_view text, uint8_t &value, ValueNames names) {
  if (text != kNone)
    return readValue(text, value, names);
  value = kNoRole;
  return "";
}

void printValue(std::string &out, uint32_t value) { appendDecimal(out, uint64_t{value}); }

std::string readValue(std::string_view text, uint32_t &value) {
  const auto number = wholeNumber<uint32_t>(text);
  value = number.value_or(value);
  return number ? "" : "a number from 0 to 4294967295";
}

void printValue(std::string &out, bool value) { out += value ? "yes" : "no"; }

std::string readValue(std::string_view text, bool &value) {
  value = text == "yes";
  return value || text == "no" ? "" : "yes or no";
}

void printValue(std::string &out, std::string_view value) { out += quotedText(value); }

std::string readValue(std::string_view text, std::string &value) {
  value = text;
  return "";
}

void printValue(std::string &out, const std::vector<uint32_t> &value) {
  if (value.empty())
    out += kNone;
  for (size_t i = 0; i < value.size(); ++i) {
    if (i != 0)
      out += ',';
    printValue(out, value[i]);
  }
}

std::string readValue(std::string_view text, std::vector<uint32_t> &value) {
  value.clear();
  if (text == kNone)
    return "";
  for (bool more = true; more;) {
    const size_t end = std::min(text.find(','), text.size());
    const auto number = wholeNumber<uint32_t>(trim(text.substr(0, end)));
    if (!number)
      return "numbers with commas between them, or none";
    value.push_back(*number);
    more = end < text.size();
    text.remove_prefix(more ? end + 1 : end);
  }
  return "";
}

bool FieldLine::next() {
  rest_.remove_prefix(std::min(rest_.find_first_not_of(kBlanks), rest_.size()));
  if (rest_.empty() || rest_[0] == '#')
    return false;
  const size_t end = std::min(rest_.find_first_of(" \t\r=\"#"), rest_.size());
  if (end == 0 || end == rest_.size() || rest_[end] != '=')
    return fail("name=value expected at " + quotedText(rest_.substr(0, end)));
  name_ = rest_.substr(0, end);
  rest_.remove_prefix(end + 1);
  if (rest_.starts_with('"'))
    return takeQuoted();
  const size_t valueEnd = std::min(rest_.find_first_of(kBlanks), rest_.size());
  value_ = rest_.substr(0, valueEnd);
  rest_.remove_prefix(valueEnd);
  return true;
}

bool FieldLine::takeQuoted() {
  size_t end = 1;
  while (end < rest_.size() && rest_[end] != '"')
    end += rest_[end] == '\\' ? 2 : 1;
  if (end >= rest_.size())
    return fail("the closing quote of " + name_ + " is missing");
  std::string reason;
  auto text = unquotedText(rest_.substr(1, end - 1), reason);
  if (!text)
    return fail(std::move(reason));
  value_ = std::move(*text);
  rest_.remove_prefix(end + 1);
  if (!rest_.empty() && kBlanks.find(rest_[0]) == std::string_view::npos)
    return fail("a blank is missing behind " + name_);
  return true;
}

bool FieldLine::fail(std::string problem) {
  problem_ = std::move(problem);
  return false;
}

} // namespace velto
