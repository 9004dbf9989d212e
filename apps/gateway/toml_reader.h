#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <toml++/toml.h>
#include <vector>

namespace velto::gateway {

/// A table of a configuration file. Whatever is wrong is noted with file, line and key, and reading
/// goes on.
class TomlReader {
public:
  /// What all readers of a file share.
  struct File {
    std::string name;
    std::multimap<size_t, std::string> problems; ///< by their lines
  };

  TomlReader(File &file, std::string path, const toml::table &table)
      : file_(file), path_(std::move(path)), table_(table) {}

  /// Notes the keys of the table that are none of these.
  void only(std::span<const std::string_view> keys) const;
  /// Null when it has no such key.
  const toml::node *find(std::string_view key) const { return table_.get(key); }
  bool has(std::string_view key) const { return find(key) != nullptr; }

  // Values that may be left out: they stay as they are then, and where something is wrong.
  void text(std::string_view key, std::string &value) const;
  void number(std::string_view key, int32_t low, int32_t high, int32_t &value) const;
  void number(std::string_view key, double low, double high, double &value) const;
  void flag(std::string_view key, bool &value) const;
  void texts(std::string_view key, std::vector<std::string> &values) const;
  /// The tables of an array of tables.
  std::vector<TomlReader> tables(std::string_view key) const;
  /// The table itself, to walk it.
  const toml::table &table() const { return table_; }
  /// A table inside the table; nothing when there is none.
  std::optional<TomlReader> inner(std::string_view key) const;

  /// Notes what is wrong with a key, or with the table itself for an empty one.
  void wrong(std::string_view key, const std::string &reason) const;
  void wrong(const toml::node &at, std::string_view key, const std::string &reason) const;

private:
  std::string pathOf(std::string_view key) const;

  File &file_;
  std::string path_; ///< of the table, as in `tool.etch1.events`
  const toml::table &table_;
};

} // namespace velto::gateway
