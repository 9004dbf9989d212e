#include "gem/models/model.h"

namespace velto {

void GemModel::fillParameters(ListView &view) const {
  view.columns = {"Parameter", "Value"};
  view.rows.clear();
}

} // namespace velto
