#pragma once

#include "base/bytes.h"
#include "platform/tcp_socket.h"
#include "transport/link/message_link.h"
#include "transport/tcp/wire_tap.h"

#include <array>
#include <cstdint>
#include <fstream>
#include <functional>
#include <memory>
#include <string>

namespace velto {

/// Microseconds since 1970, UTC.
uint64_t microsSince1970();

/// A pcap file of TCP connections. The bytes are those that went through the sockets, in segments
/// with headers of Ethernet, IP and TCP that are made up: no lost, repeated or empty segments but
/// those of opening and closing.
class CaptureFile {
public:
  /// One connection: written from its making to its destruction.
  class Connection {
  public:
    enum Side : size_t { Opener, Acceptor };

    /// The ends as the opener has them.
    Connection(std::shared_ptr<CaptureFile> file, const TcpSocket::Ends &ends, uint64_t micros);
    ~Connection();
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    /// `first` followed by `second`.
    void passed(Side from, ByteView first, ByteView second, uint64_t micros);
    void passed(Side from, ByteView bytes, uint64_t micros) { passed(from, bytes, {}, micros); }
    /// So many bytes went through that are not here.
    void missed(Side from, uint64_t bytes) { next_[from] += static_cast<uint32_t>(bytes); }

  private:
    void segment(Side from, uint8_t flags, ByteView data, uint64_t micros);

    const std::shared_ptr<CaptureFile> file_;
    std::array<Bytes, 2> addresses_; // IP address and port of each side
    std::array<uint32_t, 2> next_{}; // sequence numbers
    uint64_t last_;                  // microseconds
  };

  /// `failed` hears once that the file cannot be written any more.
  explicit CaptureFile(std::function<void(const std::string &problem)> failed);

  /// Makes the file anew. What is wrong, else an empty text.
  std::string open(const std::string &path);

private:
  void packet(ByteView bytes, uint64_t micros);

  std::ofstream out_;
  std::string path_;
  std::function<void(const std::string &problem)> failed_;
};

/// For the help of the programs.
inline constexpr const char *kCaptureHelp =
    "writes what TCP carries to a capture, which Wireshark opens and velto trace reads";

/// Writes the connections that a link makes from now on to a capture. What is wrong, else an empty
/// text, as without a path.
std::string captureLink(LinkSettings &link, const std::string &path,
                        std::function<void(const std::string &problem)> failed);

} // namespace velto
