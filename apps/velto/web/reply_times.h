#pragma once

#include "apps/velto/web/snapshot.h"
#include "secs2/header.h"

#include <cstdint>
#include <map>
#include <utility>

namespace velto {

/// An empty histogram for reply times, up to 45 s, the default of T3 (SEMI E4, E37).
WebHistogram replyHistogram();
void addTime(WebHistogram &histogram, double seconds);

/// How long the replies to primaries take, of either side of a link.
class ReplyTimes {
public:
  /// Takes a data message in the order in which they pass. `micros` is the time of a clock that
  /// only goes on.
  void take(const CHSecsHeader &header, bool received, uint64_t micros);
  /// What is open gets no reply any more.
  void forgetOpen() { open_.clear(); }

  /// The replies of this side, and those of the partner.
  const WebHistogram &own() const { return own_; }
  const WebHistogram &partner() const { return partner_; }

private:
  std::map<std::pair<bool, uint32_t>, uint64_t> open_; ///< by direction and system bytes
  WebHistogram own_ = replyHistogram();
  WebHistogram partner_ = replyHistogram();
};

} // namespace velto
