"""The generated classes, events and the loop, alone and inside asyncio."""

import asyncio
import gc
import sys
import threading
import unittest

import velto
from support import free_port
from velto import Status, controls, enumerations


class Members(unittest.TestCase):
    def setUp(self):
        self.loop = velto.Loop()
        self.addCleanup(self.loop.close)

    def test_every_readable_property_of_every_control_has_its_type(self):
        for name in controls.__all__:
            kind = getattr(controls, name)
            control = kind(self.loop)
            for member, described in vars(kind).items():
                if isinstance(described, property):
                    value = getattr(control, member)
                    expected = described.fget.__annotations__["return"].split("[")[0]
                    self.assertEqual(type(value).__name__, expected, f"{name}.{member}")
                    self.assertTrue(described.__doc__, member)

    def test_values_go_both_ways(self):
        gem = controls.VeltoGem(self.loop)
        self.assertTrue(gem.RegisterVID(7, 2, 14, "0", "9", "1", "mm", "Position"))
        self.assertFalse(gem.RegisterVID(7, 2, 14, "0", "9", "1", "mm", "Position"))
        gem.VIDValue[7] = 5
        self.assertEqual((gem.VIDValue[7], gem.VIDUnit[7]), ("5", "mm"))
        gem.VIDUnit[7] = "\xb5m"
        self.assertEqual(gem.VIDUnit[7], "\xb5m")
        gem.DeviceID = "12"
        self.assertEqual(gem.DeviceID, 12)

    def test_numbers_are_those_of_enumerations(self):
        gem = controls.VeltoGem(self.loop)
        transport = enumerations.VeltoGemTransport
        gem.Transport = transport.SecsITcp
        self.assertIs(gem.Transport, transport.SecsITcp)
        self.assertEqual(gem.Transport, 2)
        gem.Capabilities = 9
        bits = enumerations.VeltoGemCapability
        self.assertEqual(gem.Capabilities, bits.RemoteControl | bits.Spooling)
        kind, item = enumerations.VeltoGemVariableType, enumerations.VeltoSecsIIType
        self.assertTrue(gem.RegisterVID(7, kind.DataVariable, item.SecsWord, "", "", "", "", ""))
        self.assertIs(gem.VIDNodeType[7], item.SecsWord)
        gem.VIDNodeType[7] = item.SecsAscii
        self.assertIs(gem.VIDNodeType[7], item.SecsAscii)
        message = controls.VeltoSecsII(self.loop)
        self.assertIs(message.Verify(), enumerations.VeltoSecsIIVerification.VerificationCorrect)
        # What an enumeration does not name is a value of it all the same.
        message.SType = 77
        self.assertEqual((message.SType, message.SType.name), (77, "Unnamed77"))
        with self.assertRaises(ValueError):
            transport("HSMS")
        for part in ("Reply time-out.", " 0 to 2147483 s.", " Default 45."):
            self.assertIn(part, controls.VeltoGem.T3.__doc__)

    def test_failures_are_exceptions_with_status_and_sentence(self):
        link = controls.VeltoHsms(self.loop)
        gone = controls.VeltoHsms(self.loop)
        gone.close()
        gone.close()
        elsewhere = []

        def other_thread():
            with self.assertRaises(velto.Error) as raised:
                link.T3
            elsewhere.append(raised.exception.status)

        thread = threading.Thread(target=other_thread)
        thread.start()
        thread.join()
        self.assertEqual(elsewhere, [Status.WRONG_THREAD])
        for status, sentence, act in [
            (Status.CLOSED, "closed", lambda: gone.T3),
            (Status.WRONG_TYPE, "T3 must be int32", lambda: setattr(link, "T3", "soon")),
            (Status.WRONG_TYPE, "int32", lambda: setattr(link, "T3", 1 << 40)),
            (Status.WRONG_ARGUMENTS, "1 argument", lambda: link._call(23)),
            (Status.FAILED, "=", lambda: link.load("T3")),
        ]:
            with self.subTest(sentence), self.assertRaises(velto.Error) as raised:
                act()
            self.assertEqual(raised.exception.status, status)
            self.assertIn(sentence, raised.exception.sentence)
        for given, error in [({}, TypeError), ("\u20ac", ValueError), (1 << 70, OverflowError)]:
            with self.subTest(given), self.assertRaises(error):
                link.IPAddress = given
        with self.assertRaises(AttributeError):
            link.MyHostName = "x"
        with self.assertRaises(RuntimeError):
            controls.VeltoHsms()  # no asyncio loop runs

    def test_the_bag_and_the_window(self):
        link = controls.VeltoHsms(self.loop)
        link.T6 = 7000
        self.assertTrue(link.modified)
        copy = controls.VeltoHsms(self.loop)
        copy.load(link.save())
        self.assertEqual((copy.T6, link.modified), (7000, False))
        self.assertEqual(link.window()["kind"], "tree")

    def test_boxes_and_sheets_are_shown_by_the_program(self):
        shown = []

        class Typist(velto.FrontEnd):
            def box(self, text, title, icon, cancel):
                shown.append(text)
                return True

            def sheet(self, sheet):
                sheet.set("T6", text)
                shown.append(sheet.problem)
                return text != "broken" or 1 / 0

        self.assertFalse(controls.VeltoHsms(self.loop).show_page())  # nobody shows it
        self.loop.show_by(Typist())
        link = controls.VeltoHsms(self.loop)
        for text, accepted, t6 in [("7000", True, 7000), ("soon", False, 7000)]:
            self.assertEqual(link.show_page(), accepted)
            self.assertEqual(link.T6, t6)
        self.assertEqual(shown[0], "")
        self.assertIn("T6 takes a number", shown[1])
        link.AboutBox()
        self.assertIn("VeltoHsms", shown[-1])
        text = "broken"
        with self.assertLogs("velto", "ERROR"):
            self.assertFalse(link.show_page())

    def test_tasks_of_other_threads_and_a_run_until_quit(self):
        ran = []
        threading.Thread(target=lambda: self.loop.post(lambda: (ran.append(1), self.loop.quit()))).start()
        self.loop.run()
        self.assertEqual(ran, [1])
        self.assertFalse(self.loop.run_once(0))
        with self.assertLogs("velto", "ERROR"):
            self.loop.post(lambda: 1 / 0)
            self.loop.run_once(1)
        self.loop.post(sys.exit)
        with self.assertRaises(SystemExit):
            self.loop.run()


class Events(unittest.IsolatedAsyncioTestCase):
    def sockets(self):
        """A listener, and a client that goes to it once it is told to connect."""
        listener, client = controls.VeltoSocket(), controls.VeltoSocket()
        listener.Server = True
        listener.MyPortNumber = client.PortNumber = free_port()
        listener.Connect = True
        client.IPAddress = "127.0.0.1"
        return listener, client

    async def test_bytes_from_one_to_the_other(self):
        listener, client = self.sockets()
        connected = asyncio.ensure_future(listener.Connected.wait(5))
        await asyncio.sleep(0)
        client.Connect = True
        self.assertEqual((await connected)[0], "127.0.0.1")
        self.assertTrue(client.Send("00ff"))
        *_, data = await listener.Received.wait(5)
        self.assertEqual(data, "00ff")
        listener.close()
        client.close()
        self.assertTrue(client.loop.closed)

    async def test_events_bring_the_numbers_of_enumerations(self):
        with controls.VeltoSocket() as link:
            problem = asyncio.ensure_future(link.Problem.wait(5))
            heard = []
            link.Problem.add(lambda *values: heard.append(values[2]))
            await asyncio.sleep(0)
            link.Send("00")
            self.assertIs(heard[0], enumerations.VeltoSocketError.ErrorSocketCannotSend)
            self.assertIs((await problem)[2], heard[0])

    async def test_a_handler_may_close_everything_and_may_fail(self):
        for act in (lambda c: c.close(), lambda c: c.loop.close(), lambda c: 1 / 0):
            listener, client = self.sockets()
            loop = listener.loop
            failures = []
            asyncio.get_running_loop().set_exception_handler(lambda _, context: failures.append(context))
            listener.Connected.add(lambda *_: act(listener))
            heard = asyncio.get_running_loop().create_future()
            listener.Connected.add(lambda *_: heard.set_result(True))
            client.Connect = True
            await asyncio.wait_for(heard, 5)
            await asyncio.sleep(0)
            if not listener.closed:
                self.assertIsInstance(failures[0]["exception"], ZeroDivisionError)
            listener.close()
            client.close()
            self.assertTrue(loop.closed)
            gc.collect()

    async def test_waiting_has_an_end(self):
        with controls.VeltoSocket() as link:
            with self.assertRaises(asyncio.TimeoutError):
                await link.Received.wait(0.01)
            self.assertEqual(link.Received._handlers, [])
