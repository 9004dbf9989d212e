#pragma once

#include "secs2/message.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>

namespace velto {

/// A whole HSMS frame of a message in SML.
inline Bytes frameOf(uint32_t systemBytes, const std::string &sml) {
  CHSecsMessage message;
  EXPECT_TRUE(message.SetFromSml(sml)) << sml;
  message.header.idWord = 0;
  message.header.systemBytes = systemBytes;
  Bytes body;
  EXPECT_TRUE(message.Encode(body));
  Bytes frame(4);
  writeBigEndian(frame.data(), static_cast<uint32_t>(body.size()));
  frame.insert(frame.end(), body.begin(), body.end());
  return frame;
}

} // namespace velto
