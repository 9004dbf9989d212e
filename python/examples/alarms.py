"""Lists the alarms of a tool, switches all on, and shows those that come. simulator.py is the other
side.

    alarms.py [ADDRESS [COUNT]]"""

import asyncio
import sys

import velto

SET = 0x80  # of ALCD


async def main(address="127.0.0.1:5000", count=4):
    async with velto.gem.Host(address) as host:
        host.T5 = 1
        await host.connect(timeout=20)
        for alcd, alid, text in (await host.request("s5f5w<u4>")).value:
            print(f"{alid} {text}: {'set' if alcd[0] & SET else 'cleared'}")
        await host.request("s5f3w{<b 0x80><u4>}")

        messages = host.messages()
        await host.request("s2f41w{<a'START'>{{<a'LOT'><a'L0042'>}}}")
        seen = 0
        async for message in messages:
            if (message.stream, message.function) == (5, 1):
                alcd, alid, text = message.value
                print(f"alarm {alid} {'set' if alcd[0] & SET else 'cleared'}: {text}")
                seen += 1
                if seen == int(count):
                    break


asyncio.run(main(*sys.argv[1:]))
