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

  const std::string &folder() const { return folder_; }

  /// Whether a process program can be kept under that PPID.
  static bool isName(std::string_view ppid) { return !ppid.empty() && ppid.size() <= kLongestName; }

  /// The PPIDs in their order.
  std::vector<std::string> names() const;
  bool holds(std::string_view ppid) const;
  /// Nothing when there is none, and when its file is damaged.
  std::optional<CHSecsItem> find(std::string_view ppid) const;
  /// How many there are. The folder is listed again only when another hand has changed it.
  size_t count();
  /// Keeps a body, in place of the one before. False, with errno, when it cannot be written.
  bool put(std::string_view ppid, const CHSecsItem &body);
  bool remove(std::string_view ppid);
  /// Has what was removed stay so behind a power loss.
  void flush() const;

private:
  /// How many there were when the folder changed last.
  struct Count {
    int64_t changedAt = 0;
    size_t programs = 0;
  };

  std::string pathOf(std::string_view ppid) const;
  bool isCounted() const;
  void recount(bool wasCounted, int difference);

  FileSystem &files_;
  std::string folder_;
  std::optional<Count> count_;
};

} // namespace velto
