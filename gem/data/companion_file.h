#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

/// The companion of a model data file has this behind the name of that file.
inline constexpr std::string_view kCompanionEnding = ".more";

/// What a capability keeps in the companion of the data file: an archive of its own, so that a part
/// which another release wrote can be passed over.
struct CompanionPart {
  std::string name;
  std::string bytes;
};

/// The companion as bytes: an archive of parts (gem/data/archive.h).
std::string storeCompanion(std::span<const CompanionPart> parts);
/// The parts that the bytes hold; nothing when they are no companion file.
std::optional<std::vector<CompanionPart>> loadCompanion(std::string_view bytes);

} // namespace velto
