// A GEM host: it establishes communications and asks for two status variables. The equipment lives
// in the same process; see gem_equipment.cc for that side.
#include <velto/controls/gem_ctrl.h>

#include <iostream>

namespace {

void addStatus(velto::GemData &model, uint32_t vid, const char *sml,
               uint8_t role = velto::kNoRole) {
  velto::CHGemEventVid variable;
  variable.vid = vid;
  variable.setRawValue(sml);
  variable.role = role;
  model.variables.Add(std::move(variable));
}

} // namespace

int main() {
  velto::EventLoop loop;

  velto::CVeltoGemCtrl equipment(loop);
  equipment.SetServer(true);
  equipment.SetEdition(1); // the current edition of SEMI E5
  equipment.SetPortNumber(5012);
  velto::GemData &model = equipment.engine().gem()->data();
  model.communication = {1, "ETCH-1", "1.00", false};
  addStatus(model, 1, "<u4 4>", velto::RoleControlState);
  addStatus(model, 101, "<f4 8.5>");
  equipment.onReceived = [&](const std::string &, int32_t) { equipment.DefProc(); };
  equipment.SetPhysicalConnection(true);

  // A host has the role, communicates as soon as it is connected, and is on-line.
  velto::CVeltoGemCtrl host(loop);
  host.SetIPAddress("127.0.0.1");
  host.SetPortNumber(5012);
  host.SetT5(1);
  host.SetEdition(1);
  host.engine().logical().SetHost(true);
  host.engine().gem()->data().communication.initialState = 1;
  addStatus(host.engine().gem()->data(), 1, "<u4 4>", velto::RoleControlState);
  bool answered = false;
  host.onReceived = [&](const std::string &, int32_t) {
    if (host.Stream() == 1 && host.Function() == 4) {
      host.SetNode("2");
      std::cout << "Chamber pressure: " << host.NodeValue() << " mTorr\n";
      answered = true;
    }
    host.DefProc(); // also what ends the transaction of a reply
  };
  host.SetPhysicalConnection(true);
  if (!loop.runUntil([&] { return host.CommunicationState() == 2; }, 5000))
    return 1;
  host.SetWorkSpace(2);
  host.SetSML("s1f3w{<u4 1><u4 101>}");
  host.Send();
  return loop.runUntil([&] { return answered; }, 5000) ? 0 : 1;
}
