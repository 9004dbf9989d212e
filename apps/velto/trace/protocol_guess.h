#pragma once

#include "apps/velto/spy/hsms_stream.h"
#include "apps/velto/spy/secsi_streams.h"

#include <array>
#include <vector>

namespace velto {

/// Finds out what a connection carries by what goes over it: the header of an HSMS message, or a
/// whole message of SECS-I. Keeps what it was given until then.
class ProtocolGuess {
public:
  enum class Protocol : uint8_t { Unknown, Hsms, SecsI, Other };
  struct Piece {
    SpyDirection direction;
    Bytes bytes;
    uint64_t lost; ///< bytes that are missing in front
    uint64_t micros;
  };

  /// `middle`: a message may begin anywhere, not only at the start.
  explicit ProtocolGuess(bool middle);

  Protocol take(Piece piece);
  const std::vector<Piece> &kept() const { return kept_; }

private:
  bool isHsms(const Piece &piece);

  const bool middle_;
  bool found_ = false; // a message
  std::array<Bytes, 2> heads_;
  std::array<HsmsStream, 2> frames_;
  SecsIStreams blocks_;
  std::vector<Piece> kept_;
  size_t size_ = 0;
};

} // namespace velto
