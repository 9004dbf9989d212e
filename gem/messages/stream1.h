#pragma once

#include "gem/messages/request.h"

/// Equipment status (SEMI E5, stream 1).
namespace velto::stream1 {

/// The functions that the state models handle.
enum Function : uint8_t {
  Abort = 0,
  AreYouThere = 1,
  OnlineData = 2,
  EstablishCommunications = 13,
  EstablishAcknowledge = 14,
  RequestOffline = 15,
  RequestOnline = 17,
  OnlineAcknowledge = 18,
};

/// The function of a stream 1 message; nothing that is handled here for others.
inline int functionOf(const CHSecsHeader &header) {
  return header.stream() == 1 ? header.function() : -1;
}

/// S1F4: the values of status variables.
std::optional<CHSecsItem> statusValues(const GemData &data, const CHSecsItem &request);
/// S1F12: their names and units.
std::optional<CHSecsItem> statusNames(const GemData &data, const CHSecsItem &request);
/// S1F22: the names and units of data variables.
std::optional<CHSecsItem> dataNames(const GemData &data, const CHSecsItem &request);
/// S1F24: the names of collection events, and the variables of the reports that are linked to them,
/// each once.
std::optional<CHSecsItem> eventNames(const GemData &data, const CHSecsItem &request);

} // namespace velto::stream1
