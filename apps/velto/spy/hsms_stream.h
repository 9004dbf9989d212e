#pragma once

#include "base/bytes.h"
#include "secs2/message.h"

#include <cstdint>
#include <functional>

namespace velto {

/// Finds the frames (SEMI E37 8.2) in what one end of an HSMS connection sends.
class HsmsStream {
public:
  /// A message, header and body, and its size. Of one that is longer than kKept only the beginning.
  using OnFrame = std::function<void(ByteView message, uint64_t size)>;

  /// A length above this, or one that leaves no room for a header, is no HSMS.
  static constexpr uint64_t kLongest = uint64_t{256} * 1024 * 1024;
  static constexpr size_t kKept = CHSecsMessage::kMaxEncodedSize;

  /// Whether bytes, at least kFrameHeadSize of them, look like the beginning of a frame.
  static bool looksLikeFrame(ByteView bytes);

  /// Calls `onFrame` for each frame that ends in these bytes.
  void take(ByteView bytes, const OnFrame &onFrame);
  /// Bytes are missing in front of the next ones, or it is not known where a frame begins: the
  /// frames are found again by what headers look like.
  void lost();
  /// False once a length was none; what follows is left aside then.
  bool readable() const { return state_ != State::Unreadable; }
  /// Whether a frame has begun and not ended.
  bool isInside() const { return state_ == State::Following && received_ != 0; }

private:
  enum class State : uint8_t { Following, Searching, Unreadable };

  void follow(ByteView bytes, const OnFrame &onFrame);
  bool found();

  State state_ = State::Following;
  Bytes frame_;           // the length and what is kept of the message; what is searched
  uint64_t received_ = 0; // bytes of the frame
};

} // namespace velto
