"""The shared library, and what crosses its border: values, texts, failures."""

from __future__ import annotations

import logging
import pathlib
from typing import Any, Iterable, Union

from cffi import FFI

from velto._header import CDEF, LIBRARY, Status

log = logging.getLogger("velto")

ffi: Any = FFI()
ffi.cdef(CDEF)

# A wheel has the library inside; beside a package of the system it is one of the system, too.
_inside = pathlib.Path(__file__).with_name("libvelto.so")
lib: Any = ffi.dlopen(str(_inside) if _inside.exists() else LIBRARY)

# What a member takes. Texts are 8-bit bytes; a str stands for them by ISO 8859-1.
Value = Union[None, bool, int, float, str, bytes]

EMPTY, BOOL, INTEGER, REAL, TEXT = range(5)


class Error(Exception):
    """What a call of the library failed for: its status, and the sentence that says why."""

    def __init__(self, status: Status, sentence: str) -> None:
        super().__init__(sentence)
        self.status = status
        self.sentence = sentence


def last_error() -> str:
    return str(ffi.string(lib.velto_last_error()).decode("latin-1"))


def check(status: int) -> None:
    if status:
        raise Error(Status(status), last_error())


def made(handle: Any) -> Any:
    """A handle that a call has given out."""
    if handle == ffi.NULL:
        raise Error(Status.FAILED, last_error())
    return handle


def text_bytes(text: str | bytes) -> bytes:
    return text.encode("latin-1") if isinstance(text, str) else bytes(text)


def fill(slot: Any, value: Value, keep: list[Any]) -> None:
    """Makes a velto_value of a Python value; `keep` holds what it refers to."""
    if value is None:
        slot.type = EMPTY
    elif isinstance(value, bool):
        slot.type = BOOL
        slot.integer = value
    elif isinstance(value, int):
        slot.type = INTEGER
        slot.integer = value
    elif isinstance(value, float):
        slot.type = REAL
        slot.real = value
    elif isinstance(value, (str, bytes)):
        data = ffi.from_buffer(text_bytes(value))
        keep.append(data)
        slot.type = TEXT
        slot.text = data
        slot.length = len(data)
    else:
        raise TypeError(f"a member takes no {type(value).__name__}")


def arguments(values: Iterable[Value]) -> tuple[Any, list[Any]]:
    """An array of velto_value, and what has to live as long as it."""
    given = list(values)
    array = ffi.new("velto_value[]", len(given))
    keep: list[Any] = []
    for slot, value in zip(array, given):
        fill(slot, value, keep)
    return array, keep


def raw(value: Any) -> bytes:
    """The bytes of a velto_value that is a text."""
    data: bytes = ffi.unpack(value.text, value.length)
    return data


def unpack(value: Any) -> Any:
    """The Python value of a velto_value."""
    kind = value.type
    if kind == TEXT:
        return raw(value).decode("latin-1")
    if kind == INTEGER:
        return value.integer
    if kind == BOOL:
        return value.integer != 0
    return value.real if kind == REAL else None
