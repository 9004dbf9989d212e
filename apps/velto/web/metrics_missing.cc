#include "apps/velto/web/metrics.h"

namespace velto {

bool metricsText(const WebSnapshot &, std::string &text) {
  text = "this program was built without numbers for Prometheus: prometheus-cpp was missing (on "
         "Debian: prometheus-cpp-dev)";
  return false;
}

} // namespace velto
