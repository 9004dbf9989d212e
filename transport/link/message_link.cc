#include "transport/link/message_link.h"

namespace velto {

namespace {

class SilentOwner final : public MessageLinkOwner {
  void OnConnected(const std::string &, int32_t) override {}
  void OnDisconnected(const std::string &, int32_t) override {}
  void OnReceived(const std::string &, int32_t, ByteView, bool) override {}
  void OnSent(const std::string &, int32_t, const CHSecsHeader &, ByteView) override {}
  void OnProblem(const std::string &, int32_t, const Problem &, ByteView) override {}
  void OnStateChanged(LinkState, LinkState) override {}
};

} // namespace

MessageLinkOwner &silentOwner() {
  static SilentOwner owner;
  return owner;
}

} // namespace velto
