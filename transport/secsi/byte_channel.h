#pragma once

#include "base/bytes.h"

#include <cstddef>
#include <cstdint>

namespace velto {

/// A line that carries single bytes both ways: what the SECS-I block protocol needs of a serial
/// port or a connection. Nothing in it blocks.
class ByteChannel {
public:
  virtual ~ByteChannel() = default;

  /// Whether bytes can be exchanged.
  virtual bool IsOpen() const = 0;
  /// Bytes that have arrived and wait to be read.
  virtual size_t InputCount() = 0;
  /// Takes the next of them; 0 when there is none.
  virtual uint8_t ReadByte() = 0;
  /// Sends bytes, in one write where that is possible; false when not all of them were sent or
  /// queued.
  virtual bool Write(ByteView bytes) = 0;
};

} // namespace velto
