import asyncio

import velto


async def main():
    async with velto.gem.Host("127.0.0.1:5014") as host:
        await host.connect(timeout=20)
        reply = await host.request("s1f3w{<u4 101>}", timeout=5)
        print(reply.value[0])


asyncio.run(main())
