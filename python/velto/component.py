"""What all controls have: members, events, the property bag, the window."""

from __future__ import annotations

import asyncio
import json
from typing import Any, Callable, Generic, TypeVar, Union

from velto._header import Status
from velto._library import Error, Value, arguments, check, ffi, lib, made, raw, text_bytes, unpack
from velto.loop import Loop

H = TypeVar("H", bound=Callable[..., object])
V = TypeVar("V", bound=Union[bool, int, str])
K = TypeVar("K", int, str)
C = TypeVar("C", bound="Control")
Kind = Union[Callable[[Any], Any], None]  # makes an enumeration of a number; None: leaves a value alone


class Event(Generic[H]):
    """An event of a control. Handlers are called in the order in which they were added; inside one
    everything is allowed, closing the control included."""

    def __init__(self, control: Control, name: str, kinds: tuple[Kind, ...] = ()) -> None:
        self._control = control
        self._name = name
        self._kinds = kinds
        self._handlers: list[H] = []

    def add(self, handler: H) -> H:
        """Also as a decorator: `@tool.Connected.add`."""
        self._handlers.append(handler)
        return handler

    def remove(self, handler: H) -> None:
        self._handlers.remove(handler)

    async def wait(self, timeout: float | None = None) -> tuple[Any, ...]:
        """The arguments of the next one; after so many seconds asyncio.TimeoutError."""
        heard: asyncio.Future[tuple[Any, ...]] = asyncio.get_running_loop().create_future()

        def hear(*values: Any) -> None:
            if not heard.done():
                heard.set_result(values)

        handler: Any = hear
        self.add(handler)
        try:
            return await asyncio.wait_for(heard, timeout)
        finally:
            self.remove(handler)

    def _raise(self, values: list[Any]) -> None:
        for at, kind in enumerate(self._kinds):
            if kind is not None:
                values[at] = kind(values[at])
        for handler in list(self._handlers):
            try:
                handler(*values)
            except BaseException as error:
                self._control.loop.failed(error, f"a handler of {self._name}")


class ReadOnlyIndex(Generic[K, V]):
    """An indexed property: `gem.VIDType[101]`."""

    def __init__(self, control: Control, member: int, kind: Kind = None) -> None:
        self._control = control
        self._member = member
        self._kind = kind

    def __getitem__(self, key: K) -> V:
        value = self._control._get(self._member, key)
        read: V = value if self._kind is None else self._kind(value)
        return read


class Index(ReadOnlyIndex[K, V]):
    """An indexed property that can be set; a text also by a number."""

    def __setitem__(self, key: K, value: Union[V, int, float, str, bytes]) -> None:
        self._control._set(self._member, value, key)


class Control:
    """A control on a loop; without one on that of the asyncio loop which runs."""

    NAME = ""
    EVENTS: dict[int, str] = {}

    def __init__(self, loop: Loop | None = None) -> None:
        on = loop if loop is not None else Loop.current()
        self._adopt(on, lib.velto_create(on.handle, self.NAME.encode()))

    def _adopt(self, loop: Loop, handle: Any) -> None:
        self._events: dict[int, Event[Any]] = {}
        self._handle: Any = None
        self.loop = loop
        try:
            self._handle = made(handle)
        except Error:
            loop._left(self)
            raise
        self._result = ffi.new("velto_value *")
        self._user = ffi.new_handle(self)
        loop._controls.add(self)
        check(lib.velto_on_event(self._handle, _heard, self._user))

    @property
    def closed(self) -> bool:
        return self._handle is None

    def close(self) -> None:
        """Destroys the control; also inside its own events, and again."""
        handle, self._handle = self._handle, None
        if handle is not None:
            lib.velto_destroy(handle)
            self.loop._left(self)

    def save(self) -> str:
        """The property bag: the persisted properties, a line "Name=value" each."""
        check(lib.velto_save_bag(self._open(), self._result))
        return raw(self._result).decode("latin-1")

    def load(self, bag: str) -> None:
        text = text_bytes(bag)
        check(lib.velto_load_bag(self._open(), text, len(text)))

    @property
    def modified(self) -> bool:
        """Whether a persisted property has changed since the bag was saved or loaded."""
        return bool(lib.velto_is_modified(self._open()) == 1)

    def window(self) -> dict[str, Any]:
        """What the control's window shows: {"kind": "tree", "roots": [...]} or {"kind": "text", ...}."""
        check(lib.velto_window(self._open(), self._result))
        shown: dict[str, Any] = json.loads(raw(self._result))
        return shown

    def show_page(self) -> bool:
        """Shows the persisted properties on a property page by the loop's front end; whether they
        were accepted."""
        name = f"VELTO.{self.NAME}PropPage.1".encode()
        page = made(lib.velto_create(self.loop.handle, name))
        accepted: int = lib.velto_page_show(page, self._open())
        lib.velto_destroy(page)
        return accepted == 1

    def __enter__(self: C) -> C:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    async def __aenter__(self: C) -> C:
        return self

    async def __aexit__(self, *_: object) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<{type(self).__name__}{' closed' if self.closed else ''}>"

    def _open(self) -> Any:
        if self._handle is None:
            raise Error(Status.CLOSED, "the control is closed")
        return self._handle

    def _get(self, member: int, *index: Value) -> Any:
        array, _keep = arguments(index) if index else (ffi.NULL, None)
        check(lib.velto_get_id(self._open(), member, array, len(index), self._result))
        return unpack(self._result)

    def _set(self, member: int, value: Value, *index: Value) -> None:
        given, _keep = arguments([value])
        array, _kept = arguments(index) if index else (ffi.NULL, None)
        check(lib.velto_set_id(self._open(), member, array, len(index), given[0]))

    def _call(self, member: int, *values: Value) -> Any:
        array, _keep = arguments(values)
        check(lib.velto_call_id(self._open(), member, array, len(values), self._result))
        return unpack(self._result)

    def _event(self, member: int, *kinds: Kind) -> Event[Any]:
        event = self._events.get(member)
        if event is None:
            event = self._events[member] = Event(self, self.EVENTS[member], kinds)
        return event

    def _hear(self, member: int, values: Any, count: int) -> None:
        event = self._events.get(member)
        if event is not None and event._handlers:
            event._raise([unpack(values[i]) for i in range(count)])


@ffi.callback("void(void *, velto_control *, int32_t, const char *, const velto_value *, size_t)")  # type: ignore[misc]
def _heard(user: Any, _control: Any, member: int, _name: Any, values: Any, count: int) -> None:
    control = ffi.from_handle(user)
    try:
        control._hear(member, values, count)
    except BaseException as error:
        control.loop.failed(error, "an event")
