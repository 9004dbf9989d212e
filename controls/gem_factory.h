#pragma once

#include "controls/gem_ctrl.h"

#include <memory>
#include <string>

namespace velto {

/// A `VeltoGem` that is ready for work, made in one step. It opens its link in the next turn of the
/// loop, works by the current edition of SEMI E5, has every capability on, tests a silent link
/// every 30 s, and answers by itself what its events have not answered (SetAutoReply).
struct VeltoGem {
  /// "HOST:PORT" or "HOST" (port 5001) goes to the partner by HSMS, "secsi:HOST:PORT" by SECS-I
  /// over TCP; HOST is an IPv4 address or a name. "listen:PORT" and "listen:secsi:PORT" wait for
  /// it, and "serial:DEVICE" or "serial:DEVICE:RATE" is a serial port, at 9600 bit/s if not given.
  ///
  /// An equipment with the model of a file, as LoadModel() takes it; without a file name a bare one
  /// that knows nothing but its control state. Null when the file or the address cannot be used;
  /// `problem` then says why.
  static std::unique_ptr<CVeltoGemCtrl> Equipment(const ControlSite &site, const std::string &model,
                                                  const std::string &address,
                                                  std::string *problem = nullptr);
  /// A host. Null when the address cannot be used.
  static std::unique_ptr<CVeltoGemCtrl> Host(const ControlSite &site, const std::string &address,
                                             std::string *problem = nullptr);
};

} // namespace velto
