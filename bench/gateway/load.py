#!/usr/bin/env python3
"""Many tools on one gateway: memory for each, event reports a second into a broker, how long one takes
from the tool's message to the broker's acknowledge, and how soon all tools report again when they come
back at the same moment. Against an optimised build, with Mosquitto on the same machine:

    bench/gateway/load.py [--tools 500] [--rate 5000] [--seconds 30] [--no-outbox] [--keep]
"""

import argparse
import datetime
import json
import os
import time

from mqtt import Client
from rig import Rig, config, free_ports, mqtt, outbox

TICKS = os.sysconf("SC_CLK_TCK")


def resident(process):
    """KiB."""
    with open(f"/proc/{process.child.pid}/status") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmRSS:"))


def processor(process):
    """Seconds."""
    with open(f"/proc/{process.child.pid}/stat") as stat:
        fields = stat.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / TICKS


def moment(state):
    """When the gateway has told it, in seconds."""
    return datetime.datetime.fromisoformat(state["time"].rstrip("Z")).timestamp()


class Plant:
    def __init__(self, rig, options):
        self.rig, self.options, self.state = rig, options, {}
        port = free_ports(1)
        self.broker = rig.mosquitto(port).start()
        self.client = Client("watcher", port, ["velto/fab/gateway/+/state"], self.took).connected()
        self.port = free_ports(options.tools)
        self.out = "statistics = 1\n" + mqtt([port])
        if not options.no_outbox:
            self.out += outbox()
        values = "[101, 102, 103, 104, 105, 106, 107, 108, 109]"
        self.purpose = f"events = [{{ event = 11, values = {values} }}, {{ event = 12 }}]"

    def took(self, _, payload):
        self.state = json.loads(payload)

    def watch(self, seconds):
        until = time.monotonic() + seconds
        while (left := until - time.monotonic()) > 0:
            self.client.turn(min(left, 0.1))

    def until(self, what, condition, seconds=60):
        begin = time.monotonic()
        while not condition():
            if time.monotonic() - begin > seconds:
                raise SystemExit(f"not within {seconds} s: {what}")
            self.client.turn(0.02)
        return time.monotonic() - begin

    def fleet(self, rate, name):
        fleet = self.rig.fleet(self.options.tools, self.port, "--rate", rate, name=name).start()
        self.until("fleet", lambda: "listening" in fleet.output())
        return fleet

    def gateway(self, tools, name):
        text = config(tools, self.port, self.out, self.purpose, name=name)
        return self.rig.gateway(text, name).start()

    def all_there(self, count):
        return lambda: self.state.get("communicating") == count


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--tools", type=int, default=500)
    parser.add_argument("--rate", type=int, default=5000, help="events a second of all tools")
    parser.add_argument("--seconds", type=int, default=30)
    parser.add_argument("--no-outbox", action="store_true")
    parser.add_argument("--keep", action="store_true", help="keeps the folder")
    options = parser.parse_args()
    with Rig(options.keep) as rig:
        plant = Plant(rig, options)
        fleet = plant.fleet(1, "idle")
        one = plant.gateway(1, "one")
        plant.until("one tool", plant.all_there(1))
        plant.watch(2)
        alone = resident(one)
        one.stop()
        plant.state = {}
        gateway = plant.gateway(options.tools, "all")
        took = plant.until("all tools", plant.all_there(options.tools))
        print(f"{options.tools} tools communicate {took:.1f} s after the start of the gateway")
        plant.watch(3)
        each = (resident(gateway) - alone) / (options.tools - 1)
        print(f"memory of the gateway: {alone / 1024:.1f} MiB with one tool, {each:.0f} KiB for each "
              f"further one; of the fleet {resident(fleet) / options.tools:.0f} KiB for each tool")

        fleet.kill()
        plant.until("all gone", plant.all_there(0))
        fleet = plant.fleet(options.rate, "busy")
        took = plant.until("all tools again", plant.all_there(options.tools))
        print(f"all of them come back at once: {took:.1f} s until every tool communicates")
        plant.watch(3)

        before, used, began = plant.state, processor(gateway), time.monotonic()
        worst = []
        while time.monotonic() - began < options.seconds:
            plant.watch(1)
            worst.append(plant.state["waiting"])
        used = (processor(gateway) - used) / (time.monotonic() - began)
        after = plant.state
        seconds = moment(after) - moment(before)
        count = after["delivered"] - before["delivered"]
        latency = after["latency_ms"]
        print(f"{count / seconds:.0f} events a second for {seconds:.0f} s; median {latency['median']} ms, "
              f"99 of 100 within {latency['p99']} ms; at the most {max(worst)} wait; "
              f"the gateway takes {100 * used:.0f} % of a processor")
        print(f"memory under load {resident(gateway) / 1024:.1f} MiB")
        fleet.stop()
        print(fleet.output().splitlines()[-1])
        gateway.stop()
        return 0 if after["dropped"] == 0 and after["refused"] == 0 else 1


if __name__ == "__main__":
    raise SystemExit(main())
