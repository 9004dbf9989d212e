#pragma once

namespace velto {

/// The name by which ncurses knows the terminal: TERM, or that of most of today's terminals where
/// there is no description of it.
const char *terminalKind();

} // namespace velto
