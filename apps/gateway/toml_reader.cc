#include "apps/gateway/toml_reader.h"

#include <algorithm>
#include <cmath>

namespace velto::gateway {

std::string TomlReader::pathOf(std::string_view key) const {
  if (path_.empty() || key.empty())
    return path_ + std::string(key);
  return path_ + '.' + std::string(key);
}

void TomlReader::wrong(const toml::node &at, std::string_view key,
                       const std::string &reason) const {
  const size_t line = at.source().begin.line;
  file_.problems.emplace(line, file_.name + ':' + std::to_string(line) + ": " + pathOf(key) + ": " +
                                   reason);
}

void TomlReader::wrong(std::string_view key, const std::string &reason) const {
  const toml::node *node = key.empty() ? nullptr : find(key);
  wrong(node == nullptr ? table_ : *node, key, reason);
}

void TomlReader::only(std::span<const std::string_view> keys) const {
  for (const auto &[key, node] : table_)
    if (std::ranges::find(keys, key.str()) == keys.end())
      wrong(node, key.str(), "there is no such key");
}

void TomlReader::text(std::string_view key, std::string &value) const {
  const toml::node *node = find(key);
  if (node == nullptr)
    return;
  if (const auto *read = node->as_string(); read != nullptr && !read->get().empty())
    value = read->get();
  else
    wrong(*node, key, "a text is needed, in quotes");
}

void TomlReader::number(std::string_view key, int32_t low, int32_t high, int32_t &value) const {
  const toml::node *node = find(key);
  if (node == nullptr)
    return;
  const auto *read = node->as_integer();
  if (read != nullptr && read->get() >= low && read->get() <= high)
    value = static_cast<int32_t>(read->get());
  else
    wrong(*node, key,
          "a number from " + std::to_string(low) + " to " + std::to_string(high) + " is needed");
}

void TomlReader::number(std::string_view key, double low, double high, double &value) const {
  const toml::node *node = find(key);
  if (node == nullptr)
    return;
  const auto read = node->is_number() ? node->value<double>() : std::nullopt;
  if (read && *read >= low && *read <= high) {
    value = *read;
    return;
  }
  std::string range = "a number is needed";
  if (std::isfinite(low) && std::isfinite(high))
    range = "a number from " + std::to_string(low) + " to " + std::to_string(high) + " is needed";
  wrong(*node, key, range);
}

void TomlReader::flag(std::string_view key, bool &value) const {
  const toml::node *node = find(key);
  if (node == nullptr)
    return;
  if (const auto *read = node->as_boolean())
    value = read->get();
  else
    wrong(*node, key, "true or false is needed");
}

void TomlReader::texts(std::string_view key, std::vector<std::string> &values) const {
  const toml::node *node = find(key);
  if (node == nullptr)
    return;
  const auto *list = node->as_array();
  if (list == nullptr)
    return wrong(*node, key, "a list of texts is needed");
  values.clear();
  for (const toml::node &item : *list) {
    if (const auto *read = item.as_string())
      values.push_back(read->get());
    else
      wrong(item, key, "a text is needed, in quotes");
  }
}

std::vector<TomlReader> TomlReader::tables(std::string_view key) const {
  std::vector<TomlReader> readers;
  const toml::node *node = find(key);
  if (node == nullptr)
    return readers;
  const auto *list = node->as_array();
  if (list == nullptr) {
    wrong(*node, key, "a list of tables is needed");
    return readers;
  }
  for (const toml::node &item : *list) {
    if (const auto *table = item.as_table())
      readers.emplace_back(file_, pathOf(key) + '[' + std::to_string(readers.size() + 1) + ']',
                           *table);
    else
      wrong(item, key, "a table is needed, { key = value, ... }");
  }
  return readers;
}

std::optional<TomlReader> TomlReader::inner(std::string_view key) const {
  const toml::node *node = find(key);
  if (node == nullptr)
    return std::nullopt;
  if (const auto *table = node->as_table())
    return TomlReader(file_, pathOf(key), *table);
  wrong(*node, key, "a table is needed");
  return std::nullopt;
}

} // namespace velto::gateway
