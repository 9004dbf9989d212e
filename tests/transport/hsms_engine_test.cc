// An HSMS engine (SEMI E37) step by step, as hsms_engine_scripts.txt tells it.
#include "transport/hsms_engine_fixture.h"
#include "transport/stream_player.h"

#include <sstream>

namespace velto {
namespace {

/// The steps of StreamPlayer, and those of an engine:
///   open MODE, selected MODE   it listens for the remote entity, which selects it
///   active [quiet]             it connects to the remote entity [and sends no Select.req]
///   again                      it connects once more
///   send HEX                   it sends a message
///   to N HEX                   the same, to the N-th remote entity
///   set NAME=VALUE, state, peers
class HsmsEnginePlayer final : public StreamPlayer {
private:
  void act(const std::string &verb, const std::string &rest) override {
    std::istringstream words(rest);
    std::string word;
    words >> word;
    if (verb == "open" || verb == "selected") {
      uint32_t ticks = 1000;
      words >> std::hex >> ticks;
      listen(word, ticks);
      if (verb == "selected")
        select();
    } else if (verb == "active") {
      connect(word != "quiet");
    } else if (verb == "again") {
      note(engine_->Open() ? "opened" : "refused");
    } else if (verb == "send") {
      note(engine_->SendMessage(fromHex(rest)) ? "" : "refused");
    } else if (verb == "state") {
      note(std::to_string(int(engine_->State())));
    } else if (verb == "peers") {
      note(std::to_string(engine_->PeerCount()));
    } else if (verb == "to") {
      const auto index = number(word);
      words >> word;
      const int32_t port = index < remotes.size() ? remotes[index]->port() : 1;
      note(engine_->SendMessage("127.0.0.1", port, fromHex(word)) ? "" : "refused");
    } else if (verb == "set") {
      const std::string name = word.substr(0, word.find('='));
      set(name, number(word.substr(name.size() + 1)));
    } else {
      note("unknown step");
    }
  }
  void set(const std::string &name, uint32_t value) {
    LinkSettings &settings = engine_->settings();
    if (name == "t6")
      settings.t6 = static_cast<int32_t>(value);
    else if (name == "reject")
      settings.rejectInvalidHeaders = value != 0;
    else if (name == "discard")
      settings.discardDuplicates = value != 0;
    else if (name == "status") // that the owner answers Select.req with
      owner_.selectStatus = static_cast<uint8_t>(value);
  }
  void poll() override { engine_->Poll(); }
  std::optional<uint32_t> next() override { return engine_->NextPoll(); }
  size_t peerCount() override { return engine_->PeerCount(); }
  int32_t port() override { return engine_->LocalPort(); }
  Lines take() override { return owner_.take(); }

  void renewEngine(uint32_t ticks) {
    engine_.reset();
    renew(ticks);
    engine_ = makeHandle<CHHsms>(net->loop, owner_);
  }
  void listen(const std::string &mode, uint32_t ticks) {
    renewEngine(ticks);
    LinkSettings &settings = engine_->settings();
    settings.server = true;
    settings.maxLength = 100;
    settings.sessionMode = mode == "generic"   ? HsmsSessionMode::Generic
                           : mode == "general" ? HsmsSessionMode::General
                           : mode == "unknown" ? HsmsSessionMode{3}
                                               : HsmsSessionMode::Single;
    EXPECT_TRUE(engine_->Open());
    join();
  }
  void select() {
    engine_->Poll();
    remote().send(frame(kSelectReq));
    net->settle();
    EXPECT_EQ(engine_->State(), LinkState::Ready);
    remote().read();
    owner_.take();
  }
  void connect(bool selects) {
    renewEngine(1000);
    server_ = TcpSocket();
    EXPECT_EQ(server_.create(0, true), 0);
    EXPECT_EQ(server_.listen(5), 0);
    engine_->settings().portNumber = server_.localPort();
    engine_->settings().sendSelectRequest = selects;
    EXPECT_TRUE(engine_->Open());
    int error = 0;
    remotes.push_back(std::make_unique<RawClient>(std::move(server_.accept(error)->socket)));
  }

  RecordingOwner owner_;
  Handle<CHHsms> engine_;
  TcpSocket server_;
};

TEST(HsmsEngine, FollowsItsScripts) {
  playScripts<HsmsEnginePlayer>("transport/hsms_engine_scripts.txt");
}

} // namespace
} // namespace velto
