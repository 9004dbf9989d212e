// Built where there is no libmosquitto.

#include "apps/gateway/sink.h"

namespace velto::gateway {

std::unique_ptr<Sink> makeMqttSink(EventLoop &, Sink::Owner &, const OutConfig &) {
  return nullptr;
}

} // namespace velto::gateway
