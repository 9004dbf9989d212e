// The block transfer protocol step by step: what stands between the blocks of a message, what
// counts as sent twice, and which time-outs wait for what has arrived.
#include "block_line.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velto {
namespace {

// The station's time-outs, short ones that differ.
constexpr uint32_t kT1 = 100;
constexpr uint32_t kT2 = 500;
constexpr uint32_t kT3 = 3000;
constexpr uint32_t kT4 = 900;

// What the far end sends: S6F11 and S2F41 of other system bytes, S1F2 in reply to S1F1.
std::string event(unsigned word, const char *data = "") {
  return "0000060b" + formatText("%04x", word) + "00000009" + data;
}
std::string command(unsigned word, const char *data = "") {
  return "00000229" + formatText("%04x", word) + "0000000a" + data;
}
std::string replyTo(unsigned word, const char *data = "") {
  return "00000102" + formatText("%04x", word) + "00000007" + data;
}
// A block with the request before it.
std::string sends(const std::string &block) { return "05" + blockHex(block); }

// S1F1W, as it is queued and as a station sends it.
const std::string kPrimary = "00008101000000000007";
std::string primary(unsigned word, const std::string &data = "") {
  return "80008101" + formatText("%04x", word) + "00000007" + data;
}
const std::string kLong = kPrimary + repeated("a5", 300);
const std::string kFirst = primary(1, repeated("a5", 244));
const std::string kLast = primary(0x8002, repeated("a5", 56));

// A step does one thing: "queue HEX"; "+MS" lets time pass; "HEX" arrives; "+MS HEX" arrived while
// the loop did not run for so long.
struct Step {
  std::string act;
  std::string happens;
};

std::string perform(BlockStation &station, const std::string &act) {
  if (act.starts_with("queue "))
    return station.queue(act.substr(6));
  if (act.starts_with("+")) {
    station.clock.advance(static_cast<uint32_t>(std::atoi(act.c_str() + 1)));
    const size_t bytes = act.find(' ');
    return bytes == std::string::npos ? station.poll() : station.receive(act.substr(bytes + 1));
  }
  return station.receive(act);
}

struct Scenario {
  const char *what;
  std::vector<Step> steps;
};

class BlockScenario : public testing::Test {
protected:
  void play(const Scenario &scenario) {
    SCOPED_TRACE(scenario.what);
    BlockStation station;
    SecsISettings &settings = station.engine->settings();
    settings.t1 = kT1;
    settings.t2 = kT2;
    settings.t3 = kT3;
    settings.t4 = kT4;
    settings.msec = msec;
    if (busyFor != 0)
      station.onNote = [&](const std::string &) { station.clock.advance(busyFor); };
    for (size_t i = 0; i < scenario.steps.size(); ++i)
      ASSERT_EQ(perform(station, scenario.steps[i].act), scenario.steps[i].happens) << i;
  }

  bool msec = false;
  uint32_t busyFor = 0; ///< ms that a report takes its receiver
};

TEST_F(BlockScenario, BetweenTheBlocksOfAMessageTheLineIsIdle) {
  const Scenario scenarios[] = {
      {"the next block follows at once",
       {{"queue " + kLong, "> 05"},
        {"04", "> " + blockHex(kFirst)},
        {"06", "> 05"},
        {"04", "> " + blockHex(kLast)}}},
      {"a request that waits is granted",
       {{"queue " + kLong, "> 05"},
        {"04", "> " + blockHex(kFirst)},
        {"0605", "> 04"},
        {blockHex(event(0x8001)), "> 06; received " + event(0x8001)},
        {"+1", "> 05"},
        {"04", "> " + blockHex(kLast)},
        {"06", "sent " + primary(0x8002) + "+300"}}},
      {"T4 is looked for",
       {{sends(event(1)), "> 0406"},
        {"queue " + kLong, "> 05"},
        {"+450 04", "> " + blockHex(kFirst)},
        {"+450 06", "problem T4 " + event(1)},
        {"+1", "> 05"}}},
      {"another message waits a tick",
       {{"queue " + kPrimary, "> 05"},
        {"04", "> " + blockHex(primary(0x8000))},
        {"queue " + kPrimary, ""},
        {"06", "sent " + primary(0x8000)},
        {"05", "> 04"}}},
  };
  for (const Scenario &scenario : scenarios)
    play(scenario);
}

TEST_F(BlockScenario, ABlockWhoseAcknowledgeWasLostIsDroppedAgainAndAgain) {
  const std::string got = "> 0406; received " + command(0x8001);
  const Scenario scenarios[] = {
      {"every repetition counts T4 anew",
       {{sends(command(0x8001)), got},
        {"+500 " + sends(command(0x8001)), "> 0406"},
        {"+500 " + sends(command(0x8001)), "> 0406"},
        {"+500 " + sends(command(0x8001)), "> 0406"},
        {"+899 " + sends(command(0x8001)), "> 0406"},
        {"+899", ""},
        {sends(command(0x8001)), "> 0406"},
        {"+900", ""},
        {sends(command(0x8001)), got}}},
      {"a late one is one, too",
       {{sends(command(0x8001)), got}, {"+5000 05", "> 04"}, {blockHex(command(0x8001)), "> 06"}}},
      {"and T4 of its message",
       {{sends(command(1, "01")), "> 0406"},
        {"+500 " + sends(command(1, "01")), "> 0406"},
        {"+500 " + sends(command(1, "01")), "> 0406"},
        {"+500 " + sends(command(0x8002, "02")), "> 0406; received " + command(0x8002, "0102")}}},
      {"also when it came late",
       {{sends(command(1, "01")), "> 0406"},
        {"+1000 " + sends(command(1, "01")), "> 0406"},
        {"+500 " + sends(command(0x8002, "02")), "> 0406; received " + command(0x8002, "0102")}}},
      {"another block between them",
       {{sends(command(0x8001)), got},
        {sends(event(0x8001)), "> 0406; received " + event(0x8001)},
        {sends(command(0x8001)), got}}},
  };
  for (const Scenario &scenario : scenarios)
    play(scenario);
  msec = true;
  play({"with MSEC every block counts",
        {{sends(command(0x8001)), got}, {sends(command(0x8001)), got}}});
}

TEST_F(BlockScenario, AFailedMessageHasTheHeaderOfTheBlockThatWasSentLast) {
  const Scenario scenarios[] = {
      {"none",
       {{"queue " + kLong, "> 05"},
        {"+500", "> 05; problem T2"},
        {"+500", "> 05; problem T2"},
        {"+500", "> 05; problem T2"},
        {"+500", "failed " + primary(0x8000) + "+300"}}},
      {"the second",
       {{"queue " + kLong, "> 05"},
        {"04", "> " + blockHex(kFirst)},
        {"06", "> 05"},
        {"04", "> " + blockHex(kLast)},
        {"15", "> 05; problem Nak"},
        {"04", "> " + blockHex(kLast)},
        {"15", "> 05; problem Nak"},
        {"04", "> " + blockHex(kLast)},
        {"15", "> 05; problem Nak"},
        {"04", "> " + blockHex(kLast)},
        {"15", "problem Nak; failed " + primary(0x8002) + "+300"}}},
  };
  for (const Scenario &scenario : scenarios)
    play(scenario);
}

TEST_F(BlockScenario, T3WaitsForTheReplyThatArrives) {
  const auto after = [](std::vector<Step> steps) {
    std::vector<Step> all{{"queue " + kLong, "> 05"},
                          {"04", "> " + blockHex(kFirst)},
                          {"06", "> 05"},
                          {"04", "> " + blockHex(kLast)},
                          {"06", "sent " + primary(0x8002) + "+300"}};
    all.insert(all.end(), steps.begin(), steps.end());
    return all;
  };
  const std::string noReply = "problem T3 " + primary(0x8002, repeated("a5", 300));
  const Scenario scenarios[] = {
      {"no block in time", after({{"+2999", ""}, {"+1", noReply}})},
      {"block after block",
       after({{"+2900 " + sends(replyTo(1, "01")), "> 0406"},
              {"+800", ""},
              {sends(replyTo(2, "02")), "> 0406"},
              {"+800", ""},
              {sends(replyTo(0x8003, "03")), "> 0406; received " + replyTo(0x8003, "010203")},
              {"+5000", ""}})},
      {"a reply that stops", after({{"+2900 " + sends(replyTo(1, "01")), "> 0406"},
                                    {"+899", ""},
                                    {"+1", "problem T4 " + replyTo(1) + "; " + noReply}})},
      {"blocks of something else",
       after({{"+2900 " + sends(event(1)), "> 0406"}, {"+100", noReply}})},
      {"the block is on its way",
       after({{"+2900 05", "> 04"},
              {"+100", ""},
              {blockHex(replyTo(0x8001)), "> 06; received " + replyTo(0x8001)},
              {"+1", ""}})},
      {"a block of something else is on its way",
       after({{"+2900 05", "> 04"},
              {"+100", ""},
              {blockHex(event(0x8001)), "> 06; received " + event(0x8001) + "; " + noReply}})},
      {"the next transaction runs out meanwhile",
       after({{"queue 00008103000000000008", "> 05"},
              {"04", "> " + blockHex("80008103800000000008")},
              {"06", "sent 80008103800000000008"},
              {"+2900 " + sends(replyTo(1)), "> 0406"},
              {"+100", "problem T3 80008103800000000008"},
              {"+799", ""}})},
  };
  for (const Scenario &scenario : scenarios)
    play(scenario);
}

// Whoever is late, be it that a handler took long or that the process stood still, reads first.
TEST_F(BlockScenario, WhatHasArrivedComesBeforeEveryTimeOut) {
  const std::string block = blockHex(event(0x8001));
  const std::string received = "received " + event(0x8001);
  const Scenario scenarios[] = {
      {"T1",
       {{"05" + block.substr(0, 10), "> 04"}, {"+5000 " + block.substr(10), "> 06; " + received}}},
      {"T1 of a part",
       {{"05" + block.substr(0, 10), "> 04"},
        {"+5000 " + block.substr(10, 10), ""},
        {"+99 " + block.substr(20), "> 06; " + received}}},
      {"T2 for the length", {{"05", "> 04"}, {"+5000 " + block, "> 06; " + received}}},
      {"T2 for EOT and ACK",
       {{"queue " + kPrimary, "> 05"},
        {"+5000 04", "> " + blockHex(primary(0x8000))},
        {"+5000 06", "sent " + primary(0x8000)}}},
      {"T3",
       {{"queue " + kPrimary, "> 05"},
        {"04", "> " + blockHex(primary(0x8000))},
        {"06", "sent " + primary(0x8000)},
        {"+5000 05", "> 04"},
        {blockHex(replyTo(0x8001)), "> 06; received " + replyTo(0x8001)}}},
      {"T4",
       {{sends(event(1, "01")), "> 0406"},
        {"+5000 05", "> 04"},
        {blockHex(event(0x8002, "02")), "> 06; received " + event(0x8002, "0102")}}},
      {"a request comes before the own one",
       {{"05", "> 04"},
        {"queue " + kPrimary, ""},
        {"+5000 " + block + "05", "> 06; " + received + "; > 04"}}},
      {"but not what says nothing",
       {{"queue " + kPrimary, "> 05"},
        {"+500 41", "problem UnexpectedCharacter; > 05; problem T2"}}},
  };
  for (const Scenario &scenario : scenarios)
    play(scenario);
}

TEST_F(BlockScenario, TheTimeThatAHandlerTakesIsNobodysTimeOut) {
  busyFor = 5000;
  const std::string complete = "> 06; received " + event(0x8002, "0102");
  const Scenario scenarios[] = {
      {"T4",
       {{sends(event(1, "01")), "> 0406"},
        {sends(command(0x8001)), "> 0406; received " + command(0x8001)},
        {"05", "> 04"},
        {blockHex(event(0x8002, "02")), complete}}},
      {"T3",
       {{"queue " + kPrimary, "> 05"},
        {"04", "> " + blockHex(primary(0x8000))},
        {"06", "sent " + primary(0x8000)},
        {"05", "> 04"},
        {blockHex(replyTo(0x8001)), "> 06; received " + replyTo(0x8001)}}},
      {"a time-out that was due before",
       {{sends(event(1, "01")), "> 0406"}, {"+900", "problem T4 " + event(1)}}},
  };
  for (const Scenario &scenario : scenarios)
    play(scenario);
}

} // namespace
} // namespace velto
