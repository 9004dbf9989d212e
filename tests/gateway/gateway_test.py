"""The gateway as a plant runs it: tools on one side, files and a broker on the other."""

import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import time
import unittest
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "bench/gateway"))

import rig as r  # noqa: E402
from mqtt import Client  # noqa: E402
from raw_tool import RawTool  # noqa: E402

try:
    import jsonschema
except ImportError:
    jsonschema = None
try:
    import yaml
except ImportError:
    yaml = None


def needs(program):
    return unittest.skipUnless(shutil.which(program), f"{program} is not installed")


def lines(text):
    """What a sink of lines has written: topics with what was published; of a line only all of it."""
    whole = text[: text.rfind("\n") + 1]
    rows = [json.loads(line) for line in whole.splitlines() if line.startswith("{")]
    return [(row["topic"], row["payload"]) for row in rows]


def topics(found, end):
    return [payload for topic, payload in found if topic.endswith(end)]


def check_schema(found):
    if jsonschema is not None:
        schema = json.loads((ROOT / "docs/gateway.schema.json").read_text())
        for _, payload in found:
            jsonschema.validate(payload, schema)


class Case(unittest.TestCase):
    def setUp(self):
        self.rig = r.Rig()
        self.addCleanup(self.rig.__exit__)

    def fleet(self, tools, *options):
        port = r.free_ports(tools)
        return port, self.rig.fleet(tools, port, *options).start()

    def read(self, name):
        path = self.rig.folder / name
        return path.read_text() if path.exists() else ""


class Configuration(Case):
    def check(self, text):
        (self.rig.folder / "c.toml").write_text(text)
        command = [r.VELTO, "gateway", "c.toml", "--check"]
        ran = subprocess.run(command, cwd=self.rig.folder, text=True, capture_output=True)
        return ran.returncode, ran.stdout + ran.stderr

    def test_says_of_every_error_where_it_is(self):
        tool = '[[tool]]\nname = "a"\naddress = "localhost:5000"\n'
        names = 'names = "etch_tool.model"\n'
        rows = [
            ("site = 3\n" + tool, "1: site: a text is needed"),
            ('site = "a/b"\n' + tool, "1: site: letters, digits, - and _ make a level"),
            ("colour = 1\n" + tool, "1: colour: there is no such key"),
            ('sink = "paper"\n' + tool, "1: sink: stdout, file or mqtt"),
            ('sink = "file"\n' + tool, "1: sink: a table [file] with a path is needed"),
            ('shard = "3/2"\n' + tool, "1: shard: "),
            ('[mqtt]\nbrokers = ["h:0"]\n' + tool, '2: mqtt.brokers: "h:0" is no HOST or HOST:PORT'),
            ('[mqtt]\npassword_file = "none"\n' + tool, "2: mqtt.password_file: none cannot be read"),
            ('[mqtt]\n[mqtt.tls]\nca = "none"\n' + tool, "3: mqtt.tls.ca: none cannot be read"),
            ("[outbox]\nmegabytes = 0\n" + tool, "2: outbox.megabytes: "),
            ("statistics = 1", "tool: at least one [[tool]] is needed"),
            (tool + tool, "5: tool[2].name: another tool has this name"),
            (tool + tool, "6: tool[2].address: another tool has this address"),
            (tool.replace('"a"', '"gateway"'), "2: tool[1].name: topics of this name"),
            (tool.replace("localhost:5000", "secsi:x"), "3: tool[1].address: an address is needed"),
            (tool + 'template = "x"', "4: tool[1].template: there is no [template.x]"),
            (tool + 'names = "none.model"', "4: tool[1].names: none.model"),
            (tool + names + 'events = [{ event = "Moon" }]', '5: tool[1].events[1].event: no names file'),
            (tool + names + 'events = [{ event = 1, values = ["Moon"] }]', "5: tool[1].events[1].values"),
            (tool + "traces = [{ trace = 1 }]", "4: tool[1].traces[1]: trace = NUMBER and values"),
            (tool + "traces = [{ trace = 1, values = [1] }, { trace = 1, values = [2] }]",
             "4: tool[1].traces[2].trace: another entry"),
            (tool + 'polls = [{ name = "p", every = 1, values = [1] },\n'
             ' { name = "p", every = 2, values = [1] }]', "5: tool[1].polls[2].name: another entry"),
            (tool + "device = 40000", "4: tool[1].device: "),
            (tool + 'allow = ["fly"]', '4: tool[1].allow: "fly" begins with none of'),
            (tool + names + 'allow = ["command FLY"]', "5: tool[1].allow: the names file has no command"),
            (tool + 'allow = ["set Power"]', "4: tool[1].allow: \"set Power\": the number of"),
            (tool + 'allow = ["sml s1f3"]', "4: tool[1].allow: \"sml s1f3\": a message is needed"),
            ("site = [", "1: "),
        ]
        for text, problem in rows:
            with self.subTest(text):
                status, output = self.check(text)
                self.assertIn("c.toml:" + problem if problem[0].isdigit() else problem, output)
                self.assertEqual(status, 1)
        _, output = self.check("site = 3\ncolour = 1\n[[tool]]\n")
        told = [int(line) for line in re.findall(r"velto: c.toml:(\d+):", output)]
        self.assertEqual(told, [1, 2, 3, 3], output)

    def test_splits_the_tools_among_the_shards(self):
        counts = []
        for shard in ("1/3", "2/3", "3/3"):
            status, output = self.check(r.config(90, 5000, "", "", shard=shard))
            self.assertEqual(status, 0, output)
            counts.append(int(output.split()[1]))
        self.assertEqual(sum(counts), 90)
        self.assertGreater(min(counts), 15)

    def test_starts_nothing_where_something_is_wrong(self):
        first = self.rig.gateway(r.config(1, 1, r.outbox("used"), ""), "first").start()
        r.wait_for("start", lambda: "1 tools" in first.output())
        rows = [
            ("", r.outbox("no/such/folder/outbox.db"), "no/such/folder/outbox.db"),
            ("", r.outbox("etch_tool.model"), "etch_tool.model: file is not a database"),
            ("", r.outbox("used"), "used: database is locked"),
            ("", 'sink = "file"\n[file]\npath = "no/out"', "no/out: No such file"),
            ('metrics = "here"', "", "metrics"),
        ]
        for head, tail, problem in rows:
            config = head + "\n" + r.config(1, 1, tail, "")
            gateway = self.rig.gateway(config, problem.replace("/", "_")).start()
            self.assertEqual(gateway.child.wait(10), 1)
            self.assertIn(problem, gateway.output())
            self.assertNotIn("{", gateway.output())


class Lines(Case):
    """Standard output and files, which take no broker."""

    def test_publishes_what_the_tools_report(self):
        (self.rig.folder / "s").write_text(
            "every 100 eq.InvokeEvent(12)\nevery 100 eq.InvokeEvent(14)\n"
            "every 150 eq.InvokeAlarm(2001, 129)\nevery 200 eq.InvokeAlarm(2001, 1)\n"
            'eq.VIDValue(202) = "LOT-1"\neq.VIDValue(101) = "12.5"\n'
        )
        port = r.free_ports(1)
        tool = self.rig.process("tool", r.VELTO, "equipment", "--port", port, "--data",
                                "etch_tool.model", "--script", "s", "--quiet").start()
        purpose = """events = [{ event = "Etch completed", values = ["Lot ID", "Chamber pressure"] },
          { event = 14, name = "state changed" }]
        alarms = "all"
        raw = true
        traces = [{ trace = 7, period = 0.1, samples = 1000, group = 2, values = [101, 106] }]
        limits = [{ variable = 101, lower = 1, upper = 100 }]
        polls = [{ name = "p", every = 0.2, values = [101] }]
        """
        gateway = self.rig.gateway(r.config(1, port, "", purpose)).start()
        ends = ("event/Etch_completed", "event/state_changed", "alarm/2001", "trace/7", "values/p")
        r.wait_for("all of it", lambda: all(len(topics(lines(gateway.output()), end)) > 2
                                            for end in ends))
        self.assertEqual(gateway.stop(), 0)
        found = lines(gateway.output())
        event = topics(found, ends[0])[-1]
        own = [report for report in event["reports"] if report["rptid"] > 1000]
        self.assertEqual([len(event["reports"]), len(own)], [4, 1], "the tool's own ones stay")
        self.assertEqual(
            [(v["vid"], v["name"], v["value"], v.get("unit"), v["type"]) for v in own[0]["values"][1:]],
            [(202, "Lot ID", "LOT-1", None, "A"), (101, "Chamber pressure", 12.5, "mTorr", "F4")],
        )
        self.assertRegex(event["tool_time"], r"^20\d\d-\d\d-\d\dT\d\d:\d\d:\d\d\.\d\d$")
        self.assertEqual((event["raw"]["message"], event["raw"]["body"]["format"]), ("S6F11W", "L"))
        self.assertEqual({a["set"] for a in topics(found, ends[2])}, {True, False})
        self.assertEqual(topics(found, ends[2])[0]["text"], "Cooling water flow low")
        trace = topics(found, ends[3])[0]
        self.assertEqual([len(trace["samples"]), len(trace["samples"][0])], [2, 2])
        self.assertEqual(topics(found, ends[4])[0]["values"][0]["unit"], "mTorr")
        sequences = [p["seq"] for _, p in found if "seq" in p]
        self.assertEqual(sequences, list(range(sequences[0], sequences[0] + len(sequences))))
        self.assertNotIn("the tool answers", gateway.output())
        # The tool has kept all of it: the second time there is nothing to define, and no second report.
        again = self.rig.gateway(r.config(1, port, "", purpose), "again").start()
        r.wait_for("events", lambda: len(topics(lines(again.output()), ends[0])) > 3)
        self.assertEqual(len(topics(lines(again.output()), ends[0])[-1]["reports"]), 4)
        self.assertNotIn("the tool answers", again.output())
        # Whatever is published is as the schema has it.
        tool.stop()
        r.wait_for("its state", lambda: topics(lines(again.output()), "tool1/state")[-1]["state"] ==
                   "disconnected")
        self.assertEqual(again.stop(), 0)
        check_schema(found + lines(again.output()))

    def test_begins_a_new_file_where_one_is_full(self):
        port = r.free_ports(4)
        fleet = self.rig.process("fleet", r.VELTO, "fleet", 4, "--connect", f"127.0.0.1:{port}",
                                 "--rate", 3000).start()
        out = 'sink = "file"\n[file]\npath = "out"\nmegabytes = 1\nkeep = 2\n' + r.outbox()
        purpose = r.every_event(f"[{r.COUNT}]")
        gateway = self.rig.gateway(r.config(4, port, out, purpose, address="listen:")).start()
        r.wait_for("three files", lambda: (self.rig.folder / "out.2").exists())
        fleet.stop()
        self.assertEqual(gateway.stop(), 0)
        self.assertFalse((self.rig.folder / "out.3").exists())
        found = lines("".join(self.read(name) for name in ("out.2", "out.1", "out")))
        for tool in range(1, 5):
            sequences = [p["seq"] for _, p in found if p.get("tool") == f"tool{tool}" and "seq" in p]
            self.assertEqual(sequences, list(range(sequences[0], sequences[0] + len(sequences))))
            self.assertGreater(len(sequences), 500)

    def test_acknowledges_what_it_publishes_and_nothing_else(self):
        tool = RawTool()
        self.addCleanup(tool.close)
        gateway = self.rig.gateway(r.config(1, tool.port, "", 'events = "all"')).start()
        tool.accept()
        good, refused = b"\x21\x01\0", b"\x21\x01\1"
        rows = [
            (6, 11, [1, "Door", [["R", ["open"]]]], 12, good),
            (6, 13, [2, 7, [[1, [[101, 5]]]]], 14, good),
            (6, 13, [3, 7], 14, refused),
            (6, 11, [4, 7, 5], 0, b""),
            (6, 3, [5, 7, []], 4, refused),
            (6, 9, [b"\1", 6, 7, []], 10, refused),
            (10, 1, [b"\0", "hello"], 2, refused),
            (6, 1, ["T", 1, "20260101120000", [5]], 2, good),
        ]
        for stream, function, body, answer, code in rows:
            self.assertEqual(tool.ask(stream, function, body), (stream, answer, code), body)
        gateway.stop()
        found = [p for _, p in lines(gateway.output()) if "seq" in p]
        self.assertEqual([p["seq"] - found[0]["seq"] for p in found], [0, 1, 2])
        door, annotated, _ = found
        self.assertEqual((door["ceid"], door["name"], door["reports"]),
                         ("Door", "Door", [{"rptid": "R", "values": [{"value": "open", "type": "A"}]}]))
        self.assertEqual(annotated["reports"][0]["values"][0], {
            "vid": 101, "name": "Chamber pressure", "value": 5, "unit": "mTorr", "type": "U4"})

    def test_acknowledges_nothing_that_the_disk_does_not_take(self):
        port, fleet = self.fleet(1, "--rate", 50)
        page = r.free_ports(1)
        out = f'statistics = 1\nmetrics = "127.0.0.1:{page}"\nalive = "alive"\nsink = "file"\n'
        gateway = self.rig.gateway(r.config(1, port, out + '[file]\npath = "/dev/full"', "")).start()
        r.wait_for("a full disk", lambda: "No space left on device" in gateway.output()
                   or not gateway.running())
        if "built without" in gateway.output():
            self.skipTest("the program is built without prometheus-cpp")

        def figures():
            with urllib.request.urlopen(f"http://127.0.0.1:{page}/metrics", timeout=5) as answer:
                found = re.findall(r"^velto_gateway_(\w+) (\S+)$", answer.read().decode(), re.MULTILINE)
            return {name: float(value) for name, value in found}
        r.wait_for("events", lambda: figures()["taken_total"] > 0)
        self.assertEqual([figures()[name] for name in ("tools_communicating", "delivered_total")], [1, 0])
        first = self.read("alive")
        r.wait_for("a sign of life", lambda: self.read("alive") > first > "20")
        fleet.stop()
        self.assertRegex(fleet.output(), r"1 equipments, [1-9]\d* events, 0 acknowledged")
        self.assertEqual(gateway.stop(), 0)

    def test_ends_when_nobody_reads(self):
        port, _ = self.fleet(1)
        gateway = self.rig.gateway(r.config(1, port, "", 'events = "all"'))
        command = [*gateway.command[:2], "gateway.toml"]
        child = subprocess.Popen(command, cwd=self.rig.folder, stdout=subprocess.PIPE,
                                 stderr=subprocess.DEVNULL)
        child.stdout.close()
        self.assertEqual(child.wait(15), 1)


class Documentation(Case):
    def test_its_examples_are_right(self):
        status = subprocess.run([r.VELTO, "gateway", ROOT / "examples/gateway.toml", "--check"],
                                capture_output=True, text=True)
        self.assertEqual(status.stdout.split()[-2:], ["5", "tools"], status.stderr)
        compose = (ROOT / "examples/gateway/compose.toml").read_text()
        page = (ROOT / "docs/gateway.md").read_text() + f"```toml\n{compose}```"
        if yaml is not None:
            for name in ("compose.yaml", "kubernetes.yaml"):
                parts = list(yaml.safe_load_all((ROOT / "examples/gateway" / name).read_text()))
                self.assertEqual([type(part) for part in parts], [dict])
            pod = parts[0]["spec"]["template"]["spec"]["containers"][0]
            probe = pod["livenessProbe"]["exec"]["command"]
            alive = self.rig.folder / "alive"
            for age, status in ((0, 0), (100, 1)):
                alive.touch()
                os.utime(alive, (time.time() - age,) * 2)
                script = probe[2].replace("/run/velto/alive", str(alive))
                self.assertEqual(subprocess.run([*probe[:2], script]).returncode, status)
            self.assertIn("readinessProbe", pod)
        for block in page.split("```toml\n")[1:]:
            text = block.split("```")[0]
            if "[[tool]]" not in text:
                text += '\n[[tool]]\nname = "a"\naddress = "b"\n'
            for secret in ("user", "password", "ca.pem", "client.pem", "client.key"):
                (self.rig.folder / secret).write_text("x")
            (self.rig.folder / "c.toml").write_text(text)
            ran = subprocess.run([r.VELTO, "gateway", "c.toml", "--check"], cwd=self.rig.folder,
                                 capture_output=True, text=True)
            self.assertEqual(ran.returncode, 0, text + ran.stderr)
        keys = set(re.findall(r"^\| `([a-z0-9_.]+)`", page, re.MULTILINE))
        for source in ("config.cc", "tool_reader.cc"):
            text = (ROOT / "apps/gateway" / source).read_text()
            for table in re.findall(r"Keys\[\] = \{(.*?)\}", text, re.DOTALL):
                for key in re.findall(r'"(\w+)"', table):
                    self.assertTrue(any(key in known.split(".") for known in keys), key)


@needs("mosquitto")
class Broker(Case):
    def setUp(self):
        super().setUp()
        self.port = r.free_ports(1)
        self.broker = self.rig.mosquitto(self.port)
        self.found = []

    def client(self, *filters):
        took = lambda topic, payload: self.found.append((topic, json.loads(payload)))  # noqa: E731
        client = Client("test", self.port, list(filters), took)
        self.addCleanup(client.close)
        return client.connected()

    def until(self, client, what, condition, seconds=20):
        def step():
            client.turn(0.05)
            return condition()
        r.wait_for(what, step, seconds, 0)

    def test_takes_requests(self):
        tool, fleet = self.fleet(2)
        self.broker.start()
        client = self.client("velto/fab/#", "elsewhere")
        allow = """allow = ["values", "constants", "set 304", "command START", "recipes", "recipe R",
                 "send_recipe R", "sml"]
        events = "all"\n"""
        config = r.config(1, tool, r.mqtt([self.port]), allow)
        config += f'[[tool]]\nname = "closed"\naddress = "127.0.0.1:{tool + 1}"\nnames = "etch_tool.model"\n'
        gateway = self.rig.gateway(config).start()
        online = lambda name: any(p.get("control") == "online"  # noqa: E731
                                  for p in topics(self.found, f"{name}/state"))
        self.until(client, "both tools", lambda: online("tool1") and online("closed"))
        ok = {"ok": True}
        rows = [
            ("tool1", {"do": "values", "values": ["Chuck temperature", 106]}, ok),
            ("tool1", {"do": "constants", "values": [304]}, ok),
            ("tool1", {"do": "set", "values": {"304": 61.5}}, ok),
            ("tool1", {"do": "sml", "sml": "s1f1w"}, ok),
            ("tool1", {"do": "sml", "sml": "s2f13w{<u4 304>}"}, {"sml": "61.5"}),
            ("tool1", {"do": "recipes"}, {"recipes": []}),
            ("tool1", {"do": "command", "name": "START", "parameters": {"LOT": "a", "SLOT": 1}}, ok),
            ("tool1", {"do": "send_recipe", "name": "R", "sml": "<b 1 2>"}, ok),
            ("tool1", {"do": "set", "values": {"304": 500}}, "out of its range"),
            ("tool1", {"do": "set", "values": {"303": 1}}, "not allowed"),
            ("tool1", {"do": "command", "name": "STOP"}, "not allowed"),
            ("tool1", {"do": "command", "name": "FLY"}, "no command"),
            ("tool1", {"do": "command", "name": "START"}, "LOT is needed"),
            ("tool1", {"do": "command", "name": "START", "parameters": {"SLOT": 999, "LOT": "a"}}, "SLOT"),
            ("tool1", {"do": "values", "values": ["Moon"]}, "no variable Moon"),
            ("tool1", {"do": "sml", "sml": "s1f2"}, "no primary"),
            ("tool1", {"do": "fly"}, "there is no"),
            ("tool1", {"do": "values", "values": [101], "timeout": -1}, "timeout"),
            ("tool1", {"do": "values", "values": [101], "reply_to": "velto/fab/x/state"}, "reply_to"),
            ("tool1", {"do": "values", "values": [101], "reply_to": "$SYS/x"}, "reply_to"),
            ("tool1", {"do": "values", "values": [101], "reply_to": "a\u0001"}, "reply_to"),
            ("tool1", [], "no JSON object"),
            ("closed", {"do": "values", "values": [101]}, "not allowed"),
        ]
        for number, (name, request, _) in enumerate(rows):
            for _ in range(2):  # a broker may deliver one twice; it is done and answered once
                client.publish(f"velto/fab/{name}/request/{number}", json.dumps(request))
        self.until(client, "all answers",
                   lambda: len([1 for topic, _ in self.found if "/reply/" in topic]) >= len(rows))
        client.publish("velto/fab/tool1/request/x",
                       json.dumps({"do": "recipe", "name": "R", "reply_to": "elsewhere"}))
        self.until(client, "the last answer", lambda: topics(self.found, "elsewhere"))
        self.assertIn("<b 0x01 0x02>", topics(self.found, "elsewhere")[0]["sml"])
        for number, (name, request, expected) in enumerate(rows):
            answers = [p for topic, p in self.found if topic == f"velto/fab/{name}/reply/{number}"]
            self.assertEqual(len(answers), 1, request)
            if isinstance(expected, str):
                self.assertIs(answers[0]["ok"], False, request)
                self.assertIn(expected, answers[0]["reason"])
            else:
                self.assertIs(answers[0]["ok"], True, (request, answers))
                for key, value in expected.items():
                    self.assertIn(value, answers[0][key]) if key == "sml" else \
                        self.assertEqual(answers[0][key], value)
        fleet.kill()
        self.until(client, "its state", lambda: topics(self.found, "tool1/state")[-1]["state"] !=
                   "communicating")
        client.publish("velto/fab/tool1/request/late", '{"do": "values", "values": [101]}')
        self.until(client, "refusal", lambda: topics(self.found, "tool1/reply/late"))
        self.assertEqual(topics(self.found, "reply/late")[0]["reason"], "the tool is off-line")
        gateway.kill()
        self.until(client, "last will",
                   lambda: topics(self.found, "gateway1/state")[-1]["state"] == "offline", 40)
        check_schema([one for one in self.found if "/request/" not in one[0]])

    def test_reload_touches_only_what_changed(self):
        port, fleet = self.fleet(3)
        self.broker.start()
        client = self.client("velto/fab/+/state", "velto/fab/+/reply/+")
        out = r.mqtt([self.port])
        purpose = 'allow = ["values"]\nevents = "all"'
        gateway = self.rig.gateway(r.config(2, port, out, purpose)).start()
        def communicating(count):
            return lambda: len({p["tool"] for _, p in self.found
                                if p.get("control") == "online"}) == count
        self.until(client, "two tools", communicating(2))
        before = len(self.found)
        (self.rig.folder / "gateway.toml").write_text("[[tool]]\n")
        gateway.hang_up()
        r.wait_for("refusal", lambda: "the configuration stays as it was" in gateway.output())
        self.rig.gateway(r.config(3, port, out, purpose))
        gateway.hang_up()
        self.until(client, "third tool", communicating(3))
        # What a tool has not answered yet is answered when the gateway lets go of it.
        fleet.child.send_signal(signal.SIGSTOP)
        client.publish("velto/fab/tool2/request/1", '{"do": "values", "values": [101]}')
        client.publish("velto/fab/tool2/request/2", '{"do": "recipes"}')
        self.until(client, "the second answer", lambda: topics(self.found, "tool2/reply/2"))
        self.rig.gateway(r.config(1, port, out, 'alarms = "all"'))
        gateway.hang_up()
        gone = lambda tool: any(  # noqa: E731
            p["state"] == "disconnected" for p in topics(self.found, f"{tool}/state")[-1:])
        self.until(client, "two gone", lambda: gone("tool2") and gone("tool3"))
        fleet.child.send_signal(signal.SIGCONT)
        self.until(client, "the first answer", lambda: topics(self.found, "tool2/reply/1"))
        self.assertIn("has let go", topics(self.found, "tool2/reply/1")[0]["reason"])
        told = [p for _, p in self.found[before:] if p.get("tool") == "tool1"]
        self.assertEqual(told, [], "its link was left alone")
        self.assertIn("reloaded: 1 tools changed, of 3", gateway.output())
        self.assertIn("reloaded: 3 tools changed, of 1", gateway.output())
        # Another gateway has the tool now: the first one is not to say anything of it again.
        client.publish("velto/fab/tool2/state", '{"state": "communicating", "gateway": "other"}', True)
        self.until(client, "the other's word",
                   lambda: topics(self.found, "tool2/state")[-1]["gateway"] == "other")
        self.broker.stop()
        before = len(self.found)
        self.broker.start()
        again = lambda name: topics(self.found[before:], f"{name}/state")  # noqa: E731
        self.until(client, "its own tool's state", lambda: len(again("tool1")) >= 2)
        for _ in range(5):
            client.turn(0.05)
        self.assertEqual({p["gateway"] for p in again("tool2")}, {"other"})

    def test_drops_the_oldest_where_the_outbox_is_full(self):
        port, fleet = self.fleet(4, "--rate", 4000)
        out = "statistics = 1\n" + r.mqtt([self.port]) + r.outbox(more="megabytes = 1\n")
        gateway = self.rig.gateway(r.config(4, port, out, r.every_event(f"[{r.COUNT}]"))).start()
        r.wait_for("nearly full", lambda: "nearly full" in gateway.output())
        r.wait_for("drops", lambda: "the outbox drops its oldest" in gateway.output())
        fleet.stop()
        self.broker.start()
        client = self.client("velto/fab/+/event/+", "velto/fab/gateway/+/state")
        states = lambda: topics(self.found, "gateway1/state")  # noqa: E731
        self.until(client, "all of it",
                   lambda: states() and states()[-1]["taken"] and not states()[-1]["waiting"], 40)
        self.assertIn("acknowledges go out again", gateway.output())
        events = [p for _, p in self.found if p["kind"] == "event"]
        missing = 0
        for tool in {p["tool"] for p in events}:
            sequences = [p["seq"] for p in events if p["tool"] == tool]
            self.assertEqual(sequences, list(range(sequences[0], sequences[0] + len(sequences))))
            missing += sequences[0] - 1
        self.assertGreater(missing, 0)
        self.assertEqual(states()[-1]["dropped"], missing)
        self.assertEqual(gateway.stop(), 0)

    def test_goes_on_behind_what_the_broker_does_not_take(self):
        port, fleet = self.fleet(1, "--rate", 50)
        self.broker.start()
        client = self.client("velto/fab/+/event/+", "velto/fab/gateway/+/state")
        out = "statistics = 1\n" + r.mqtt([self.port], "largest = 1000\n") + r.outbox()
        many = "events = [{ event = 12, values = [101, 102, 103, 104, 105, 106, 107, 108, 109] }]"
        gateway = self.rig.gateway(r.config(1, port, out, many)).start()
        states = lambda: topics(self.found, "gateway1/state")  # noqa: E731
        self.until(client, "a drop", lambda: states() and states()[-1].get("dropped", 0) > 0)
        before = len(self.found)
        self.until(client, "events", lambda: [1 for _, p in self.found[before:] if p["kind"] == "event"])
        self.assertIn("bytes are more than the broker takes", gateway.output())
        self.assertNotIn("Etch completed", {p.get("name") for _, p in self.found})
        fleet.stop()
        self.assertEqual(gateway.stop(), 0)
        self.until(client, "its end", lambda: states()[-1]["state"] == "offline")
        dropped = max(p.get("dropped", 0) for p in states())
        gateway.start()
        self.until(client, "its count", lambda: states()[-1]["state"] == "online")
        self.assertGreaterEqual(states()[-1]["dropped"], dropped)

    def test_a_tool_keeps_what_nobody_takes(self):
        script = "eq.T3 = 1\nevery 50 eq.InvokeEvent(12)\n"
        (self.rig.folder / "s").write_text(script)
        port = r.free_ports(1)
        tool = self.rig.process("tool", r.VELTO, "equipment", "--port", port, "--data",
                                "etch_tool.model", "--script", "s").start()
        self.broker.start()
        client = self.client("velto/fab/+/event/+")
        config = r.config(1, port, r.mqtt([self.port]), 'events = "all"\nspool = [6]')
        gateway = self.rig.gateway(config).start()
        events = lambda: {p["dataid"] for _, p in self.found}  # noqa: E731
        self.until(client, "events", lambda: len(events()) > 5)
        self.broker.stop()
        r.wait_for("spooling", lambda: "Spooling started" in tool.output() or
                   tool.output().count("T3 time out") > 3)
        asked = tool.output().count("<-- S6F23W")
        self.broker.start()
        self.until(client, "events of the spool", lambda: max(events()) > 60)
        self.assertEqual(events(), set(range(min(events()), max(events()) + 1)))
        self.assertGreater(tool.output().count("<-- S6F23W"), asked)
        self.assertIn("is not reachable", gateway.output())

    def test_trusts_only_who_is_to_be_trusted(self):
        for program in ("openssl", "mosquitto_passwd", "mosquitto_rr", "mosquitto_sub"):
            if not shutil.which(program):
                self.skipTest(f"{program} is not installed")
        def make(*command):
            subprocess.run(command, cwd=self.rig.folder, check=True, capture_output=True)
        for name in ("server", "other"):
            make("openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
                 "-nodes", "-keyout", f"{name}.key", "-out", f"{name}.pem", "-subj", "/CN=127.0.0.1",
                 "-addext", "subjectAltName=IP:127.0.0.1", "-days", "2")
        (self.rig.folder / "passwords").touch()
        for user in ("gateway", "operator", "dashboard"):
            make("mosquitto_passwd", "-b", "passwords", user, "secret")
        acl = (ROOT / "docs/gateway.md").read_text().split("```acl\n")[1].split("```")[0]
        (self.rig.folder / "acl").write_text(acl.replace("fab1/etch1", "fab/tool1"))
        port = r.free_ports(1)
        folder = self.rig.folder
        (folder / "tls.conf").write_text(
            f"user root\nlistener {port} 127.0.0.1\nallow_anonymous false\n"
            f"password_file {folder}/passwords\nacl_file {folder}/acl\ncertfile {folder}/server.pem\n"
            f"keyfile {folder}/server.key\n")
        self.rig.process("tls", "mosquitto", "-c", "tls.conf").start()
        (folder / "user").write_text("gateway\n")
        (folder / "right").write_text("secret\n")
        (folder / "wrong").write_text("secrets\n")
        tool, fleet = self.fleet(1, "--rate", 20, "--acknowledges")
        rows = [("server", "wrong", "the broker refuses"), ("other", "right", "is not reachable"),
                ("server", "right", "")]
        for ca, password, problem in rows:
            self.assertNotIn("acknowledged tool1", fleet.output())
            out = r.mqtt([port], f'user_file = "user"\npassword_file = "{password}"\n'
                                              f'[mqtt.tls]\nca = "{ca}.pem"\n')
            purpose = 'events = "all"\nallow = ["values"]'
            gateway = self.rig.gateway(r.config(1, tool, out, purpose), ca + password).start()
            if problem:
                r.wait_for(problem, lambda: problem in gateway.output())
                gateway.stop()

        def run(program, user, *options):
            command = [program, "-h", "127.0.0.1", "-p", str(port), "--cafile", "server.pem", "-u", user,
                       "-P", "secret", *options]
            return subprocess.run(command, cwd=folder, text=True, capture_output=True).stdout
        told = run("mosquitto_sub", "dashboard", "-t", "velto/fab/tool1/event/+", "-C", "1", "-W", "20")
        self.assertEqual(json.loads(told)["kind"], "event")
        for user, seconds in (("dashboard", "1"), ("operator", "20")):
            told = run("mosquitto_rr", user, "-V", "mqttv311", "-q", "1", "-W", seconds,
                       "-t", f"velto/fab/tool1/request/{user}", "-e", f"velto/fab/tool1/reply/{user}",
                       "-m", '{"do": "values", "values": [101]}')
            self.assertEqual('"ok":true' in told, user == "operator", told)

    def test_moves_a_tool_to_another_gateway_without_loss(self):
        port, fleet = self.fleet(8, "--rate", 400, "--spool", "--acknowledges")
        self.broker.start()
        client = self.client("velto/fab/+/event/+")
        gateways = []
        def write(number, shard):
            out = r.mqtt([self.port]) + r.outbox(f"outbox{number}.db")
            name = f"g{number}"
            return self.rig.gateway(r.config(8, port, out, 'events = "all"', name, shard), name)
        for number in (1, 2):
            gateways.append(write(number, f"{number}/2").start())
        counts = lambda: [r.values_of(json.dumps(p)) for _, p in self.found]  # noqa: E731
        tools = lambda: {(e["tool"], e["gateway"]) for e, _ in counts()}  # noqa: E731
        self.until(client, "all tools", lambda: len(tools()) == 8)
        write(1, "2/2"), write(2, "1/2")
        for gateway in gateways:
            gateway.hang_up()
        self.until(client, "all from the other one", lambda: len(tools()) == 16)
        before = len(self.found)
        self.until(client, "more of them", lambda: len(self.found) > before + 400)
        fleet.stop()
        told = {tuple(line.split()[1:]) for line in fleet.output().splitlines()
                if line.startswith("acknowledged ")}
        self.assertGreater(len(told), 400)
        self.until(client, "all that was acknowledged",
                   lambda: told <= {(e["tool"], str(v[r.COUNT])) for e, v in counts()})

    def test_loses_nothing_when_all_are_killed(self):
        command = [sys.executable, str(ROOT / "bench/gateway/kill.py"), "--kills", "1", "--tools", "5",
                   "--rate", "200", "--pause", "0.8"]
        ran = subprocess.run(command, text=True, capture_output=True)
        self.assertEqual(ran.returncode, 0, ran.stdout + ran.stderr)


if __name__ == "__main__":
    unittest.main()
