// A partner that sends anything: the equipment goes on, and keeps its size and its model.
#include "gem/data/data_file.h"
#include "gem/station.h"

#include <malloc.h>
#include <random>

namespace velto {
namespace {

class HostileHost : public GemPair {
protected:
  void SetUp() override {
    GemPair::SetUp();
    GemData &data = equipment.engine->gem()->data();
    for (uint32_t vid = 100; vid < 130; ++vid) {
      CHGemEventVid variable;
      variable.vid = vid;
      variable.kind = static_cast<uint8_t>(1U << (vid % 3));
      data.variables.Add(variable);
    }
    for (uint32_t id = 1; id < 10; ++id) {
      CHGemEventCeid event;
      event.ceid = id;
      data.events.Add(event);
      CHGemAlarmAlid alarm;
      alarm.alid = id;
      data.alarms.Add(alarm);
    }
    establish();
    equipment.keepsLines = false;
    host.keepsLines = false;
    host.answers = false;
  }

  /// Sends raw bytes as the host's message; the link comes back when they end it.
  void sendRaw(const Bytes &bytes) {
    host.engine->SendEncoded(bytes);
    run(1);
    for (int i = 0;
         i < 20 && host.engine->GetCommunicationState() != CommunicationState::Communicating; ++i) {
      net.clock.advance(10000);
      host.answers = true;
      run();
      host.answers = false;
    }
  }

  bool equipmentAnswers() {
    if (!send(host, "s1f1w"))
      return false;
    run();
    return host.sml(CHGem::kReceived).substr(0, 4) == "S1F2";
  }
};

constexpr const char *kPrimaries[] = {
    "s1f1w",
    "s1f3w{<u4 100><u4 101>}",
    "s1f3w{}",
    "s1f11w{}",
    "s1f13w{}",
    "s1f15w",
    "s1f17w",
    "s2f13w{<u4 100>}",
    "s2f15w{{<u4 102><u4 5>}{<u4 105><u4 7>}}",
    "s2f17w",
    "s2f29w{}",
    "s2f31w<a'240229235959'>",
    "s2f33w{<u4 1>{{<u4 1>{<u4 100><u4 101>}}{<u4 2>{<u4 102>}}}}",
    "s2f35w{<u4 1>{{<u4 1>{<u4 1><u4 2>}}}}",
    "s2f37w{<bool 1>{<u4 1>}}",
    "s2f41w{<a'START'>{{<a'LOT'><a'X'>}}}",
    "s5f3w{<b 0x80><u4 1 2>}",
    "s5f5w<u4 1 2>",
    "s5f7w",
    "s6f15w<u4 1>",
    "s6f19w<u4 1>",
    "s7f3w{<a'R'><b 1 2 3>}",
    "s10f3w{<b 0><a'hello'>}",
    "s14f1w{<a><a>{}{}{}}",
    "s64f1w<u1 1>",
    "s9f7<b 0 0 0 0 0 0 0 0 0 0>",
};

TEST_F(HostileHost, MutatedPrimariesDoNoHarm) {
  std::mt19937 random(20261124);
  size_t before = 0;
  for (int i = 0; i < 10'000; ++i) {
    CHSecsMessage message;
    ASSERT_TRUE(message.SetFromSml(kPrimaries[random() % std::size(kPrimaries)]));
    message.header.idWord = 0;
    Bytes bytes;
    ASSERT_TRUE(message.Encode(bytes));
    for (size_t edits = random() % 4; edits > 0 && bytes.size() > 2; --edits) {
      const size_t at = 2 + random() % (bytes.size() - 2);
      switch (random() % 3) {
      case 0:
        bytes[at] = static_cast<uint8_t>(random());
        break;
      case 1:
        if (bytes.size() > 10)
          bytes.erase(bytes.begin() + static_cast<std::ptrdiff_t>(at));
        break;
      default:
        bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                     static_cast<uint8_t>(random()));
      }
    }
    bytes.resize(std::max<size_t>(bytes.size(), 10));
    sendRaw(bytes);
    if (i == 1000)
      before = mallinfo2().uordblks;
  }
  EXPECT_LT(mallinfo2().uordblks, before + 8'000'000) << "nothing stays behind";
  ASSERT_EQ(host.engine->GetCommunicationState(), CommunicationState::Communicating);
  equipment.engine->gem()->data().variables.FindByRole(RoleControlState)->SetValue("4");
  EXPECT_TRUE(equipmentAnswers());
  const auto file = readDataFile(systemFiles(), equipmentFolder / "station.kel");
  EXPECT_TRUE(file && loadGemData(*file)) << "the data file is whole";
}

TEST_F(HostileHost, GiantRequestsAreAnswered) {
  std::string define = "s2f33w{<u4 1>{";
  for (int i = 1; i <= 50'000; ++i)
    define += "{<u4 " + std::to_string(i) + ">{<u4 100>}}";
  EXPECT_TRUE(send(host, define + "}}"));
  run(20);
  EXPECT_EQ(host.sml(CHGem::kReceived), "S2F34\r\n<b 0x00>\r\n");
  EXPECT_EQ(equipment.engine->gem()->data().reports.Count(), 50'000U);
  EXPECT_TRUE(send(host, "s2f33w{<u4 1>{}}"));
  run(20);
  EXPECT_EQ(equipment.engine->gem()->data().reports.Count(), 0U);

  std::string ask = "s1f3w{";
  for (int i = 0; i < 100'000; ++i)
    ask += "<u4 100>";
  EXPECT_TRUE(send(host, ask + "}"));
  run(20);
  EXPECT_EQ(host.engine->gem()->slot(CHGem::kReceived).message.root.count(), 100'000U);
  EXPECT_TRUE(equipmentAnswers());
}

} // namespace
} // namespace velto
