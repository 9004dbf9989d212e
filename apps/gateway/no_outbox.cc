// Built where there is no SQLite.

#include "apps/gateway/outbox.h"

namespace velto::gateway {

std::unique_ptr<Outbox> makeOutbox() { return nullptr; }

} // namespace velto::gateway
