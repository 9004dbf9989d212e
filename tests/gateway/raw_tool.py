"""An equipment of which a test says each message (SEMI E37): what the models of the program never send."""

import socket
import struct


def item(value):
    """A list, a text, bytes (B), or a number (U4), as SEMI E5 has it."""
    if isinstance(value, list):
        return bytes([0x01, len(value)]) + b"".join(map(item, value))
    if isinstance(value, str):
        return bytes([0x41, len(value)]) + value.encode()
    if isinstance(value, bytes):
        return bytes([0x21, len(value)]) + value
    return b"\xb1\x04" + struct.pack(">I", value)


class RawTool:
    """Listens, and answers what a host asks when it has connected; then it sends and takes messages."""

    ANSWERS = {(1, 13): [b"\0", ["m", "r"]], (1, 17): b"\0", (2, 37): b"\0"}

    def __init__(self):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.listener.settimeout(20)
        self.port = self.listener.getsockname()[1]
        self.number = 0

    def close(self):
        self.listener.close()
        self.socket.close()

    def write(self, stream, function, body, system, kind=0):
        head = struct.pack(">HBBBBI", 0xFFFF if kind else 0, stream, function, 0, kind, system)
        self.socket.sendall(struct.pack(">I", 10 + len(body)) + head + body)

    def read(self):
        """Stream, function and body of the next answer; primaries of the host are answered meanwhile."""
        while True:
            size = struct.unpack(">I", self.exactly(4))[0]
            _, stream, function, _, kind, system = struct.unpack(">HBBBBI", self.exactly(10))
            body = self.exactly(size - 10)
            if kind == 1:
                self.write(0, 0, b"", system, 2)
            elif kind == 0 and function % 2 == 1:
                stream &= 0x7F
                known = self.ANSWERS.get((stream, function))
                self.write(stream, function + 1 if known else 0, item(known) if known else b"", system)
                self.asked.append((stream, function))
            elif kind == 0:
                return stream, function, body
            if (6, 23) in self.asked and self.number == 0:
                return None

    def exactly(self, size):
        data = b""
        while len(data) < size:
            part = self.socket.recv(size - len(data))
            if not part:
                raise OSError("the host is gone")
            data += part
        return data

    def accept(self):
        """Until the host has asked for all that it wants."""
        self.asked = []
        self.socket = self.listener.accept()[0]
        self.socket.settimeout(20)
        self.read()

    def ask(self, stream, function, body):
        """Sends a primary; what comes back."""
        self.number += 1
        self.write(stream | 0x80, function, item(body), self.number)
        return self.read()
