#pragma once

namespace velto {

/// Connects two SECS-I controls in this process by a serial line made of pseudo terminals. They
/// exchange messages of one and of several blocks, request the line at the same time, and wait in
/// vain for a reply. Prints messages and handshakes. False when anything differs from what is
/// expected.
bool tellSecsIStory();

} // namespace velto
