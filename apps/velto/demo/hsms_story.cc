#include "apps/velto/demo/hsms_story.h"

#include "apps/velto/demo/demo_end.h"
#include "controls/hsms_ctrl.h"
#include "demo_examples.h"
#include "platform/tcp_socket.h"

#include <iostream>

namespace velto {

namespace {

constexpr uint32_t kStepTime = 5000; // ms that a step may take

uint16_t freePort() {
  TcpSocket probe;
  probe.create(0, false);
  return probe.localPort();
}

class HsmsStory {
public:
  HsmsStory() {
    join(equipmentLink_, equipment_);
    join(hostLink_, host_);
  }

  bool tell() {
    const bool complete =
        connect() && exchange("Select", "SelectReq", "SelectRsp") &&
        exchange("Establish communications", "s1f13w{}", "s1f14{<b 0>{<a'ETCH-1'><a'1.00'>}}") &&
        exchange("Are you there?", "s1f1w", "s1f2{<a'ETCH-1'><a'1.00'>}") &&
        exchange("Linktest", "LinktestReq", "LinktestRsp") && reportEvent() && separate();
    std::cout << (complete ? "\nThe exchange is complete.\n" : "\nThe exchange FAILED.\n");
    return complete;
  }

private:
  static void join(CVeltoHsmsCtrl &link, DemoEnd &end) {
    link.onReceived = [&end](const std::string &, int32_t, const std::string &hex) {
      end.receive(hex);
    };
    link.onProblem = [&end](const std::string &, int32_t, int16_t code, const std::string &text) {
      end.problem(code, text);
    };
  }
  DemoEnd::Link through(CVeltoHsmsCtrl &link) {
    return {true, [&link](const std::string &hex) { return link.Send(hex); },
            [this](const std::function<bool()> &done) { return loop_.runUntil(done, kStepTime); }};
  }

  bool connect() {
    std::cout << "== Connect\n";
    const uint16_t port = freePort();
    equipmentLink_.SetServer(true);
    equipmentLink_.SetMyPortNumber(port);
    equipmentLink_.SetConnect(true);
    hostLink_.SetPortNumber(port);
    hostLink_.SetConnect(true);
    if (!hostLink_.Connect() || !equipmentLink_.Connect())
      return host_.fail("no connection");
    std::cout << "The host is connected to the equipment's port " << port << ".\n";
    return true;
  }

  bool exchange(const char *title, const char *request, const char *reply) {
    std::cout << "\n== " << title << '\n';
    return host_.send(request) && equipment_.expect(request) && equipment_.reply(reply) &&
           host_.expect(reply);
  }

  bool reportEvent() {
    std::cout << "\n== Event report\n";
    return equipment_.send(kEventReportExample) && host_.expect(kEventReportExample) &&
           host_.reply("s6f12<b 0>") && equipment_.expect("s6f12<b 0>");
  }

  bool separate() {
    std::cout << "\n== Separate\n";
    bool gone = false;
    equipmentLink_.onDisconnected = [&gone](const std::string &, int32_t) { gone = true; };
    if (!host_.send("SeparateReq") || !equipment_.expect("SeparateReq"))
      return false;
    hostLink_.SetConnect(false);
    return loop_.runUntil([&gone] { return gone; }, kStepTime) ||
           equipment_.fail("the connection did not end");
  }

  EventLoop loop_;
  CVeltoHsmsCtrl equipmentLink_{loop_};
  CVeltoHsmsCtrl hostLink_{loop_};
  DemoEnd equipment_{loop_.clock(), "equipment", "host", through(equipmentLink_)};
  DemoEnd host_{loop_.clock(), "host", "equipment", through(hostLink_)};
};

} // namespace

bool tellHsmsStory() { return HsmsStory().tell(); }

} // namespace velto
