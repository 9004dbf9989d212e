// Every control tells when its window looks different.
#include "controls/registry.h"
#include "support/pty.h"
#include "transport/network.h"

#include <gtest/gtest.h>

namespace velto {
namespace {

constexpr int kViewPort = 70; // index of a serial port that the test maps

struct ViewStep {
  const char *member; ///< a property to set, or a method to call
  std::vector<Variant> values;
  bool drawn = true; ///< the text of the window differs afterwards
};

const struct {
  const char *control;
  std::vector<ViewStep> steps;
} kWindows[] = {
    {"VeltoSecsII",
     {{"SML", {"s1f13w{<a'ETCH-1'><a'1.00'>}"}},
      {"Stream", {6}},
      {"Wbit", {false}},
      {"Msg", {"0000060b000000000001"}},
      {"Reply", {"00008101000000000007"}},
      {"Reset", {}}}},
    {"VeltoHsms",
     {{"IPAddress", {"10.0.0.1"}},
      {"PortNumber", {5001}},
      {"Server", {true}},
      {"Statistics", {true}}}},
    {"VeltoSecsI",
     {{"Connect", {true}, false}, {"Send", {"00008101000000000007"}}, {"Statistics", {true}}}},
    {"VeltoSecsISocket", {{"IPAddress", {"10.0.0.1"}}, {"Server", {true}}, {"Statistics", {true}}}},
    {"VeltoSocket", {{"PortNumber", {5001}}, {"Server", {true}}}},
    {"VeltoComm", {{"BaudRate", {1200}}, {"Connect", {true}}, {"Connect", {false}}}},
    {"VeltoLog",
     {{"Trace", {"one"}},
      {"Trace", {"two"}},
      {"SelectedLine", {0}, false},
      {"FontBold", {true}, false},
      {"Clear", {}}}},
    {"VeltoGem",
     {{"DeviceID", {7}},
      {"T6", {9}},
      {"Statistics", {true}},
      {"ViewStyle", {1}},
      {"ViewStyle", {2}},
      {"RegisterCEID", {4711, 255, "Door opened"}},
      {"LogicalConnection", {0}}}},
};

TEST(ViewChanges, EveryControlTellsOnceWhenItsWindowLooksDifferent) {
  ASSERT_EQ(std::size(kWindows), controlTables().size());
  for (const auto &[name, steps] : kWindows) {
    Network net;
    PtyLine line;
    SerialPorts ports;
    ports.map(kViewPort + 1, line.path());
    auto control = createControl(name, {net.loop, headlessFrontEnd(), systemFiles(), ports});
    control->set("PortNumber", kViewPort);
    net.settle();
    int told = 0;
    std::string seen = control->window();
    control->viewChanges().observe([&] {
      ++told;
      seen = control->window();
    });
    for (const ViewStep &step : steps) {
      SCOPED_TRACE(std::string(name) + "." + step.member);
      const std::string before = control->window();
      told = 0;
      const bool property = control->members().find(step.member, Member::Kind::Property) != nullptr;
      const Outcome outcome = property ? control->set(step.member, step.values[0])
                                       : control->call(step.member, step.values);
      ASSERT_EQ(outcome.error, "");
      EXPECT_EQ(told, 0) << "the step has to end first";
      net.loop.runOnce(0);
      EXPECT_EQ(told, 1);
      EXPECT_EQ(seen, control->window());
      EXPECT_EQ(before != control->window(), step.drawn) << before << control->window();
    }
    control->viewChanges().observe([&] { control.reset(); });
    control->SetAppearance(1);
    net.settle();
    EXPECT_EQ(control, nullptr) << name;
  }
}

} // namespace
} // namespace velto
