#!/usr/bin/env python3
"""A host that is nothing but a socket: it writes each frame by hand, and sees every acknowledge
code of the GEM capabilities once.

    velto equipment --data examples/etch_tool.model --keep tool.kel --port 5000 \\
        --script examples/raw_host.velto
    python3 examples/raw_host.py 5000

prints a line for each code, and ends with 1 when one does not come.
"""

import socket
import struct
import sys
import time

# Items (SEMI E5 9): a format code, the length in bytes or of a list in items, the data.
LIST, BINARY, BOOLEAN, ASCII, F4, U1, U2, U4 = 0o00, 0o10, 0o11, 0o20, 0o44, 0o51, 0o52, 0o54
ARRAYS = {BINARY: "B", BOOLEAN: "?", U1: "B", U2: "H", U4: "I", F4: "f",
          0o31: "b", 0o32: "h", 0o34: "i", 0o30: "q", 0o50: "Q", 0o40: "d"}


def item(code, count, data):
    size = 1 if count < 0x100 else 2 if count < 0x10000 else 3
    return bytes([code << 2 | size]) + count.to_bytes(size, "big") + data


def array(code):
    def make(*numbers):
        data = struct.pack(f">{len(numbers)}{ARRAYS[code]}", *numbers)
        return item(code, len(data), data)
    return make


def L(*items):
    return item(LIST, len(items), b"".join(items))


def A(text):
    return item(ASCII, len(text), text.encode("latin-1"))


B, BOOL, N1, N4, R4 = array(BINARY), array(BOOLEAN), array(U1), array(U4), array(F4)


def read(data, at=0):
    """The item at a place: a list, a text, a number, or a tuple of several or no numbers."""
    code, size = data[at] >> 2, data[at] & 3
    count = int.from_bytes(data[at + 1:at + 1 + size], "big")
    at += 1 + size
    if code == LIST:
        items = []
        for _ in range(count):
            value, at = read(data, at)
            items.append(value)
        return items, at
    piece = data[at:at + count]
    if code == ASCII:
        return piece.decode("latin-1"), at + count
    values = struct.unpack(f">{count // struct.calcsize(ARRAYS[code])}{ARRAYS[code]}", piece)
    return values[0] if len(values) == 1 else values, at + count


class Link:
    """A connection to the equipment (SEMI E37): a length of 4 bytes, a header of 10, the body."""

    def __init__(self, host, port):
        self.socket = socket.create_connection((host, port), 10)
        self.socket.settimeout(10)
        self.system = 0
        self.answers = True  # what the equipment sends is answered
        self.waiting = []    # primaries that nobody has asked for yet
        self.select()
        self.ask(1, 13, L())

    def select(self):
        """Select.req until it is accepted: the link before may not have ended yet."""
        while True:
            self.frame(0xFFFF, 0, 0, 1)
            answer = self.receive()
            while answer[3] != 2:
                answer = self.receive()
            if answer[1] == 0:
                return
            time.sleep(0.1)

    def frame(self, session, byte2, byte3, stype, system=None, body=b""):
        if system is None:
            self.system += 1
            system = self.system
        head = struct.pack(">HBBBBI", session, byte2, byte3, 0, stype, system)
        self.socket.sendall(struct.pack(">I", len(head) + len(body)) + head + body)
        return system

    def receive(self):
        """Stream, function, system bytes, SType and body of the next message."""
        data = b""
        while len(data) < 4 or len(data) < 4 + int.from_bytes(data[:4], "big"):
            wanted = 4 if len(data) < 4 else 4 + int.from_bytes(data[:4], "big")
            piece = self.socket.recv(wanted - len(data))
            if not piece:
                sys.exit("raw_host: the equipment has closed the link")
            data += piece
        session, byte2, function, _, stype, system = struct.unpack(">HBBBBI", data[4:14])
        body = read(data, 14)[0] if len(data) > 14 else None
        stream = byte2 & 0x7F
        if stype == 5:  # Linktest.req
            self.frame(0xFFFF, 0, 0, 6, system)
        elif stype == 0 and function % 2 == 1 and stream != 9:
            self.waiting.append((stream, function, body))
            if byte2 & 0x80 and self.answers:
                self.reply(session, stream, function, system)
        return stream, function, system, stype, body

    def reply(self, session, stream, function, system):
        body = {(1, 13): L(B(0), L()), (7, 27): b""}.get((stream, function), B(0))
        self.frame(session, stream, function + 1, 0, system, body)

    def ask(self, stream, function, body):
        """The answer: stream, function and body."""
        sent = self.frame(0, 0x80 | stream, function, 0, None, body)
        while True:
            answer = self.receive()
            if answer[3] == 0 and (answer[2] == sent or answer[0] == 9):
                return answer[0], answer[1], answer[4]

    def await_primary(self, stream, function, fits=lambda body: True):
        """The body of a primary of the equipment, which may have come already."""
        while True:
            for waiting in self.waiting:
                if waiting[:2] == (stream, function) and fits(waiting[2]):
                    self.waiting.remove(waiting)
                    return waiting[2]
            self.receive()


# What the codes of each message are, and what they mean.
CODES = {
    (2, 22): lambda body: [("CMDA", body)],
    (2, 24): lambda body: [("TIAACK", body)],
    (2, 40): lambda body: [("GRANT", body)],
    (2, 42): lambda body: [("HCACK", body[0])] + [("CPACK", code) for _, code in body[1]],
    (2, 44): lambda body: [("RSPACK", body[0])] + [("STRACK", entry[1]) for entry in body[1]],
    (2, 46): lambda body: [("VLAACK", body[0])] + [
        code for entry in body[1] for code in
        [("LVACK", entry[1])] + ([("LIMITACK", entry[2][1])] if entry[2] else [])],
    (2, 50): lambda body: [("HCACK", body[0])] + [("CEPACK", code) for _, code in body[1]],
    (6, 24): lambda body: [("RSDA", body)],
    (7, 2): lambda body: [("PPGNT", body)],
    (7, 4): lambda body: [("ACKC7", body)],
    (7, 18): lambda body: [("ACKC7", body)],
    (7, 24): lambda body: [("ACKC7", body)],
    (7, 27): lambda body: [("ACKC7A", entry[0]) for entry in body[1]],
    (7, 32): lambda body: [("ACKC7", body)],
    (10, 4): lambda body: [("ACKC10", body)],
    (10, 6): lambda body: [("ACKC10", body)],
    (10, 7): lambda body: [("TID", body)],
    (10, 10): lambda body: [("ACKC10", body)],
}


def codes_of(stream, function, body):
    codes = CODES.get((stream, function), lambda body: [])(body)
    return f"S{stream}F{function}" + "".join(f" {name} {code}" for name, code in codes)


def parameters(values):
    return L(*(L(A(key), value) for key, value in values.items()))


def command(name, **values):
    return L(A(name), parameters(values))


def enhanced(object_name, name, **values):
    return L(N4(1), A(object_name), A(name), parameters(values))


def trace(trid, period, total, group, *vids):
    return L(A(trid), A(period), N4(total), N4(group), L(*map(N4, vids)))


def limit(vid, *limits):
    return L(N4(1), L(L(N4(vid), L(*limits))))


def band(number, upper, lower):
    return L(B(number), L(upper, lower))


def streams(*entries):
    return L(*(L(N1(stream), L(*map(N1, functions))) for stream, functions in entries))


def recipe(ppid, *data):
    return L(A(ppid), B(*(data or (1, 2, 3))))


FORMATTED = L(A("0"), A("ETCH-1"), A("1.00"), L(L(N1(1), L(A("x")))))

# What is expected, why, and what asks for it.
COMMANDS = [
    ("S2F42 HCACK 1", "no such command", 2, 41, command("BAKE")),
    ("S2F42 HCACK 3 CPACK 1", "unknown parameter name", 2, 41,
     command("START", LOT=A("L1"), WAFER=N1(1))),
    ("S2F42 HCACK 3 CPACK 2", "a parameter is missing, or its value does not fit", 2, 41,
     command("START")),
    ("S2F42 HCACK 3 CPACK 3", "a parameter in a wrong format", 2, 41, command("START", LOT=N1(1))),
    ("S2F50 HCACK 6", "no such object", 2, 49, enhanced("OVEN", "START")),
    ("S2F50 HCACK 3 CEPACK 1", "unknown parameter name", 2, 49,
     enhanced("ETCH-1", "START", LOT=A("L1"), WAFER=N1(1))),
    ("S2F50 HCACK 3 CEPACK 2", "a parameter is missing", 2, 49, enhanced("ETCH-1", "START")),
    ("S2F50 HCACK 3 CEPACK 3", "a parameter in a wrong format", 2, 49,
     enhanced("", "START", LOT=N1(1))),
    ("S2F40 GRANT 0", "a long message may come", 2, 39, L(N4(1), N4(500))),
    ("S2F22 CMDA 0", "done", 2, 21, A("PAUSE")),
    ("S2F22 CMDA 1", "no such command", 2, 21, A("BAKE")),
    ("S2F22 CMDA 2", "not without parameters", 2, 21, A("START")),
]
ANSWERS = [(0, "done"), (2, "the application cannot do it now"),
           (4, "done later, an event tells when"), (5, "rejected, as it is so already")]
TRACES = [
    ("S2F24 TIAACK 1", "too many variables", 2, 23, trace("T", "000001", 1, 1, *[101] * 1001)),
    ("S2F24 TIAACK 3", "no such period", 2, 23, trace("T", "000000", 1, 1, 101)),
    ("S2F24 TIAACK 4", "no such variable", 2, 23, trace("T", "000001", 1, 1, 999)),
    ("S2F24 TIAACK 5", "no such group", 2, 23, trace("T", "000001", 1, 2, 101)),
] + [
    ("S2F24 TIAACK 0", "the trace runs", 2, 23, trace(f"T{n}", "00000010", 900, 9, 101))
    for n in range(16)
] + [
    ("S2F24 TIAACK 2", "no more traces", 2, 23, trace("T16", "000001", 1, 1, 101)),
] + [
    ("S2F24 TIAACK 0", "the trace ends", 2, 23, trace(f"T{n}", "000001", 0, 0))
    for n in range(16)
]
LIMITS = [
    ("S2F46 VLAACK 1 LVACK 1", "no such variable", 2, 45, limit(999)),
    ("S2F46 VLAACK 1 LVACK 2", "it cannot have limits", 2, 45, limit(102)),
    ("S2F46 VLAACK 1 LVACK 3", "named twice", 2, 45,
     L(N4(1), L(L(N4(101), L()), L(N4(101), L())))),
    ("S2F46 VLAACK 1 LVACK 4 LIMITACK 1", "no such limit", 2, 45,
     limit(101, band(8, R4(50), R4(50)))),
    ("S2F46 VLAACK 1 LVACK 4 LIMITACK 2", "above the maximum", 2, 45,
     limit(101, band(1, R4(201), R4(50)))),
    ("S2F46 VLAACK 1 LVACK 4 LIMITACK 3", "below the minimum", 2, 45,
     limit(101, band(1, R4(50), R4(-1)))),
    ("S2F46 VLAACK 1 LVACK 4 LIMITACK 4", "the lower boundary above the upper one", 2, 45,
     limit(101, band(1, R4(50), R4(51)))),
    ("S2F46 VLAACK 1 LVACK 4 LIMITACK 5", "wrong format", 2, 45,
     limit(101, band(1, BOOL(True), R4(50)))),
    ("S2F46 VLAACK 1 LVACK 4 LIMITACK 6", "a text that is no number", 2, 45,
     limit(101, band(1, A("high"), R4(50)))),
    ("S2F46 VLAACK 1 LVACK 4 LIMITACK 7", "the same limit twice", 2, 45,
     limit(101, band(1, R4(50), R4(50)), band(1, R4(60), R4(60)))),
    ("S2F46 VLAACK 0", "the limit is watched", 2, 45, limit(101, band(1, R4(60), R4(40)))),
]
PROGRAMS = [
    ("S7F2 PPGNT 0", "it may be sent", 7, 1, L(A("0"), N4(3))),
    ("S7F4 ACKC7 2", "longer than was told", 7, 3, recipe("0", 1, 2, 3, 4)),
    ("S7F4 ACKC7 0", "accepted", 7, 3, recipe("0")),
    ("S7F2 PPGNT 1", "already there", 7, 1, L(A("0"), N4(3))),
    ("S7F2 PPGNT 2", "no space", 7, 1, L(A("9"), N4(0xFFFFFFFF))),
    ("S7F2 PPGNT 3", "no PPID", 7, 1, L(A(""), N4(3))),
    ("S7F2 PPGNT 4", "the application is busy", 7, 1, L(A("4"), N4(3))),
    ("S7F2 PPGNT 5", "the application will not take it", 7, 1, L(A("5"), N4(3))),
    ("S7F4 ACKC7 1", "permission not granted", 7, 3, recipe("1")),
    ("S7F4 ACKC7 3", "matrix overflow", 7, 3, recipe("3")),
    ("S7F18 ACKC7 4", "not found, and none is deleted", 7, 17, L(A("0"), A("NONE"))),
    ("S7F4 ACKC7 5", "mode unsupported", 7, 3, recipe("5")),
    ("S7F4 ACKC7 6", "done later", 7, 3, recipe("6")),
    ("S7F4 ACKC7 7", "another error", 7, 3, recipe("7")),
    ("S7F18 ACKC7 0", "deleted", 7, 17, L(A("0"))),
    ("S7F24 ACKC7 0", "a formatted one", 7, 23, FORMATTED),
]
TEXTS = [
    ("S10F6 ACKC10 0", "displayed; here of several lines for the last time", 10, 5,
     L(B(0), L(A("3 1 no such step"), A("4 2 too hot"), A("5 0 unfinished")))),
    ("S10F6 ACKC10 1", "of several lines: not displayed", 10, 5, L(B(3), L(A("a"), A("b")))),
]
SPOOL = [
    ("S6F24 RSDA 2", "nothing is spooled", 6, 23, N1(0)),
    ("S2F44 RSPACK 1 STRACK 1", "stream 1 may not be spooled", 2, 43, streams((1, []))),
    ("S2F44 RSPACK 1 STRACK 2", "no such stream", 2, 43, streams((99, []))),
    ("S2F44 RSPACK 1 STRACK 3", "no such function", 2, 43, streams((6, [99]))),
    ("S2F44 RSPACK 1 STRACK 4", "a secondary", 2, 43, streams((6, [12]))),
    ("S2F44 RSPACK 0", "accepted", 2, 43, streams((6, [11]))),
]
# How many values each code has; those of CPACK and its like begin at 1.
EXPECTED = {
    "HCACK": 7, "CPACK": 3, "CEPACK": 3, "GRANT": 1, "CMDA": 3, "TIAACK": 6, "VLAACK": 2, "LVACK": 4,
    "LIMITACK": 7, "RSPACK": 2, "STRACK": 4, "RSDA": 3, "PPGNT": 6, "ACKC7": 8, "ACKC7A": 6,
    "ACKC10": 3,
}

seen = set()


def show(expected, why, came):
    """Prints what came, when it has a code that did not come before."""
    if came != expected:
        sys.exit(f"raw_host: {came} instead of {expected}: {why}")
    words = came.split()
    codes = set(zip(words[1::2], words[2::2]))
    if not codes <= seen:
        print(f"{came}: {why}", flush=True)
    seen.update(codes)


def play(link, table):
    for expected, why, stream, function, body in table:
        show(expected, why, codes_of(*link.ask(stream, function, body)))


def say(link, text, terminal=0):
    return codes_of(*link.ask(10, 3, L(B(terminal), A(text))))


def play_answers(link):
    for code, why in ANSWERS:
        say(link, str(code))
        came = codes_of(*link.ask(2, 41, command("START", LOT=A("L1"), SLOT=N1(7))))
        show(f"S2F42 HCACK {code}", why, came)
    say(link, "")


def watch_limit(link):
    """Report 8 of the event has the variable, the limit, the direction and the value."""
    for transition, direction in ((0, "upwards"), (1, "downwards")):
        link.await_primary(6, 11, lambda body: any(
            report[0] == 8 and report[1][2] == transition for report in body[2]))
        print(f"S6F11 TransitionType {transition}: the limit was crossed {direction}", flush=True)
    play(link, [("S2F46 VLAACK 0", "no limits any more", 2, 45, L(N4(1), L()))])


def verify(link, model, expected, why):
    accepted = codes_of(*link.ask(7, 31, L(A("0"), A(model), A("9" if model else ""))))
    show("S7F32 ACKC7 0", "to be verified", accepted)
    show(expected, why, codes_of(7, 27, link.await_primary(7, 27)))


def play_spool(link, port):
    """The link is lost, and the first event of the spool is that of its beginning."""
    play(link, SPOOL)
    link.socket.close()
    link = Link("127.0.0.1", port)
    link.answers = False
    show("S6F24 RSDA 0", "the spool is transmitted", codes_of(*link.ask(6, 23, N1(0))))
    show("S6F24 RSDA 1", "while it is transmitted", codes_of(*link.ask(6, 23, N1(0))))
    return link


def main():
    port = int(sys.argv[1]) if len(sys.argv) == 2 else sys.exit(__doc__)
    link = Link("127.0.0.1", port)
    play(link, COMMANDS)
    play_answers(link)
    play(link, TRACES)
    play(link, LIMITS)
    watch_limit(link)
    play(link, PROGRAMS)
    say(link, "no more", 2)
    play(link, TEXTS)
    show("S10F7 TID 3", "several lines are not allowed", codes_of(10, 7, link.await_primary(10, 7)))
    verify(link, "OVEN", "S7F27 ACKC7A 1 ACKC7A 2 ACKC7A 3 ACKC7A 4 ACKC7A 5",
           "MDLN, SOFTREV, a command, a parameter, and something else")
    show("S10F4 ACKC10 2", "no such terminal", say(link, "", 2))
    verify(link, "", "S7F27 ACKC7A 0", "nothing is wrong")
    link = play_spool(link, port)
    link.frame(0xFFFF, 0, 0, 9)  # Separate.req
    missing = [f"{name} ({sum(code == name for code, _ in seen)} of {count})"
               for name, count in EXPECTED.items()
               if sum(code == name for code, _ in seen) != count]
    if missing:
        sys.exit("raw_host: codes are missing: " + ", ".join(missing))


if __name__ == "__main__":
    main()
