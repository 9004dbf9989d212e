#include "block_line.h"

#include <gtest/gtest.h>
#include <utility>
#include <vector>

namespace velto {
namespace {

// S1F1W for device 0 as it is queued, and as a master (the default) sends it.
const std::string kQueuedMessage = "00008101000000000007";
const std::string kSent = "80008101800000000007";

std::string header(unsigned blockWord, const char *rest = "00000007") {
  return "00008101" + formatText("%04x", blockWord) + rest;
}

void useEquipment(BlockStation &station, uint16_t deviceId) {
  station.engine->settings().equipment = true;
  station.engine->settings().deviceId = deviceId;
}

// Sending ---------------------------------------------------------------------------------------

TEST(BlockTransfer, SendsAMessageOfOneBlock) {
  BlockStation station;
  EXPECT_EQ("> 05", station.queue(kQueuedMessage));
  EXPECT_EQ("> " + blockHex(kSent), station.receive("04"));
  EXPECT_EQ("sent " + kSent, station.receive("06"));
  EXPECT_EQ(">05<04>" + blockHex(kSent) + "<06", station.traced);
}

TEST(BlockTransfer, CompletesTheHeaderOfWhatItSends) {
  struct Case {
    const char *what;
    const SecsIVariant &variant;
    bool msec, master, equipment;
    const char *queued, *sent;
  };
  const Case cases[] = {
      {"slave", kSerialVariant, false, false, false, "ffff8101123400000007",
       "01238101923400000007"},
      {"reply of a host", kSerialVariant, false, true, false, "00008102000000000007",
       "81238102800000000007"},
      {"reply of an equipment", kSerialVariant, false, true, true, "00008102000000000007",
       "81230102800000000007"},
      {"primary of an equipment", kSerialVariant, false, true, true, "00008101000000000007",
       "81238101800000000007"},
      {"over a connection", kSocketVariant, false, true, false, "00008101123400000007",
       "81238101800100000007"},
      {"MSEC", kSocketVariant, true, true, true, "00008102123400000007", "00008102123400000007"},
  };
  for (const Case &c : cases) {
    BlockStation station(c.variant);
    station.engine->settings().msec = c.msec;
    station.engine->settings().master = c.master;
    useEquipment(station, 0x123);
    station.engine->settings().equipment = c.equipment;
    station.queue(c.queued);
    EXPECT_EQ("> " + blockHex(c.sent), station.receive("04")) << c.what;
  }
}

TEST(BlockTransfer, SplitsAMessageIntoBlocks) {
  struct Case {
    size_t data;
    std::vector<std::pair<unsigned, size_t>> blocks; // block word, bytes of data
  };
  const Case cases[] = {
      {244, {{0x8000, 244}}},
      {245, {{1, 244}, {0x8002, 1}}},
      {488, {{1, 244}, {0x8002, 244}}},
      {489, {{1, 244}, {2, 244}, {0x8003, 1}}},
  };
  for (const Case &c : cases) {
    BlockStation station;
    std::string happened = station.queue(kQueuedMessage + repeated("a5", c.data));
    for (const auto &[word, data] : c.blocks) {
      EXPECT_EQ("> 05", happened) << c.data;
      const std::string block =
          "80008101" + formatText("%04x", word) + "00000007" + repeated("a5", data);
      EXPECT_EQ("> " + blockHex(block), station.receive("04")) << c.data;
      happened = station.receive("06");
    }
    std::string sent = kSent;
    sent.replace(8, 4, formatText("%04x", c.blocks.back().first));
    EXPECT_EQ(happened, "sent " + sent + "+" + std::to_string(c.data)) << "as its last block";
  }
}

TEST(BlockTransfer, RefusesWhatItCannotSend) {
  BlockStation station;
  EXPECT_EQ("refused", station.queue("000081010000000007"));
  Bytes message(CHSecsHeader::kSize + kMostBlocks * kBlockData + 1);
  EXPECT_FALSE(station.engine->QueueMessage(message));
  message.pop_back();
  for (int i = 0; i < 8; ++i)
    EXPECT_TRUE(station.engine->QueueMessage(message));
  EXPECT_FALSE(station.engine->QueueMessage(message)) << "more than 64 MiB wait";
  station.engine->Reset();
  for (size_t i = 0; i < BlockTransfer::kMostQueued; ++i)
    EXPECT_TRUE(station.engine->QueueMessage(fromHex(kQueuedMessage)));
  EXPECT_EQ("refused", station.queue(kQueuedMessage));
}

TEST(BlockTransfer, RepeatsABlockUntilItIsTaken) {
  BlockStation station;
  station.engine->settings().retry = 4;
  const std::string message = kQueuedMessage + repeated("11", 300);
  const std::string first = blockHex("80008101000100000007" + repeated("11", 244));
  const std::string second = blockHex("80008101800200000007" + repeated("11", 56));
  station.queue(message);
  EXPECT_EQ("> 05; problem T2", station.wait(10'000)) << "no EOT";
  EXPECT_EQ("problem UnexpectedCharacter", station.receive("15")) << "waits on for EOT";
  EXPECT_EQ("> " + first, station.receive("04"));
  EXPECT_EQ("> 05; problem Nak", station.receive("15"));
  EXPECT_EQ("> " + first, station.receive("04"));
  EXPECT_EQ("> 05; problem UnexpectedCharacter", station.receive("41"));
  EXPECT_EQ("> " + first, station.receive("04"));
  EXPECT_EQ("> 05; problem T2", station.wait(10'000)) << "no ACK";
  EXPECT_EQ("> " + first, station.receive("04"));
  EXPECT_EQ("> 05", station.receive("06"));
  EXPECT_EQ("> " + second, station.receive("04"));
  EXPECT_EQ("> 05; problem Nak", station.receive("15")) << "each block has its own retries";
  EXPECT_EQ("> " + second, station.receive("04"));
  EXPECT_EQ(station.receive("06"), "sent 80008101800200000007+300");
}

TEST(BlockTransfer, AFailedMessageTakesTheQueueAlong) {
  const std::string failed = "failed " + kSent + "; failed 80008501800000000008";
  struct Case {
    const char *what;
    std::string lastInput, expected;
  };
  const Case cases[] = {
      {"NAK", "15", "problem Nak; " + failed},
      {"other", "41", "problem UnexpectedCharacter; " + failed},
      {"T2", "", failed},
  };
  for (const Case &c : cases) {
    BlockStation station;
    station.engine->settings().retry = 1;
    station.engine->QueueMessage(fromHex(kQueuedMessage));
    EXPECT_EQ("> 05", station.queue("00008501000000000008"));
    station.receive("04");
    station.receive("15");
    station.receive("04");
    EXPECT_EQ(c.expected, c.lastInput.empty() ? station.wait(10'000) : station.receive(c.lastInput))
        << c.what;
    EXPECT_EQ("", station.poll());
    EXPECT_EQ("> 05", station.queue(kQueuedMessage)) << "goes on with what comes next";
  }
}

// Contention ------------------------------------------------------------------------------------

TEST(BlockTransfer, TheMasterWinsContention) {
  BlockStation station;
  station.queue(kQueuedMessage);
  EXPECT_EQ("", station.receive("05"));
  EXPECT_EQ("> " + blockHex(kSent), station.receive("04"));
}

TEST(BlockTransfer, TheSlaveGivesWayAndSendsAfterwards) {
  BlockStation station;
  station.engine->settings().master = false;
  station.queue(kQueuedMessage);
  EXPECT_EQ("> 04", station.receive("05"));
  EXPECT_EQ("> 06; received " + header(0x8000, "00000001"),
            station.receive(blockHex(header(0x8000, "00000001"))));
  EXPECT_EQ("> 05", station.poll());
}

// Receiving -------------------------------------------------------------------------------------

TEST(BlockTransfer, ReceivesBlocksAndPutsThemTogether) {
  struct Case {
    const char *what;
    std::vector<std::string> blocks;
    std::string last; // what the last one brings after its acknowledge
  };
  const Case cases[] = {
      {"one", {header(0x8001)}, "; received " + header(0x8001)},
      {"numbered 0", {header(0x8000)}, "; received " + header(0x8000)},
      {"two",
       {header(1) + "0102", header(0x8002) + "03"},
       "; received " + header(0x8002) + "010203"},
      {"from 0",
       {header(0) + "01", header(0x8001) + "02"},
       "; received " + header(0x8001) + "0102"},
      {"a duplicate", {header(1) + "01", header(1) + "01"}, ""},
      {"a duplicate is left out",
       {header(1) + "01", header(1) + "01", header(0x8002) + "02"},
       "; received " + header(0x8002) + "0102"},
      {"a gap", {header(1), header(2), header(4)}, "; problem BadMultiBlockNumber " + header(4)},
      {"begun anew",
       {header(1) + "01", header(2) + "02", header(1) + "03", header(0x8002) + "04"},
       "; received " + header(0x8002) + "0304"},
      {"begun anew as one block",
       {header(1) + "01", header(0x8001) + "02"},
       "; problem BadMultiBlockNumber " + header(0x8001) + "; received " + header(0x8001) + "02"},
      {"a gap drops all",
       {header(1), header(3), header(0x8002)},
       "; problem BadBlockNumber " + header(0x8002)},
      {"starts late", {header(3)}, "; problem BadBlockNumber " + header(3)},
      {"two at once",
       {header(1, "00000001") + "01", header(1, "00000002") + "02",
        header(0x8002, "00000001") + "03"},
       "; received " + header(0x8002, "00000001") + "0103"},
  };
  for (const Case &c : cases) {
    BlockStation station;
    std::string happened;
    for (const std::string &block : c.blocks) {
      EXPECT_EQ("> 04", station.receive("05")) << c.what;
      happened = station.receive(blockHex(block));
    }
    EXPECT_EQ("> 06" + c.last, happened) << c.what;
  }
}

TEST(BlockTransfer, RefusesABadBlockAfterSilence) {
  const std::string good = blockHex(header(0x8001));
  struct Case {
    const char *what;
    std::string bytes, problem;
  };
  const Case cases[] = {
      {"short length", "09" + repeated("05", 30), "problem BadBlockLength"},
      {"long length", "ff" + repeated("05", 300), "problem BadBlockLength"},
      {"wrong sum", good.substr(0, good.size() - 1) + "0", "problem BadChecksum " + header(0x8001)},
      {"unfinished", good.substr(0, good.size() - 2), ""},
  };
  for (const Case &c : cases) {
    BlockStation station;
    station.receive("05");
    EXPECT_EQ(c.problem, station.receive(c.bytes)) << c.what;
    EXPECT_EQ("", station.wait(999)) << c.what;
    EXPECT_EQ("> 15; problem T1", station.wait(1)) << c.what;
    EXPECT_EQ("> 0406; received " + header(0x8001), station.receive("05" + good)) << c.what;
  }
}

TEST(BlockTransfer, TimesOutWithoutALengthByte) {
  BlockStation station;
  EXPECT_EQ("> 04", station.receive("05"));
  EXPECT_EQ("", station.wait(9'999));
  EXPECT_EQ("> 15; problem T2", station.wait(1));
  station.engine->settings().msec = true;
  station.receive("05");
  EXPECT_EQ("> 15; problem T1", station.wait(1000));
  EXPECT_EQ("problem UnexpectedCharacter", station.receive("06")) << "idle again";
}

TEST(BlockTransfer, GivesUpAMessageThatStops) {
  BlockStation station;
  const auto begin = [&](const char *bytes) {
    return station.receive("05" + blockHex(header(1, bytes) + "01"));
  };
  begin("00000001");
  station.wait(1);
  begin("00000002");
  station.receive("05" + blockHex(header(0x8001)));
  EXPECT_EQ(3U, station.engine->InCount()) << "a complete one stays for T4";
  EXPECT_EQ("problem T4 " + header(1, "00000001"), station.wait(60'000));
  EXPECT_EQ("problem T4 " + header(1, "00000002"), station.poll()) << "one a tick";
  EXPECT_EQ(0U, station.engine->InCount());
}

TEST(BlockTransfer, BoundsWhatIsBeingReceived) {
  BlockStation station;
  std::string reports;
  for (unsigned i = 0; i < 3000; ++i)
    reports += station.receive("05" + blockHex(header(1, formatText("%08x", i).c_str())));
  EXPECT_EQ(1000U, station.engine->InCount());
  EXPECT_NE(std::string::npos, reports.find("problem T4 " + header(1, "00000000")));
}

// Roles and transactions ------------------------------------------------------------------------

TEST(BlockTransfer, AnEquipmentRefusesOtherDevices) {
  BlockStation station;
  useEquipment(station, 5);
  EXPECT_EQ("> 0406; problem BadDeviceId", station.receive("05" + blockHex(header(0x8001))));
  EXPECT_EQ("> 05", station.poll());
  const std::string sent = station.receive("04");
  EXPECT_EQ("> 16800509018001", sent.substr(0, 16)) << "S9F1";
  EXPECT_NE(std::string::npos, sent.find("210a" + header(0x8001)));
  station.receive("06");
  for (const uint16_t own :
       {uint16_t{5}, uint16_t{0x8005}}) { // as it is stored: only 15 bits count
    station.engine->settings().deviceId = own;
    const std::string right = formatText("80058101800000%06x", unsigned{own});
    EXPECT_EQ("> 0406; received " + right, station.receive("05" + blockHex(right)));
  }
}

TEST(BlockTransfer, WatchesForReplies) {
  struct Case {
    const char *what;
    std::string reply;
    bool closes;
  };
  const std::string mhead = "210a" + kSent;
  const Case cases[] = {
      {"the reply", "00000102800000000007", true},
      {"an abort", "00000100800000000007", true},
      {"other system bytes", "00000102800000000008", false},
      {"stream 9 about it", "00000907800000000099" + mhead, true},
      {"none", "", false},
  };
  for (const Case &c : cases) {
    BlockStation station;
    useEquipment(station, 0);
    station.queue(kQueuedMessage);
    station.receive("04");
    station.receive("06");
    if (!c.reply.empty())
      station.receive("05" + blockHex(c.reply));
    station.take();
    const std::string expected = c.closes ? "" : "problem T3 " + kSent;
    EXPECT_EQ(expected, station.wait(30'000)) << c.what;
    EXPECT_EQ(c.closes ? "" : "> 05", station.poll()) << c.what << ": S9F9 follows";
    if (!c.closes) {
      EXPECT_NE(std::string::npos, station.receive("04").find("0909")) << c.what;
    }
  }
}

TEST(BlockTransfer, OverAConnectionNoS9F9FollowsT3) {
  BlockStation station(kSocketVariant);
  useEquipment(station, 0);
  station.queue(kQueuedMessage);
  station.receive("04");
  station.receive("06");
  EXPECT_EQ("problem T3 80008101800100000007", station.wait(30'000));
  EXPECT_EQ("", station.poll());
}

TEST(BlockTransfer, MsecBlocksStandAloneWithEvenParity) {
  BlockStation station;
  station.engine->settings().msec = true;
  EXPECT_EQ("> 0406; received " + header(3) + "8741",
            station.receive("05" + blockHex(header(3) + "8741")));
  EXPECT_EQ("> 0415; problem BadParity", station.receive("05" + blockHex(header(3) + "07")));
}

// Deadlines, re-entrancy, records ---------------------------------------------------------------

TEST(BlockTransfer, NamesItsNextDeadline) {
  BlockStation station;
  BlockTransfer &engine = *station.engine;
  EXPECT_EQ(std::nullopt, engine.NextPoll());
  engine.QueueMessage(fromHex(kQueuedMessage));
  EXPECT_EQ(0U, engine.NextPoll());
  station.poll();
  EXPECT_EQ(10'000U, engine.NextPoll());
  station.receive("04");
  station.receive("06");
  EXPECT_EQ(30'000U, engine.NextPoll()) << "T3";
  station.receive("05" + blockHex(header(0x8001, "00000009")));
  station.receive("05");
  EXPECT_EQ(10'000U, engine.NextPoll());
  station.receive("0a");
  EXPECT_EQ(1000U, engine.NextPoll());
  station.line.open = false;
  EXPECT_EQ(std::nullopt, engine.NextPoll());
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
      const std::string good = "05" + blockHex(header(0x8001));
      for (const std::string &input :
           {std::string("41"), good + good, std::string("0509"), "05" + blockHex(header(7)),
            std::string("0404150406"), good}) {
        station.engine->QueueMessage(fromHex(kQueuedMessage));
        station.receive(input);
        station.wait(60'000);
      }
    }
  }
}

TEST(BlockTransfer, StartsAnewAfterReset) {
  BlockStation station;
  station.queue(kQueuedMessage);
  station.receive("04");
  station.engine->Reset();
  EXPECT_EQ("", station.poll());
  EXPECT_EQ("problem UnexpectedCharacter", station.receive("06"));
  EXPECT_EQ("> 04", station.receive("05"));
}

TEST(BlockTransfer, FailsTheQueueWhenTheLineIsGone) {
  BlockStation station;
  station.engine->QueueMessage(fromHex(kQueuedMessage));
  station.queue("00008501000000000008");
  station.engine->FailAll();
  EXPECT_EQ("failed " + kSent + "; failed 80008501800000000008", station.take());
}

} // namespace
} // namespace velto
