#include "module/objects.h"

#include <cstring>

namespace velto::module {

namespace {

thread_local std::string lastError;

} // namespace

HandleTable<LoopObject> &loops() {
  static HandleTable<LoopObject> table;
  return table;
}

HandleTable<ControlObject> &controls() {
  static HandleTable<ControlObject> table;
  return table;
}

// A sentence that finds no memory is left out.
velto_status fail(velto_status status, std::string sentence) {
  lastError = std::move(sentence);
  return status;
}

Found controlOf(velto_control *control) {
  auto object = controls().find(reinterpret_cast<uintptr_t>(control));
  if (object == nullptr)
    return {nullptr, fail(VELTO_CLOSED, "the control is destroyed, or was never made")};
  if (object->loop->thread != std::this_thread::get_id())
    return {nullptr, fail(VELTO_WRONG_THREAD, "the control belongs to another thread")};
  return {std::move(object)};
}

FoundLoop loopOf(velto_loop *loop) {
  auto object = loops().find(reinterpret_cast<uintptr_t>(loop));
  if (object == nullptr)
    return {nullptr, fail(VELTO_CLOSED, "the loop is freed, or was never made")};
  if (object->thread != std::this_thread::get_id())
    return {nullptr, fail(VELTO_WRONG_THREAD, "the loop belongs to another thread")};
  return {std::move(object)};
}

std::optional<Variant> fromC(const velto_value &value) {
  int type = VELTO_EMPTY; // a number that is no type is not to be read as one
  static_assert(sizeof type == sizeof value.type);
  std::memcpy(&type, &value.type, sizeof type);
  std::optional<Variant> read;
  if (type == VELTO_EMPTY)
    read.emplace();
  else if (type == VELTO_BOOL)
    read.emplace(value.integer != 0);
  else if (type == VELTO_INTEGER)
    read.emplace(value.integer);
  else if (type == VELTO_REAL)
    read.emplace(value.real);
  else if (type == VELTO_TEXT && value.length == 0)
    read.emplace(std::string());
  else if (type == VELTO_TEXT && value.text != nullptr)
    read.emplace(std::string(value.text, value.length));
  return read;
}

velto_value textToC(const std::string &text) {
  return {VELTO_TEXT, 0, 0, text.c_str(), text.size()};
}

velto_value toC(const Variant &value, std::string &storage) {
  if (value.empty())
    return {VELTO_EMPTY, 0, 0, nullptr, 0};
  if (value.isBool())
    return {VELTO_BOOL, value.toBool() ? 1 : 0, 0, nullptr, 0};
  if (value.isInteger())
    return {VELTO_INTEGER, value.toInteger(), 0, nullptr, 0};
  if (value.isNumber())
    return {VELTO_REAL, 0, value.toReal(), nullptr, 0};
  storage = value.toString();
  return textToC(storage);
}

} // namespace velto::module

extern "C" const char *velto_last_error(void) { return velto::module::lastError.c_str(); }
