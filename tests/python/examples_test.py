"""Every example runs to its end, those with another side together with it."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

from support import MODEL, free_port

FOLDER = MODEL.parents[1] / "python/examples"

# The example, its arguments, its other side, and what it prints.
EXAMPLES = [
    ("host", ["127.0.0.1:PORT"], "equipment", ["START is answered 4", "L0042 is etched at 19.75 mTorr"]),
    ("constants", ["127.0.0.1:PORT"], "equipment",
     ["303 Reflected power limit: 20.0 W (0.0 to 500.0)", "30 W: taken", "900 W: refused"]),
    ("collector", ["127.0.0.1:PORT", "wafers.csv", "5"], "simulator", ["5 wafers in wafers.csv"]),
    ("alarms", ["127.0.0.1:PORT", "2"], "simulator",
     ["1001 Interlock: chamber lid open: cleared", "alarm 3001 set: Chamber pressure drifting",
      "alarm 3001 cleared: Chamber pressure drifting"]),
    ("secsi_tcp", ["PORT"], None, ["equipment: <S1F1W 0 bytes>", "host: ['ETCH-1', '1.00']"]),
    ("hsms_links", ["PORT"], None, ["selected: True", "['ETCH-1', '1.00']"]),
    ("items", [], None, ["correct", "event 12, report 10: [19.75, 'L0042', True, b'\\x04', (1, 2, 3)"]),
    ("pressure", [], "equipment", ["0.0"]),
    ("verify_folder", ["messages"], None, ["ask.hex: correct", "report.sml: correct"]),
]  # fmt: skip


class Examples(unittest.TestCase):
    def run_example(self, name, arguments, other):
        port = str(free_port())
        environment = dict(os.environ, PYTHONUNBUFFERED="1", PYTHONIOENCODING="utf-8")
        with tempfile.TemporaryDirectory() as folder:
            shutil.copy(MODEL, folder)
            messages = pathlib.Path(folder, "messages/equipment")
            messages.mkdir(parents=True)
            (messages / "report.sml").write_text("s6f11w{<u4 1><u4 12>{}}")
            (messages.parent / "ask.hex").write_text("00008101000000000001")

            def start(example, given):
                command = [sys.executable, str(FOLDER / f"{example}.py"), *given]
                if example == "pressure":  # as a page has it, with a port in it
                    text = (MODEL.parent / "pressure/pressure.py").read_text()
                    command[1:] = ["-c", text.replace("5014", port).replace("await", "host.T5 = 1; await", 1)]
                return subprocess.Popen(
                    command, cwd=folder, env=environment, text=True,
                    stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                )  # fmt: skip

            partner = start(other, [port]) if other else None
            example = start(name, [argument.replace("PORT", port) for argument in arguments])
            self.addCleanup(lambda: [process.kill() for process in (partner, example) if process])
            output, _ = example.communicate(timeout=30)
            self.assertEqual(example.returncode, 0, output)
            if partner is not None:
                told, _ = partner.communicate(timeout=20)
                self.assertEqual(partner.returncode, 0, told)
            if name == "collector":
                rows = pathlib.Path(folder, "wafers.csv").read_text().splitlines()
                self.assertEqual(rows[0], "time,lot,wafer,pressure")
                self.assertEqual([row.split(",")[2] for row in rows[1:]], [f"L0042.{n:02}" for n in range(1, 6)])
        return output

    def test_each_runs_to_its_end(self):
        for name, arguments, other, prints in EXAMPLES:
            with self.subTest(name):
                output = self.run_example(name, arguments, other)
                for line in prints:
                    self.assertIn(line, output)

    def test_none_is_left_out(self):
        run = {name for name, *_ in EXAMPLES} | {other for _, _, other, _ in EXAMPLES if other}
        self.assertEqual(run, {"pressure"} | {path.stem for path in FOLDER.glob("*.py")})
