// A GEM host: it subscribes an event, asks for a status variable, starts a lot, and waits for the
// event. The equipment lives in the same process; see gem_equipment.cc for that side.
#include <velto/controls/gem_factory.h>

#include <iostream>

int main() {
  velto::EventLoop loop;
  const auto equipment = velto::VeltoGem::Equipment(loop, "", "listen:5012");
  const auto host = velto::VeltoGem::Host(loop, "127.0.0.1:5012");
  if (!equipment || !host)
    return 1;
  equipment->RegisterVID(101, 2, velto::SecsFloat, "0", "200", "8.5", "mTorr", "Pressure");
  equipment->RegisterCEID(12, 255, "Etch completed");
  equipment->RegisterCommand("START", "LOT:A", "LOT", 12); // which reports event 12 when it is done
  equipment->SetVIDValue(101, 8.5);

  // The names of the values are those that the equipment tells.
  bool completed = false;
  host->Subscribe(12, {101}, [&](const velto::GemEvent &event) {
    std::cout << "Etch completed at " << event.values["Pressure"] << " mTorr\n";
    completed = true;
  });
  if (!loop.runUntil([&] { return host->Subscribed(); }, 5000))
    return 1;

  // A request waits for its reply, 5 s at the most here, while the loop goes on.
  const velto::GemReply status = host->Request("s1f3w{<u4 101>}", 5000);
  if (!status)
    return 1;
  std::cout << "The pressure is " << status.Value("1") << " mTorr\n";
  // Without waiting, the reply or the reason why there is none comes to a handler.
  host->Request("s2f41w{<a 'START'>{{<a 'LOT'><a 'L-7'>}}}", [](const velto::GemReply &reply) {
    std::cout << (reply ? "START: HCACK " + reply.Value("1") : reply.reason) << '\n';
  });
  return loop.runUntil([&] { return completed; }, 5000) ? 0 : 1;
}
