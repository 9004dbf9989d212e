// Any text is parsed or refused; what a parsed message prints reads back as the same print.
#include "secs2/message.h"
#include "secs2/sml_printer.h"

#include <cstdlib>

using namespace velto;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string text(reinterpret_cast<const char *>(data), size);
  CHSecsMessage message;
  SmlError error;
  if (!message.SetFromSml(text, &error))
    return error.line < 1 || error.reason.empty() ? abort(), 1 : 0;
  const std::string printed = RenderSml(message);
  CHSecsMessage back;
  if (!back.SetFromSml(printed) || RenderSml(back) != printed)
    abort();
  return 0;
}
