"""Has a tool etch a lot, and waits for the report of its end. equipment.py is the other side.

    host.py [ADDRESS]"""

import asyncio
import sys

import velto

PRESSURE, LOT, ETCH_COMPLETED = 101, 202, 12


async def main(address="127.0.0.1:5000"):
    async with velto.gem.Host(address) as host:
        host.T5 = 1
        await host.connect(timeout=20)
        etched = host.subscribe(ETCH_COMPLETED, [PRESSURE, LOT])
        await host.subscribed(timeout=10)

        reply = await host.request("s1f3w{<u4 101>}", timeout=5)
        print(f"the pressure is {reply.value[0]} mTorr")

        start = velto.Message(2, 41, ["START", [["LOT", "L0042"]]])
        hcack, _ = (await host.request(start, timeout=5)).value
        print(f"START is answered {hcack[0]}")

        async for event in etched:
            print(f"{event.values['Lot ID']} is etched at {event.values[PRESSURE]} mTorr")
            break


asyncio.run(main(*sys.argv[1:]))
