// The block transfer protocol (SEMI E4) step by step, as block_scripts.txt tells it, and its
// bounds.
#include "block_line.h"
#include "support/table.h"
#include "support/temporary_directory.h"

#include <map>
#include <sstream>

namespace velto {
namespace {

const std::string kQueuedMessage = "00008101000000000007"; // S1F1W for device 0

/// Takes the steps on a station, which a step may renew or set up.
class BlockPlayer {
public:
  /// {HEX} stands for the block of that header and data.
  static std::string expanded(std::string text) {
    for (size_t at = 0; (at = text.find('{')) != std::string::npos;) {
      const size_t end = text.find('}', at);
      text.replace(at, end + 1 - at, blockHex(text.substr(at + 1, end - at - 1)));
    }
    return text;
  }

  std::string perform(const std::string &step) {
    const std::string act = expanded(step);
    const std::string verb = act.substr(0, act.find(' '));
    const std::string rest = act.substr(std::min(act.size(), verb.size() + 1));
    if (const auto known = acts_.find(verb); known != acts_.end())
      return known->second(rest);
    if (!verb.starts_with("+"))
      return station_->receive(act);
    station_->clock.advance(static_cast<uint32_t>(std::stoul(verb)));
    return rest.empty() ? station_->poll() : station_->receive(rest);
  }

private:
  BlockTransfer &engine() { return *station_->engine; }
  std::string done() { return station_->take(); }

  void set(const std::string &settings) {
    SecsISettings &now = engine().settings();
    std::istringstream words(settings);
    for (std::string name, text; std::getline(words >> std::ws, name, '=') && words >> text;) {
      const auto value = static_cast<uint32_t>(std::stoul(text, nullptr, 0));
      const std::map<std::string, std::function<void()>> settersByName = {
          {"t1", [&] { now.t1 = value; }},
          {"t2", [&] { now.t2 = value; }},
          {"t3", [&] { now.t3 = value; }},
          {"t4", [&] { now.t4 = value; }},
          {"retry", [&] { now.retry = static_cast<int16_t>(value); }},
          {"master", [&] { now.master = value != 0; }},
          {"msec", [&] { now.msec = value != 0; }},
          {"equipment", [&] { now.equipment = value != 0; }},
          {"device", [&] { now.deviceId = static_cast<uint16_t>(value); }},
          {"verbose", [&] { now.log.verbose = value != 0; }},
          {"file", [&] { now.log.fileName = value == 0 ? "" : folder_ / "trace"; }},
          {"busy", // ms that a report takes its receiver
           [&, value] {
             station_->onNote = [this, value](const auto &) { station_->clock.advance(value); };
           }},
      };
      settersByName.at(name)();
    }
  }
  // What was traced since, without the times, each "/" the end of a line.
  std::string log() {
    std::string text = systemFiles().read(folder_ / "trace.log").value_or("");
    systemFiles().remove(folder_ / "trace.log");
    const std::string stamp = "1970/01/01 00:00:00.000";
    for (size_t at = 0; (at = text.find(stamp, at)) != std::string::npos;)
      text.replace(at, stamp.size(), "T");
    for (size_t at = 0; (at = text.find("\r\n", at)) != std::string::npos;)
      text.replace(at, 2, "/");
    return text;
  }

  TemporaryDirectory folder_;
  std::unique_ptr<BlockStation> station_ = std::make_unique<BlockStation>();
  using Act = std::function<std::string(const std::string &rest)>;
  const std::map<std::string, Act> acts_ = {
      {"queue", [this](const auto &hex) { return station_->queue(hex); }},
      {"poll", [this](const auto &) { return station_->poll(); }},
      {"set", [this](const auto &settings) { return set(settings), done(); }},
      {"reset", [this](const auto &) { return engine().Reset(), done(); }},
      {"fail", [this](const auto &) { return engine().FailAll(), done(); }},
      {"close", [this](const auto &) { return station_->line.open = false, done(); }},
      {"traced", [this](const auto &) { return std::exchange(station_->traced, {}); }},
      {"log", [this](const auto &) { return log(); }},
      {"in", [this](const auto &) { return std::to_string(engine().InCount()); }},
      {"next",
       [this](const auto &) {
         const auto next = engine().NextPoll();
         return next ? std::to_string(*next) : "none";
       }},
      {"connection",
       [this](const auto &) {
         station_ = std::make_unique<BlockStation>(kSocketVariant);
         return done();
       }},
  };
};

TEST(BlockTransfer, FollowsItsScripts) { playScripts<BlockPlayer>("transport/block_scripts.txt"); }

TEST(BlockTransfer, RefusesWhatItCannotSend) {
  BlockStation station;
  EXPECT_EQ(station.queue("000081010000000007"), "refused");
  Bytes message(CHSecsHeader::kSize + kMostBlocks * kBlockData + 1);
  EXPECT_FALSE(station.engine->QueueMessage(message));
  message.pop_back();
  for (int i = 0; i < 8; ++i)
    EXPECT_TRUE(station.engine->QueueMessage(message));
  EXPECT_FALSE(station.engine->QueueMessage(message)) << "more than 64 MiB wait";
  station.engine->Reset();
  for (size_t i = 0; i < BlockTransfer::kMostQueued; ++i)
    EXPECT_TRUE(station.engine->QueueMessage(fromHex(kQueuedMessage)));
  EXPECT_EQ(station.queue(kQueuedMessage), "refused");
}

TEST(BlockTransfer, BoundsWhatIsBeingReceived) {
  BlockStation station;
  std::string reports;
  for (unsigned i = 0; i < 3000; ++i)
    reports += station.receive("05" + blockHex("000081010001" + formatText("%08x", i)));
  EXPECT_EQ(station.engine->InCount(), 1000U);
  EXPECT_NE(reports.find("problem T4 00008101000100000000"), std::string::npos);
}

TEST(BlockTransfer, TheOwnerMayDoAnythingInsideAReport) {
  const std::vector<std::function<void(BlockStation &)>> actions = {
      [](BlockStation &station) { station.engine->Reset(); },
      [](BlockStation &station) { station.engine->FailAll(); },
      [](BlockStation &station) { station.line.open = false; },
      [](BlockStation &station) { station.engine->Poll(); },
      [](BlockStation &station) { station.engine->QueueMessage(fromHex(kQueuedMessage)); },
  };
  for (const auto &action : actions) {
    for (const bool master : {true, false}) {
      BlockStation station;
      station.engine->settings().master = master;
      station.engine->settings().retry = 0;
      int left = 20;
      station.onNote = [&](const std::string &) {
        if (--left > 0)
          action(station);
      };
      const std::string good = "05" + blockHex("00008101800100000007");
      for (const std::string &input :
           {std::string("41"), good + good, std::string("0509"),
            "05" + blockHex("00008101000700000007"), std::string("0404150406"), good}) {
        station.engine->QueueMessage(fromHex(kQueuedMessage));
        station.receive(input);
        station.wait(60'000);
      }
    }
  }
}

} // namespace
} // namespace velto
