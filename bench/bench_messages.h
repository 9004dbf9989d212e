#pragma once

#include "secs2/message.h"

#include <string>

namespace velto {

// The messages that are measured.

inline Bytes encoded(const CHSecsMessage &message) {
  Bytes bytes;
  message.Encode(bytes);
  return bytes;
}

// A list of texts, integers and reals.
inline CHSecsMessage listMessage(uint32_t leaves) {
  CHSecsMessage message;
  message.root.setList();
  for (uint32_t i = 0; i < leaves; ++i) {
    CHSecsItem &leaf = message.root.appendChild();
    if (i % 3 == 0)
      leaf.setText("Wafer 17", format::kAscii);
    else
      leaf.setNumber(i, i % 3 == 1 ? format::kU4 : format::kF8);
  }
  return message;
}

// An event report of one report with 20 mixed variables.
inline CHSecsMessage eventReport() {
  CHSecsMessage message;
  std::string sml = "s6f11w{<u4 1><u4 300>{{<u4 7>{";
  for (int i = 0; i < 5; ++i)
    sml += "<u4 1234567><f4 23.125><a 'PROCESSING'><bool TRUE>";
  message.SetFromSml(sml + "}}}}");
  return message;
}

} // namespace velto
