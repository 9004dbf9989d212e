#pragma once

#include "gem/data/archive.h"
#include "secs2/edition.h"
#include "secs2/message.h"
#include "ui/view.h"

#include <array>
#include <bitset>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace velto {

/// The primaries that the host wants to be spooled (SEMI E5 S2F43).
class CHGemSpoolChoice {
public:
  static constexpr size_t kStreams = 128;
  static constexpr size_t kFunctions = 256;

  /// What S2F43 is refused for: FCNIDs by STRID and STRACK, all of them as they were given.
  using Faults = std::map<std::pair<uint32_t, uint8_t>, std::set<uint32_t>>;
  /// What the body of S2F43 names, all of it or nothing.
  static std::optional<CHGemSpoolChoice> read(const CHSecsItem &body, E5Edition edition,
                                              Faults &faults);

  void add(uint8_t stream, uint8_t function) { of(stream).set(function); }
  void addAll(uint8_t stream) { of(stream).set(); }
  bool empty() const { return !any_; }
  /// An inquiry is never kept: it belongs to the message that it announces.
  bool holds(const CHSecsHeader &header) const;

  void store(ArchiveWriter &archive) const;
  void load(ArchiveReader &archive);
  void addStatus(TreeNode &parent) const;

private:
  using Functions = std::bitset<kFunctions>;

  Functions &of(uint8_t stream) {
    any_ = true;
    return streams_[stream % kStreams];
  }
  std::vector<uint32_t> functionsOf(size_t stream) const;

  std::array<Functions, kStreams> streams_; // all bits: every primary
  bool any_ = false;
};

} // namespace velto
