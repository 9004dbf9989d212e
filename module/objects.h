#pragma once

#include "controls/component/control.h"
#include "module/c_front_end.h"
#include "module/handle_table.h"
#include "module/velto.h"
#include "platform/event_loop.h"

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace velto::module {

/// What a velto_loop stands for. Whoever is at work in the loop holds it, so that the program may
/// free it meanwhile.
struct LoopObject {
  const std::thread::id thread = std::this_thread::get_id();
  EventLoop loop;
  CFrontEnd frontEnd;
  std::vector<uintptr_t> controls; ///< handles
  bool quit = false;               ///< the innermost run is to end
  bool freed = false;              ///< and all of them
};

/// What a velto_control stands for: a control, or a property page of a class of controls.
struct ControlObject {
  std::shared_ptr<LoopObject> loop;
  std::unique_ptr<Control> control;    ///< null once it is destroyed, and for a page
  const MemberTable *pageOf = nullptr; ///< a page: of this class
  std::string text;                    ///< what the last call has given out
};

HandleTable<LoopObject> &loops();
HandleTable<ControlObject> &controls();

/// A handle as the program holds it. It is a number, and nothing is ever read through it.
template <typename Handle> Handle *toHandle(uintptr_t number) {
  return reinterpret_cast<Handle *>(number); // NOLINT(performance-no-int-to-ptr)
}

/// Notes what was wrong for velto_last_error(), and returns the status.
velto_status fail(velto_status status, std::string sentence);

/// The object of a handle, for use by this thread; null, and the error is noted, when there is none
/// or it belongs to another one. A page is no control to `controlOf`.
struct Found {
  std::shared_ptr<ControlObject> object;
  velto_status status = VELTO_OK;
};
Found controlOf(velto_control *control);
struct FoundLoop {
  std::shared_ptr<LoopObject> object;
  velto_status status = VELTO_OK;
};
FoundLoop loopOf(velto_loop *loop);

/// Does the work of a call; what it throws becomes a status.
template <typename Work> velto_status guarded(Work work) noexcept {
  try {
    return work();
  } catch (const std::bad_alloc &) {
    return fail(VELTO_NO_MEMORY, "out of memory");
  } catch (const std::exception &error) {
    return fail(VELTO_FAILED, error.what());
  } catch (...) {
    return fail(VELTO_FAILED, "a handler threw");
  }
}

/// A value from C; nothing when its type is none, or its text is null though it has a length.
std::optional<Variant> fromC(const velto_value &value);
/// A value for C; a text is kept in `storage`.
velto_value toC(const Variant &value, std::string &storage);
velto_value textToC(const std::string &text);

} // namespace velto::module
