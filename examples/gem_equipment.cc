// A GEM equipment: it carries out the command START, and reports the end of the etch with the
// chamber pressure. Its host lives in the same process; see gem_host.cc for that side.
#include <velto/controls/gem_factory.h>

#include <iostream>

constexpr int32_t kPressure = 101;
constexpr int32_t kEtchCompleted = 12;

int main() {
  velto::EventLoop loop;
  const auto equipment = velto::VeltoGem::Equipment(loop, "", "listen:5011");
  const auto host = velto::VeltoGem::Host(loop, "127.0.0.1:5011");
  if (!equipment || !host)
    return 1;
  // What it knows: a status variable that is a real number, an event, and a command.
  equipment->RegisterVID(kPressure, 2, velto::SecsFloat, "0", "200", "0", "mTorr", "Pressure");
  equipment->RegisterCEID(kEtchCompleted, 255, "Etch completed");
  equipment->RegisterCommand("START", "LOT:A,SLOT:U1", "LOT", 0);
  // HCACK 4: it is being done, and an event follows.
  equipment->OnCommand("START", [&](velto::GemCommand &command) {
    std::cout << "Etching " << command.values["LOT"] << '\n';
    loop.post([&] {
      equipment->SetVIDValue(kPressure, 19.75);
      equipment->InvokeEvent(kEtchCompleted);
    });
    return 4;
  });

  bool reported = false;
  host->Subscribe(kEtchCompleted, {kPressure}, [&](const velto::GemEvent &event) {
    std::cout << "Etched at " << event.values["Pressure"] << " mTorr\n";
    reported = event.values[kPressure] == "19.750000";
  });
  if (!loop.runUntil([&] { return host->Subscribed(); }, 5000))
    return 1;
  host->Request("s2f41w{<a 'START'>{{<a 'LOT'><a 'L-7'>}}}");
  return loop.runUntil([&] { return reported; }, 5000) ? 0 : 1;
}
