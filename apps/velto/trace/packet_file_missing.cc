#include "apps/velto/trace/packet_file.h"

namespace velto {

std::unique_ptr<PacketFile> PacketFile::open(const std::string & /*path*/, std::string &problem) {
  problem = "this velto was built without libpcap (on Debian: libpcap-dev), which reads captures";
  return nullptr;
}

} // namespace velto
