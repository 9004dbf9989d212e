// Any bytes load as a model or are refused; a model that was loaded is stored, and loads again as
// the same.
#include "gem/data/data_file.h"

#include <cstdlib>

using namespace velto;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const auto model = loadGemData({reinterpret_cast<const char *>(data), size});
  if (!model)
    return 0;
  const std::string stored = storeGemData(*model);
  const auto again = loadGemData(stored);
  if (!again || storeGemData(*again) != stored || !(again->variables == model->variables) ||
      !(again->reports == model->reports) || !(again->events == model->events) ||
      !(again->alarms == model->alarms))
    abort();
  return 0;
}
