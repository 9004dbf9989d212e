#include <velto/controls/gem_factory.h>

#include <iostream>

int main() {
  velto::EventLoop loop;
  const auto host = velto::VeltoGem::Host(loop, "127.0.0.1:5014");
  if (!loop.runUntil([&] { return host->CommunicationState() == 2; }, 20000))
    return 1;
  const velto::GemReply reply = host->Request("s1f3w{<u4 101>}", 5000);
  std::cout << (reply ? reply.Value("1") : reply.reason) << '\n';
}
