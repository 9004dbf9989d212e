// A host asks an equipment "are you there?" over HSMS; both live in this process.
#include <velto/controls/hsms_ctrl.h>
#include <velto/secs2/message.h>
#include <velto/secs2/sml_printer.h>

#include <iostream>

int main() {
  velto::EventLoop loop;
  velto::CVeltoHsmsCtrl equipment(loop);
  velto::CVeltoHsmsCtrl host(loop);

  // The equipment answers S1F1 with its name and revision.
  equipment.onReceived = [&](const std::string &, int32_t, const std::string &hex) {
    velto::CHSecsMessage primary;
    velto::CHSecsMessage reply;
    primary.SetMsg(hex);
    reply.SetFromSml("s1f2{<a'ETCH-1'><a'1.00'>}");
    reply.header.idWord = primary.header.idWord;
    reply.header.systemBytes = primary.header.systemBytes;
    equipment.Send(reply.GetMsg());
  };
  equipment.SetServer(true);
  equipment.SetMyPortNumber(5010);
  equipment.SetConnect(true);

  // The host prints what it gets.
  host.onReceived = [&](const std::string &, int32_t, const std::string &hex) {
    velto::CHSecsMessage message;
    message.SetMsg(hex);
    std::cout << velto::RenderSml(message);
    loop.quit();
  };
  host.SetIPAddress("127.0.0.1");
  host.SetPortNumber(5010);
  host.SetConnect(true);
  if (!host.Send("00008101000000000001"))
    return 1;
  loop.run();
}
