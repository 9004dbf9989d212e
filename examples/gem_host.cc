// A GEM host: it establishes communications and asks for two status variables. The equipment lives
// in the same process; see gem_equipment.cc for that side.
#include <velto/controls/gem_factory.h>

#include <iostream>

int main() {
  velto::EventLoop loop;
  const auto equipment = velto::VeltoGem::Equipment(loop, "", "listen:5012");
  // A host has the role, communicates as soon as it is connected, and is on-line.
  const auto host = velto::VeltoGem::Host(loop, "127.0.0.1:5012");
  if (!equipment || !host)
    return 1;
  equipment->RegisterVID(101, 2, velto::SecsFloat, "0", "200", "8.5", "mTorr", "Chamber pressure");
  equipment->SetVIDValue(101, 8.5);

  bool answered = false;
  host->onReceived = [&](const std::string &, int32_t) {
    if (host->Stream() == 1 && host->Function() == 4) {
      host->SetNode("1");
      std::cout << "Chamber pressure: " << host->NodeValue() << " mTorr\n";
      answered = true;
    }
  };
  if (!loop.runUntil([&] { return host->CommunicationState() == 2; }, 5000))
    return 1;
  host->SetWorkSpace(2);
  host->SetSML("s1f3w{<u4 101>}");
  host->Send();
  return loop.runUntil([&] { return answered; }, 5000) ? 0 : 1;
}
