"""Equipment and host as coroutines meet them."""

import asyncio
import gc
import unittest

import velto
from support import free_port, pair
from velto import U1, U4, Message, Outcome
from velto.gem import Equipment, Host, Overrun, RequestError


class Gem(unittest.IsolatedAsyncioTestCase):
    async def test_requests_bring_values_or_the_reason(self):
        async with pair() as (tool, host):
            tool.VIDValue[101] = 19.75
            reply = await host.request("s1f3w{<u4 101>}", timeout=5)
            self.assertEqual(reply.value, [19.75])
            reply = await tool.request(Message(1, 1))
            self.assertEqual((reply.stream, reply.function), (1, 2))
            replies = await asyncio.gather(*(host.request(Message(1, 3, [U4(101)])) for _ in range(50)))
            self.assertEqual([r.value for r in replies], [[19.75]] * 50)
            ignored = asyncio.ensure_future(host.request("s1f1w"))
            await asyncio.sleep(0)
            ignored.cancel()
            for primary, outcome in [
                ("s1f2", Outcome.NOT_SENT),
                ("s64f1w", Outcome.REFUSED),
                ("s1f3w{<u4 101>}", Outcome.GONE),
            ]:
                asked = asyncio.ensure_future(host.request(primary))
                if outcome == Outcome.GONE:
                    await asyncio.sleep(0)
                    host.close()
                with self.subTest(primary), self.assertRaises(RequestError) as raised:
                    await asked
                self.assertEqual(raised.exception.outcome, outcome)
                self.assertTrue(raised.exception.reason)
            with self.assertRaises(velto.Error):
                await host.request("s1f1w")
        gc.collect()

    async def test_a_request_ends_when_its_time_is_over(self):
        async with pair() as (tool, host):
            tool.AutoReply = False
            with self.assertRaises(RequestError) as raised:
                await host.request("s1f1w", timeout=0.05)
            self.assertEqual(raised.exception.outcome, Outcome.TIMED_OUT)

    async def test_events_come_with_their_values(self):
        async with pair("utf-8") as (tool, host):
            events = host.events()
            subscription = host.subscribe(12, [101, 202])
            await host.subscribed(10)
            tool.VIDValue[101] = 1.5
            tool.VIDValue[202] = "\u20ac".encode()
            for _ in range(3):
                self.assertTrue(tool.InvokeEvent(12))
            for _ in range(3):
                event = await events.__anext__()
                self.assertEqual((event.ceid, event.values), (12, [1.5, "\u20ac"]))
                told = await subscription.__anext__()
                self.assertEqual(told.values["Chamber pressure"], 1.5)
                self.assertEqual((told.values[202], list(told.values)), ("\u20ac", ["Chamber pressure", "Lot ID"]))
                with self.assertRaises(KeyError):
                    told.values[999]
            subscription.close()
            host.close()
            self.assertEqual([event async for event in events], [])
            self.assertEqual([event async for event in subscription], [])

    async def test_who_takes_too_little_hears_of_it(self):
        async with pair() as (tool, host):
            events = host.events(limit=2)
            every = host.messages()
            for _ in range(4):
                tool.InvokeEvent(21)
            for _ in range(4):
                await every.__anext__()
            taken = []
            with self.assertRaises(Overrun):
                async for event in events:
                    taken.append(event.ceid)
            self.assertEqual(taken, [21, 21])

    async def test_commands(self):
        async with pair() as (tool, host):
            done = asyncio.Event()

            def refuse(command):
                command.faults["LOT"] = 2
                return 3

            async def later(command):
                await asyncio.sleep(0)
                self.assertEqual(command.values, {"LOT": "L1", "SLOT": 3})
                done.set()

            def broken(command):
                raise ValueError("no")

            for handler, hcack in [(refuse, 3), (later, 4), (broken, 2), (lambda c: None, 0), (None, 0)]:
                asyncio.get_running_loop().set_exception_handler(lambda *_: None)
                tool.on_command("START", handler)
                start = Message(2, 41, ["START", [["LOT", "L1"], ["SLOT", U1(3)]]])
                code, faults = (await host.request(start, 5)).value
                self.assertEqual(code, bytes([hcack]))
                self.assertEqual(faults, [["LOT", b"\2"]] if hcack == 3 else [])
            await asyncio.wait_for(done.wait(), 5)

    async def test_own_messages_have_own_answers(self):
        async with pair() as (tool, host):
            for answer in (Message(64, 2, [1, 2.5]), "s64f2{<u4 1><f8 2.5>}"):
                tool.on_message(64, 1, lambda message: answer)
                self.assertEqual((await host.request("s64f1w")).value, [1, 2.5])
            failures = []
            asyncio.get_running_loop().set_exception_handler(lambda _, context: failures.append(context))
            tool.on_message(64, 1, lambda message: 1 / 0)
            with self.assertRaises(RequestError):
                await host.request("s64f1w")
            self.assertEqual(len(failures), 1)
            tool.on_message(64, 1, None)
            with self.assertRaises(RequestError):
                await host.request("s64f1w")

    async def test_problems_are_logged_and_wrong_starts_raise(self):
        with self.assertRaises(ValueError):
            Host()
        for start in (lambda: Host("x:y"), lambda: Equipment("none.model", listen=0)):
            with self.assertRaises(velto.Error):
                start()
        async with Host(f"127.0.0.1:{free_port()}") as host:
            host.T5 = 1
            with self.assertLogs("velto", "WARNING") as logged:
                await host.Problem.wait(5)
            self.assertIn("problem", logged.output[0])
            with self.assertRaises(asyncio.TimeoutError):
                await host.connect(0.05)
