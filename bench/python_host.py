#!/usr/bin/env python3
"""How many event reports (S6F11 of 20 variables) a host in Python takes a second, each decoded to
Python values, from an equipment in a process of its own. Against the built package:

    PYTHONPATH=build/release/python bench/python_host.py [COUNT]

The first number is by the clock, the second by the processor time of the host alone."""

import asyncio
import multiprocessing
import socket
import sys
import time

import velto

VARIABLES = range(101, 121)
F4, STATUS_VARIABLE = 11, 2
AHEAD = 200  # reports that are not acknowledged yet


async def equipment(port, count):
    async with velto.gem.Equipment(listen=port) as tool:
        for vid in VARIABLES:
            tool.RegisterVID(vid, STATUS_VARIABLE, F4, "", "", "0", "V", f"Reading {vid}")
            tool.VIDValue[vid] = vid / 8
        tool.RegisterCEID(12, 255, "Readings")
        tool.SetReportVIDs(10, ",".join(map(str, VARIABLES)))
        tool.LinkReport(12, 10)
        tool.CEIDEnable[12] = True
        gone = asyncio.get_running_loop().create_future()
        tool.Disconnected.add(lambda *_: gone.done() or gone.set_result(None))
        waiting = 0

        def acknowledged(*_):
            nonlocal waiting
            waiting -= 1

        ready = asyncio.get_running_loop().create_future()
        tool.on_message(64, 1, lambda _: ready.set_result(None) or "s64f2")
        await ready
        tool.Received.add(acknowledged)
        for _ in range(count):
            while waiting >= AHEAD:
                await asyncio.sleep(0)
            waiting += 1
            if not tool.InvokeEvent(12):
                raise RuntimeError("the event was not sent")
        await gone


async def host(port, count):
    async with velto.gem.Host(f"127.0.0.1:{port}") as gem:
        gem.T5 = 1
        await gem.connect(20)
        events = gem.events()
        await gem.request("s64f1w")
        start, used = time.perf_counter(), time.process_time()
        for _ in range(count):
            event = await events.__anext__()
            if len(event.values) != len(VARIABLES):
                raise RuntimeError(f"unexpected: {event}")
        return count / (time.perf_counter() - start), count / (time.process_time() - used)


def main():
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 100_000
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        port = probe.getsockname()[1]
    other = multiprocessing.Process(target=lambda: asyncio.run(equipment(port, count)))
    other.start()
    by_clock, by_processor = asyncio.run(host(port, count))
    other.join()
    print(f"{by_clock:.0f} reports a second, {by_processor:.0f} by the host's processor time")


if __name__ == "__main__":
    main()
