"""HSMS without GEM: a passive and an active side, the control messages included.

    hsms_links.py [PORT]"""

import asyncio
import sys

from velto import Message
from velto.controls import VeltoHsms

SELECT_REQ, SELECT_RSP = 1, 2  # SType


def control(stype, system_bytes):
    return f"ffff000000{stype:02x}{system_bytes:08x}"


async def main(port=5011):
    with VeltoHsms() as passive, VeltoHsms() as active:

        @passive.Received.add
        def answer(address, its_port, message):
            primary = Message.from_hex(message)
            select = primary.header[5] == SELECT_REQ
            reply = primary.reply(["ETCH-1", "1.00"]).hex()
            passive.Send(control(SELECT_RSP, primary.system_bytes) if select else reply)

        passive.Server = True
        passive.MyPortNumber = active.PortNumber = int(port)
        passive.Connect = True
        active.IPAddress = "127.0.0.1"
        active.Connect = True
        active.Send(control(SELECT_REQ, 1))
        await active.Received.wait(10)
        print(f"selected: {active.Selected}")
        active.Send(Message(1, 1, system_bytes=2).hex())
        *_, reply = await active.Received.wait(10)
        print(Message.from_hex(reply).value)


asyncio.run(main(*sys.argv[1:]))
