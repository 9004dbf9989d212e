#pragma once

#include "base/text.h"
#include "secs2/item_codec.h"
#include "secs2/message.h"
#include "secs2/sml_printer.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace velto {

/// A message from SML; the test fails when the text is refused.
inline CHSecsMessage fromSml(std::string_view sml) {
  CHSecsMessage message;
  EXPECT_TRUE(message.SetFromSml(sml)) << sml;
  return message;
}

/// The body of a message as hexadecimal text.
inline std::string bodyHex(const CHSecsMessage &message) {
  const std::string hex = message.GetMsg();
  return hex.size() < 20 ? hex : hex.substr(20);
}

inline std::string bodyHex(std::string_view sml) { return bodyHex(fromSml(sml)); }

/// A message with a plain header and the body given in hexadecimal.
inline CHSecsMessage fromBody(const std::string &hex) {
  CHSecsMessage message;
  EXPECT_TRUE(message.SetMsg("ffff8101000000000000" + hex));
  return message;
}

/// The value text at a path.
inline std::string valueAt(CHSecsMessage &message, const std::string &path, bool decimal = true) {
  message.node = path;
  return message.GetNodeValue(decimal);
}

} // namespace velto
