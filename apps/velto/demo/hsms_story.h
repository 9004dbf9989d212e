#pragma once

namespace velto {

/// Connects two HSMS controls in this process, lets them exchange messages both ways, and prints
/// the messages. There is no equipment model: the story itself states what the equipment answers.
/// False when anything differs from what is expected.
bool tellHsmsStory();

} // namespace velto
