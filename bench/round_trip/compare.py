#!/usr/bin/env python3
"""What a round trip (S1F3 of one variable, S1F4) costs more in Python than in C++: both ask the same
equipment, in turns, so that both have the machine as it is just then. After a build of `bench`:

    bench/round_trip/compare.py [BUILD_FOLDER] [COUNT]

Ends with 1 when the middle one of Python takes more than 60 us above that of C++."""

import asyncio
import pathlib
import socket
import statistics
import subprocess
import sys
import tempfile
import time

SOURCES = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else SOURCES / "build/release").resolve()
COUNT = int(sys.argv[2]) if len(sys.argv) > 2 else 5000
TURNS = 5
ALLOWED = 60

sys.path.insert(0, str(BUILD / "python"))
import velto  # noqa: E402


def in_cpp(port):
    program = [BUILD / "bench/velto_round_trip", str(port), str(COUNT)]
    output = subprocess.run(program, check=True, stdout=subprocess.PIPE, text=True).stdout
    return [float(line) for line in output.split()]


async def in_python(port):
    taken = []
    async with velto.gem.Host(f"127.0.0.1:{port}") as host:
        await host.connect(20)
        for _ in range(COUNT):
            start = time.perf_counter()
            reply = await host.request("s1f3w{<u4 101>}", timeout=5)
            reply.value[0]
            taken.append((time.perf_counter() - start) * 1e6)
    return taken


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def main():
    port = free_port()
    model = SOURCES / "examples/etch_tool.model"
    cpp, python = [], []
    with tempfile.TemporaryDirectory() as folder:
        command = [BUILD / "apps/velto/velto", "equipment", f"listen:{port}", "--data", model]
        tool = subprocess.Popen([*command, "--keep", "tool.kel", "--quiet"], cwd=folder)
        try:
            for _ in range(TURNS):
                cpp += in_cpp(port)
                python += asyncio.run(in_python(port))
        finally:
            tool.terminate()
            tool.wait()
    middle = statistics.median(python) - statistics.median(cpp)
    for name, taken in ("C++", cpp), ("Python", python):
        ordered = sorted(taken)
        print(f"{name:6} median {statistics.median(taken):6.1f} us, "
              f"99 of 100 below {ordered[len(ordered) * 99 // 100]:6.1f} us")
    print(f"Python: {middle:+.1f} us")
    return middle > ALLOWED


if __name__ == "__main__":
    sys.exit(main())
