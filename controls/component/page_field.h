#pragma once

#include "controls/component/variant.h"
#include "ui/dialog.h"

#include <cstdint>
#include <limits>
#include <vector>

namespace velto {

inline constexpr int64_t kMaxInt16 = std::numeric_limits<int16_t>::max();
inline constexpr int64_t kMaxInt32 = std::numeric_limits<int32_t>::max();
inline constexpr int64_t kMaxWord = std::numeric_limits<uint16_t>::max();
inline constexpr int64_t kMaxSeconds = kMaxInt32 / 1000; // of what is kept in milliseconds

/// One field of a property page. A flag is checked, a text typed, a number held in its range.
struct PageField {
  const char *setting;
  const char *label;
  int64_t minimum = 0;
  int64_t maximum = 0;
  int32_t scale = 1; ///< what is shown times this is the setting (1000: seconds of ms)
  bool word = false; ///< a text without blanks, such as an address
};

/// How a remote end that is gone without a word is noticed: the fields of every TCP link.
std::vector<PageField> keepAliveFields();

/// Puts the field with the value of its setting on the page. Texts are accepted up to a length.
void addField(PropertyPage &page, const PageField &field, const Variant &value,
              int64_t longestText);

} // namespace velto
