#!/usr/bin/env python3
"""Writes what the package has of the library itself: velto/_header.py from velto.h, and
velto/controls.py, a typed class of each control, from the type library.

    generate.py libvelto.so velto.h FOLDER"""

import ctypes
import json
import keyword
import pathlib
import re
import sys

TYPES = {"bool": "bool", "int16": "int", "int32": "int", "text": "str", "none": "None"}
ENUMERATIONS = {"velto_status": "Status", "velto_outcome": "Outcome"}


def declarations(header):
    """velto.h without what only a C compiler reads."""
    text = re.sub(r"/\*.*?\*/", "", header, flags=re.S)
    text = re.sub(r'#ifdef __cplusplus\n.*?#endif', "", text, flags=re.S)
    text = re.sub(r"#.*", "", text).replace("VELTO_API ", "")
    return re.sub(r"\n\s*\n+", "\n", text).strip()


def enumeration(header, name):
    """The class of a C enumeration, with its comments."""
    body = re.search(r"typedef enum \{([^}]*)\} " + name + ";", header).group(1)
    rows = re.findall(r"VELTO_(\w+),?\s*(?:/\*(.*?)\*/)?", body, flags=re.S)
    lines = [f"class {ENUMERATIONS[name]}(IntEnum):"]
    for number, (row, comment) in enumerate(rows):
        note = f"  # {' '.join(comment.split())}" if comment else ""
        lines.append(f"    {row} = {number}{note}")
    return "\n".join(lines)


def header_module(header, version):
    return "\n".join(
        [
            '"""The C interface."""\n',
            "from enum import IntEnum\n",
            f'VERSION = "{version}"\n',
            *(enumeration(header, name) + "\n" for name in ENUMERATIONS),
            f'CDEF = """{declarations(header)}\n"""\n',
        ]
    )


def argument_name(name):
    """lpszIPAddress is ip_address, lVID is vid."""
    plain = re.sub(r"^(lpsz|[a-z])(?=[A-Z])", "", name)
    words = re.sub(r"(?<=[a-z0-9])(?=[A-Z])|(?<=[A-Z])(?=[A-Z][a-z])", "_", plain).lower()
    return words + "_" if keyword.iskeyword(words) else words


def docstring(text):
    return '        """' + text.replace("\\", "\\\\").replace('"""', "'''") + (' """' if text.endswith('"') else '"""')


def property_lines(member):
    name, number, kind = member["name"], member["id"], TYPES[member["type"]]
    settable = member["access"] == "read-write"
    default = f" Default {member['default']!r}." if member.get("default") is not None else ""
    lines = ["    @property"]
    if member["arguments"]:
        key = TYPES[member["arguments"][0]["type"]]
        index = f"{'Index' if settable else 'ReadOnlyIndex'}[{key}, {kind}]"
        return lines + [f"    def {name}(self) -> {index}:", docstring(member["help"]),
                        f"        return {index.split('[')[0]}(self, {number})"]
    lines += [f"    def {name}(self) -> {kind}:", docstring(member["help"] + default),
              f"        value: {kind} = self._get({number})", "        return value"]
    if settable:
        lines += ["", f"    @{name}.setter", f"    def {name}(self, value: {kind}) -> None:",
                  f"        self._set({number}, value)"]
    return lines


def method_lines(member):
    kind = TYPES[member["type"]]
    given = [(argument_name(a["name"]), TYPES[a["type"]]) for a in member["arguments"]]
    parameters = "".join(f", {name}: {of}" for name, of in given)
    call = f"self._call({', '.join([str(member['id'])] + [name for name, _ in given])})"
    lines = [f"    def {member['name']}(self{parameters}) -> {kind}:", docstring(member["help"])]
    if kind == "None":
        return lines + [f"        {call}"]
    return lines + [f"        result: {kind} = {call}", "        return result"]


def event_lines(member):
    kinds = ", ".join(TYPES[a["type"]] for a in member["arguments"])
    names = ", ".join(argument_name(a["name"]) for a in member["arguments"])
    return ["    @property", f"    def {member['name']}(self) -> Event[Callable[[{kinds}], object]]:",
            docstring(f"handler({names}): {member['help']}"), f"        return self._event({member['id']})"]


WRITERS = {"property": property_lines, "method": method_lines, "event": event_lines}


def control_class(control):
    events = {m["id"]: m["name"] for m in control["members"] if m["kind"] == "event"}
    lines = [f"class {control['name']}(Control):", f'    """{control["help"]}"""', "",
             f'    NAME = "{control["name"]}"', f"    EVENTS = {events!r}"]
    for member in control["members"]:
        lines += [""] + WRITERS[member["kind"]](member)
    return "\n".join(lines)


def controls_module(library):
    names = [control["name"] for control in library["controls"]]
    return "\n".join(
        ['"""The eight controls, each with its properties, methods and events."""\n',
         "from __future__ import annotations\n", "from typing import Callable\n",
         "from velto.component import Control, Event, Index, ReadOnlyIndex\n",
         f"__all__ = {names!r}\n\n"]
        + [control_class(control) + "\n\n" for control in library["controls"]]
    )


def main():
    library_file, header_file, folder = map(pathlib.Path, sys.argv[1:])
    library = ctypes.CDLL(str(library_file.resolve()))
    library.velto_type_library.restype = ctypes.c_char_p
    described = json.loads(library.velto_type_library())
    header = header_file.read_text()
    folder.mkdir(parents=True, exist_ok=True)
    (folder / "_header.py").write_text(header_module(header, described["version"]))
    (folder / "controls.py").write_text(controls_module(described))


if __name__ == "__main__":
    main()
