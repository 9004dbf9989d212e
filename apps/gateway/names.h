#pragma once

#include "gem/data/model_data.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velto::gateway {

/// What the gateway knows of a type of tool: the names of its variables, events and alarms, from a
/// model file. All tools of the type share it.
class Names {
public:
  Names() = default;
  /// Null when the file cannot be read; `problem` says why.
  static std::shared_ptr<const Names> read(const std::string &path, std::string &problem);

  const GemData &model() const { return model_; }
  bool empty() const { return source_.empty(); }
  const CHGemEventVid *variable(uint32_t vid) const { return model_.variables.FindVid(vid); }
  /// A variable, event or command by number or name, as people write it; nothing when there is none
  /// of that name.
  std::optional<uint32_t> findVariable(std::string_view name) const;
  std::optional<uint32_t> findEvent(std::string_view name) const;
  bool hasCommand(std::string_view name) const;
  /// The variable of the equipment's date and time (SEMI E30, Clock); 0: none is known.
  uint32_t clock() const;
  /// Empty when it has none.
  std::string eventName(uint32_t ceid) const;

  /// Whether the file said the same.
  bool operator==(const Names &other) const { return source_ == other.source_; }

private:
  std::string source_; ///< the model as text
  GemData model_;
};

/// A name as one level of a topic: letters, digits, `-` and `_` stay, all else becomes `_`.
std::string topicLevel(std::string_view name);

} // namespace velto::gateway
