#include "controls/component/property_bag.h"

#include <algorithm>

namespace velto {

namespace {

void appendEscaped(std::string &out, const std::string &value) {
  for (const char c : value) {
    if (c == '\n')
      out += "\\n";
    else if (c == '\r')
      out += "\\r";
    else if (c == '\\')
      out += "\\\\";
    else
      out += c;
  }
}

std::string unescaped(std::string_view text) {
  std::string value;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      value += text[i];
      continue;
    }
    const char c = text[++i];
    value += c == 'n' ? '\n' : c == 'r' ? '\r' : c;
  }
  return value;
}

} // namespace

const Variant *PropertyBag::find(const std::string &name) const {
  const auto found = values_.find(name);
  return found == values_.end() ? nullptr : &found->second;
}

std::string PropertyBag::text() const {
  std::string text;
  for (const auto &[name, value] : values_) {
    text += name;
    text += '=';
    appendEscaped(text, value.text());
    text += '\n';
  }
  return text;
}

std::optional<PropertyBag> PropertyBag::parse(std::string_view text) {
  PropertyBag bag;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    // A bag that passed through an editor may have come back with CR LF line ends.
    if (line.ends_with('\r'))
      line.remove_suffix(1);
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos)
      return std::nullopt;
    bag.set(std::string(line.substr(0, equals)), unescaped(line.substr(equals + 1)));
  }
  return bag;
}

} // namespace velto
