#include "ui/view_changes.h"

#include <utility>

namespace velto {

void ViewChanges::observe(std::function<void()> observer) {
  observer_ = observer ? std::make_shared<Observer>(Observer{std::move(observer)}) : nullptr;
}

void ViewChanges::report() {
  ++count_;
  if (observer_ == nullptr || std::exchange(observer_->due, true))
    return;
  loop_.post([told = std::weak_ptr(observer_)] {
    if (const auto observer = told.lock()) {
      observer->due = false;
      observer->call();
    }
  });
}

} // namespace velto
