#include "apps/velto/demo_hsms.h"

#include "apps/velto/demo_examples.h"
#include "controls/hsms_ctrl.h"
#include "platform/date_time.h"
#include "platform/tcp_socket.h"
#include "platform/text.h"
#include "secs2/message.h"
#include "secs2/sml_printer.h"

#include <algorithm>
#include <deque>
#include <functional>
#include <iostream>

namespace velto {

namespace {

constexpr uint32_t kPatience = 5000; // ms that a step may take

uint16_t freePort() {
  TcpSocket probe;
  probe.create(0, false);
  return probe.localPort();
}

// One end of the link: a control, the name it has in the story, and what it received.
class End {
public:
  End(EventLoop &loop, std::string name, std::string peerName)
      : link(loop), loop_(loop), name_(std::move(name)), peerName_(std::move(peerName)) {
    link.onReceived = [this](const std::string &, int32_t, const std::string &hex) {
      receive(hex);
    };
    link.onProblem = [this](const std::string &, int32_t, int16_t code, const std::string &text) {
      std::cout << name_ << ": problem " << code << ' ' << text << '\n';
      failed = true;
    };
  }

  // Sends a message; a reply takes the system bytes of what it answers.
  bool send(const std::string &sml, uint32_t systemBytes) {
    CHSecsMessage message;
    if (!message.SetFromSml(sml))
      return false;
    if (message.header.sType() == 0)
      message.header.idWord = 0;
    message.header.systemBytes = systemBytes;
    return link.Send(message.GetMsg());
  }
  bool send(const std::string &sml) { return send(sml, nextSystemBytes_++); }

  // Waits for a message of that name.
  bool await(const std::string &name) {
    const bool came = loop_.runUntil([this] { return failed || !names_.empty(); }, kPatience);
    if (!came || failed)
      return false;
    const std::string got = names_.front();
    names_.pop_front();
    return got == name;
  }

  CVeltoHsmsCtrl link;
  bool failed = false;
  std::function<void(const CHSecsMessage &)> onMessage;

private:
  void receive(const std::string &hex) {
    CHSecsMessage message;
    message.SetMsg(hex);
    std::string sml = RenderSml(message);
    std::erase(sml, '\r');
    std::cout << CJTime(loop_.clock()).TimeText(0) << "  " << peerName_ << " --> " << name_ << "  "
              << sml << std::flush;
    names_.push_back(HeaderText(message.header, HeaderTextMode::Name));
    if (onMessage)
      onMessage(message);
  }

  EventLoop &loop_;
  std::string name_;
  std::string peerName_;
  std::deque<std::string> names_;
  uint32_t nextSystemBytes_ = 1;
};

// What the equipment answers to each message.
struct Reply {
  const char *to;
  const char *sml;
};
constexpr Reply kEquipmentReplies[] = {
    {"SelectReq", "SelectRsp"},
    {"LinktestReq", "LinktestRsp"},
    {"S1F13W", "s1f14{<b 0>{<a'ETCH-1'><a'1.00'>}}"},
    {"S1F1W", "s1f2{<a'ETCH-1'><a'1.00'>}"},
};

class Story {
public:
  Story() {
    equipment_.onMessage = [this](const CHSecsMessage &message) {
      const std::string name = HeaderText(message.header, HeaderTextMode::Name);
      for (const Reply &reply : kEquipmentReplies)
        if (name == reply.to)
          equipment_.send(reply.sml, message.header.systemBytes);
    };
    host_.onMessage = [this](const CHSecsMessage &message) {
      if (message.header.stream() == 6 && message.header.function() == 11)
        host_.send("s6f12<b 0>", message.header.systemBytes);
    };
  }

  bool tell() {
    const bool complete = connect() && exchange("Select", "SelectReq", "SelectReq", "SelectRsp") &&
                          exchange("Establish communications", "s1f13w{}", "S1F13W", "S1F14") &&
                          exchange("Are you there?", "s1f1w", "S1F1W", "S1F2") &&
                          exchange("Linktest", "LinktestReq", "LinktestReq", "LinktestRsp") &&
                          reportEvent() && separate();
    std::cout << (complete ? "\nThe exchange is complete.\n" : "\nThe exchange FAILED.\n");
    return complete;
  }

private:
  bool connect() {
    std::cout << "== Connect\n";
    const uint16_t port = freePort();
    equipment_.link.SetServer(true);
    equipment_.link.SetMyPortNumber(port);
    equipment_.link.SetConnect(true);
    host_.link.SetPortNumber(port);
    host_.link.SetConnect(true);
    const bool connected = host_.link.Connect() && equipment_.link.Connect();
    if (connected)
      std::cout << "The host is connected to the equipment's port " << port << ".\n";
    return connected;
  }

  bool exchange(const char *title, const char *sml, const char *request, const char *reply) {
    std::cout << "\n== " << title << '\n';
    return host_.send(sml) && equipment_.await(request) && host_.await(reply);
  }

  bool reportEvent() {
    std::cout << "\n== Event report\n";
    return equipment_.send(kEventReportExample) && host_.await("S6F11W") &&
           equipment_.await("S6F12");
  }

  bool separate() {
    std::cout << "\n== Separate\n";
    bool gone = false;
    equipment_.link.onDisconnected = [&gone](const std::string &, int32_t) { gone = true; };
    if (!host_.send("SeparateReq") || !equipment_.await("SeparateReq"))
      return false;
    host_.link.SetConnect(false);
    return loop_.runUntil([&gone] { return gone; }, kPatience);
  }

  EventLoop loop_;
  End equipment_{loop_, "equipment", "host"};
  End host_{loop_, "host", "equipment"};
};

} // namespace

bool tellHsmsStory() { return Story().tell(); }

} // namespace velto
