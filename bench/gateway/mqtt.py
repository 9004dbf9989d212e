"""A small MQTT 3.1.1 client on the standard library: what the commands and tests of the gateway
need of it, which is QoS 1 both ways and a session that outlives the connection."""

import select
import socket
import struct
import time

CONNACK, PUBLISH, PUBACK, SUBACK, PINGRESP = 2, 3, 4, 9, 13


def text(value):
    data = value.encode()
    return struct.pack(">H", len(data)) + data


def packet(head, body):
    size, length = len(body), b""
    while True:
        size, digit = divmod(size, 128)
        length += bytes([digit | (0x80 if size else 0)])
        if not size:
            return bytes([head]) + length + body


class Client:
    """`port` is a number, or a list of them of which the next is tried when one fails. Messages go to
    `took(topic, payload)`."""

    def __init__(self, name, port, topics, took, patience=30):
        self.name, self.topics, self.took, self.patience = name, topics, took, patience
        self.ports = port if isinstance(port, list) else [port]
        self.socket, self.buffer, self.subscribed, self.asked = None, b"", False, 0
        self.sent = {}  # packet identifiers that await PUBACK
        self.identifier = 0

    def fileno(self):
        return self.socket.fileno()

    def close(self):
        if self.socket:
            self.socket.close()
        self.socket, self.buffer, self.subscribed = None, b"", False

    def connect(self):
        """One attempt; True when the broker has taken the subscriptions."""
        self.close()
        self.ports = self.ports[1:] + self.ports[:1]
        try:
            self.socket = socket.create_connection(("127.0.0.1", self.ports[0]), 2)
            self.socket.settimeout(5)
            keep = struct.pack(">H", 10)
            self.socket.sendall(packet(0x10, text("MQTT") + b"\x04\x00" + keep + text(self.name)))
            filters = b"".join(text(topic) + b"\x01" for topic in self.topics)
            self.socket.sendall(packet(0x82, b"\x00\x01" + filters))
            until = time.monotonic() + 5
            while not self.subscribed and self.socket and time.monotonic() < until:
                self.turn(0.1)
        except OSError:
            self.close()
        return self.subscribed

    def connected(self):
        """Connects, however often it takes."""
        until = time.monotonic() + self.patience
        while not self.subscribed:
            if time.monotonic() > until:
                raise SystemExit(f"no broker on {self.ports} within {self.patience} s")
            if not self.connect():
                time.sleep(0.1)
        return self

    def publish(self, topic, payload, retain=False):
        self.identifier = self.identifier % 60000 + 2
        body = text(topic) + struct.pack(">H", self.identifier) + payload.encode()
        self.socket.sendall(packet(0x33 if retain else 0x32, body))

    def turn(self, seconds):
        """Takes what comes within so many seconds, and connects anew where the broker has gone."""
        if not self.socket:
            if not self.connect():
                time.sleep(min(seconds, 0.05))
            return
        try:
            if time.monotonic() - self.asked > 3:
                self.asked = time.monotonic()
                self.socket.sendall(b"\xc0\x00")
            if not select.select([self.socket], [], [], seconds)[0]:
                return
            data = self.socket.recv(1 << 18)
            if not data:
                raise OSError("closed")
            self.buffer += data
            self.take()
        except OSError:
            self.close()

    def take(self):
        at, answers = 0, b""
        while True:
            end, shift, length = at + 1, 0, 0
            while end < len(self.buffer) and shift < 28:
                digit = self.buffer[end]
                length |= (digit & 0x7F) << shift
                end, shift = end + 1, shift + 7
                if digit < 0x80:
                    break
            else:
                break
            if end + length > len(self.buffer):
                break
            answers += self.packet(self.buffer[at], self.buffer[end : end + length])
            at = end + length
        self.buffer = self.buffer[at:]
        if answers:
            self.socket.sendall(answers)

    def packet(self, head, body):
        if head >> 4 == CONNACK and body[1] != 0:
            raise OSError(f"refused: {body[1]}")
        if head >> 4 == SUBACK:
            self.subscribed = True
        if head >> 4 != PUBLISH:
            return b""
        size = struct.unpack_from(">H", body)[0]
        topic, rest = body[2 : 2 + size].decode(), body[2 + size :]
        quality = head >> 1 & 3
        self.took(topic, rest[2:] if quality else rest)
        return packet(0x40, rest[:2]) if quality else b""
