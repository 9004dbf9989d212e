#include "platform/event_loop.h"
#include "platform/name_resolver.h"

#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>

namespace velto {
namespace {

// A name server that says nothing until it is told to.
class SilentServer {
public:
  NameResolver::Lookup lookup() {
    return [answer = answer_](const std::string &name) {
      answer.wait();
      return name == "unknown" ? "" : "10.0.0." + name;
    };
  }
  void speak() { promise_.set_value(); }

private:
  std::promise<void> promise_;
  std::shared_future<void> answer_ = promise_.get_future().share();
};

TEST(NameResolver, HoldsNobodyUpButThoseWhoAsk) {
  SilentServer server;
  EventLoop loop;
  NameResolver names(loop, server.lookup());
  std::string heard;
  const auto ask = [&](const std::string &name) {
    return names.lookUp(name, [&heard](const std::string &address) { heard += address + ";"; });
  };
  auto first = ask("1");
  auto dropped = ask("2");
  const auto unknown = ask("unknown");
  const auto last = ask("4");
  bool fired = false;
  Timer timer(loop, [&fired] { fired = true; });
  timer.start(1);
  EXPECT_TRUE(loop.runUntil([&fired] { return fired; }, 5000));
  EXPECT_EQ(heard, "");
  dropped.reset();
  first.reset(); // the one that is being looked up
  server.speak();
  EXPECT_TRUE(loop.runUntil([&heard] { return heard.ends_with("4;"); }, 5000));
  EXPECT_EQ(heard, ";10.0.0.4;");
}

TEST(NameResolver, MayEndWhileTheServerIsSilentAndInsideAnAnswer) {
  SilentServer server;
  std::shared_ptr<void> ticket;
  {
    EventLoop loop;
    NameResolver names(loop, server.lookup());
    ticket = names.lookUp("1", [](const std::string &) { ADD_FAILURE(); });
  }
  server.speak();
  ticket.reset();

  EventLoop loop;
  auto names = std::make_unique<NameResolver>(loop, server.lookup());
  bool ended = false;
  auto own = std::make_unique<std::shared_ptr<void>>();
  *own = names->lookUp("1", [&](const std::string &) {
    own.reset();
    names.reset();
    ended = true;
  });
  EXPECT_TRUE(loop.runUntil([&ended] { return ended; }, 5000));
}

} // namespace
} // namespace velto
