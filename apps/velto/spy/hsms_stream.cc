#include "apps/velto/spy/hsms_stream.h"

#include "secs2/format.h"
#include "transport/hsms/hsms_frame.h"

#include <algorithm>

namespace velto {

namespace {

constexpr size_t kMostSearched = size_t{1} << 20; // bytes

enum class Likeness { No, Unknown, Yes };

// A header that SEMI E37 knows and, of data, an item behind it.
bool mayBegin(ByteView bytes) {
  const uint64_t length = readBigEndian<uint32_t>(bytes.data());
  CHSecsHeader header = *readHeader(bytes.subspan(kFrameLengthSize));
  if (length < CHSecsHeader::kSize || length > HsmsStream::kKept || header.pType() != 0)
    return false;
  if (header.sType() != 0)
    return header.isControl() && length == CHSecsHeader::kSize;
  if ((header.idWord & 0x8000) != 0 || header.stream() == 0)
    return false;
  if (length == CHSecsHeader::kSize || bytes.size() == kFrameHeadSize)
    return true;
  const uint8_t item = bytes[kFrameHeadSize];
  return (item & 3U) != 0 &&
         formatInfo(static_cast<uint8_t>(item >> 2)).kind != ElementKind::Unknown;
}

// It is one when another follows, or nothing yet.
Likeness judge(ByteView bytes) {
  if (!mayBegin(bytes))
    return Likeness::No;
  const size_t size = kFrameLengthSize + readBigEndian<uint32_t>(bytes.data());
  if (size == bytes.size())
    return Likeness::Yes;
  if (size + kFrameHeadSize > bytes.size())
    return bytes.size() > kMostSearched ? Likeness::No : Likeness::Unknown;
  return mayBegin(bytes.subspan(size)) ? Likeness::Yes : Likeness::No;
}

} // namespace

bool HsmsStream::looksLikeFrame(ByteView bytes) { return mayBegin(bytes); }

void HsmsStream::take(ByteView bytes, const OnFrame &onFrame) {
  if (state_ == State::Searching) {
    frame_.insert(frame_.end(), bytes.begin(), bytes.end());
    if (!found())
      return;
    state_ = State::Following;
    const Bytes rest = std::exchange(frame_, {});
    return follow(rest, onFrame);
  }
  follow(bytes, onFrame);
}

void HsmsStream::lost() {
  if (state_ == State::Unreadable)
    return;
  state_ = State::Searching;
  frame_.clear();
  received_ = 0;
}

void HsmsStream::follow(ByteView bytes, const OnFrame &onFrame) {
  while (!bytes.empty() && state_ == State::Following) {
    uint64_t size = kFrameLengthSize;
    if (frame_.size() >= kFrameLengthSize)
      size += readBigEndian<uint32_t>(frame_.data());
    const auto count = static_cast<size_t>(std::min<uint64_t>(bytes.size(), size - received_));
    const size_t kept = std::min(count, kFrameLengthSize + kKept - frame_.size());
    frame_.insert(frame_.end(), bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(kept));
    received_ += count;
    bytes = bytes.subspan(count);
    if (received_ == kFrameLengthSize) {
      const uint64_t length = readBigEndian<uint32_t>(frame_.data());
      if (length < CHSecsHeader::kSize || length > kLongest)
        state_ = State::Unreadable;
    } else if (received_ == size && size > kFrameLengthSize) {
      onFrame(ByteView(frame_).subspan(kFrameLengthSize), size - kFrameLengthSize);
      frame_.clear();
      received_ = 0;
    }
  }
  if (state_ == State::Unreadable || frame_.empty())
    frame_ = {}; // a long one is not held on to
}

// What cannot begin a frame goes.
bool HsmsStream::found() {
  const ByteView bytes = frame_;
  size_t at = 0;
  Likeness likeness = Likeness::No;
  for (; likeness == Likeness::No && at + kFrameHeadSize <= bytes.size(); ++at)
    likeness = judge(bytes.subspan(at));
  if (likeness != Likeness::No)
    --at;
  frame_.erase(frame_.begin(), frame_.begin() + static_cast<ptrdiff_t>(at));
  return likeness == Likeness::Yes;
}

} // namespace velto
