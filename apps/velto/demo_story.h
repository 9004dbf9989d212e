#pragma once

namespace velto {

/// Plays a day of an etch tool and its host, each a Gem control in this process, over the loopback:
/// from establishing communications to the end of the link. Prints it with every message, and what
/// differs from what it should be. False when anything did.
bool tellGemStory();

} // namespace velto
