#pragma once

#include "controls/component/variant.h"

#include <optional>
#include <string>
#include <string_view>

namespace velto {

/// Text in double quotes with C escapes; bytes outside printable ASCII as \xHH.
std::string quotedText(std::string_view text);

/// A value as the container reads and prints it: 5, 1.5, true, "text".
std::string toLiteral(const Variant &value);

/// The text that stands between quotes, with its escapes replaced. Nothing when an escape is not
/// one of \r \n \t \" \\ \xHH; `problem` then says which one.
std::optional<std::string> unquotedText(std::string_view inside, std::string &problem);

/// Text as a terminal may get it: line ends, tabs and printable characters, UTF-8 among them, stay;
/// any other byte becomes \r or \xHH. (A carriage return in front of a line feed is a line end.)
std::string visibleText(std::string_view text);

/// Text on one line: carriage returns and line feeds become \r and \n, all else stays as it is.
std::string oneLine(std::string_view text);

} // namespace velto
