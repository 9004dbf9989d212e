"""An etch tool: carries out START and reports the end of the etch. Ends when the host has gone.

    equipment.py [PORT [MODEL]]"""

import asyncio
import sys

import velto

PRESSURE, LOT, ETCH_COMPLETED = 101, 202, 12


async def main(port=5000, model="etch_tool.model"):
    async with velto.gem.Equipment(model, listen=int(port)) as tool:

        async def start(command):  # the host gets HCACK 4, and the event when it is done
            print(f"etching {command.values['LOT']}")
            await asyncio.sleep(0.1)
            tool.VIDValue[PRESSURE] = 19.75
            tool.VIDValue[LOT] = command.values["LOT"]
            tool.InvokeEvent(ETCH_COMPLETED)

        tool.on_command("START", start)
        await tool.connect()
        print("the host is there")
        await tool.Disconnected.wait()


asyncio.run(main(*sys.argv[1:]))
