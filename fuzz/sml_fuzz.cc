// Any text is parsed or refused; what a parsed message prints reads back as the same print.
#include "secs2/message.h"
#include "secs2/sml_printer.h"

#include <cmath>
#include <cstdlib>

using namespace velto;

namespace {

// Infinite values and those that are no number have no SML.
bool hasSml(const CHSecsItem &root) {
  bool finite = true;
  forEachItem(root, [&finite](const CHSecsItem &item) {
    for (size_t i = 0; i < item.count(); ++i) {
      if (item.format() == format::kF4)
        finite = finite && std::isfinite(item.element<float>(i));
      else if (item.format() == format::kF8)
        finite = finite && std::isfinite(item.element<double>(i));
    }
  });
  return finite;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string text(reinterpret_cast<const char *>(data), size);
  CHSecsMessage message;
  SmlError error;
  if (!message.SetFromSml(text, &error))
    return error.line < 1 || error.reason.empty() ? abort(), 1 : 0;
  if (!hasSml(message.root))
    return 0;
  const std::string printed = RenderSml(message);
  CHSecsMessage back;
  if (!back.SetFromSml(printed) || RenderSml(back) != printed)
    abort();
  return 0;
}
