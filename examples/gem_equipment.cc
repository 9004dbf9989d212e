// A GEM equipment: it goes on-line, and reports the end of an etch with the chamber pressure.
// Its host lives in the same process and prints the report; see gem_host.cc for that side.
#include <velto/controls/gem_ctrl.h>

#include <iostream>

namespace {

constexpr int32_t kPressure = 101;
constexpr int32_t kEtchCompleted = 12;

// Both sides have to know that they are on-line.
void addControlState(velto::GemData &model) {
  velto::CHGemEventVid state;
  state.vid = 1;
  state.nodeType = velto::SecsByte;
  state.setRawValue("<u1 4>"); // on-line remote
  state.role = velto::RoleControlState;
  model.variables.Add(std::move(state));
}

} // namespace

int main() {
  velto::EventLoop loop;

  velto::CVeltoGemCtrl equipment(loop);
  equipment.SetServer(true);
  equipment.SetEdition(1); // the current edition of SEMI E5
  equipment.SetPortNumber(5011);
  velto::GemData &model = equipment.engine().gem()->data();
  model.communication = {1, "ETCH-1", "1.00", false}; // enabled; the host asks for communications
  addControlState(model);
  velto::CHGemEventVid pressure;
  pressure.vid = kPressure;
  pressure.nodeType = velto::SecsFloat;
  model.variables.Add(std::move(pressure));
  model.reports.Add({10, "Process data", {kPressure}});
  model.events.Add({kEtchCompleted, "Etch completed", true, {10}});
  equipment.onReceived = [&](const std::string &, int32_t) { equipment.DefProc(); };
  equipment.SetPhysicalConnection(true);

  velto::CVeltoGemCtrl host(loop);
  host.SetIPAddress("127.0.0.1");
  host.SetPortNumber(5011);
  host.SetT5(1);
  host.SetEdition(1);
  host.engine().logical().SetHost(true);
  host.engine().gem()->data().communication.initialState = 1;
  addControlState(host.engine().gem()->data());
  bool reported = false;
  host.onReceived = [&](const std::string &, int32_t) {
    if (host.Stream() == 6) {
      std::cout << host.SML();
      reported = true;
    }
    host.DefProc();
  };
  host.SetPhysicalConnection(true);

  // The etch ends when both communicate.
  if (!loop.runUntil([&] { return host.CommunicationState() == 2; }, 5000))
    return 1;
  equipment.SetVIDValue(kPressure, "19.75");
  equipment.InvokeEvent(kEtchCompleted);
  return loop.runUntil([&] { return reported; }, 5000) ? 0 : 1;
}
