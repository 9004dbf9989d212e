#pragma once

#include "support/table.h"
#include "transport/network.h"

#include <memory>
#include <optional>
#include <set>

namespace velto {

/// Takes the steps of a script on an engine that speaks HSMS, and at the remote entities, whose
/// bytes the script writes. What a step brings is what the engine reports, and behind it what the
/// remote entity gets ("> HEX", a frame without its length; "> end").
///   < HEX            a frame arrives
///   bytes HEX        bytes arrive
///   +MS              time passes
///   poll             the engine ticks
///   next             the engine's next deadline
///   due MS           that deadline comes in so many ms, nothing before it; then the engine ticks
///   turn             the loop runs
///   idle             whether the loop comes to rest
///   join             one more remote entity connects
///   at N             the steps concern the N-th remote entity from here on
///   hang up, reset   the remote entity goes
class StreamPlayer {
public:
  static const std::string &expanded(const std::string &text) { return text; }

  virtual ~StreamPlayer() = default;

  std::string perform(const std::string &step) {
    const std::string verb = step.substr(0, step.find(' '));
    const std::string rest = step.substr(std::min(step.size(), verb.size() + 1));
    if (verb == "next")
      return next() ? std::to_string(*next()) : "none";
    if (verb == "idle") {
      net->settle();
      return net->loop.runOnce(0) ? "no" : "yes";
    }
    if (verb.starts_with("+"))
      net->clock.advance(number(verb.substr(1)));
    else if (verb == "poll")
      poll();
    else if (verb == "due")
      pollWhenDue(number(rest));
    else if (verb == "<" || verb == "bytes")
      remote().send(verb == "<" ? frame(rest) : rest);
    else if (verb == "join")
      join();
    else if (verb == "at")
      at_ = number(rest);
    else if (step == "hang up")
      remote().close();
    else if (verb == "reset")
      remote().reset();
    else if (verb != "turn")
      act(verb, rest);
    if (verb == "<" || verb == "bytes" || verb == "hang" || verb == "reset" || verb == "turn")
      net->settle();
    return happened();
  }

protected:
  virtual void act(const std::string &verb, const std::string &rest) = 0;
  virtual void poll() = 0;
  virtual std::optional<uint32_t> next() = 0;
  virtual size_t peerCount() = 0;
  virtual int32_t port() = 0;
  virtual Lines take() = 0;

  static uint32_t number(const std::string &text) {
    return static_cast<uint32_t>(std::stoul(text, nullptr, 0));
  }
  RawClient &remote() { return *remotes.at(at_); }
  void note(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    if (!text.empty())
      notes_ += (notes_.empty() ? "" : "; ") + text;
  }
  void join() {
    const size_t before = peerCount();
    at_ = remotes.size();
    remotes.push_back(std::make_unique<RawClient>(port()));
    EXPECT_TRUE(net->until([&] { return peerCount() > before; }));
  }
  void renew(uint32_t ticks = 1000) {
    remotes.clear();
    ended_.clear();
    at_ = 0;
    net = std::make_unique<Network>(ticks);
  }

  std::unique_ptr<Network> net;
  std::vector<std::unique_ptr<RawClient>> remotes;

private:
  void pollWhenDue(uint32_t ms) {
    if (next() != ms)
      return note("due " + (next() ? std::to_string(*next()) : "never"));
    for (const uint32_t step : {ms - 1, 1U}) {
      EXPECT_EQ(happened(), "") << "before it is due";
      net->clock.advance(step);
      poll();
    }
  }
  std::string happened() {
    collect();
    return std::exchange(notes_, {});
  }
  void collect() {
    for (const std::string &line : take())
      note(line);
    if (!remotes.empty() && !ended_.contains(&remote())) {
      const Bytes bytes = remote().read();
      for (size_t at = 0; at < bytes.size();) {
        const size_t length = readBigEndian<uint32_t>(&bytes.at(at));
        ASSERT_LE(at + 4 + length, bytes.size()) << toHex(bytes);
        note("> " + toHex(ByteView(bytes).subspan(at + 4, length)));
        at += 4 + length;
      }
      if (remote().ended()) {
        note("> end");
        ended_.insert(&remote());
      }
    }
  }

  size_t at_ = 0;
  std::set<const RawClient *> ended_;
  std::string notes_;
};

} // namespace velto
