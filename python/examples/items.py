"""SECS-II messages as Python values, both ways."""

from velto import F4, U1, U4, A, Message, decode, encode

report = Message(
    6,
    11,
    [
        U4(1),
        U4(12),
        [[U4(10), [F4(19.75), "L0042", True, b"\x04", U1(1, 2, 3), A("\u30a8", "shift_jis")]]],
    ],
)
print(report.sml)
print(report.hex())
print(report.verify(from_equipment=True).finding or "correct")

data_id, ceid, reports = report.value
for rptid, values in reports:
    print(f"event {ceid}, report {rptid}: {values}")
print(report.decode("shift_jis")[2][0][1][-1])

assert Message.from_sml(report.sml).body == report.body
assert decode(encode([1, -1, 1.5, (1, 2), [], "text", b"bytes"])) == [1, -1, 1.5, (1, 2), [], "text", b"bytes"]
