"""The message loop on which controls run: inside asyncio by its descriptor, or alone."""

from __future__ import annotations

import asyncio
import weakref
from typing import Any, Callable

from velto._header import Status
from velto._library import Error, check, ffi, last_error, lib, log, made
from velto.front_end import FrontEnd, callbacks

_OF_ASYNCIO: weakref.WeakKeyDictionary[asyncio.AbstractEventLoop, Loop] = weakref.WeakKeyDictionary()


class Loop:
    """A loop and its controls belong to the thread that made it. In a coroutine `Loop.current()` is
    the one that runs inside asyncio's; without asyncio a program makes its own and calls run()."""

    def __init__(self) -> None:
        self._handle: Any = made(lib.velto_loop_new())
        self._controls: set[Any] = set()
        self._shown_by: list[Any] = []
        self._quitting = False
        self._raised: BaseException | None = None
        self._tasks: set[Any] = set()
        self._inside: weakref.ref[asyncio.AbstractEventLoop] | None = None
        self._descriptor: int = lib.velto_loop_descriptor(self._handle)

    @classmethod
    def current(cls) -> Loop:
        """That of the asyncio loop which runs; it lives as long as it has controls. Outside of a
        coroutine there is none: RuntimeError."""
        outer = asyncio.get_running_loop()
        loop = _OF_ASYNCIO.get(outer)
        if loop is None or loop.closed:
            loop = _OF_ASYNCIO[outer] = cls()
            loop._inside = weakref.ref(outer)
            outer.add_reader(loop._descriptor, loop._turn)
        return loop

    @property
    def closed(self) -> bool:
        return self._handle is None

    @property
    def handle(self) -> Any:
        if self._handle is None:
            raise Error(Status.CLOSED, "the loop is closed")
        return self._handle

    def run_once(self, timeout: float | None = None) -> bool:
        """Waits up to so many seconds (None: without limit), and handles what is ready; whether there
        was anything."""
        wait = -1 if timeout is None else max(0, min(round(timeout * 1000), 0x7FFFFFFF))
        ran: int = lib.velto_loop_run_once(self.handle, wait)
        raised, self._raised = self._raised, None
        if raised is not None:
            raise raised
        if ran < 0:
            raise Error(Status.FAILED, last_error())
        return ran == 1

    def run(self) -> None:
        """Until quit()."""
        self._quitting = False
        while not self._quitting and self._handle is not None:
            self.run_once()  # turn by turn, so that Python gets its signals

    def quit(self) -> None:
        """From any thread."""
        self._quitting = True
        if self._handle is not None:
            lib.velto_loop_quit(self._handle)  # wakes a loop that waits

    def post(self, task: Callable[[], object]) -> None:
        """Has a task run in the loop's next turn; from any thread."""
        user = ffi.new_handle((self, task))
        self._tasks.add(user)
        try:
            check(lib.velto_loop_post(self.handle, _posted, user))
        except Error:
            self._tasks.discard(user)
            raise

    def show_by(self, front_end: FrontEnd) -> None:
        """Has boxes and sheets of the controls that are made from now on shown by the program."""
        table, user = callbacks(self, front_end)
        check(lib.velto_loop_front_end(self.handle, table))
        self._shown_by.append(user)

    def close(self) -> None:
        """Destroys its controls, too."""
        if self._handle is None:
            return
        outer = self._outer()
        if outer is not None:
            outer.remove_reader(self._descriptor)
        for control in list(self._controls):
            control.close()
        handle, self._handle = self._handle, None
        if handle is not None:
            lib.velto_loop_free(handle)
        self._tasks.clear()

    def failed(self, error: BaseException, where: str) -> None:
        """Takes the exception of a handler, as asyncio does with that of a callback. What is to end
        the program, such as KeyboardInterrupt, goes on behind the library's turn."""
        if not isinstance(error, Exception):
            self._raised = error
            return
        outer = self._outer()
        if outer is not None:
            outer.call_exception_handler({"message": f"Exception in {where}", "exception": error})
        else:
            log.error("Exception in %s", where, exc_info=error)

    def __enter__(self) -> Loop:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def _outer(self) -> asyncio.AbstractEventLoop | None:
        outer = self._inside() if self._inside is not None else None
        return None if outer is None or outer.is_closed() else outer

    def _turn(self) -> None:
        if self._handle is not None:
            self.run_once(0)

    def _left(self, control: Any) -> None:
        """A control is closed; with the last one the loop of an asyncio loop goes."""
        self._controls.discard(control)
        if self._inside is not None and not self._controls:
            self.close()


@ffi.callback("void(void *)")  # type: ignore[misc]
def _posted(user: Any) -> None:
    loop, task = ffi.from_handle(user)
    loop._tasks.discard(user)
    try:
        task()
    except BaseException as error:
        loop.failed(error, "a task")
