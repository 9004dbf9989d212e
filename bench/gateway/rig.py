"""What the commands and tests of the gateway run: brokers, fleets and gateways as processes, on
ports that are free, in a folder that goes with them."""

import ctypes
import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
VELTO = os.environ.get("VELTO_PROGRAM", str(ROOT / "build/release/apps/velto/velto"))
os.environ["PATH"] += ":/usr/sbin"  # where Debian has the brokers
COUNT = 111  # the variable of the model that counts the events


def own_range():
    """A thousand ports that no other process of this kind uses, below those of outgoing connections,
    with what holds the claim."""
    for first in range(20000, 32000, 1000):
        claim = socket.socket(socket.AF_UNIX)
        try:
            claim.bind(f"\0velto-ports-{first}")
            return claim, iter(range(first, first + 1000))
        except OSError:
            claim.close()
    raise SystemExit("no free ports")


claim, candidates = own_range()


def free_ports(count):
    """The first of as many free ports in a row, which are given out once."""
    for base in candidates:
        taken = []
        try:
            for port in range(base, base + count):
                taken.append(socket.socket())
                taken[-1].setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
                taken[-1].bind(("127.0.0.1", port))
            for _ in range(count):
                next(candidates)
            return base
        except OSError:
            continue
        finally:
            for one in taken:
                one.close()
    raise SystemExit("no free ports")


def die_with_parent():
    """So that nothing stays behind a test that was killed itself."""
    ctypes.CDLL(None).prctl(1, signal.SIGKILL)  # PR_SET_PDEATHSIG


class Process:
    """A program that is started again after it was killed. What it prints goes to NAME.out."""

    def __init__(self, folder, name, command):
        self.folder, self.name, self.command, self.child = folder, name, command, None

    def start(self):
        with open(self.folder / f"{self.name}.out", "ab") as out:
            self.child = subprocess.Popen(self.command, stdout=out, stderr=out, cwd=self.folder,
                                          preexec_fn=die_with_parent)
        return self

    def running(self):
        return self.child is not None and self.child.poll() is None

    def kill(self):
        self.child.kill()
        self.child.wait()

    def stop(self):
        """Its exit status."""
        self.child.terminate()
        try:
            return self.child.wait(20)
        except subprocess.TimeoutExpired:
            self.kill()
            return "no end"

    def hang_up(self):
        self.child.send_signal(signal.SIGHUP)

    def output(self):
        path = self.folder / f"{self.name}.out"
        return path.read_text() if path.exists() else ""


class Rig:
    """A folder with processes, all of which end with it."""

    def __init__(self, keep=False):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="velto-gateway-"))
        self.keep, self.processes = keep, []

        # The example, with the count in every report, so that no event is without it.
        model = (ROOT / "examples/etch_tool.model").read_text()
        model = model.replace(" variables=", f" variables={COUNT},")
        (self.folder / "etch_tool.model").write_text(model)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for process in reversed(self.processes):
            if process.running():
                process.kill()
        if not self.keep:
            shutil.rmtree(self.folder, ignore_errors=True)

    def process(self, name, *command):
        process = Process(self.folder, name, [str(word) for word in command])
        self.processes.append(process)
        return process

    def fleet(self, count, port, *options, name="fleet"):
        return self.process(name, VELTO, "fleet", count, "--port", port, "--data",
                            "etch_tool.model", "--count", COUNT, *options)

    def gateway(self, config, name="gateway"):
        (self.folder / f"{name}.toml").write_text(config)
        return self.process(name, VELTO, "gateway", f"{name}.toml")

    def mosquitto(self, port):
        """It writes what it keeps every second, and passes on whatever it has at once."""
        (self.folder / "mosquitto.conf").write_text(
            f"listener {port} 127.0.0.1\nallow_anonymous true\npersistence true\n"
            f"persistence_location {self.folder}/\nautosave_interval 1\n"
            "autosave_on_changes false\nmax_inflight_messages 0\nmax_queued_messages 0\n"
            "user root\n"
        )
        return self.process("mosquitto", "mosquitto", "-c", self.folder / "mosquitto.conf")

    def nats(self, ports):
        """A cluster of nats-servers that flushes each message; ports of MQTT."""
        routes = free_ports(3 * len(ports)) if len(ports) > 1 else free_ports(2)
        mates = ", ".join(f"nats://127.0.0.1:{routes + i}" for i in range(len(ports)))
        servers = []
        for i, port in enumerate(ports):
            (self.folder / f"nats{i}.conf").write_text(
                f"server_name: n{i}\nlisten: 127.0.0.1:{routes + len(ports) + i}\n"
                f'jetstream {{ store_dir: "{self.folder}/nats{i}" }}\n'
                f"mqtt {{ listen: 127.0.0.1:{port}\n  ack_wait: 5s\n  max_ack_pending: 60000 }}\n"
                f"cluster {{ name: plant, listen: 127.0.0.1:{routes + i}, routes: [{mates}] }}\n"
            )
            servers.append(self.process(f"nats{i}", "nats-server", "-c", f"nats{i}.conf"))
        return servers


def config(tools, port, out, purpose, name="gateway1", shard="1/1",
           address="127.0.0.1:"):
    """A configuration for the tools of a fleet, which are named as the fleet names them."""
    head = f'site = "fab"\nname = "{name}"\nshard = "{shard}"\n{out}\n[template.etch]\n'
    head += f'names = "etch_tool.model"\nt5 = 1\nt7 = 1\nt3 = 10\n{purpose}\n'
    for i in range(tools):
        head += f'[[tool]]\nname = "tool{i + 1}"\naddress = "{address}{port + i}"\n'
        head += 'template = "etch"\n'
    return head


def every_event(values):
    """All that the model of the fleet invokes, each with these variables."""
    ceids = (1, 2, 3, 11, 12, 13, 14, 15, 16, 21, 22, 31, 32, 41, 42, 43, 51, 52)
    rows = ", ".join(f"{{ event = {ceid}, values = {values} }}" for ceid in ceids)
    return f"events = [{rows}]"


def mqtt(ports, more=""):
    brokers = ", ".join(f'"127.0.0.1:{port}"' for port in ports)
    return f'sink = "mqtt"\n[mqtt]\nbrokers = [{brokers}]\n{more}'


def outbox(path="outbox.db", more=""):
    return f'[outbox]\npath = "{path}"\n{more}'


def wait_for(what, condition, seconds=20, pause=0.05):
    until = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > until:
            raise AssertionError(f"not within {seconds} s: {what}")
        time.sleep(pause)


def values_of(payload):
    """The numbers of an event's variables with their values."""
    event = json.loads(payload)
    return event, {v.get("vid"): v["value"] for r in event["reports"] for v in r["values"]}
