#include "base/lifetime.h"

namespace velto {

Lifetime::Watch::Watch(Lifetime &owner) : owner_(&owner), next_(owner.watches_) {
  owner.watches_ = this;
}

// Watches live on one stack, so the one that ends is nearly always the newest.
Lifetime::Watch::~Watch() {
  if (owner_ == nullptr)
    return;
  Watch **link = &owner_->watches_;
  while (*link != this)
    link = &(*link)->next_;
  *link = next_;
}

Lifetime::~Lifetime() {
  for (Watch *watch = watches_; watch != nullptr; watch = watch->next_)
    watch->owner_ = nullptr;
}

} // namespace velto
