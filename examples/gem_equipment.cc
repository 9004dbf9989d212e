// A GEM equipment: it goes on-line, and reports the end of an etch with the chamber pressure.
// Its host lives in the same process and prints the report; see gem_host.cc for that side.
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

  // A status variable that is a real number, and an event whose report carries it.
  equipment->RegisterVID(kPressure, 2, velto::SecsFloat, "0", "200", "0", "mTorr",
                         "Chamber pressure");
  equipment->RegisterCEID(kEtchCompleted, 255, "Etch completed");
  equipment->SetReportVIDs(10, {kPressure});
  equipment->LinkReport(kEtchCompleted, 10);
  equipment->SetCEIDEnable(kEtchCompleted, true);

  bool reported = false;
  host->onReceived = [&](const std::string &, int32_t) {
    if (host->Stream() == 6) {
      std::cout << host->SML();
      reported = true;
    }
  };
  // The etch ends when both communicate.
  if (!loop.runUntil([&] { return host->CommunicationState() == 2; }, 5000))
    return 1;
  equipment->SetVIDValue(kPressure, 19.75);
  equipment->InvokeEvent(kEtchCompleted);
  return loop.runUntil([&] { return reported; }, 5000) ? 0 : 1;
}
