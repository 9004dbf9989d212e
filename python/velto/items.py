"""SECS-II items (SEMI E5 9) as Python values, both ways.

| item               | Python                                                  |
| L                  | list                                                    |
| A, J, localized    | str                                                     |
| B                  | bytes                                                   |
| one number, BOOLEAN | int, float, bool                                       |
| several, or none   | tuple                                                   |

The other way an int becomes U4 (I4, U8, I8 where it does not fit), a float F8; `U1(5)`, `F4(1.5, 2)`,
`A("text", "shift_jis")` name the format."""

from __future__ import annotations

import struct
from typing import Any, Sequence, Tuple, Union

DEPTH = 128  # levels of lists, as the library decodes them
LONGEST = 0xFFFFFF  # what three length bytes can state

_LIST, _BINARY, _BOOLEAN, _ASCII, _JIS, _LOCALIZED = 0o00, 0o10, 0o11, 0o20, 0o21, 0o22
_NUMBERS = {
    0o30: ("I8", "q"), 0o31: ("I1", "b"), 0o32: ("I2", "h"), 0o34: ("I4", "i"),
    0o40: ("F8", "d"), 0o44: ("F4", "f"),
    0o50: ("U8", "Q"), 0o51: ("U1", "B"), 0o52: ("U2", "H"), 0o54: ("U4", "I"),
}  # fmt: skip
_CODES = {name: code for code, (name, _) in _NUMBERS.items()}
_SIZES = {code: struct.calcsize(">" + letter) for code, (_, letter) in _NUMBERS.items()}
# The character sets of a localized text, by the number in front of it.
_CHARACTER_SETS = {
    1: "utf-16-be", 2: "utf-8", 3: "ascii", 4: "latin-1", 5: "iso8859_11", 6: "tis_620",
    8: "shift_jis", 9: "euc_jp", 10: "euc_kr", 11: "gb18030", 12: "gb2312", 13: "big5",
}  # fmt: skip
# An item of one number by its head: the format byte, and the length in one byte.
_ONE = {
    bytes([code << 2 | 1, _SIZES[code]]): (struct.Struct(">" + letter).unpack_from, 2 + _SIZES[code])
    for code, (_, letter) in _NUMBERS.items()
}


class ItemError(ValueError):
    """Bytes that are no item, or a value that no item can hold."""


class Item:
    """A value with its format, to be encoded."""

    __slots__ = ("code", "data")

    def __init__(self, code: int, data: bytes) -> None:
        self.code = code
        self.data = data

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Item) and (self.code, self.data) == (other.code, other.data)

    def __hash__(self) -> int:
        return hash((self.code, self.data))

    def __repr__(self) -> str:
        return f"Item({self.code:#o}, {self.data!r})"


Encodable = Union[None, bool, int, float, str, bytes, Item, Sequence[Any], Tuple[Any, ...]]


def _array(name: str, values: Sequence[float]) -> Item:
    code = _CODES[name]
    try:
        return Item(code, struct.pack(f">{len(values)}{_NUMBERS[code][1]}", *values))
    except (struct.error, OverflowError, TypeError) as error:
        raise ItemError(f"{values!r} is not {name}: {error}") from None


def I1(*values: int) -> Item: return _array("I1", values)
def I2(*values: int) -> Item: return _array("I2", values)
def I4(*values: int) -> Item: return _array("I4", values)
def I8(*values: int) -> Item: return _array("I8", values)
def U1(*values: int) -> Item: return _array("U1", values)
def U2(*values: int) -> Item: return _array("U2", values)
def U4(*values: int) -> Item: return _array("U4", values)
def U8(*values: int) -> Item: return _array("U8", values)
def F4(*values: float) -> Item: return _array("F4", values)
def F8(*values: float) -> Item: return _array("F8", values)
def B(*values: int) -> Item: return Item(_BINARY, _array("U1", values).data)
def Boolean(*values: bool) -> Item: return Item(_BOOLEAN, bytes(map(bool, values)))


def A(text: str, encoding: str = "latin-1") -> Item:
    return Item(_ASCII, _text(text, encoding))


def J(text: str, encoding: str = "shift_jis") -> Item:
    return Item(_JIS, _text(text, encoding))


def Localized(text: str, character_set: int = 2) -> Item:
    """A text with the number of its character set in front: 1 UCS-2, 2 UTF-8, 8 Shift JIS ..."""
    if character_set not in _CHARACTER_SETS:
        raise ItemError(f"there is no character set {character_set}")
    head = struct.pack(">H", character_set)
    return Item(_LOCALIZED, head + _text(text, _CHARACTER_SETS[character_set]))


def _text(text: str, encoding: str) -> bytes:
    try:
        return text.encode(encoding)
    except UnicodeEncodeError as error:
        raise ItemError(str(error)) from None


def _head(code: int, length: int) -> bytes:
    if length > LONGEST:
        raise ItemError(f"an item of {length} is too long")
    size = 1 if length < 0x100 else 2 if length < 0x10000 else 3
    return bytes([code << 2 | size]) + length.to_bytes(size, "big")


def _leaf(value: Encodable, encoding: str) -> Item:
    if isinstance(value, Item):
        return value
    if isinstance(value, bool):
        return Boolean(value)
    if isinstance(value, int):
        fitting = [n for n in ("U4", "I4", "U8", "I8") if _fits(value, n)]
        return _array(fitting[0] if fitting else "U8", [value])
    if isinstance(value, float):
        return F8(value)
    if isinstance(value, str):
        return A(value, encoding)
    if isinstance(value, (bytes, bytearray)):
        return Item(_BINARY, bytes(value))
    if isinstance(value, tuple):
        return _tuple(value)
    raise ItemError(f"there is no item for {type(value).__name__}")


def _fits(value: int, name: str) -> bool:
    bits = 8 * int(name[1])
    return 0 <= value < 1 << bits if name[0] == "U" else -(1 << bits - 1) <= value < 1 << bits - 1


def _tuple(values: tuple[Any, ...]) -> Item:
    if not all(isinstance(value, (bool, int, float)) for value in values):
        raise ItemError("a tuple is an array of numbers; a list is a list")
    if values and all(isinstance(value, bool) for value in values):
        return Boolean(*values)
    if any(isinstance(value, float) for value in values):
        return F8(*values)
    for name in ("U4", "I4", "U8", "I8"):
        if all(_fits(value, name) for value in values):
            return _array(name, values)
    raise ItemError(f"{values!r} fits no array of integers")


def encode(value: Encodable, encoding: str = "latin-1") -> bytes:
    """The bytes of an item; of None there are none, a body without an item."""
    out: list[bytes] = []
    if value is not None:
        _encode(value, encoding, out, 0)
    return b"".join(out)


def _encode(value: Encodable, encoding: str, out: list[bytes], depth: int) -> None:
    if isinstance(value, list):
        if depth == DEPTH:
            raise ItemError(f"lists are at most {DEPTH} deep")
        out.append(_head(_LIST, len(value)))
        for child in value:
            _encode(child, encoding, out, depth + 1)
        return
    item = _leaf(value, encoding)
    out.append(_head(item.code, len(item.data)) + item.data)


def decode(data: bytes, encoding: str = "latin-1") -> Any:
    """The Python value of an item's bytes; None when there are none."""
    if not data:
        return None
    try:
        values, end = _decode(data, 0, 1, encoding, 0)
    except (IndexError, struct.error):
        raise ItemError("the item is longer than its bytes") from None
    except UnicodeDecodeError as error:
        raise ItemError(str(error)) from None
    if end != len(data):
        raise ItemError("there are bytes behind the item")
    return values[0]


def _decode(data: bytes, at: int, count: int, encoding: str, depth: int) -> tuple[list[Any], int]:
    if depth > DEPTH:
        raise ItemError(f"lists are at most {DEPTH} deep")
    values: list[Any] = []
    for _ in range(count):
        one = _ONE.get(data[at : at + 2])
        if one is not None:
            values.append(one[0](data, at + 2)[0])
            at += one[1]
            continue
        size = data[at] & 3
        code = data[at] >> 2
        if size == 0:
            raise ItemError("an item without a length")
        if len(data) < at + 1 + size:
            raise IndexError
        length = data[at + 1] if size == 1 else int.from_bytes(data[at + 1 : at + 1 + size], "big")
        at += 1 + size
        if code == _LIST:
            children, at = _decode(data, at, length, encoding, depth + 1)
            values.append(children)
            continue
        end = at + length
        if end > len(data):
            raise IndexError
        values.append(_value(code, data[at:end], encoding))
        at = end
    return values, at


def _value(code: int, data: bytes, encoding: str) -> Any:
    if code == _ASCII:
        return data.decode(encoding)
    if code == _BINARY:
        return data
    if code == _BOOLEAN:
        return data != b"\0" if len(data) == 1 else tuple(byte != 0 for byte in data)
    if code == _JIS:
        return data.decode("shift_jis")
    if code == _LOCALIZED:
        if len(data) < 2:
            raise ItemError("a localized text without its character set")
        return data[2:].decode(_CHARACTER_SETS.get(data[0] << 8 | data[1], "latin-1"))
    if code not in _NUMBERS:
        raise ItemError(f"there is no format {code:#o}")
    if len(data) % _SIZES[code]:
        raise ItemError(f"{len(data)} bytes are no {_NUMBERS[code][0]}")
    values = struct.unpack(f">{len(data) // _SIZES[code]}{_NUMBERS[code][1]}", data)
    return values[0] if len(values) == 1 else values
