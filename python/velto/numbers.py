"""What the enumerations of the controls are made of."""

from __future__ import annotations

from enum import IntEnum


class Numbers(IntEnum):
    """An enumeration. A number that it does not name, such as a platform's error, is a value of it all
    the same: `VeltoHsmsError(111).name` is "Unnamed111"."""

    @classmethod
    def _missing_(cls, value: object) -> Numbers | None:
        if not isinstance(value, int):
            return None
        unnamed = int.__new__(cls, value)
        unnamed._name_ = f"Unnamed{value}".replace("-", "Minus")
        unnamed._value_ = value
        return unnamed
