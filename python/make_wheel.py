#!/usr/bin/env python3
"""Packs the built package into a wheel, which runs with any Python from 3.9 on. The same files give
the same bytes.

    make_wheel.py PACKAGE SOURCES FOLDER"""

import base64
import hashlib
import pathlib
import platform
import re
import sys
import zipfile

BUILT = (1980, 1, 1, 0, 0, 0)  # the earliest time that a zip can state


def metadata(version, sources):
    return f"""Metadata-Version: 2.1
Name: velto
Version: {version}
Summary: SEMI equipment communication: SECS-II, HSMS, SECS-I, GEM
License: Apache-2.0
Requires-Python: >=3.9
Requires-Dist: cffi>=1.15
Description-Content-Type: text/markdown

{(sources / "docs/python.md").read_text()}"""


def main():
    package, sources, folder = map(pathlib.Path, sys.argv[1:])
    version = re.search(r'VERSION = "(.*)"', (package / "_header.py").read_text()).group(1)
    tag = f"py3-none-linux_{platform.machine()}"
    info = f"velto-{version}.dist-info"
    files = {f"velto/{path.name}": path.read_bytes() for path in package.iterdir() if path.is_file()}
    files[f"{info}/METADATA"] = metadata(version, sources).encode()
    files[f"{info}/LICENSE"] = (sources / "LICENSE").read_bytes()
    files[f"{info}/WHEEL"] = (
        f"Wheel-Version: 1.0\nGenerator: make_wheel\nRoot-Is-Purelib: false\nTag: {tag}\n".encode()
    )
    record = []
    for name, data in sorted(files.items()):
        digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
        record.append(f"{name},sha256={digest},{len(data)}\n")
    record.append(f"{info}/RECORD,,\n")
    for old in folder.glob("velto-*.whl"):
        old.unlink()
    wheel = folder / f"velto-{version}-{tag}.whl"
    with zipfile.ZipFile(wheel, "w", zipfile.ZIP_DEFLATED) as out:
        for name, data in sorted(files.items()) + [(f"{info}/RECORD", "".join(record).encode())]:
            entry = zipfile.ZipInfo(name, BUILT)
            entry.external_attr = (0o755 if name.endswith(".so") else 0o644) << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            out.writestr(entry, data)
    print(wheel)


if __name__ == "__main__":
    main()
