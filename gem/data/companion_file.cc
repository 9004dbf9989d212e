#include "gem/data/companion_file.h"

#include "gem/data/archive.h"

namespace velto {

namespace {

constexpr ArchiveClass kCompanion{"CHGemMore", 1};
constexpr ArchiveClass kPart{"CHGemPart", 1};
constexpr size_t kSmallestPart = 4; // bytes

} // namespace

std::string storeCompanion(std::span<const CompanionPart> parts) {
  ArchiveWriter archive;
  archive.object(kCompanion);
  archive.count(parts.size());
  for (const CompanionPart &part : parts) {
    archive.object(kPart);
    archive.fields(std::string_view(part.name), std::string_view(part.bytes));
  }
  return archive.take();
}

std::optional<std::vector<CompanionPart>> loadCompanion(std::string_view bytes) {
  ArchiveReader archive(bytes);
  archive.object(kCompanion.name);
  std::vector<CompanionPart> parts;
  for (uint32_t left = archive.count(kSmallestPart); left > 0 && !archive.failed(); --left) {
    archive.object(kPart.name);
    CompanionPart &part = parts.emplace_back();
    archive.fields(part.name, part.bytes);
  }
  if (!archive.finished())
    return std::nullopt;
  return parts;
}

} // namespace velto
