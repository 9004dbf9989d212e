#pragma once

#include "gem/data/model_data.h"

#include <optional>
#include <string>
#include <string_view>

namespace velto {

// The equipment model as text that people read and write: sections, in them one line per object,
// in a line fields.
//
//     [variables]
//     vid=12 kind=EC type=F4 min=0 max=500 default=80 unit="mTorr" description="Pressure setpoint"
//
// A text stands in quotes, with the escapes \r \n \t \" \\ \xHH; without blanks it needs none. `#`
// begins a comment. docs/data_file.md lists the sections and fields.

/// All sections, every object and every field.
std::string modelToText(const GemData &data);

/// Where and why a text is no model.
struct ModelTextError {
  int line = 0; ///< from 1
  std::string reason;
};

/// Reads what modelToText() wrote, or people did: sections and fields in any order, and those left
/// out have their defaults. A variable's value is by default that of `default`, else 0 or empty.
/// Nothing when a line can't be taken; `error` then tells which.
std::optional<GemData> modelFromText(std::string_view text, ModelTextError &error);

} // namespace velto
