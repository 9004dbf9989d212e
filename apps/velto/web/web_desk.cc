#include "apps/velto/web/web_desk.h"

#include "platform/event_loop.h"

#include <utility>

namespace velto {

void WebDesk::close() {
  source_ = nullptr;
  const std::lock_guard lock(mutex_);
  closed_ = true;
  changed_.notify_all();
}

bool WebDesk::closed() const {
  const std::lock_guard lock(mutex_);
  return closed_;
}

std::shared_ptr<const WebSnapshot> WebDesk::latest(Time age, Time patience) {
  const Moment begin = std::chrono::steady_clock::now();
  std::unique_lock lock(mutex_);
  const auto isFresh = [&] { return closed_ || (snapshot_ && madeAt_ > begin - age); };
  if (isFresh())
    return snapshot_;
  if (!std::exchange(asked_, true))
    loop_.postFromAnyThread([self = shared_from_this()] { self->makeSnapshot(); });
  changed_.wait_for(lock, patience, isFresh);
  return snapshot_;
}

void WebDesk::makeSnapshot() {
  auto made =
      source_ != nullptr ? std::make_shared<const WebSnapshot>(source_->snapshot()) : nullptr;
  const std::lock_guard lock(mutex_);
  asked_ = false;
  if (made == nullptr)
    return;
  snapshot_ = std::move(made);
  madeAt_ = std::chrono::steady_clock::now();
  changed_.notify_all();
}

std::optional<WebResult> WebDesk::act(const WebAction &action, Time patience) {
  const auto result = std::make_shared<std::optional<WebResult>>();
  const auto done = [self = shared_from_this(), result](WebResult got) {
    const std::lock_guard lock(self->mutex_);
    *result = std::move(got);
    self->changed_.notify_all();
  };
  loop_.postFromAnyThread([self = shared_from_this(), action, done] {
    if (self->source_ != nullptr)
      self->source_->act(action, done);
  });
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, patience, [&] { return closed_ || result->has_value(); });
  return *result;
}

} // namespace velto
