#include "apps/velto/trace/packet_file.h"

#include <array>
#include <pcap/pcap.h>

namespace velto {

namespace {

class PcapFile final : public PacketFile {
public:
  PcapFile(std::string path, pcap_t *file) : path_(std::move(path)), file_(file, pcap_close) {}

private:
  int linkType() const override { return pcap_datalink(file_.get()); }
  std::optional<Packet> next(std::string &problem) override {
    pcap_pkthdr *header = nullptr;
    const u_char *bytes = nullptr;
    const int status = pcap_next_ex(file_.get(), &header, &bytes);
    if (status == PCAP_ERROR)
      problem = path_ + ": " + pcap_geterr(file_.get());
    if (status != 1)
      return std::nullopt;
    return Packet{ByteView(bytes, header->caplen),
                  static_cast<uint64_t>(header->ts.tv_sec) * 1'000'000 +
                      static_cast<uint64_t>(header->ts.tv_usec)};
  }

  const std::string path_;
  const std::unique_ptr<pcap_t, void (*)(pcap_t *)> file_;
};

} // namespace

std::unique_ptr<PacketFile> PacketFile::open(const std::string &path, std::string &problem) {
  std::array<char, PCAP_ERRBUF_SIZE> error{};
  pcap_t *file = pcap_open_offline(path.c_str(), error.data());
  if (file != nullptr)
    return std::make_unique<PcapFile>(path, file);
  problem = error.data();
  if (!problem.starts_with(path))
    problem.insert(0, path + ": ");
  return nullptr;
}

} // namespace velto
