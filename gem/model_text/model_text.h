#pragma once

#include "gem/data/model_data.h"

#include <optional>
#include <string>
#include <string_view>

namespace velto {

// The equipment model as text that people read and write. It has sections; in a section each line
// is an object, given by its fields.
//
//     [variables]
//     vid=12 kind=EC type=F4 min=0 max=500 default=80 unit="mTorr" description="Pressure setpoint"
//
// A value with blanks stands in quotes, with the escapes \r \n \t \" \\ \xHH. `#` begins a comment.
// docs/data_file.md lists the sections and fields.

/// The text of a model, with every object and every field.
std::string modelToText(const GemData &data);

/// Which line of a text is wrong, and why.
struct ModelTextError {
  int line = 0; ///< from 1
  std::string reason;
};

/// Reads a text that modelToText() or a person wrote. Sections and fields may stand in any order;
/// those left out have their defaults. A variable without `value` has the value of `default`, and
/// without that 0 or an empty text. Nothing when a line is wrong; `error` then says which.
std::optional<GemData> modelFromText(std::string_view text, ModelTextError &error);

/// Reads the parameters of a command as its fields have them: "LOT:A,SLOT:U1" and, of those that
/// must be given, "LOT". False when they are not such.
bool readCommandParameters(std::string_view parameters, std::string_view required,
                           CHGemCommand &command);

} // namespace velto
