"""SECS-II messages (SEMI E5): header and body, from and to SML, bytes and Python values."""

from __future__ import annotations

from typing import Any, NamedTuple, Union

from velto import items
from velto._library import check, ffi, lib, raw, text_bytes
from velto.enumerations import VeltoSecsIIVerification

HEADER = 10


class Verification(NamedTuple):
    """What SEMI E5 says of a message: its number (0 is correct) and what is wrong, in words."""

    code: VeltoSecsIIVerification
    finding: str

    def __bool__(self) -> bool:
        return self.code == 0


class Message:
    """`Message(1, 3, [U4(101)])` is S1F3 W; `Message.from_sml("s1f3w{<u4 101>}")` the same."""

    __slots__ = ("header", "body")

    def __init__(
        self,
        stream: int,
        function: int,
        value: items.Encodable = None,
        *,
        wbit: bool | None = None,
        device_id: int = 0,
        system_bytes: int = 0,
        encoding: str = "latin-1",
    ) -> None:
        """`wbit` is that of every primary (odd function) unless told."""
        if not 0 <= stream <= 127 or not 0 <= function <= 255 or not 0 <= device_id <= 0x7FFF:
            raise ValueError("a stream is 0 to 127, a function 0 to 255, a device ID 0 to 32767")
        asks = function % 2 == 1 if wbit is None else wbit
        self.header = (
            device_id.to_bytes(2, "big")
            + bytes([stream | (0x80 if asks else 0), function, 0, 0])
            + system_bytes.to_bytes(4, "big")
        )
        self.body = items.encode(value, encoding)

    @classmethod
    def from_bytes(cls, data: bytes) -> Message:
        """Header and body."""
        if len(data) < HEADER:
            raise ValueError("a message has ten bytes of header")
        message = cls.__new__(cls)
        message.header = bytes(data[:HEADER])
        message.body = bytes(data[HEADER:])
        return message

    @classmethod
    def from_sml(cls, sml: str | bytes) -> Message:
        """Raises Error with the line when the text is no SML."""
        text = text_bytes(sml)
        result = ffi.new("velto_value *")
        check(lib.velto_sml_to_bytes(text, len(text), result))
        return cls.from_bytes(raw(result))

    @classmethod
    def from_hex(cls, text: str) -> Message:
        return cls.from_bytes(bytes.fromhex(text))

    def __bytes__(self) -> bytes:
        return self.header + self.body

    def hex(self) -> str:
        """As the controls that know no items send and receive it."""
        return bytes(self).hex()

    @property
    def stream(self) -> int:
        return self.header[2] & 0x7F

    @property
    def function(self) -> int:
        return self.header[3]

    @property
    def wbit(self) -> bool:
        return self.header[2] >= 0x80

    @property
    def device_id(self) -> int:
        return int.from_bytes(self.header[:2], "big")

    @property
    def system_bytes(self) -> int:
        return int.from_bytes(self.header[6:], "big")

    @property
    def value(self) -> Any:
        """The body as Python values; None without one. Raises ItemError when it is malformed."""
        return items.decode(self.body)

    def decode(self, encoding: str) -> Any:
        """The same with texts in another encoding."""
        return items.decode(self.body, encoding)

    @property
    def sml(self) -> str:
        data = bytes(self)
        result = ffi.new("velto_value *")
        check(lib.velto_bytes_to_sml(data, len(data), result))
        return raw(result).decode("latin-1").replace("\r\n", "\n")

    def verify(self, *, from_equipment: bool, edition: int = 1) -> Verification:
        """Judges the message by SEMI E5; `edition` 0 is the early one."""
        data = bytes(self)
        code = ffi.new("int *")
        result = ffi.new("velto_value *")
        side = not from_equipment  # that of who receives it
        check(lib.velto_verify(data, len(data), edition, side, code, result))
        return Verification(VeltoSecsIIVerification(code[0]), raw(result).decode("latin-1"))

    def reply(self, value: items.Encodable = None) -> Message:
        """The secondary to this primary, with its device ID and system bytes."""
        return Message(
            self.stream,
            self.function + 1,
            value,
            wbit=False,
            device_id=self.device_id & 0x7FFF,
            system_bytes=self.system_bytes,
        )

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Message) and bytes(self) == bytes(other)

    def __hash__(self) -> int:
        return hash(bytes(self))

    def __repr__(self) -> str:
        return f"<S{self.stream}F{self.function}{'W' if self.wbit else ''} {len(self.body)} bytes>"


Sent = Union[Message, str]


def as_message(given: Sent) -> Message:
    """A message, or its SML."""
    return given if isinstance(given, Message) else Message.from_sml(given)
