#include "apps/velto/screen/curses.h"

namespace velto {

// In place of curses.cc where the program is built without ncurses: nobody makes a Curses then.
class Curses::Engine {};

bool Curses::isThere() { return false; }
bool Curses::isBuiltIn() { return false; }
Curses::Curses(Size /*size*/) {}
Curses::~Curses() = default;
void Curses::resize(Size /*size*/) {}
std::string Curses::draw(const Screen & /*screen*/) { return {}; }
void Curses::repaint() {}
std::string Curses::leave() { return {}; }
void Curses::feed(std::string_view /*bytes*/) {}
std::optional<Key> Curses::nextKey() { return std::nullopt; }
bool Curses::isWaiting() const { return false; }
void Curses::flush() {}

} // namespace velto
