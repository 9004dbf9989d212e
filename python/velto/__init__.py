"""SEMI equipment communication: the eight Velto controls for Python.

`velto.gem` has a GEM equipment and a GEM host for asyncio; `velto.controls` all eight controls with
typed members, `velto.enumerations` what their numbers mean; `Message` and the item types (`U4`, `A`,
...) are SECS-II messages as Python values."""

from velto._header import VERSION as __version__
from velto._header import Outcome, Status
from velto._library import Error
from velto.front_end import FrontEnd, Sheet
from velto.items import (
    B, F4, F8, I1, I2, I4, I8, J, U1, U2, U4, U8, A, Boolean, Item, ItemError, Localized, decode, encode,
)
from velto.loop import Loop
from velto.message import Message, Verification

from velto import controls, enumerations, gem  # isort: skip

__all__ = [
    "A", "B", "Boolean", "Error", "F4", "F8", "FrontEnd", "I1", "I2", "I4", "I8", "Item", "ItemError", "J",
    "Localized", "Loop", "Message", "Outcome", "Sheet", "Status", "U1", "U2", "U4", "U8", "Verification",
    "__version__", "controls", "decode", "encode", "enumerations", "gem",
]
