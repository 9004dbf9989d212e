#include "apps/velto/console/visible_output.h"

#include "apps/velto/console/literal.h"

namespace velto {

VisibleOutput::Buffer::int_type VisibleOutput::Buffer::overflow(int_type c) {
  if (c == traits_type::eof())
    return traits_type::not_eof(c);
  const char text = traits_type::to_char_type(c);
  return xsputn(&text, 1) == 1 ? c : traits_type::eof();
}

std::streamsize VisibleOutput::Buffer::xsputn(const char *text, std::streamsize count) {
  const std::string shown = visibleText({text, static_cast<size_t>(count)});
  const auto size = static_cast<std::streamsize>(shown.size());
  return target_.sputn(shown.data(), size) == size ? count : 0;
}

} // namespace velto
