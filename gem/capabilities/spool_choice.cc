#include "gem/capabilities/spool_choice.h"

#include "gem/data/list_text.h"
#include "gem/messages/items.h"
#include "secs2/message_table.h"

#include <algorithm>
#include <string>

namespace velto {

namespace {

// STRACK (SEMI E5).
constexpr uint8_t kAllowed = 0;
constexpr uint8_t kStreamNotAllowed = 1;
constexpr uint8_t kNoSuchStream = 2;
constexpr uint8_t kNoSuchFunction = 3;
constexpr uint8_t kSecondaryFunction = 4;

constexpr ArchiveClass kSpoolClass{"CHGemSpool", 1};
constexpr size_t kSmallestChoice = 3; // bytes in the archive

// S6F5.
bool isInquiry(const CHSecsHeader &header) {
  return header.stream() == 6 && header.function() == 5;
}

// A stream or function as it was given; 255, which is neither, for what is not one item.
uint32_t idOf(const CHSecsItem &item) {
  return item.isList() || item.count() != 1 ? 0xFF : numberOf(item);
}

uint8_t streamFault(uint32_t stream) {
  if (stream == 1)
    return kStreamNotAllowed;
  return stream < CHGemSpoolChoice::kStreams && isKnownStream(static_cast<uint8_t>(stream))
             ? kAllowed
             : kNoSuchStream;
}

// Only what an equipment sends by itself can be spooled.
uint8_t functionFault(uint8_t stream, uint32_t function, E5Edition edition) {
  if (function % 2 == 0)
    return kSecondaryFunction;
  const MessageRow *row = function < CHGemSpoolChoice::kFunctions
                              ? findMessage(stream, static_cast<uint8_t>(function))
                              : nullptr;
  const bool isSent = row != nullptr && row->of(edition).body != nullptr &&
                      row->of(edition).side != Side::Equipment;
  return isSent ? kAllowed : kNoSuchFunction;
}

} // namespace

std::optional<CHGemSpoolChoice> CHGemSpoolChoice::read(const CHSecsItem &body, E5Edition edition,
                                                       Faults &faults) {
  if (!body.isList())
    return std::nullopt;
  CHGemSpoolChoice chosen;
  for (const CHSecsItem &entry : body.children()) {
    const uint32_t id = idOf(childOf(entry, 1));
    const CHSecsItem &functions = childOf(entry, 2);
    const uint8_t fault = functions.isList() ? streamFault(id) : kNoSuchStream;
    if (fault != kAllowed) {
      faults[{id, fault}];
      continue;
    }
    const auto stream = static_cast<uint8_t>(id);
    if (functions.count() == 0)
      chosen.addAll(stream);
    for (const CHSecsItem &item : functions.children()) {
      const uint32_t function = idOf(item);
      if (const uint8_t wrong = functionFault(stream, function, edition))
        faults[{stream, wrong}].insert(function);
      else
        chosen.add(stream, static_cast<uint8_t>(function));
    }
  }
  return faults.empty() ? std::optional(chosen) : std::nullopt;
}

bool CHGemSpoolChoice::holds(const CHSecsHeader &header) const {
  return any_ && header.sType() == 0 && header.function() % 2 == 1 &&
         streams_[header.stream()][header.function()] && !isInquiry(header);
}

// None: all of them.
std::vector<uint32_t> CHGemSpoolChoice::functionsOf(size_t stream) const {
  std::vector<uint32_t> functions;
  for (uint32_t function = 0; function < kFunctions && !streams_[stream].all(); ++function)
    if (streams_[stream][function])
      functions.push_back(function);
  return functions;
}

void CHGemSpoolChoice::store(ArchiveWriter &archive) const {
  archive.object(kSpoolClass);
  archive.count(static_cast<size_t>(
      std::ranges::count_if(streams_, [](const Functions &functions) { return functions.any(); })));
  for (size_t stream = 0; stream < kStreams; ++stream) {
    if (streams_[stream].none())
      continue;
    archive.field(static_cast<uint8_t>(stream));
    archive.field(functionsOf(stream));
  }
}

void CHGemSpoolChoice::load(ArchiveReader &archive) {
  *this = {};
  archive.object(kSpoolClass.name);
  for (uint32_t left = archive.count(kSmallestChoice); left > 0 && !archive.failed(); --left) {
    uint8_t stream = 0;
    std::vector<uint32_t> functions;
    archive.fields(stream, functions);
    if (functions.empty() && !archive.failed())
      addAll(stream);
    for (const uint32_t function : functions)
      add(stream, static_cast<uint8_t>(function));
  }
}

void CHGemSpoolChoice::addStatus(TreeNode &parent) const {
  for (size_t stream = 0; stream < kStreams; ++stream)
    if (streams_[stream].any())
      parent.add("Stream " + std::to_string(stream) + " : " +
                 (streams_[stream].all() ? "all" : joinNumbers(functionsOf(stream))));
}

} // namespace velto
