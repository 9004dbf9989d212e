#include "base/json_text.h"

#include "base/text.h"

namespace velto {

std::string jsonText(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\')
      out.append({'\\', c});
    else if (c == '\n')
      out += "\\n";
    else if (byte < 0x20 || byte >= 0x7f)
      out += formatText("\\u%04x", byte);
    else
      out += c;
  }
  return out + '"';
}

} // namespace velto
