#pragma once

namespace velto {

/// Connects two SECS-I controls in this process by a serial line made of pseudo terminals, lets
/// them exchange messages of one block and of several, request the line at once, and miss a reply,
/// and prints messages and handshakes. False when anything went otherwise than it should.
bool tellSecsIStory();

} // namespace velto
