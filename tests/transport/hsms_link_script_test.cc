// A link of HSMS frames (SEMI E37) step by step, as hsms_link_scripts.txt tells it.
#include "transport/hsms/hsms_link.h"
#include "transport/stream_player.h"

#include <sstream>

namespace velto {
namespace {

/// The steps of StreamPlayer, and those of a link:
///   open [TICKS]      it listens for the remote entity
///   send HEX          it sends a frame to the remote entity that it addresses
///   set NAME=VALUE    limit, selected, port (of the N-th remote entity), t3, t6, t7
///   selected N, waiting (the open transactions), peers
class HsmsLinkPlayer final : public StreamPlayer {
private:
  void act(const std::string &verb, const std::string &rest) override {
    if (verb == "open")
      open(rest.empty() ? 1000 : number(rest));
    else if (verb == "send")
      note(link_->SendFrame(fromHex(frame(rest))) != 0 ? "" : "refused");
    else if (verb == "set")
      set(rest.substr(0, rest.find('=')), number(rest.substr(rest.find('=') + 1)));
    else if (verb == "waiting")
      note(std::to_string(link_->OpenTransactionCount()));
    else if (verb == "peers")
      note(std::to_string(link_->PeerCount()));
    else if (verb == "selected")
      note(link_->Selected("127.0.0.1", remotes.at(number(rest))->port()) ? "yes" : "no");
    else
      note("unknown step");
  }
  void set(const std::string &name, uint32_t value) {
    HsmsTimes times = link_->times();
    for (const auto &[known, timer] :
         {std::pair("t3", &HsmsTimes::t3), {"t6", &HsmsTimes::t6}, {"t7", &HsmsTimes::t7}})
      if (name == known)
        times.*timer = value;
    link_->SetTimes(times);
    if (name == "selected")
      link_->SetSelected(value != 0);
    else if (name == "limit")
      link_->PeerAt(0).SetMaxLength(static_cast<uint32_t>(value));
    else if (name == "port")
      link_->SetPortNumber(remotes.at(value)->port());
  }
  void poll() override { link_->Poll(); }
  std::optional<uint32_t> next() override { return link_->NextPoll(); }
  size_t peerCount() override { return link_->PeerCount(); }
  int32_t port() override { return link_->LocalPort(); }
  Lines take() override { return sink_.take(); }

  void open(uint32_t ticks) {
    link_.reset();
    renew(ticks);
    link_ = makeHandle<CHHsmsLink>(net->loop);
    link_->SetServerMode(true);
    link_->SetSink(&sink_);
    sink_.kind = ConnectionKind::Hsms;
    link_->SetMaxLength(20);
    EXPECT_TRUE(link_->Open());
    join();
    sink_.take();
  }

  RecordingSink sink_;
  Handle<CHHsmsLink> link_;
};

TEST(HsmsLink, FollowsItsScripts) {
  playScripts<HsmsLinkPlayer>("transport/hsms_link_scripts.txt");
}

} // namespace
} // namespace velto
