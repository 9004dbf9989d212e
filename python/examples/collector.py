"""Starts a lot and writes what each wafer reports into a CSV file. simulator.py is the other side.

    collector.py [ADDRESS [FILE [WAFERS]]]"""

import asyncio
import csv
import sys
import time

import velto

VARIABLES = {202: "lot", 203: "wafer", 101: "pressure"}
ETCH_COMPLETED = 12


async def main(address="127.0.0.1:5000", file="wafers.csv", wafers=25):
    with open(file, "w", newline="") as out:
        table = csv.writer(out)
        table.writerow(["time", *VARIABLES.values()])
        async with velto.gem.Host(address) as host:
            host.T5 = 1
            events = host.subscribe(ETCH_COMPLETED, VARIABLES)
            await host.connect(timeout=20)
            await host.subscribed(timeout=10)
            await host.request("s2f41w{<a'START'>{{<a'LOT'><a'L0042'>}}}")
            rows = 0
            async for event in events:
                table.writerow([time.time(), *(event.values[vid] for vid in VARIABLES)])
                rows += 1
                if rows == int(wafers):
                    break
    print(f"{rows} wafers in {file}")


asyncio.run(main(*sys.argv[1:]))
