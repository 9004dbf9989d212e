// What an equipment answers when its application leaves everything to DefProc().
#include "controls/gem_pair.h"

namespace velto {
namespace {

class GemAcknowledges : public GemPair {
protected:
  struct Row {
    const char *primary;
    const char *reply; // on one line; empty: no message
    std::function<void(CVeltoGemCtrl &)> before = {};
  };

  void expect(std::initializer_list<Row> rows) {
    establish();
    for (const Row &row : rows) {
      if (row.before)
        row.before(*equipment.control);
      const std::string reply = ask(row.primary);
      EXPECT_EQ(reply.starts_with("S9F") ? reply.substr(0, 4) : reply, row.reply) << row.primary;
    }
  }

  static bool onDisk(const std::string &file) { return systemFiles().read(file).has_value(); }
};

TEST_F(GemAcknowledges, OfStream1) {
  const auto acceptOnline = [](bool accept) {
    return [accept](CVeltoGemCtrl &eq) { eq.SetOnlineRequest(accept); };
  };
  const auto acceptOffline = [](bool accept) {
    return [accept](CVeltoGemCtrl &eq) { eq.SetOfflineRequest(accept); };
  };
  expect({
      {"s1f1w", "S1F2 { <a 'ETCH-1'> <a '1.00'> }"},
      {"s1f3w{<u4 2><u4 1>}", "S1F4 { <u4 7> <u1 4> }"},
      {"s1f3w{}", "S1F4 { <u1 4> <u4 7> }"},
      {"s1f3w<u4 2 1>", "S1F4 { <u4 7> <u1 4> }"},
      {"s1f3w{<u4 3><u4 99><a'x'>}", "S1F4 { { } { } { } }"},
      {"s1f5w<b 1>", "S1F6 <b>"},
      {"s1f11w{<u1 2><u4 77>}", "S1F12 { { <u4 2> <a 'Position'> <a 'mm'> } { <u4 77> <a> <a> } }"},
      {"s1f13w{}", "S1F14 { <b 0x00> { <a 'ETCH-1'> <a '1.00'> } }"},
      {"s1f13w{<a'x'>}", "S9F7"},
      {"s1f17w", "S1F18 <b 0x02>"},
      {"s1f15w", "S1F16 <b 0x01>", acceptOffline(false)},
      {"s1f15w", "S1F16 <b 0x00>", acceptOffline(true)},
      {"s1f1w", "S1F0"},
      {"s2f17w", "S2F0"},
      {"s1f17w", "S1F18 <b 0x01>", acceptOnline(false)},
      {"s1f17w", "S1F18 <b 0x00>", acceptOnline(true)},
      {"s1f1w", "S1F2 { <a 'ETCH-1'> <a '1.00'> }"},
  });
  EXPECT_EQ(equipment.control->ControlState(), 4);
}

TEST_F(GemAcknowledges, OfConstantsAndTheClock) {
  expect({
      {"s2f13w{<u4 3><u4 2>}", "S2F14 { <u4 15> { } }"},
      {"s2f15w{}", "S2F16 <b 0x00>"},
      {"s2f15w{{<u4 3><u4 12>}{<u4 3><u4 21>}}", "S2F16 <b 0x01>"},
      {"s2f15w{{<u4 3><u4 9>}}", "S2F16 <b 0x01>"},
      {"s2f15w{{<u4 2><u4 12>}}", "S2F16 <b 0x01>"},
      {"s2f15w{{<u4 99><u4 12>}}", "S2F16 <b 0x01>"},
      {"s2f13w{}", "S2F14 { <u4 15> }"},
      {"s2f15w{{<u4 3><u4 20>}}", "S2F16 <b 0x00>"},
      {"s2f13w<u4 3>", "S2F14 { <u4 20> }"},
      {"s2f29w{<u4 3>}", "S2F30 { { <u4 3> <a> <u4 10> <u4 20> <u4> <a> } }"},
      {"s2f31w<a'260102030405'>", "S2F32 <b 0x01>"},
      {"s2f31w<a'2026010203040567'>", "S2F32 <b 0x00>",
       [](CVeltoGemCtrl &eq) { eq.engine().gem()->data().changePCClock = true; }},
      {"s2f31w<a'261302030405'>", "S9F7"},
      {"s2f41w{<a'START'>{}}", "S2F42 { <b 0x00> { } }"},
  });
  EXPECT_EQ(ask("s2f17w").substr(0, 21), "S2F18 <a '20260102030");
  const auto isChange = [](const std::string &line) { return line.starts_with("VIDChanged"); };
  EXPECT_EQ(std::ranges::count_if(equipment.take(), isChange), 1) << "refused ones change nothing";
}

TEST_F(GemAcknowledges, OfReportsAndLinks) {
  expect({
      {"s2f33w{<u4 1>{{<u4 9>}}}", "S2F34 <b 0x02>"},
      {"s2f33w{<u4 1>{{<u4 9>{<u4 2><u4 99>}}}}", "S2F34 <b 0x04>"},
      {"s2f33w{<u4 1>{{<u4 9>{<u4 2><u4 4>}}{<u4 10>{<u4 1>}}}}", "S2F34 <b 0x00>"},
      {"s2f33w{<u4 1>{{<u4 9>{<u4 2>}}}}", "S2F34 <b 0x03>"},
      {"s2f35w{<u4 1>{{<u4 7>}}}", "S2F36 <b 0x02>"},
      {"s2f35w{<u4 1>{{<u4 99>{<u4 9>}}}}", "S2F36 <b 0x04>"},
      {"s2f35w{<u4 1>{{<u4 7>{<u4 11>}}}}", "S2F36 <b 0x05>"},
      {"s2f35w{<u4 1>{{<u4 7>{<u4 9><u4 10>}}}}", "S2F36 <b 0x00>"},
      {"s2f35w{<u4 1>{{<u4 7>{<u4 9>}}}}", "S2F36 <b 0x03>"},
      {"s2f37w{<bool 0>{<u4 8><u4 99>}}", "S2F38 <b 0x01>"},
      {"s2f37w{<bool 0>{<u4 8>}}", "S2F38 <b 0x00>"},
      {"s6f15w<u4 7>", "S6F16 { <u4 1> <u4 7> { { <u4 9> { <u4 7> <a 'LOT'> } } "
                       "{ <u4 10> { <u1 4> } } } }"},
      {"s6f15w<u4 7>", "S6F16 { <u4 2> <u4 7> { { <u4 9> { <u4 7> <a 'LOT'> } } "
                       "{ <u4 10> { <u1 4> } } } }"},
      {"s6f15w<u4 99>", "S6F16 { }"},
      {"s6f19w<u4 9>", "S6F20 { <u4 7> <a 'LOT'> }"},
      {"s6f19w<u4 99>", "S6F20 { }"},
      {"s2f35w{<u4 1>{{<u4 7>{}}}}", "S2F36 <b 0x00>"},
      {"s2f35w{<u4 1>{{<u4 7>{<u4 9>}}}}", "S2F36 <b 0x00>"},
      {"s2f33w{<u4 1>{{<u4 9>{}}}}", "S2F34 <b 0x00>"},
      {"s6f15w<u4 7>", "S6F16 { <u4 3> <u4 7> { } }"},
      {"s2f33w{<u4 1>{}}", "S2F34 <b 0x00>"},
      {"s2f37w{<bool 1>{}}", "S2F38 <b 0x00>"},
  });
  EXPECT_TRUE(equipment.control->CEIDEnable(8));
  EXPECT_TRUE(onDisk(equipment.control->DataFileName()));
}

TEST_F(GemAcknowledges, OfAlarmsProgramsAndTerminals) {
  const auto setAlarm = [](CVeltoGemCtrl &eq) { eq.SetALIDSet(5, true); };
  expect({
      {"s5f3w{<b 0><u4 5>}", "S5F4 <b 0x00>"},
      {"s5f3w{<b 128><u4 5 99>}", "S5F4 <b 0x01>"},
      {"s5f7w", "S5F8 { { <b 0x06> <u4 6> <a 'Cold'> } }"},
      {"s5f5w<u4 5 99>", "S5F6 { { <b 0x85> <u4 5> <a 'Hot'> } { <b> <u4 99> <a> } }", setAlarm},
      {"s5f5w{<u2 6><u4 5>}",
       "S5F6 { { <b 0x06> <u4 6> <a 'Cold'> } { <b 0x85> <u4 5> <a 'Hot'> } }"},
      {"s5f5w{<b 5>}", "S9F7"},
      {"s5f5w<u4>", "S5F6 { { <b 0x85> <u4 5> <a 'Hot'> } { <b 0x06> <u4 6> <a 'Cold'> } }"},
      {"s5f3w{<b 128><u4>}", "S5F4 <b 0x00>"},
      {"s7f3w{<a'RECIPE'><b 1 2>}", "S7F4 <b 0x00>"},
      {"s7f19w", "S7F20"},
      {"s10f3w{<b 0><a'text'>}", "S10F4 <b 0x00>"},
      {"s10f5w{<b 0>{<a'text'>}}", "S10F6 <b 0x00>"},
  });
  EXPECT_TRUE(equipment.control->ALIDEnable(5));
}

TEST_F(GemAcknowledges, OfStreamsWithoutAModel) {
  expect({
      {"s3f1w", "S3F2"},
      {"s3f5w{<a'M'><b 1>}", "S9F7"}, // comes from equipment
      {"s4f5{<b 1><a'M'>}", ""},
      {"s4f5w{<b 1><a'M'>}", "S9F7"},
      {"s6f17w<u4 7>", "S6F18"},
      {"s6f25w", "S6F26 <b 0x00>"},
      {"s7f17w{<a'R'>}", "S7F18 <b 0x00>"},
      {"s7f25w<a'R'>", "S7F26"},
      {"s8f3w", "S8F4"},
      {"s10f9w<a'all'>", "S10F10 <b 0x00>"},
      {"s13f11w", "S13F12"},
      {"s14f21w", "S9F7"},
      {"s15f1w{<u4 1><a'spec'><u4 9>}", "S15F2 <b 0x00>"},
      {"s16f27w{<u1 1>}", "S16F28"},
      {"s18f13w", "S18F14"},
      {"s18f15w", "S9F5"},
  });
}

// The same on the other side: what a host answers to an equipment.
TEST_F(GemAcknowledges, OfAHost) {
  establish();
  const struct {
    const char *primary;
    const char *reply;
  } rows[] = {
      {"s5f1w{<b 129><u4 5><a'Hot'>}", "S5F2 <b 0x00>"},
      {"s5f9w{<a'2026010203040500'><a'x'><a'ERROR'><a'text'>{}}", "S5F10"},
      {"s5f15w", "S5F0"},
      {"s6f1w{<u4 1><u4 1><a'260102030405'>{<u4 7>}}", "S6F2 <b 0x00>"},
      {"s6f5w{<u4 1><u4 900>}", "S6F6 <b 0x00>"},
      {"s6f11w{<u4 1><u4 7>{{<u4 9>{<u4 7>}}}}", "S6F12 <b 0x00>"},
      {"s6f11w{<u4 1><u4 7>{<u4 9>}}", "S6F0"},
      {"s6f13w", "S6F14 <b 0x00>"},
      {"s7f27w", "S7F28"},
      {"s10f1w{<b 0><a'help'>}", "S10F2 <b 0x00>"},
      {"s10f3w{<b 0><a'help'>}", "S10F0"},
      {"s3f1w", "S3F0"},
      {"s4f23w{<b 1><a'J'><u1 1>{<bool 1>{}}}", "S4F24"},
      {"s12f17w", "S12F18"},
      {"s14f21w", "S14F22"},
      {"s16f9w", "S16F10"},
      {"s17f1w", "S17F0"},
      {"s64f1w", "S64F2"},
  };
  for (const auto &row : rows) {
    equipment.take();
    ASSERT_TRUE(equipment.send(row.primary)) << row.primary;
    settle(2);
    EXPECT_EQ(equipment.slot(CHGem::kReceived), row.reply) << row.primary;
  }
}

TEST_F(GemAcknowledges, OfWhatIsNoMessageOfTheStandard) {
  expect({
      {"s11f1w", "S9F3"},
      {"s64f1w", "S9F3"},
      {"s17f15w", "S9F5"},
      {"s1f65w", "S9F5"},
      {"s5f1w{<b 0><u4 5><a'x'>}", "S9F7"},
      {"s2f15w<u4 3>", "S9F7"},
      {"s2f17", ""},
      {"s1f0", ""},
      {"s2f18<a'260102030405'>", ""},
  });
  // The header that is complained of comes back byte for byte.
  ask("s3f99w<u1 1>");
  const CHSecsHeader sent = host.model().slot(CHGem::kSent).message.header;
  std::array<uint8_t, CHSecsHeader::kSize> bytes{};
  EncodeHeader(sent, bytes);
  EXPECT_EQ(toHex(host.model().slot(CHGem::kReceived).message.root.bytes()), toHex(bytes));
}

} // namespace
} // namespace velto
