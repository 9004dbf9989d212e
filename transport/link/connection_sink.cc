#include "transport/link/connection_sink.h"

namespace velto {

namespace {

class SilentSink final : public CHConnectionSink {
  void OnReceived(ConnectionKind, const std::string &, int32_t, ByteView) override {}
  void OnSent(ConnectionKind, const std::string &, int32_t, ByteView, bool) override {}
  void OnProblem(ConnectionKind, const std::string &, int32_t, const Problem &) override {}
  void OnConnectionChanged(ConnectionKind, const std::string &, int32_t, bool) override {}
  void OnTrace(ConnectionKind, ByteView, TraceDirection) override {}
};

} // namespace

CHConnectionSink &silentSink() {
  static SilentSink sink;
  return sink;
}

} // namespace velto
