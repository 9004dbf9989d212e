"""The pages of the programs in a browser: page_test.py PROGRAM SOURCE_FOLDER [PICTURES].

Exits with 77, which CTest takes for skipped, where there is no browser or no page. The pictures
of all views go to a folder when one is given."""

import json
import pathlib
import re
import subprocess
import sys
import tempfile
import threading
import unittest
import urllib.parse
import urllib.request

from browser import Browser, wait_for

ENTER = "\ue007"
PHONE = (360, 740)
WILD = "<img src=x onerror=\"document.title='taken'\">"


class Program:
    """A program that runs in a folder; what it prints is read as it comes."""

    def __init__(self, folder, *arguments):
        # pylint: disable=consider-using-with
        self.process = subprocess.Popen([PROGRAM, *arguments], cwd=folder, text=True,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.STDOUT)
        self.output = ""
        self.reader = threading.Thread(target=self.read)
        self.reader.start()

    def read(self):
        for line in self.process.stdout:
            self.output += line

    def says(self, pattern):
        return wait_for(lambda: re.search(pattern, self.output), 20)[1]

    def end(self):
        self.process.terminate()
        self.reader.join()
        self.process.stdin.close()
        self.process.stdout.close()
        return self.process.wait()


def act(program, **form):
    """Does what a button of the page does."""
    request = urllib.request.Request(program.says(r"page at (\S+)") + "act", headers={"X-Velto": "1"},
                                     data=urllib.parse.urlencode(form).encode())
    with urllib.request.urlopen(request, timeout=20) as answer:
        return json.load(answer)


class Page(unittest.TestCase):
    """Each test has a browser, an equipment with a page, and no message on its console at the
    end."""

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        model = (SOURCE / "examples/etch_tool.model").read_text()
        (pathlib.Path(self.folder.name) / "etch.model").write_text(model)
        self.equipment = self.start("equipment", "--data", "etch.model", "--port", "0", "--web", "0")
        self.port = self.equipment.says(r"listening on port (\d+)")
        self.browser = Browser()
        self.addCleanup(self.browser.__exit__)

    def start(self, *arguments):
        program = Program(self.folder.name, *arguments)
        self.addCleanup(program.end)
        return program

    def open(self, program):
        self.browser.open(program.says(r"page at (\S+)"))
        wait_for(lambda: self.browser.text("#live") == "live")
        wait_for(lambda: self.browser.text("#tabs") != "")

    def view(self, name, picture=None):
        self.browser.run("location.hash = arguments[0]", name)
        wait_for(lambda: self.browser.run("return document.querySelector('#tabs [aria-current]').dataset.name") == name)
        if PICTURES and picture:
            self.browser.shoot(PICTURES / f"{picture}.png")

    def row(self, key):
        return f"tr[data-key='{key}']"

    def cells(self, key):
        return self.browser.run("return [...document.querySelectorAll(arguments[0])].map(e => e.textContent)",
                                self.row(key) + " td")

    def value(self, key):
        return self.browser.run("return document.querySelector(arguments[0]).value", self.row(key) + " td.value input")

    def answer(self):
        wait_for(lambda: self.browser.run("return !document.querySelector('#answer').hidden"))
        return self.browser.text("#answer")

    def assert_quiet(self):
        self.assertEqual(self.browser.console(), [])

    def host(self):
        host = self.start("host", f"localhost:{self.port}", "--web", "0",
                          "--names", "etch.model")
        wait_for(lambda: "communication: Communicating" in host.output)
        return host

    def test_shows_an_equipment_and_sets_what_it_has(self):
        self.open(self.equipment)
        browser = self.browser
        self.assertIn("ETCH-1", browser.text("#title"))
        self.assertEqual(browser.text(".diagram .present text"), "Not Connected\nDisabled\nRemote\nIDLE\nInactive")
        host = self.host()
        wait_for(lambda: "Selected\nCommunicating" in browser.text(".diagram .present text"))

        self.view("Variables")
        host.process.stdin.write("set 301 55\n")  # an equipment constant, by the host
        host.process.stdin.flush()
        wait_for(lambda: "constant: 301" in self.equipment.output)
        wait_for(lambda: self.value(301) == "55", 1)
        browser.type(self.row(5) + " input", WILD + ENTER)
        wait_for(lambda: self.value(5) == WILD)
        self.assertEqual(self.answer(), "Done.")
        browser.type(self.row(101) + " input", "no number" + ENTER)
        wait_for(lambda: "does not take" in self.answer())

        self.view("Alarms")
        browser.click(self.row(3001) + " .switch span")
        wait_for(lambda: "S5F1" in host.output)
        wait_for(lambda: browser.run("return document.querySelector(arguments[0]).className", self.row(3001)) == "set")
        self.view("Events")
        browser.click(self.row(12) + " button")
        wait_for(lambda: "S6F11" in host.output)

        self.view("Messages")
        wait_for(lambda: "S6F12" in browser.text(".feed .in"))
        browser.click(".feed .out.message")
        self.assertRegex(browser.text(".sml"), r"^S\dF\d")
        self.assertRegex(browser.text(".hex"), r"^00 00 [0-9a-f]{2} ")
        self.view("Overview")
        browser.run("[...document.querySelectorAll('.forms button')].find(b => b.innerText === 'Off-line').click()")
        wait_for(lambda: "Equipment" in browser.text(".diagram .present text"))
        self.assertIn("ETCH-1", browser.run("return document.title"))
        self.assert_quiet()

    def test_sends_the_commands_of_a_host(self):
        host = self.host()
        self.open(host)
        field = ".forms form input"
        for command, answer in [("status 101", r"S1F4[\s\S]*101 Chamber pressure = 0"), ("frob", "there is no command frob"),
                                ("send S1F1W", r"S1F2\n"),
                                ("recipe get R /tmp/x", "files are for the keyboard"),
                                ("text \"20 °C\"", r"S10F4\n")]:
            self.browser.run("document.querySelector('#answer').hidden = true")
            self.browser.type(field, command + ENTER)
            self.assertRegex(self.answer(), answer)
        self.browser.type(field, "half a word")
        act(self.equipment, action="event", key=12)
        act(self.equipment, action="alarm", key=3001, value=1)
        self.browser.run("location.hash = 'Values'")
        wait_for(lambda: self.browser.text(self.row(5)) != "")  # a variable of the event's report
        wait_for(lambda: self.cells(3001)[2:3] == ["set"])
        self.assertEqual(self.cells(101)[1:4], ["Chamber pressure", "0", "mTorr"])
        self.assertEqual(self.browser.run("return document.querySelector(arguments[0]).value", field), "half a word")
        self.view("Overview")
        host.process.stdin.write("wait 1\nwait 1\n")  # a command waits for the one at work
        host.process.stdin.flush()
        self.browser.run("document.querySelector('#answer').hidden = true")
        self.browser.type(field, "are-you-there" + ENTER)
        self.assertRegex(self.answer(), r"S1F2\n")
        self.view("Commands")
        self.assertIn("[SVID…]", self.browser.text(self.row("status")))
        self.assert_quiet()
        self.view("Overview")
        self.browser.type(field, "quit" + ENTER)
        self.assertEqual(host.process.wait(20), 0)

    def test_shows_what_a_spy_sees(self):
        spy = self.start("spy", "listen:0", f"localhost:{self.port}", "--web", "0")
        container = self.start("container", "--web", "0")
        self.open(container)
        container.process.stdin.write("new tool VeltoGem\ntool.DeviceID = 77\ntool.Nothing\n")
        container.process.stdin.flush()
        wait_for(lambda: "Not Connected" in self.browser.text(".diagram"))
        wait_for(lambda: "Nothing" in self.browser.text("#problems"))
        self.view("Properties")
        wait_for(lambda: "77" in self.browser.text(self.row("tool.DeviceID")))

        self.open(spy)
        self.start("host", f"localhost:{spy.says(r'listening on port (.*)')}")
        wait_for(lambda: "S1F13W" in self.browser.run("return document.querySelector('[data-name=Messages] .feed').textContent"))
        self.view("Connections")
        wait_for(lambda: self.cells(1)[2:3] == ["open"])
        self.equipment.end()
        wait_for(lambda: self.cells(1)[2:3] not in ([], ["open"]))
        self.assert_quiet()

    def test_fits_a_phone(self):
        self.browser.resize(*PHONE)
        self.open(self.equipment)
        self.host()
        for name in ("Overview", "Messages", "Alarms", "Variables", "Events", "Counters"):
            self.view(name, f"phone-{name}")
            width = self.browser.run("return document.documentElement.scrollWidth")
            self.assertLessEqual(width, PHONE[0], name)
        self.assert_quiet()

    def test_finds_the_program_again(self):
        self.open(self.equipment)
        url = self.browser.run("return location.href").split("#", maxsplit=1)[0]
        self.equipment.end()
        wait_for(lambda: self.browser.text("#live") == "not connected")
        self.equipment = self.start("equipment", "--data", "etch.model", "--port", "0",
                                    "--web", url.split(":")[-1].strip("/"))
        wait_for(lambda: self.browser.text("#live") == "live", 20)


if __name__ == "__main__":
    PROGRAM, SOURCE = sys.argv[1], pathlib.Path(sys.argv[2])
    PICTURES = pathlib.Path(sys.argv[3]) if len(sys.argv) > 3 else None
    if Browser.missing():
        print("skipped: no", " and no ".join(Browser.missing()))
        sys.exit(77)
    tried = subprocess.run([PROGRAM, "equipment", "--web", "203.0.113.1:0", "--web-token",
                            "0123456789ab"], capture_output=True, text=True, check=False,
                           cwd=tempfile.gettempdir())
    if "built without" in tried.stderr:
        print("skipped:", tried.stderr)
        sys.exit(77)
    unittest.main(argv=sys.argv[:1], verbosity=2)
