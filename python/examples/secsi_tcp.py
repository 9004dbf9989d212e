"""SECS-I over TCP, as behind a terminal server: a host asks an equipment "are you there?".

    secsi_tcp.py [PORT]"""

import asyncio
import sys

from velto import Message
from velto.controls import VeltoSecsISocket


async def main(port=5010):
    with VeltoSecsISocket() as equipment, VeltoSecsISocket() as host:

        @equipment.Received.add
        def answer(address, its_port, message):
            primary = Message.from_hex(message)
            print(f"equipment: {primary}")
            equipment.Send(primary.reply(["ETCH-1", "1.00"]).hex())

        equipment.Server = True
        equipment.MyPortNumber = int(port)
        equipment.Connect = True
        host.Host = True
        host.IPAddress, host.PortNumber = "127.0.0.1", int(port)
        connected = asyncio.ensure_future(host.Connected.wait(10))
        await asyncio.sleep(0)
        host.Connect = True
        await connected

        host.Send(Message(1, 1, system_bytes=1).hex())
        *_, reply = await host.Received.wait(10)
        print(f"host: {Message.from_hex(reply).value}")


asyncio.run(main(*sys.argv[1:]))
