"""Reads the equipment constants of a tool and sets one. equipment.py is the other side.

    constants.py [ADDRESS]"""

import asyncio
import sys

import velto
from velto import F4, U4, Message

REFLECTED_POWER_LIMIT = 303


async def main(address="127.0.0.1:5000"):
    async with velto.gem.Host(address) as host:
        host.T5 = 1
        await host.connect(timeout=20)
        names = (await host.request("s2f29w{}")).value
        values = (await host.request("s2f13w{}")).value
        for (ecid, name, lowest, highest, _, unit), value in zip(names, values):
            print(f"{ecid} {name}: {value} {unit} ({lowest} to {highest})")

        for watts in (30, 900):
            change = Message(2, 15, [[U4(REFLECTED_POWER_LIMIT), F4(watts)]])
            eac = (await host.request(change)).value
            print(f"{watts} W: {'taken' if eac == bytes([0]) else 'refused'}")


asyncio.run(main(*sys.argv[1:]))
