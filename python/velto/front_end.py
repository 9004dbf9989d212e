"""Who shows the operator boxes and property sheets."""

from __future__ import annotations

import json
from typing import Any

from velto._library import check, ffi, lib, text_bytes


class Sheet:
    """A property sheet, as long as FrontEnd.sheet() shows it."""

    def __init__(self, handle: Any, described: dict[str, Any]) -> None:
        self._handle = handle
        self.described = described  # title, pages and their fields

    def set(self, field: str, text: str) -> None:
        """Types a text into the field with this key or label."""
        typed = text_bytes(text)
        check(lib.velto_sheet_set(self._handle, text_bytes(field), typed, len(typed)))

    @property
    def problem(self) -> str:
        """Why the sheet cannot be accepted as it is; "" when it can."""
        return str(ffi.string(lib.velto_sheet_problem(self._handle)).decode("latin-1"))


class FrontEnd:
    """What a program derives its own from, for `Loop.show_by()`. This one shows nothing: boxes vanish,
    sheets are cancelled."""

    def box(self, text: str, title: str, icon: int, cancel: bool) -> bool:
        """Shows a text; `icon` 0 none, 1 stop, 2 question. Whether it ended by OK."""
        return not cancel

    def sheet(self, sheet: Sheet) -> bool:
        """Whether the operator accepted what he has set by Sheet.set()."""
        return False


@ffi.callback("int(void *, const char *, const char *, int, int)")  # type: ignore[misc]
def _box(user: Any, text: Any, title: Any, icon: int, cancel: int) -> int:
    loop, front_end = ffi.from_handle(user)
    try:
        said, named = (ffi.string(part).decode("latin-1") for part in (text, title))
        return int(bool(front_end.box(said, named, icon, cancel != 0)))
    except BaseException as error:
        loop.failed(error, "a box")
        return 0


@ffi.callback("int(void *, velto_sheet *, const char *)")  # type: ignore[misc]
def _sheet(user: Any, handle: Any, described: Any) -> int:
    loop, front_end = ffi.from_handle(user)
    try:
        return int(bool(front_end.sheet(Sheet(handle, json.loads(ffi.string(described))))))
    except BaseException as error:
        loop.failed(error, "a sheet")
        return 0


def callbacks(loop: Any, front_end: FrontEnd) -> tuple[Any, Any]:
    """The table of callbacks for the library, and what has to live as long as the loop."""
    user = ffi.new_handle((loop, front_end))
    table = ffi.new("velto_front_end *")
    table.size = ffi.sizeof("velto_front_end")
    table.user = user
    table.box = _box
    table.sheet = _sheet
    return table, user
