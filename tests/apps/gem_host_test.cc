// What a host takes for the reply to its request.
#include "apps/velto/host/gem_host.h"
#include "secs2/reply_text.h"

#include <gtest/gtest.h>
#include <sstream>

namespace velto {
namespace {

// Each end counts its own system bytes: those of two primaries may be the same.
TEST(GemHostRequest, EndsWithAComplaintAboutItselfAlone) {
  EventLoop loop;
  std::ostringstream printed;
  GemConsole console(loop.clock(), printed);
  CVeltoGemCtrl equipment(loop);
  equipment.SetServer(true);
  equipment.SetPortNumber(0);
  equipment.engine().gem()->data().communication.initialState =
      CommunicationState::NotCommunicating;
  equipment.SetPhysicalConnection(true);
  const auto &link = equipment.engine().physical();
  ASSERT_TRUE(loop.runUntil([&link] { return link.LocalPort() != 0; }, 5000));
  GemHost host(loop, console, {.address = "127.0.0.1", .port = link.LocalPort(), .t3 = 5});
  host.open();

  const struct {
    uint8_t stream;
    uint8_t function;
    bool ends;
  } rows[] = {{6, 11, false}, {2, 13, false}, {2, 17, true}};
  for (const auto &row : rows) {
    equipment.onReceived = [&](const std::string &, int32_t) {
      CHSecsHeader about = equipment.engine().gem()->slot(CHGem::kReceived).message.header;
      const bool asked = about.stream() == 2 && about.function() == 17;
      about.setStream(row.stream);
      about.functionByte = row.function;
      CHSecsMessage complaint;
      MakeStream9(complaint, 9, &about);
      complaint.header.idWord = 0;
      if (asked)
        equipment.engine().gem()->SendUngated(complaint);
      equipment.DefProc();
    };
    CHSecsMessage request;
    ASSERT_TRUE(request.SetFromSml("s2f17w"));
    const std::string problem = host.request(request);
    EXPECT_EQ(problem.starts_with("S9F9"), row.ends) << problem;
    EXPECT_EQ(host.reply().header.stream(), row.ends ? 9 : 2);
  }
}

// A tool whose name is longer than the early edition of the standard allowed.
TEST(GemHost, CommunicatesInTheCurrentEditionOrSaysWhyNot) {
  EventLoop loop;
  CVeltoGemCtrl equipment(loop);
  equipment.SetServer(true);
  equipment.SetPortNumber(0);
  equipment.engine().gem()->data().communication = {1, "ETCHER-1-CHAMBER-B", "1.00", true};
  equipment.onReceived = [&](const std::string &, int32_t) { equipment.DefProc(); };
  equipment.SetPhysicalConnection(true);
  const auto &link = equipment.engine().physical();
  ASSERT_TRUE(loop.runUntil([&link] { return link.LocalPort() != 0; }, 5000));
  for (const bool current : {false, true}) {
    std::ostringstream printed;
    GemConsole console(loop.clock(), printed, GemConsole::Style::Quiet);
    GemHost host(loop, console,
                 {.address = "127.0.0.1",
                  .port = link.LocalPort(),
                  .edition = static_cast<int16_t>(current ? 1 : 0)});
    host.open();
    const auto communicates = [&] { return equipment.CommunicationState() == 2; };
    const auto explained = [&] { return printed.str().find("problem") != std::string::npos; };
    EXPECT_TRUE(loop.runUntil([&] { return current ? communicates() : explained(); }, 5000));
    EXPECT_EQ(printed.str().find("problem: S1F1") != std::string::npos, !current) << printed.str();
    EXPECT_EQ(printed.str().find("MDLN longer than 6") != std::string::npos, !current);
    host.close();
    ASSERT_TRUE(loop.runUntil([&link] { return link.State() == LinkState::Down; }, 5000));
  }
}

} // namespace
} // namespace velto
