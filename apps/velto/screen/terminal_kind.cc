#include "apps/velto/screen/terminal_kind.h"

#include <cstdlib>
#include <cstring>
// These two turn hundreds of words into macros: last, and in this source alone.
#include <ncurses.h>

#include <term.h>

namespace velto {

const char *terminalKind() {
  constexpr const char *kUsual = "xterm";
  const char *kind = std::getenv("TERM");
  if (kind == nullptr || std::strcmp(kind, "dumb") == 0)
    return kUsual;
  TERMINAL *const before = cur_term;
  int found = 0;
  const bool known = setupterm(kind, 1, &found) == OK;
  if (known)
    del_curterm(cur_term);
  set_curterm(before);
  return known ? kind : kUsual;
}

} // namespace velto
