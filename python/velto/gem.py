"""A GEM equipment and a GEM host (SEMI E30) for asyncio.

    async with velto.gem.Host("10.1.2.3:5000") as host:
        await host.connect()
        reply = await host.request("s1f3w{<u4 101>}", timeout=5)
        async for event in host.events():
            print(event.ceid, event.values)"""

from __future__ import annotations

import asyncio
from typing import Any, Awaitable, Callable, Iterable, Iterator, Mapping, NamedTuple, Union

from velto import items
from velto._header import Outcome
from velto._library import check, ffi, lib, log, raw
from velto.controls import VeltoGem
from velto.loop import Loop
from velto.message import Message, Sent, as_message
from velto.streams import Overrun, Stream

__all__ = ["Command", "Equipment", "EventReport", "Host", "Overrun", "RequestError", "Stream", "Subscribed", "Values"]

COMMUNICATING = 2
_RECEIVED, _PROBLEM = 7, 6
_CANNOT_NOW, _LATER = 2, 4  # HCACK


class RequestError(Exception):
    """A request without a reply: how it ended, why, and the message that came instead if any."""

    def __init__(self, outcome: Outcome, reason: str, message: Message | None) -> None:
        super().__init__(reason)
        self.outcome = outcome
        self.reason = reason
        self.message = message


class EventReport:
    """A collection event as it came (S6F11)."""

    __slots__ = ("message", "data_id", "ceid", "reports")

    def __init__(self, message: Message, encoding: str) -> None:
        self.message = message
        self.data_id, self.ceid, reports = message.decode(encoding)
        self.reports: list[tuple[int, list[Any]]] = reports  # RPTID and values of each

    @property
    def values(self) -> list[Any]:
        """Of all reports, one behind the other."""
        return [value for _, values in self.reports for value in values]

    def __repr__(self) -> str:
        return f"<event {self.ceid} {self.reports}>"


class Values(Mapping[Union[str, int], Any]):
    """Values in the order in which they came, found by the variable's name or VID. Iterates over the
    names; over VIDs where there is none."""

    def __init__(self, rows: list[list[Any]]) -> None:
        self._rows = rows

    def __getitem__(self, key: str | int) -> Any:
        for row in self._rows:
            if row[0] == key or row[-2] == key:
                return row[-1]
        raise KeyError(key)

    def __iter__(self) -> Iterator[str | int]:
        return iter([row[0] or row[-2] for row in self._rows])

    def __len__(self) -> int:
        return len(self._rows)

    def __repr__(self) -> str:
        return repr(dict(self))


class Subscribed(NamedTuple):
    """A collection event with the values that were subscribed."""

    ceid: int
    name: str
    values: Values


class Command(NamedTuple):
    """A remote command that passed the checks of the model. `faults["LOT"] = 2` is a CPACK."""

    name: str
    values: Mapping[str, Any]
    faults: dict[str, int]


# HCACK, or None for 0. That of a coroutine function is 4: it runs behind the reply.
CommandHandler = Callable[[Command], Union[int, None, Awaitable[object]]]
# The reply, or None to leave it to the model.
MessageHandler = Callable[[Message], Union[Message, str, None]]


class Gem(VeltoGem):
    """What equipment and host have in common, beside the members of the control."""

    def _start(self, loop: Loop, handle: Any, encoding: str) -> None:
        self._encoding = encoding
        self._streams: list[tuple[Callable[[Message], Any], Stream[Any]]] = []
        self._subscriptions: set[Stream[Subscribed]] = set()
        self._taken: dict[tuple[int, int], MessageHandler] = {}
        self._calls: set[Any] = set()  # what the library still refers to
        self._commands: dict[str, Any] = {}
        self._work: set[asyncio.Future[Any]] = set()
        self._adopt(loop, handle)

    def close(self) -> None:
        super().close()
        for stream in [stream for _, stream in self._streams] + list(self._subscriptions):
            stream.close()

    async def connect(self, timeout: float | None = None) -> None:
        """Waits for communications; after so many seconds asyncio.TimeoutError."""

        async def communicating() -> None:
            while self.CommunicationState != COMMUNICATING:
                await self.CommunicationStateChanged.wait()

        await asyncio.wait_for(communicating(), timeout)

    async def request(self, primary: Sent, timeout: float | None = None) -> Message:
        """Sends a primary, a Message or SML, and waits so many seconds for its reply, by default T3.
        Raises RequestError when none comes."""
        data = bytes(as_message(primary))
        answered: asyncio.Future[Message] = asyncio.get_running_loop().create_future()
        user = ffi.new_handle((self, answered))
        self._calls.add(user)
        wait = 0 if timeout is None else max(1, min(round(timeout * 1000), 0xFFFFFFFF))
        try:
            check(lib.velto_gem_request(self._open(), data, len(data), wait, _replied, user))
        except BaseException:
            self._calls.discard(user)
            raise
        return await answered

    def messages(self, limit: int = 100_000) -> Stream[Message]:
        """Every message that arrives from now on, replies included."""
        return self._stream(lambda message: message, limit)

    def on_message(self, stream: int, function: int, handler: MessageHandler | None) -> None:
        """Has a function answer a primary in place of the model; None: no more."""
        if handler is None:
            self._taken.pop((stream, function), None)
        else:
            self._taken[stream, function] = handler

    def _stream(self, choose: Callable[[Message], Any], limit: int) -> Stream[Any]:
        def forget(closed: Stream[Any]) -> None:
            self._streams = [row for row in self._streams if row[1] is not closed]

        self._open()
        stream: Stream[Any] = Stream(limit, forget)
        self._streams = self._streams + [(choose, stream)]
        return stream

    def _hear(self, member: int, values: Any, count: int) -> None:
        if member == _RECEIVED and (self._streams or self._taken):
            self._arrived()
        elif member == _PROBLEM:
            log.warning("%s: problem %d: %s", type(self).__name__, values[0].integer, _text(values[1]))
        if self._handle is not None:
            super()._hear(member, values, count)

    def _arrived(self) -> None:
        check(lib.velto_gem_message(self._open(), self._result))
        message = Message.from_bytes(raw(self._result))
        for choose, stream in self._streams:
            try:
                chosen = choose(message)
            except (items.ItemError, TypeError, ValueError) as error:
                log.warning("%r is malformed: %s", message, error)
                continue
            if chosen is not None:
                stream.put(chosen)
        handler = self._taken.get((message.stream, message.function))
        if handler is not None:
            try:
                self._answer(message, handler(message))
            except BaseException as error:  # the model answers then
                self.loop.failed(error, f"the handler of {message!r}")

    def _answer(self, primary: Message, reply: Sent | None) -> None:
        if reply is None or self._handle is None:
            return
        given = as_message(reply)
        self.Reply = True
        self.Msg = (primary.header[:2] + given.header[2:6] + primary.header[6:] + given.body).hex()
        sent = self.Send()
        if self._handle is not None:
            self.Reply = False
        if not sent:
            log.warning("%r was not sent", given)


class Equipment(Gem):
    """A GEM equipment with the model of a file, as text or as data file; without one it knows nothing
    but its control state. `listen=5000` waits for the host on that port, `connect="10.1.2.3:5000"`
    goes to it. For SECS-I `connect` is "serial:/dev/ttyUSB0:19200", "secsi:10.1.2.3:5000" or
    "listen:secsi:5000"."""

    def __init__(
        self,
        model: str = "",
        *,
        listen: int | None = None,
        connect: str | None = None,
        loop: Loop | None = None,
        encoding: str = "latin-1",
    ) -> None:
        on = loop if loop is not None else Loop.current()
        address = _address(connect, listen).encode()
        self._start(on, lib.velto_gem_equipment(on.handle, model.encode(), address), encoding)

    def on_command(self, name: str, handler: CommandHandler | None) -> None:
        """Has a function carry out a remote command of the model, in place of the event RemoteCommand;
        None: no more."""
        if handler is None:
            check(lib.velto_gem_on_command(self._open(), name.encode("latin-1"), ffi.NULL, ffi.NULL))
            self._commands.pop(name, None)
            return
        user = ffi.new_handle((self, handler))
        check(lib.velto_gem_on_command(self._open(), name.encode("latin-1"), _commanded, user))
        self._commands[name] = user

    def _carry_out(self, command: Command, handler: CommandHandler) -> int:
        answer = handler(command)
        if answer is None or isinstance(answer, int):
            for parameter, fault in command.faults.items():
                self.CPACK[parameter] = fault
            return answer or 0
        work = asyncio.ensure_future(answer)
        self._work.add(work)
        work.add_done_callback(self._done)
        return _LATER

    def _done(self, work: asyncio.Future[Any]) -> None:
        self._work.discard(work)
        if not work.cancelled() and work.exception() is not None:
            self.loop.failed(work.exception() or RuntimeError(), "a command")


class Host(Gem):
    """A GEM host. `Host("10.1.2.3:5000")` goes to the equipment, `Host(listen=5000)` waits for it;
    addresses for SECS-I are those of `Equipment`."""

    def __init__(
        self,
        address: str | None = None,
        *,
        listen: int | None = None,
        loop: Loop | None = None,
        encoding: str = "latin-1",
    ) -> None:
        on = loop if loop is not None else Loop.current()
        self._start(on, lib.velto_gem_host(on.handle, _address(address, listen).encode()), encoding)

    def events(self, limit: int = 100_000) -> Stream[EventReport]:
        """The collection events (S6F11) that arrive from now on; each is acknowledged."""

        def choose(message: Message) -> EventReport | None:
            if message.header[3] != 11 or message.header[2] & 0x7F != 6:
                return None
            return EventReport(message, self._encoding)

        return self._stream(choose, limit)

    def subscribe(self, ceid: int, vids: Iterable[int] = (), limit: int = 100_000) -> Stream[Subscribed]:
        """Has the equipment report a collection event with the values of these variables, whenever
        communications are established; without variables with the reports that it has."""
        given = list(vids)
        number = ffi.new("int32_t *")

        def forget(_: object) -> None:
            self._subscriptions.discard(stream)
            self._calls.discard(user)
            if self._handle is not None:
                lib.velto_gem_unsubscribe(self._handle, number[0])

        stream: Stream[Subscribed] = Stream(limit, forget)
        user = ffi.new_handle((self, stream))
        array = ffi.new("uint32_t[]", given)
        check(lib.velto_gem_subscribe(self._open(), ceid, array, len(given), _reported, user, number))
        self._calls.add(user)
        self._subscriptions.add(stream)
        return stream

    async def subscribed(self, timeout: float | None = None) -> None:
        """Waits until every subscription is in force or was refused."""

        async def in_force() -> None:
            while lib.velto_gem_subscribed(self._open()) != 1:
                await self.Received.wait()

        await asyncio.wait_for(in_force(), timeout)


def _address(address: str | None, listen: int | None) -> str:
    if (address is None) == (listen is None):
        raise ValueError("either a port to listen on or an address to connect to is due")
    return address if address is not None else f"listen:{listen}"


def _text(value: Any) -> str:
    return raw(value).decode("latin-1")


@ffi.callback("void(void *, velto_control *, velto_outcome, const void *, size_t, const char *)")  # type: ignore[misc]
def _replied(user: Any, _control: Any, outcome: int, data: Any, length: int, reason: Any) -> None:
    gem, answered = ffi.from_handle(user)
    gem._calls.discard(user)
    if answered.done():
        return  # whoever asked waits no more
    message = Message.from_bytes(ffi.buffer(data, length)[:]) if length else None
    if message is not None and outcome == Outcome.ANSWERED:
        answered.set_result(message)
    else:
        text = ffi.string(reason).decode("latin-1")
        answered.set_exception(RequestError(Outcome(outcome), text, message))


@ffi.callback("void(void *, velto_control *, uint32_t, const char *, const void *, size_t)")  # type: ignore[misc]
def _reported(user: Any, _control: Any, ceid: int, name: Any, data: Any, length: int) -> None:
    gem, stream = ffi.from_handle(user)
    try:
        rows = items.decode(ffi.buffer(data, length)[:], gem._encoding)
        stream.put(Subscribed(ceid, ffi.string(name).decode("latin-1"), Values(rows)))
    except BaseException as error:
        gem.loop.failed(error, "a subscription")


@ffi.callback("int(void *, velto_control *, const char *, const void *, size_t)", error=_CANNOT_NOW)  # type: ignore[misc]
def _commanded(user: Any, _control: Any, name: Any, data: Any, length: int) -> int:
    gem, handler = ffi.from_handle(user)
    try:
        values = items.decode(ffi.buffer(data, length)[:], gem._encoding)
        command = Command(ffi.string(name).decode("latin-1"), dict(values), {})
        return int(gem._carry_out(command, handler))
    except BaseException as error:
        gem.loop.failed(error, "a command")
        return _CANNOT_NOW
