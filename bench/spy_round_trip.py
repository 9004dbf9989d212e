#!/usr/bin/env python3
"""What velto spy adds to a round trip: frames of HSMS to an echo and back, straight, through a plain
relay (socat, where it is installed) and through the spy, a few hundred of each in turn.

    bench/spy_round_trip.py [VELTO] [COUNT]"""

import shutil
import socket
import statistics
import subprocess
import sys
import threading
import time

VELTO = sys.argv[1] if len(sys.argv) > 1 else "build/release/apps/velto/velto"
COUNT = int(sys.argv[2]) if len(sys.argv) > 2 else 20_000
ROUND = 250
# S1F13W without a body is what each system bytes are sent with.
HEADER = bytes.fromhex("0000000a" "0000" "810d" "0000")


def echo(listener):
    while True:
        connection, _ = listener.accept()
        threading.Thread(target=serve, args=(connection,), daemon=True).start()


def serve(connection):
    connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    while data := connection.recv(65536):
        connection.sendall(data)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def connect(port):
    for _ in range(200):
        try:
            connection = socket.create_connection(("127.0.0.1", port))
            break
        except ConnectionRefusedError:
            time.sleep(0.02)
    connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    return connection


def main():
    listener = socket.create_server(("127.0.0.1", 0))
    target = listener.getsockname()[1]
    threading.Thread(target=echo, args=(listener,), daemon=True).start()
    relays = []
    ways = {"straight": connect(target)}
    if shutil.which("socat"):
        port = free_port()
        relays.append(subprocess.Popen(["socat", f"TCP-LISTEN:{port},reuseaddr,nodelay",
                                        f"TCP:127.0.0.1:{target},nodelay"]))
        ways["plain relay"] = connect(port)
    port = free_port()
    relays.append(subprocess.Popen([VELTO, "spy", f"listen:{port}", f"127.0.0.1:{target}"],
                                   stdout=subprocess.DEVNULL))
    ways["velto spy"] = connect(port)
    times = {way: [] for way in ways}
    system_bytes = 0
    for _ in range(COUNT // ROUND):
        for way, connection in ways.items():
            for _ in range(ROUND):
                system_bytes += 1
                frame = HEADER + system_bytes.to_bytes(4, "big")
                start = time.perf_counter()
                connection.sendall(frame)
                answer = connection.recv(65536)
                times[way].append(time.perf_counter() - start)
                assert answer == frame
    for relay in relays:
        relay.terminate()
        relay.wait()
    straight = statistics.median(times["straight"])
    for way, seen in times.items():
        median = statistics.median(seen)
        print(f"{way:12} median {median * 1e6:6.1f} us, adds {(median - straight) * 1e6:6.1f} us")


main()
