#pragma once

#include "controls/component/variant.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace velto {

/// The persisted properties of one control, by name, as a host container keeps them with its form.
class PropertyBag {
public:
  void set(const std::string &name, Variant value) { values_[name] = std::move(value); }
  const Variant *find(const std::string &name) const;
  size_t size() const { return values_.size(); }

  /// The bag as text, one "Name=value" line per property in order of name; line ends and
  /// backslashes inside a value are escaped.
  std::string text() const;
  /// The bag that text() wrote; values come back as texts, which convert on use. Nothing when a
  /// line has no "=".
  static std::optional<PropertyBag> parse(std::string_view text);

private:
  std::map<std::string, Variant> values_;
};

} // namespace velto
