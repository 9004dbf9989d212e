// Inside every event of a control on a line or connection its host does whatever it likes. (What a
// Gem control's host may do: gem_events_test.cc.)
#include "controls/registry.h"
#include "support/event_lines.h"
#include "support/pty.h"
#include "transport/block_line.h"
#include "transport/network.h"

namespace velto {
namespace {

const std::string kWindowChanges = "the change of the window"; // stands with the events
constexpr int kStagePort = 60; // index of a serial port that the test maps
const std::string kStagePrimary = "00008101000000000007";

/// A control that listens, connects or is on a serial line, and its far end.
class Stage {
public:
  Stage(const std::string &name, bool connects)
      : serial_(name == "VeltoSecsI" || name == "VeltoComm"),
        control(createControl(name, {net.loop, headlessFrontEnd(), systemFiles(), ports_})) {
    ports_.map(kStagePort + 1, line_.path());
    control->set("Master", false); // always answers a request to send
    control->set("Server", !connects);
    control->set("PortNumber", kStagePort);
    control->set("MyPortNumber", int32_t{freePort()});
    if (connects) {
      listener_.create(0, true);
      listener_.listen(5);
      control->set("PortNumber", int32_t{listener_.localPort()});
    }
    events = std::make_unique<EventLines>(*control);
    control->viewChanges().observe([this] {
      ++told_;
      events->onEvent(kWindowChanges);
    });
  }

  bool isOpen() const {
    return control != nullptr && control->get("Connect").value == Variant(true);
  }
  /// The far end says something in hexadecimal, comes or goes, or the control sends; until
  /// something came of it.
  void play(const std::string &step) {
    const size_t before = events->size();
    const std::string window = control ? control->window() : "";
    told_ = 0;
    if (step == "come") {
      control->set("Connect", true);
      int error = 0;
      if (listener_.isOpen())
        client_ = std::make_unique<RawClient>(std::move(listener_.accept(error)->socket));
      else if (!serial_)
        client_ = std::make_unique<RawClient>(
            static_cast<uint16_t>(control->get("MyPortNumber").value.toInteger()));
    } else if (!isOpen() || (client_ && client_->ended())) {
      return;
    } else if (step == "go") {
      client_ ? client_->close() : line_.hangUp();
    } else if (step == "send") {
      control->call("Send", std::vector<Variant>{Variant(kStagePrimary)});
    } else {
      client_ ? client_->send(step) : static_cast<void>(line_.send(fromHex(step)));
    }
    int turns = 0;
    net.until([&] {
      net.clock.advance(++turns % 4 == 0 ? 1 : 0);
      return !isOpen() || events->size() > before || (step == "come" && serial_) || !read().empty();
    });
    net.settle();
    if (control && control->window() != window) {
      EXPECT_GT(told_, 0) << "not told of " << control->window();
    }
    read(); // what came with an event is not to be taken for what comes of the next step
  }

  Network net;

private:
  Bytes read() { return client_ ? client_->read() : line_.read(); }

  bool serial_;
  int told_ = 0; // in this step
  SerialPorts ports_;
  PtyLine line_;
  TcpSocket listener_;
  std::unique_ptr<RawClient> client_;

public:
  std::unique_ptr<Control> control;
  std::unique_ptr<EventLines> events;
};

const struct {
  const char *control;
  bool connects;
  std::vector<std::string> script;
  std::vector<const char *> events;
} kScenes[] = {
    {"VeltoHsms",
     true,
     {"come", frame("ffff0000000100000001"), "00000000", frame(kStagePrimary), "go"},
     {"Connected", "Received", "Problem", "Disconnected"}},
    {"VeltoHsms",
     false,
     {"come", frame("ffff0000000100000001"), "00000000", frame(kStagePrimary), "go"},
     {"Connected", "Received", "Problem", "Disconnected"}},
    {"VeltoSocket", false, {"come", "0a0b", "go"}, {"Connected", "Received", "Disconnected"}},
    {"VeltoSecsISocket",
     false,
     {"come", "41", "05", blockHex("80008101800100000007"), "send", "04", "06", "send", "go"},
     {"Connected", "Received", "Sent", "Problem", "Disconnected"}},
    {"VeltoSecsI",
     false,
     {"come", "41", "05", blockHex("00000102800000000007"), "send", "04", "06", "send", "go"},
     {"Received", "Sent", "Problem"}},
    {"VeltoComm", false, {"come", "616263", "go"}, {"Received"}},
};

const struct {
  const char *name;
  void (*act)(Stage &stage);
} kActs[] = {
    {"destroy", [](Stage &stage) { stage.control.reset(); }},
    {"close", [](Stage &stage) { stage.control->set("Connect", false); }},
    {"reopen", [](Stage &stage) { stage.control->set("Connect", true); }},
    {"set a property", [](Stage &stage) { stage.control->set("T3", 1); }},
    {"drop the peer",
     [](Stage &stage) {
       Control &control = *stage.control;
       control.call("Disconnect", std::vector<Variant>{control.get("IPAddress").value,
                                                       control.get("PortNumber").value});
     }},
    {"send",
     [](Stage &stage) {
       stage.control->call("Send", std::vector<Variant>{Variant(kStagePrimary)});
     }},
    {"pump",
     [](Stage &stage) {
       stage.net.clock.advance(1);
       stage.net.settle();
     }},
};

TEST(EveryActInEveryEvent, LeavesTheControlWhole) {
  for (const auto &scene : kScenes) {
    std::vector<std::string> events(scene.events.begin(), scene.events.end());
    events.push_back(kWindowChanges);
    for (const std::string &event : events)
      for (const auto &[name, act] : kActs) {
        SCOPED_TRACE(std::string(scene.control) + (scene.connects ? " connects: " : ": ") + name +
                     " inside " + event);
        Stage stage(scene.control, scene.connects);
        int acted = 0;
        stage.events->onEvent = [&, act = act](const std::string &raised) {
          if (raised == event && ++acted <= 3)
            act(stage);
        };
        for (const std::string &step : scene.script)
          stage.play(step);
        EXPECT_GT(acted, 0);
        EXPECT_EQ(stage.control == nullptr, name == std::string("destroy"));
        if (name == std::string("close") && event != "Connected" && event != kWindowChanges) {
          EXPECT_EQ(acted, 1) << "a closed control has nothing to tell";
          EXPECT_FALSE(stage.isOpen());
        }
      }
  }
}

} // namespace
} // namespace velto
