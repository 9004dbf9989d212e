#pragma once

#include "platform/file.h"
#include "secs2/item.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velto {

/// Process programs (SEMI E30 4.6) in a folder of their own: one file each, under a name that the
/// PPID can be read from, and written whole or not at all. The folder alone knows what there is, so
/// that files may come and go meanwhile.
///
/// A body is kept as the item that it is: a list is a formatted one (E5 S7F23: PPID, MDLN, SOFTREV
/// and process commands), anything else a PPBODY.
class CHGemRecipeStore {
public:
  static constexpr size_t kLongestName = 120; ///< bytes of a PPID

  CHGemRecipeStore(FileSystem &files, std::string folder)
      : files_(files), folder_(std::move(folder)) {}

  /// Whether a process program can be kept under that PPID.
  static bool isName(std::string_view ppid) { return !ppid.empty() && ppid.size() <= kLongestName; }

  /// The PPIDs in their order.
  std::vector<std::string> names() const;
  bool holds(std::string_view ppid) const;
  /// Nothing when there is none, and when its file is damaged.
  std::optional<CHSecsItem> find(std::string_view ppid) const;
  /// Keeps a body, in place of the one before. False, with errno, when it cannot be written.
  bool put(std::string_view ppid, const CHSecsItem &body) const;
  bool remove(std::string_view ppid) const;
  /// Has what was removed stay so behind a power loss.
  void flush() const;

private:
  std::string pathOf(std::string_view ppid) const;

  FileSystem &files_;
  std::string folder_;
};

} // namespace velto
