#!/usr/bin/env python3
"""Kills the broker, the gateway and the tools with SIGKILL at random, again and again, and counts what
arrives: every event whose tool has got its acknowledge is on the bus, each tool's in order, its
sequence numbers without a gap. Against an optimised build and Mosquitto, or a cluster of three
nats-servers:

    bench/gateway/kill.py [--kills 20] [--nats] [--tools 20] [--rate 500] [--seed N] [--keep]
"""

import argparse
import json
import random
import re
import sys
import time

from mqtt import Client
from rig import COUNT, Rig, config, every_event, free_ports, mqtt, outbox, values_of

LIFE = 10_000_000  # a fleet counts its events from a multiple of this on
ACKNOWLEDGED = re.compile(r"acknowledged (\w+) (\d+)\n")


class Consumer:
    """What is on the bus: of each tool the events by their sequence numbers."""

    def __init__(self, name, ports):
        self.events, self.repeated, self.disordered, self.waiting = {}, 0, 0, None
        topics = ["velto/fab/+/event/+", "velto/fab/gateway/+/state"]
        self.client = Client(name, ports, topics, self.took, patience=60)

    def took(self, topic, payload):
        if topic.endswith("/state"):
            self.waiting = json.loads(payload).get("waiting")
            return
        event, values = values_of(payload)
        seen = self.events.setdefault(event["tool"], {})
        if event["seq"] in seen:
            self.repeated += 1
            return
        if seen and event["seq"] < max(seen, default=0):
            self.disordered += 1
        seen[event["seq"]] = values.get(COUNT)

    def run(self, seconds):
        until = time.monotonic() + seconds
        while (left := until - time.monotonic()) > 0:
            self.client.turn(min(left, 0.1))

    def run_until(self, what, condition, seconds=60):
        until = time.monotonic() + seconds
        while not condition():
            if time.monotonic() > until:
                raise SystemExit(f"not within {seconds} s: {what}")
            self.client.turn(0.05)


class Plant:
    def __init__(self, rig, options):
        self.rig, self.options, self.life = rig, options, 0
        port = free_ports(options.tools)
        brokers = 3 if options.nats else 1
        first = free_ports(brokers)
        self.ports = [first + i for i in range(brokers)]
        if options.nats:
            self.brokers = rig.nats(self.ports)
        else:
            self.brokers = [rig.mosquitto(self.ports[0])]
        self.fleet = rig.fleet(options.tools, port, "--rate", options.rate, "--spool",
                               "--acknowledges", "--first", 1)
        out = "statistics = 1\n" + mqtt(self.ports) + outbox()
        self.gateway = rig.gateway(config(options.tools, port, out, every_event(f"[{COUNT}]")))

    def start_fleet(self):
        self.life += 1
        self.fleet.command[-1] = str(self.life * LIFE)
        self.fleet.start()

    def acknowledged(self):
        found = {}
        for tool, count in ACKNOWLEDGED.findall(self.fleet.output()):
            found.setdefault(tool, set()).add(int(count))
        return found

    def kill(self, what):
        if what == "broker":
            victim = random.choice(self.brokers)
            victim.kill()
            return victim.start
        victim = getattr(self, what)
        victim.kill()
        return self.start_fleet if what == "fleet" else victim.start


def judged(plant, consumer):
    """What is wrong, a line each."""
    wrong, acknowledged = [], plant.acknowledged()
    for tool, counts in acknowledged.items():
        seen = consumer.events.get(tool, {})
        lost = counts - set(seen.values())
        if lost:
            wrong.append(f"{tool}: {len(lost)} acknowledged events are lost: {sorted(lost)[:5]}")
        gaps = set(range(1, max(seen, default=0) + 1)) - set(seen)
        if gaps:
            wrong.append(f"{tool}: {len(gaps)} sequence numbers are missing: {sorted(gaps)[:5]}")
        first = {}
        for sequence in sorted(s for s in seen if seen[s] is not None):
            first.setdefault(seen[sequence], sequence)
        counts = list(first)
        if counts != sorted(counts):
            late = [b for a, b in zip(counts, counts[1:]) if b < a]
            wrong.append(f"{tool}: {len(late)} events are behind later ones: {late[:5]}")
    if not acknowledged:
        wrong.append("no tool has got an acknowledge")
    # A cluster delivers again what a consumer has not acknowledged, behind what it has sent since:
    # the sequence numbers tell.
    if consumer.disordered and not plant.options.nats:
        wrong.append(f"{consumer.disordered} came behind a later sequence number")
    return wrong


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--kills", type=int, default=20, help="of each of the three")
    parser.add_argument("--nats", action="store_true", help="a cluster of three nats-servers")
    parser.add_argument("--tools", type=int, default=20)
    parser.add_argument("--rate", type=int, default=500, help="events a second of all tools")
    parser.add_argument("--pause", type=float, default=1.5, help="mean seconds between two kills")
    parser.add_argument("--seed", type=int, default=int(time.time()))
    parser.add_argument("--keep", action="store_true", help="keeps the folder")
    options = parser.parse_args()
    random.seed(options.seed)
    with Rig(options.keep) as rig:
        print(f"seed {options.seed}, folder {rig.folder}")
        plant = Plant(rig, options)
        for broker in plant.brokers:
            broker.start()
        consumer = Consumer("consumer", plant.ports)
        consumer.client.connected()
        consumer.run(1.5)  # until the broker has written the subscription
        plant.start_fleet()
        plant.gateway.start()
        consumer.run_until("events of all tools", lambda: len(consumer.events) == options.tools)
        victims = ["broker", "gateway", "fleet"] * options.kills
        random.shuffle(victims)
        for number, victim in enumerate(victims):
            consumer.run(random.uniform(0.3, 2 * options.pause - 0.3))
            consumer.run_until("the consumer's session", lambda: consumer.client.subscribed)
            again = plant.kill(victim)
            consumer.run(random.uniform(0, 1))
            again()
            if sys.stdout.isatty():
                print(f"\r{number + 1} of {len(victims)}", end="", flush=True)
        consumer.run(2 * options.pause)
        plant.fleet.stop()
        consumer.waiting = None
        consumer.run_until("an empty outbox", lambda: consumer.waiting == 0, 180)
        wait_for_quiet(consumer, 6 if options.nats else 1.5)
        wrong = judged(plant, consumer)
        count = sum(map(len, plant.acknowledged().values()))
        events = sum(map(len, consumer.events.values()))
        print(f"{len(victims)} kills; {count} events acknowledged to {options.tools} tools; "
              f"{events} publications, {consumer.repeated} of them delivered again, {consumer.disordered} late")
        if wrong:
            print("\n".join(wrong))
            (rig.folder / "events.json").write_text(json.dumps(consumer.events, indent=1))
        print("FAILED" if wrong else "nothing is lost")
        return 1 if wrong else 0


# A cluster delivers again after five seconds what was on its way to a consumer when a server died.
def wait_for_quiet(consumer, seconds):
    quiet, last = time.monotonic(), -1
    while time.monotonic() - quiet < seconds:
        consumer.client.turn(0.2)
        now = sum(map(len, consumer.events.values()))
        if now != last:
            quiet, last = time.monotonic(), now


if __name__ == "__main__":
    sys.exit(main())
