// The C++ side of compare.py: a host that asks an equipment COUNT times for a variable, and prints
// the microseconds of each round trip.
//     velto_round_trip PORT COUNT
#include "controls/gem_factory.h"

#include <chrono>
#include <cstdlib>
#include <iostream>

int main(int argc, char **argv) {
  if (argc != 3)
    return 2;
  velto::EventLoop loop;
  const auto host = velto::VeltoGem::Host(loop, std::string("127.0.0.1:") + argv[1]);
  if (!host || !loop.runUntil([&] { return host->CommunicationState() == 2; }, 20000))
    return 1;
  for (int left = std::atoi(argv[2]); left > 0; --left) {
    const auto start = std::chrono::steady_clock::now();
    if (host->Request("s1f3w{<u4 101>}", 5000).Value("1").empty())
      return 1;
    const std::chrono::duration<double, std::micro> taken =
        std::chrono::steady_clock::now() - start;
    std::cout << taken.count() << '\n';
  }
}
