#pragma once

namespace velto {

/// Connects two HSMS controls in this process, exchanges messages both ways and prints them; what
/// the equipment answers is written out here, there is no model behind it. False when anything went
/// otherwise than it should.
bool tellHsmsStory();

} // namespace velto
