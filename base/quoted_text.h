#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velto {

/// Text in double quotes with C escapes; bytes outside printable ASCII as \xHH.
std::string quotedText(std::string_view text);
/// Appends one byte as it stands between the quotes.
void appendQuotedByte(std::string &out, char c);

/// The text that stands between quotes, with its escapes replaced. Nothing when an escape is not
/// one of \r \n \t \" \\ \xHH; `problem` then says which one.
std::optional<std::string> unquotedText(std::string_view inside, std::string &problem);

} // namespace velto
