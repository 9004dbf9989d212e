#pragma once

#include "apps/gateway/config.h"
#include "apps/gateway/toml_reader.h"

#include <filesystem>
#include <map>
#include <span>

namespace velto::gateway {

/// Names files that were read, by their paths: tools of a type share one. Null for one that cannot
/// be read.
using KnownNames = std::map<std::string, std::shared_ptr<const Names>>;

/// The keys of a tool that a template may have too.
std::span<const std::string_view> purposeKeys();

/// Reads what a tool, or a template of tools, is for, over what is there already.
class ToolReader {
public:
  /// Names files are looked for in `folder`.
  ToolReader(const TomlReader &reader, const std::filesystem::path &folder, KnownNames &known)
      : reader_(reader), folder_(folder), known_(known) {}

  void read(ToolConfig &tool);

private:
  void readNames(ToolConfig &tool);
  void readEvents(Subscription &subscription);
  void readEvent(const TomlReader &reader, Subscription &subscription);
  void readAlarms(Subscription &subscription);
  void readTraces(Subscription &subscription);
  void readLimits(Subscription &subscription);
  void readPolls(Subscription &subscription);
  void readSpooling(Subscription &subscription);
  void readAllow(ToolConfig &tool);
  std::vector<uint32_t> variables(const TomlReader &reader, std::string_view key) const;
  std::optional<uint32_t> variable(const TomlReader &reader, const toml::node &node,
                                   std::string_view key) const;
  std::optional<std::vector<uint32_t>> numbers(std::string_view key, uint32_t most) const;

  const TomlReader &reader_;
  const std::filesystem::path &folder_;
  KnownNames &known_;
  std::shared_ptr<const Names> names_;
};

} // namespace velto::gateway
