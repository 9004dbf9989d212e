#pragma once

#include "apps/velto/web/snapshot.h"

#include <functional>

namespace velto {

/// What a page shows and does. All calls come in the loop, and only while somebody looks.
class WebSource {
public:
  virtual ~WebSource() = default;

  virtual WebSnapshot snapshot() = 0;
  /// Carries out an action, and reports at once or later how it went; without a report the page
  /// tells after a while that no answer came.
  virtual void act(const WebAction &action, std::function<void(WebResult)> done) = 0;
};

} // namespace velto
