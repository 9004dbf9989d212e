"""A tool without hardware: START, PAUSE, RESUME and STOP do what they say, and wafers go through it.

    simulator.py [PORT [MODEL]]"""

import asyncio
import random
import sys

import velto

PRESSURE, LOT, WAFER = 101, 202, 203
ETCH_STARTED, ETCH_COMPLETED, PRESSURE_DRIFTING = 11, 12, 3001


async def etch(tool, lot, running):
    tool.VIDValue[LOT] = lot
    for slot in range(1, 26):
        await running.wait()
        tool.VIDValue[WAFER] = f"{lot}.{slot:02}"
        tool.VIDValue[PRESSURE] = random.uniform(19, 21)
        tool.InvokeEvent(ETCH_STARTED)
        tool.InvokeAlarm(PRESSURE_DRIFTING, 0x80 if slot % 2 else 0)  # ALCD: set, cleared
        await asyncio.sleep(0.02)
        tool.InvokeEvent(ETCH_COMPLETED)


async def main(port=5000, model="etch_tool.model"):
    running, work = asyncio.Event(), []
    async with velto.gem.Equipment(model, listen=int(port)) as tool:

        def start(command):
            if work and not work[-1].done():
                return 2  # cannot perform now
            running.set()
            work.append(asyncio.ensure_future(etch(tool, command.values["LOT"], running)))

        tool.on_command("START", start)
        tool.on_command("PAUSE", lambda command: running.clear())
        tool.on_command("RESUME", lambda command: running.set())
        tool.on_command("STOP", lambda command: None if work and work[-1].cancel() else 2)
        await tool.Disconnected.wait()


asyncio.run(main(*sys.argv[1:]))
