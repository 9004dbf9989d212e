"""Verifies every message of a folder by SEMI E5: NAME.sml holds one in SML, NAME.hex in hexadecimal.
Those of a folder "equipment" come from the equipment, all others from the host.

    verify_folder.py FOLDER"""

import pathlib
import sys

import velto


def read(path):
    text = path.read_text("latin-1")
    return velto.Message.from_hex(text) if path.suffix == ".hex" else velto.Message.from_sml(text)


def main(folder):
    wrong = 0
    for path in sorted(p for p in pathlib.Path(folder).rglob("*") if p.suffix in (".sml", ".hex")):
        try:
            verdict = read(path).verify(from_equipment=path.parent.name == "equipment")
            finding = verdict.finding
        except (velto.Error, ValueError) as error:
            finding = str(error)
        wrong += finding != ""
        print(f"{path.name}: {finding or 'correct'}")
    return 1 if wrong else 0


sys.exit(main(*sys.argv[1:]))
