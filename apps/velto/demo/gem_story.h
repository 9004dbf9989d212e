#pragma once

namespace velto {

/// Plays a day of an etch tool and its host, from establishing communications to the end of the
/// link. Both are Gem controls in this process, connected over the loopback. Prints every message,
/// and each difference from what is expected. False when there was a difference.
bool tellGemStory();

} // namespace velto
