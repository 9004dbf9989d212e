// Captures: what is written, and what is read out of them whatever has become of the packets.
#include "apps/gem_tools.h"
#include "apps/spied_bytes.h"
#include "apps/velto/capture/capture_file.h"
#include "apps/velto/trace/packet_file.h"
#include "apps/velto/trace/trace.h"

#include <gmock/gmock.h>
#include <random>
#include <regex>
#include <sstream>

namespace velto {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr int kEthernet = 1;
constexpr size_t kEthernetHeader = 14;
constexpr size_t kTcpAt = 34; // in a packet of Ethernet and IPv4

struct StoredPacket {
  Bytes bytes;
  uint64_t micros = 0;
};
using Packets = std::vector<StoredPacket>;

/// All packets of a file; nothing, and a problem, when it cannot be read.
Packets readCapture(const std::string &path, std::string &problem) {
  Packets packets;
  const auto file = PacketFile::open(path, problem);
  while (file) {
    const auto packet = file->next(problem);
    if (!packet)
      break;
    packets.push_back({Bytes(packet->bytes.begin(), packet->bytes.end()), packet->since1970});
  }
  return packets;
}

bool readsCaptures() {
  std::string problem;
  PacketFile::open("none.pcap", problem);
  return problem.find("without libpcap") == std::string::npos;
}

/// What velto trace prints of packets; the times, which may differ, are left out on request.
std::string shown(const Packets &packets, int linkType = kEthernet) {
  std::ostringstream out;
  const SpyConsole::Settings settings;
  SpyConsole console(settings, out);
  Trace trace(console, {});
  for (const StoredPacket &packet : packets)
    if (const auto segment = readTcp(linkType, packet.bytes))
      trace.take(*segment, packet.micros);
  trace.finish();
  return out.str();
}

std::string withoutTimes(const std::string &text) {
  return std::regex_replace(std::regex_replace(text, std::regex("(^|\n)[0-9:.]{12}"), "$1"),
                            std::regex("(,? answers)? +after .*"), "");
}

/// The lines of messages without what stands below them, and those of problems.
std::vector<std::string> headings(const std::string &text) {
  std::vector<std::string> lines;
  std::istringstream in(withoutTimes(text));
  for (std::string line; std::getline(in, line);)
    if (line.find("--> ") != std::string::npos || line.find("<-- ") != std::string::npos)
      lines.push_back(line);
  return lines;
}

/// A session of a host and an equipment: short messages both ways, some that take several packets,
/// pauses, and an end.
class Traced : public testing::Test {
protected:
  void SetUp() override {
    if (!readsCaptures())
      GTEST_SKIP() << "built without libpcap";
    write();
    std::string problem;
    packets = readCapture(path, problem);
    ASSERT_EQ(problem, "");
    whole = withoutTimes(shown(packets));
  }

  void say(uint32_t systemBytes, const std::string &sml, CaptureFile::Connection::Side from) {
    connection->passed(from, frameOf(systemBytes, sml), now += 20'000);
  }
  void write() {
    using enum CaptureFile::Connection::Side;
    const auto file = std::make_shared<CaptureFile>([](const std::string &) {});
    ASSERT_EQ(file->open(path), "");
    connection.emplace(file, TcpSocket::Ends{"10.0.0.4", 40'112, "10.0.0.5", 5000}, now);
    for (const uint8_t type : {uint8_t{1}, uint8_t{2}}) // Select
      connection->passed(type == 1 ? Opener : Acceptor,
                         Bytes{0, 0, 0, 10, 0xFF, 0xFF, 0, 0, 0, type, 0, 0, 0, 1}, now += 1000);
    for (uint32_t i = 2; i < 42; i += 2) {
      say(i, "s1f3w {<u4 " + std::to_string(i) + ">}", Opener);
      say(i, "s1f4 {<f4 " + std::to_string(i) + ".5>}", Acceptor);
      say(i + 1, "s5f1w {<b 0x80> <u4 7> <a '" + std::string(i * 50, 'x') + "'>}", Acceptor);
      say(i + 1, "s5f2 <b 0>", Opener);
    }
    connection.reset();
  }

  TemporaryDirectory folder;
  const std::string path = folder / "session.pcap";
  uint64_t now = 1'800'000'000'000'000;
  std::optional<CaptureFile::Connection> connection;
  Packets packets;
  std::string whole;
};

TEST_F(Traced, IsWhatWasSaid) {
  EXPECT_THAT(whole, HasSubstr("#1 opened: 10.0.0.4:40112 to 10.0.0.5:5000\n"));
  EXPECT_THAT(whole, HasSubstr("#1 --> S1F3W [2]  Selected Equipment Status Request"));
  EXPECT_THAT(whole, HasSubstr("closed by 10.0.0.4:40112; 41 messages there, 41 back"));
  EXPECT_THAT(whole, Not(HasSubstr("problem: S")));
  EXPECT_EQ(headings(whole).size(), 82U);
  EXPECT_THAT(shown(packets), HasSubstr("after 20.0 ms"));
}

bool hasData(const StoredPacket &packet) { return packet.bytes.size() > kTcpAt + 20; }

/// Packets that come late: up to so many others go first.
Packets reordered(Packets packets, std::mt19937 &random, size_t most) {
  for (size_t i = 3; i + 1 < packets.size(); ++i)
    if (random() % 3 == 0) {
      const auto from = packets.begin() + static_cast<ptrdiff_t>(i);
      const size_t far = std::min(random() % most + 1, packets.size() - 1 - i);
      std::rotate(from, from + 1, from + 1 + static_cast<ptrdiff_t>(far));
    }
  for (size_t i = 1; i < packets.size(); ++i)
    packets[i].micros = std::max(packets[i].micros, packets[i - 1].micros);
  return packets;
}

/// Packets that come twice, the second time with the beginning of another boundary.
Packets sentAgain(const Packets &packets, std::mt19937 &random) {
  Packets all;
  for (const StoredPacket &packet : packets) {
    all.push_back(packet);
    if (hasData(packet) && random() % 2 == 0)
      all.push_back(packets[random() % all.size() / 2 + 3]);
    all.back().micros = packet.micros;
  }
  return all;
}

/// Sequence numbers that begin elsewhere, such as just below where they wrap.
Packets shifted(Packets packets, uint32_t offset) {
  for (StoredPacket &packet : packets)
    for (const size_t at : {kTcpAt + 4, kTcpAt + 8})
      if (at == kTcpAt + 4 || (packet.bytes[kTcpAt + 13] & 16) != 0)
        writeBigEndian(&packet.bytes[at], readBigEndian<uint32_t>(&packet.bytes[at]) + offset);
  return packets;
}

TEST_F(Traced, IsTheSameHoweverThePacketsCame) {
  std::mt19937 random(3);
  for (int run = 0; run < 30; ++run) {
    const Packets based = shifted(packets, static_cast<uint32_t>(run % 3) * 0x7FFF'F800U);
    EXPECT_EQ(headings(shown(reordered(based, random, 1 + run % 4))).size(), 82U) << run;
    EXPECT_EQ(withoutTimes(shown(sentAgain(based, random))), whole) << run;
    Packets both = sentAgain(based, random);
    const auto lines = headings(shown(reordered(both, random, 3)));
    auto sorted = lines;
    auto expected = headings(whole);
    std::ranges::sort(sorted);
    std::ranges::sort(expected);
    std::vector<std::string> differ;
    std::ranges::set_symmetric_difference(sorted, expected, std::back_inserter(differ));
    EXPECT_THAT(differ, testing::IsEmpty()) << run << ": the same messages and no problem";
  }
}

TEST_F(Traced, ThatBeginsInTheMiddleShowsWhatFollows) {
  const auto all = headings(whole);
  for (size_t first = 1; first < packets.size() - 12; ++first) {
    const auto lines =
        headings(shown({packets.begin() + static_cast<ptrdiff_t>(first), packets.end()}));
    ASSERT_LE(lines.size(), all.size());
    EXPECT_TRUE(std::ranges::equal(lines, std::span(all).last(lines.size()))) << first;
    const auto sent = static_cast<size_t>(
        std::count_if(packets.begin(), packets.begin() + static_cast<ptrdiff_t>(first), hasData));
    EXPECT_GE(lines.size() + sent + 3, all.size()) << first << ": it is found at once";
  }
}

TEST_F(Traced, ThatHasLostAPacketLacksItsMessageAlone) {
  const auto all = headings(whole);
  for (size_t lost = 5; lost < packets.size() - 8; ++lost) {
    if (!hasData(packets[lost]))
      continue;
    Packets rest = packets;
    rest.erase(rest.begin() + static_cast<ptrdiff_t>(lost));
    auto lines = headings(shown(rest));
    const auto problems = std::erase_if(lines, [](const std::string &line) {
      return line.find("bytes are missing in the capture") != std::string::npos;
    });
    EXPECT_EQ(problems, 1U) << lost;
    EXPECT_GE(lines.size() + 2, all.size()) << lost << ": the message, and one that is searched";
    auto at = all.begin(); // what is there stands in its order, and there is no other problem
    for (const std::string &line : lines) {
      at = std::find(at, all.end(), line);
      ASSERT_NE(at, all.end()) << lost << ' ' << line;
    }
  }
}

TEST_F(Traced, WithoutTheEndsOfLongPacketsSaysWhatIsMissing) {
  Packets cut = packets;
  for (StoredPacket &packet : cut)
    packet.bytes.resize(std::min<size_t>(packet.bytes.size(), 500));
  const std::string text = shown(cut);
  EXPECT_THAT(text, HasSubstr("bytes are missing in the capture"));
  EXPECT_THAT(text, HasSubstr("S1F4 [40]"));
  EXPECT_THAT(text, Not(HasSubstr("no reply")));
}

Bytes joined(Bytes head, ByteView rest) {
  head.insert(head.end(), rest.begin(), rest.end());
  return head;
}

// The IP packet of an Ethernet packet, as IPv6.
Bytes asIpv6(ByteView ipv4) {
  const ByteView tcp = ipv4.subspan(20);
  Bytes packet{0x60, 0, 0, 0, 0, 0, 0, 64}; // with destination options in front
  writeBigEndian(&packet[4], static_cast<uint16_t>(tcp.size() + 8));
  packet[6] = 60;
  for (const size_t address : {12, 16}) {
    packet.resize(packet.size() + 12, 0xFE);
    packet = joined(packet, ipv4.subspan(address, 4));
  }
  return joined(joined(packet, Bytes{6, 0, 1, 4, 0, 0, 0, 0}), tcp);
}

TEST_F(Traced, IsReadOnEveryKindOfNetwork) {
  const Bytes bsd{2, 0, 0, 0};
  Bytes linux(14);
  Bytes linux2{8, 0};
  linux2.resize(20);
  const struct {
    int linkType;
    Bytes head;
    size_t left; // of the packet
  } kinds[] = {{1, Bytes(12), 12}, {0, bsd, 14},
               {101, {}, 14},      {12, {}, 14},
               {108, bsd, 14},     {113, linux, 12},
               {276, linux2, 14},  {1, joined(Bytes(12), Bytes{0x81, 0, 0, 5}), 12}};
  for (const auto &kind : kinds) {
    Packets converted = packets;
    for (StoredPacket &packet : converted)
      packet.bytes = joined(kind.head, ByteView(packet.bytes).subspan(kind.left));
    EXPECT_TRUE(knowsLinkType(kind.linkType));
    EXPECT_EQ(withoutTimes(shown(converted, kind.linkType)), whole) << kind.linkType;
    // Bytes that are cut anywhere are no fault.
    const ByteView bytes = converted[3].bytes;
    for (size_t size = 0; size < bytes.size(); ++size)
      readTcp(kind.linkType, bytes.first(size));
  }
  EXPECT_FALSE(knowsLinkType(147));
  Packets ipv6 = packets;
  for (StoredPacket &packet : ipv6)
    packet.bytes = asIpv6(ByteView(packet.bytes).subspan(kEthernetHeader));
  EXPECT_THAT(shown(ipv6, 101), HasSubstr("to [fefe:fefe:fefe:fefe:fefe:fefe:a00:5]:5000"));
  EXPECT_EQ(headings(shown(ipv6, 101)), headings(whole));
}

TEST_F(Traced, AsPcapngIsTheSame) {
  Bytes file;
  const auto word = [&file](uint32_t value) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(&value);
    file.insert(file.end(), bytes, bytes + sizeof value);
  };
  for (const uint32_t value : {0x0A0D0D0AU, 28U, 0x1A2B3C4DU, 1U, ~0U, ~0U, 28U, // section
                               1U, 20U, 1U, 0U, 20U})                            // interface
    word(value);
  for (const StoredPacket &packet : packets) {
    const auto size = static_cast<uint32_t>(packet.bytes.size());
    const uint32_t padded = (size + 3) / 4 * 4;
    for (const uint32_t value : {6U, 32 + padded, 0U, static_cast<uint32_t>(packet.micros >> 32),
                                 static_cast<uint32_t>(packet.micros), size, size})
      word(value);
    file.insert(file.end(), packet.bytes.begin(), packet.bytes.end());
    file.resize(file.size() + padded - size);
    word(32 + padded);
  }
  ASSERT_TRUE(systemFiles().write(path, std::string(file.begin(), file.end())));
  std::string problem;
  EXPECT_EQ(withoutTimes(shown(readCapture(path, problem))), whole);
  EXPECT_EQ(problem, "");

  ASSERT_TRUE(systemFiles().write(path, std::string(file.begin(), file.end() - 7)));
  readCapture(path, problem);
  EXPECT_NE(problem, "") << "its end is missing";
}

/// Programs that write and read captures.
class Captures : public GemTools {
protected:
  /// What a host and an equipment say through a spy, in the protocol of this prefix.
  void talk(const std::string &protocol) {
    auto equipment = run({"equipment", "listen:" + protocol + "0", "--data", "etch.model", "--pcap",
                          "equipment.pcap"});
    auto target = portOf(*equipment);
    auto spy = run({"spy", "listen:" + protocol + "0", protocol + "127.0.0.1:" + target, "--pcap",
                    "spy.pcap"});
    const std::string commands = file("commands", "online\nstatus\nalarms\n");
    auto host = run({"host", protocol + "127.0.0.1:" + portOf(*spy), "--script", commands, "--pcap",
                     "host.pcap"});
    EXPECT_EQ(host->status(), 0) << host->output;
    EXPECT_TRUE(spy->prints("closed by")) << spy->output;
    for (Process *each : {spy.get(), equipment.get()}) {
      each->signal(SIGTERM);
      EXPECT_EQ(each->status(), 0) << each->output;
    }
    said = headings(spy->output);
    EXPECT_GT(said.size(), 6U) << spy->output;
  }

  std::vector<std::string> said;
};

TEST_F(Captures, TraceShowsWhatTheSpyHasShown) {
  for (const std::string protocol : {"", "secsi:"}) {
    talk(protocol);
    for (const char *name : {"spy.pcap", "host.pcap", "equipment.pcap"}) {
      auto trace = run({"trace", name});
      const int status = trace->status();
      if (status != 0 && trace->output.find("without libpcap") != std::string::npos)
        GTEST_SKIP() << trace->output;
      EXPECT_EQ(status, 0) << trace->output;
      auto lines = headings(trace->output);
      if (std::string(name) != "spy.pcap") { // where else it was seen, the order may be another
        std::ranges::sort(lines);
        std::ranges::sort(said);
      }
      EXPECT_EQ(lines, said) << protocol << name;
    }
  }
}

TEST_F(Captures, WhatIsNoneIsTold) {
  file("text.pcap", "no capture");
  for (const char *name : {"text.pcap", "nowhere.pcap"}) {
    auto trace = run({"trace", name});
    EXPECT_EQ(trace->status(), 1);
    EXPECT_THAT(trace->output, testing::StartsWith("velto: "));
  }
  auto host = run({"host", "127.0.0.1:1", "--pcap", "nowhere/host.pcap"});
  EXPECT_EQ(host->status(), 1);
  EXPECT_THAT(host->output, HasSubstr("velto: nowhere/host.pcap: cannot be written: No such"));
}

TEST_F(Captures, OpenInWireshark) {
  if (std::system("command -v tshark >/dev/null") != 0)
    GTEST_SKIP() << "tshark is not installed";
  talk("");
  for (const std::string name : {"spy.pcap", "host.pcap", "equipment.pcap"}) {
    const std::string command =
        "cd " + (folder / "") + " && port=$(tshark -r " + name +
        " -c 1 -T fields -e tcp.dstport 2>/dev/null) && tshark -r " + name +
        " -d tcp.port==$port,hsms -o tcp.check_checksum:TRUE -o ip.check_checksum:TRUE -Y ";
    const auto count = [&](const std::string &filter) {
      const std::string out = folder / "frames";
      EXPECT_EQ(std::system((command + "'" + filter + "' >" + out + " 2>/dev/null").c_str()), 0);
      const auto text = systemFiles().read(out);
      return std::ranges::count(text.value_or(""), '\n');
    };
    EXPECT_GT(count("hsms"), 8) << name;
    EXPECT_EQ(count("tcp.analysis.flags || tcp.checksum.status == 0 || ip.checksum.status == 0 || "
                    "_ws.malformed"),
              0)
        << name;
  }
}

} // namespace
} // namespace velto
