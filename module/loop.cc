// The loops of the C interface.

#include "module/objects.h"

using namespace velto::module;

velto_loop *velto_loop_new(void) {
  uintptr_t handle = 0;
  guarded([&handle] {
    auto object = std::make_shared<LoopObject>();
    if (object->loop.descriptor() < 0)
      return fail(VELTO_FAILED, "no descriptor is left for a loop");
    handle = loops().add(std::move(object));
    return handle != 0 ? VELTO_OK : fail(VELTO_NO_MEMORY, "there are too many loops");
  });
  return toHandle<velto_loop>(handle);
}

// Whoever is at work in the loop ends with this turn.
void velto_loop_free(velto_loop *loop) {
  guarded([loop] {
    const auto [object, status] = loopOf(loop);
    if (object == nullptr)
      return status;
    loops().remove(reinterpret_cast<uintptr_t>(loop));
    for (const uintptr_t control : std::exchange(object->controls, {}))
      if (const auto destroyed = controls().remove(control))
        destroyed->control.reset();
    object->frontEnd.set(nullptr);
    object->freed = true;
    return VELTO_OK;
  });
}

int velto_loop_descriptor(velto_loop *loop) {
  int descriptor = -1;
  guarded([loop, &descriptor] {
    const auto [object, status] = loopOf(loop);
    if (object != nullptr)
      descriptor = object->loop.descriptor();
    return status;
  });
  return descriptor;
}

int velto_loop_run_once(velto_loop *loop, int timeout_ms) {
  int ran = -1;
  guarded([loop, timeout_ms, &ran] {
    const auto [object, status] = loopOf(loop);
    if (object == nullptr)
      return status;
    if (timeout_ms < -1)
      return fail(VELTO_WRONG_ARGUMENTS, "a wait has 0 or more milliseconds, or -1");
    ran = object->loop.runOnce(timeout_ms) ? 1 : 0;
    return VELTO_OK;
  });
  return ran;
}

velto_status velto_loop_run(velto_loop *loop) {
  return guarded([loop] {
    const auto [object, status] = loopOf(loop);
    if (object == nullptr)
      return status;
    object->quit = false;
    while (!object->quit && !object->freed)
      object->loop.runOnce(-1);
    object->quit = false;
    return VELTO_OK;
  });
}

void velto_loop_quit(velto_loop *loop) {
  guarded([loop] {
    const auto object = loops().find(reinterpret_cast<uintptr_t>(loop));
    if (object == nullptr)
      return fail(VELTO_CLOSED, "the loop is freed, or was never made");
    if (object->thread == std::this_thread::get_id())
      object->quit = true;
    else
      object->loop.postFromAnyThread([at = object.get()] { at->quit = true; });
    return VELTO_OK;
  });
}

velto_status velto_loop_post(velto_loop *loop, void (*task)(void *user), void *user) {
  return guarded([=] {
    const auto object = loops().find(reinterpret_cast<uintptr_t>(loop));
    if (object == nullptr)
      return fail(VELTO_CLOSED, "the loop is freed, or was never made");
    if (task == nullptr)
      return fail(VELTO_WRONG_ARGUMENTS, "a task is due");
    const auto handle = reinterpret_cast<uintptr_t>(loop);
    object->loop.postFromAnyThread([handle, task, user] {
      if (loops().find(handle) != nullptr)
        task(user);
    });
    return VELTO_OK;
  });
}

velto_status velto_loop_front_end(velto_loop *loop, const velto_front_end *front_end) {
  return guarded([=] {
    const auto [object, status] = loopOf(loop);
    if (object == nullptr)
      return status;
    if (front_end != nullptr && front_end->size != sizeof(velto_front_end))
      return fail(VELTO_WRONG_ARGUMENTS, "size is not that of velto_front_end");
    object->frontEnd.set(front_end);
    return VELTO_OK;
  });
}
