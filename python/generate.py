#!/usr/bin/env python3
"""Writes what the package has of the library itself: velto/_header.py from velto.h, and from the type
library velto/controls.py, a typed class of each control, and velto/enumerations.py.

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


def header_module(header, version, library):
    return "\n".join(
        [
            '"""The C interface."""\n',
            "from enum import IntEnum\n",
            f'VERSION = "{version}"',
            f'LIBRARY = "{library}"  # its SONAME\n',
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


def type_of(described):
    """Of a property, a result or an argument: its enumeration, else what its values are."""
    return described.get("enumeration") or TYPES[described["type"]]


def accepted_type(described):
    """What may be given for it: for an enumeration any number, too."""
    kind = type_of(described)
    return f"{kind} | int" if "enumeration" in described else kind


def range_text(member):
    """"0 or more s.", "1 to 5.", "ms."; empty where nothing is known."""
    parts = [member["unit"]] if "unit" in member else []
    if "minimum" in member and "enumeration" not in member:
        least, greatest = member["minimum"], member["maximum"]
        parts.insert(0, f"{least} or more" if greatest == 2**31 - 1 else f"{least} to {greatest}")
    return f" {' '.join(parts)}." if parts else ""


def value_lines(described, call):
    """Gives the value of a call its type."""
    kind = type_of(described)
    if "enumeration" in described:
        return [f"        return {kind}({call})"]
    return [f"        result: {kind} = {call}", "        return result"]


def property_lines(member):
    name, number, kind = member["name"], member["id"], type_of(member)
    settable = member["access"] == "read-write"
    default = f" Default {member['default']!r}." if member.get("default") is not None else ""
    described = docstring(member["help"] + range_text(member) + default)
    lines = ["    @property"]
    if member["arguments"]:
        key = TYPES[member["arguments"][0]["type"]]
        index = "Index" if settable else "ReadOnlyIndex"
        of = f", {kind}" if "enumeration" in member else ""
        return lines + [f"    def {name}(self) -> {index}[{key}, {kind}]:", described,
                        f"        return {index}(self, {number}{of})"]
    lines += [f"    def {name}(self) -> {kind}:", described, *value_lines(member, f"self._get({number})")]
    if settable:
        lines += ["", f"    @{name}.setter", f"    def {name}(self, value: {accepted_type(member)}) -> None:",
                  f"        self._set({number}, value)"]
    return lines


def method_lines(member):
    kind = type_of(member)
    given = [(argument_name(a["name"]), accepted_type(a)) for a in member["arguments"]]
    parameters = "".join(f", {name}: {of}" for name, of in given)
    call = f"self._call({', '.join([str(member['id'])] + [name for name, _ in given])})"
    lines = [f"    def {member['name']}(self{parameters}) -> {kind}:", docstring(member["help"])]
    if kind == "None":
        return lines + [f"        {call}"]
    return lines + value_lines(member, call)


def event_lines(member):
    kinds = ", ".join(type_of(a) for a in member["arguments"])
    makers = [a.get("enumeration") for a in member["arguments"]]
    of = "".join(f", {maker}" for maker in makers) if any(makers) else ""
    event = f"self._event({member['id']}{of})"
    names = ", ".join(argument_name(a["name"]) for a in member["arguments"])
    return ["    @property", f"    def {member['name']}(self) -> Event[Callable[[{kinds}], object]]:",
            docstring(f"handler({names}): {member['help']}"), f"        return {event}"]


WRITERS = {"property": property_lines, "method": method_lines, "event": event_lines}


def control_class(control):
    events = {m["id"]: m["name"] for m in control["members"] if m["kind"] == "event"}
    lines = [f"class {control['name']}(Control):", f'    """{control["help"]}"""', "",
             f'    NAME = "{control["name"]}"', f"    EVENTS = {events!r}"]
    for member in control["members"]:
        lines += [""] + WRITERS[member["kind"]](member)
    return "\n".join(lines)


def enumeration_class(described):
    lines = [f"class {described['name']}({'IntFlag' if described['flags'] else 'Numbers'}):",
             f'    """{described["help"]}"""', ""]
    for value in described["values"]:
        note = f"  # {value['help']}" if value["help"] else ""
        lines.append(f"    {value['name']} = {value['value']}{note}")
    return "\n".join(lines)


def enumerations_module(library):
    names = [described["name"] for described in library["enumerations"]]
    return "\n".join(
        ['"""What the numbers of the controls mean."""\n', "from enum import IntFlag\n",
         "from velto.numbers import Numbers\n", f"__all__ = {names!r}\n\n"]
        + [enumeration_class(described) + "\n\n" for described in library["enumerations"]]
    )


def controls_module(library):
    names = [control["name"] for control in library["controls"]]
    enumerations = ", ".join(described["name"] for described in library["enumerations"])
    return "\n".join(
        ['"""The eight controls, each with its properties, methods and events."""\n',
         "from __future__ import annotations\n", "from typing import Callable\n",
         "from velto.component import Control, Event, Index, ReadOnlyIndex",
         f"from velto.enumerations import ({enumerations})\n",
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
    (folder / "_header.py").write_text(header_module(header, described["version"], library_file.name))
    (folder / "controls.py").write_text(controls_module(described))
    (folder / "enumerations.py").write_text(enumerations_module(described))


if __name__ == "__main__":
    main()
