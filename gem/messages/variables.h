#pragma once

#include "gem/data/model_data.h"
#include "gem/messages/items.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

namespace velto {

// What the questions for status variables and for equipment constants have in common.

/// The variable of that number and of exactly that kind; null when there is none.
template <typename Variables>
auto findOfKind(Variables &variables, std::optional<uint32_t> vid, uint8_t kind) {
  const auto found = vid ? variables.FindVid(*vid, kind) : nullptr;
  return found != nullptr && found->kind == kind ? found : nullptr;
}

/// Bytes of an empty item, and of an entry of an identifier and two texts.
inline constexpr size_t kSmallestItem = 2;
inline constexpr size_t kSmallestName = kShortListHead + 3 * kSmallestItem;

/// One entry for each variable that a request names, in its order; where it names none, for each
/// variable of that kind. `entry(id, variable)` makes it, the variable null when it is unknown or
/// of another kind, and has `bytesOfEach` encoded bytes at least. Cut where no message can carry
/// the list any more.
template <typename Entry>
std::optional<CHSecsItem> listVariables(const GemData &data, const CHSecsItem &request,
                                        uint8_t kind, size_t bytesOfEach, Entry entry) {
  ItemCollector entries;
  const CHGemEventVidList &variables = data.variables;
  const NamedIdentifiers vids(request, data.edition);
  if (isTooMany(vids.size(), bytesOfEach))
    return tooLongItem();
  entries.reserve(vids.size());
  for (size_t i = 0; i < vids.size(); ++i)
    if (!entries.add(entry(vids.item(i), findOfKind(variables, vids[i], kind))))
      break;
  for (size_t i = 0; vids.empty() && i < variables.Count(); ++i) {
    const CHGemEventVid &variable = variables.at(i);
    if (variable.kind == kind && !entries.add(entry(numberItem(variable.vid), &variable)))
      break;
  }
  return entries.list();
}

/// The list of their values.
inline std::optional<CHSecsItem> listValues(const GemData &data, const CHSecsItem &request,
                                            uint8_t kind) {
  ReportedValues reported;
  return listVariables(data, request, kind, kSmallestItem,
                       [&](const CHSecsItem &, const CHGemEventVid *variable) {
                         return variable == nullptr ? listItem() : reported.item(*variable);
                       });
}

} // namespace velto
