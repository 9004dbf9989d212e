#include "block_line.h"
#include "support/temporary_directory.h"

#include <gtest/gtest.h>

namespace velto {
namespace {

const std::string kMessage = "00008101000000000007";
const std::string kIn = "00008101800100000007";

class BlockTraceTest : public testing::Test {
protected:
  void enable(BlockStation &station) {
    station.engine->settings().log.fileName = directory / "trace";
    station.engine->settings().log.verbose = true;
  }
  // The lines without their time, which is checked to be there.
  std::string read() {
    std::string text = systemFiles().read(directory / "trace.log").value_or("");
    const std::string stamp = "1970/01/01 00:00:00.000";
    for (size_t at = 0; (at = text.find(stamp, at)) != std::string::npos;)
      text.replace(at, stamp.size(), "T");
    systemFiles().remove(directory / "trace.log");
    return text;
  }

  TemporaryDirectory directory;
};

TEST_F(BlockTraceTest, WritesNothingUnlessAsked) {
  BlockStation station;
  station.engine->settings().log.fileName = directory / "trace";
  station.receive("05");
  EXPECT_EQ("", read());
  station.engine->settings().log.verbose = true;
  station.engine->settings().log.fileName.clear();
  station.receive("05");
  EXPECT_EQ("", read());
}

TEST_F(BlockTraceTest, TellsOfWhatIsReceived) {
  BlockStation station;
  enable(station);
  station.receive("41"
                  "05" +
                  blockHex(kIn));
  EXPECT_EQ("T Received unexpected character : 41\r\n"
            "T Received ENQ\r\n"
            "T Sent EOT\r\n"
            "T Received Length Byte : 10\r\n"
            "T Received data : 00 00 81 01 80 01 00 00 00 07\r\n"
            " Received data : 01 0a\r\n"
            "T Sent ACK (Transferred successfully)\r\n\r\n",
            read());
  station.receive("05"
                  "09"
                  "15");
  EXPECT_EQ("T Received ENQ\r\n"
            "T Sent EOT\r\n"
            "T Received Length Byte : 9 is out of range!\r\n",
            read());
  station.engine->settings().t1 = 0;
  station.poll();
  EXPECT_EQ("T Sent NAK\r\n", read());
  station.engine->settings().t1 = 1000;
  station.receive("05"
                  "0a" +
                  kIn + "ffff");
  const std::string text = read();
  EXPECT_NE(std::string::npos, text.find(" Received data : ff ff\r\nT Sum error\r\n")) << text;
}

TEST_F(BlockTraceTest, TellsOfWhatIsSentOnASerialLine) {
  BlockStation station;
  enable(station);
  station.engine->settings().master = false;
  station.queue(kMessage + repeated("01", 245));
  station.receive("05" + blockHex(kIn));
  std::string text = read();
  EXPECT_TRUE(text.starts_with("T Sent ENQ\r\nT Received ENQ (Contention)\r\nT Sent EOT\r\n"))
      << text;
  station.poll();
  station.receive("04");
  text = read();
  EXPECT_EQ("T Sent ENQ\r\nT Received EOT\r\n"
            "T Sent length byte : 254\r\n"
            "T Sent data : 00 00 81 01 00 01 00 00 00 07\r\n"
            " Sent data : 01 01 01 01 01 01 01 01 01 01\r\n",
            text.substr(0, 143));
  EXPECT_TRUE(text.ends_with(" Sent data : 01 01 01 01\r\nT Sent Check sum : 01 7e\r\n")) << text;
  station.receive("15"
                  "04");
  text = read();
  EXPECT_TRUE(text.starts_with("T Received NAK\r\nT Sent ENQ\r\nT Received EOT\r\n")) << text;
  station.receive("06");
  station.receive("0406");
  EXPECT_EQ("T Received ACK (Transferred successfully)\r\n\r\n"
            "T Sent ENQ\r\nT Received EOT\r\n"
            "T Sent Length byte : 11\r\n"
            "T Sent data : 00 00 81 01 80 02 00 00 00 07\r\n"
            " Sent data : 01\r\n"
            "T Sent Check sum : 01 0c\r\n"
            "T Received ACK (Transferred successfully)\r\n\r\n",
            read());
}

TEST_F(BlockTraceTest, TellsOfWhatIsSentOverAConnection) {
  BlockStation station(kSocketVariant);
  enable(station);
  station.queue(kMessage + "0102");
  station.receive("04");
  EXPECT_EQ("T Sent ENQ\r\nT Received EOT\r\n"
            "T Sent length byte : 12\r\n"
            "Sent header : 80 00 81 01 80 01 00 00 00 07\r\n"
            "Send data 01 02\r\n"
            "T Sent Check sum : 01 8d\r\n",
            read());
}

TEST_F(BlockTraceTest, TellsOfBadParity) {
  BlockStation station;
  enable(station);
  station.engine->settings().msec = true;
  station.receive("05" + blockHex(kIn + "07"));
  EXPECT_TRUE(read().ends_with("T Sent NAK (Parity error)\r\n"));
}

} // namespace
} // namespace velto
