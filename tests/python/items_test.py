"""Items and messages as Python values, both ways."""

import unittest

import velto
from velto import A, B, F4, F8, I1, I2, I4, I8, U1, U2, U4, U8, Boolean, ItemError, J, Localized, Message

DEEP: list = []
for _ in range(127):
    DEEP = [DEEP]

# A value, its SML, and what comes back.
BOTH_WAYS = [
    ([], "{}", []),
    ([U1(5), [A("x")]], "{<u1 5>{<a'x'>}}", [5, ["x"]]),
    (7, "<u4 7>", 7),
    (-7, "<i4 -7>", -7),
    (1 << 40, "<u8 1099511627776>", 1 << 40),
    (-(1 << 40), "<i8 -1099511627776>", -(1 << 40)),
    (1.5, "<f8 1.5>", 1.5),
    (F4(0.5, -2), "<f4 0.5 -2>", (0.5, -2.0)),
    ((1, 2), "<u4 1 2>", (1, 2)),
    ((1, -2), "<i4 1 -2>", (1, -2)),
    ((), "<u4>", ()),
    (True, "<bool 1>", True),
    ((True, False), "<bool 1 0>", (True, False)),
    (b"\x00\xff", "<b 0 255>", b"\x00\xff"),
    (B(4), "<b 4>", b"\x04"),
    (b"", "<b>", b""),
    ("", "<a>", ""),
    ("it", "<a'it'>", "it"),
    ([I1(-1), I2(-1), I4(-1), I8(-1)], "{<i1 -1><i2 -1><i4 -1><i8 -1>}", [-1, -1, -1, -1]),
    ([U1(255), U2(2), U4(3), U8(4)], "{<u1 255><u2 2><u4 3><u8 4>}", [255, 2, 3, 4]),
    ([F4(1), F8(2)], "{<f4 1><f8 2>}", [1.0, 2.0]),
    ("x" * 300, "<a'" + "x" * 300 + "'>", "x" * 300),
]

MALFORMED = [
    ("41", "longer"), ("4105616263", "longer"), ("0101", "longer"), ("b103000000", "U4"),
    ("a90200ffff", "behind"), ("40", "length"), ("fd0100", "format"), ("0101" * 200, "deep"),
    ("01ff", "longer"), ("a9", "longer"), ("b10400", "longer"), ("4902", "longer"),
    ("03ffffff", "longer"), ("490100", "character set"),
]  # fmt: skip

NO_ITEM = [
    lambda: U1(256), lambda: U1(-1), lambda: I1(128), lambda: U4(1.5), lambda: F4(1e39),
    lambda: velto.encode(1 << 64), lambda: velto.encode((1, "x")), lambda: velto.encode("\u20ac"),
    lambda: velto.encode([DEEP, [DEEP]]), lambda: velto.encode({}), lambda: B(256),
    lambda: velto.encode(b"x" * (1 << 24)), lambda: Localized("x", 99), lambda: A("\u20ac"),
]  # fmt: skip


class Items(unittest.TestCase):
    def test_both_ways_as_the_library_does(self):
        for value, sml, back in BOTH_WAYS:
            with self.subTest(sml):
                by_sml = Message.from_sml(f"s64f1 {sml}")
                self.assertEqual(velto.encode(value), by_sml.body)
                self.assertEqual(velto.decode(by_sml.body), back)

    def test_texts_have_an_encoding(self):
        self.assertEqual(velto.decode(velto.encode("\u20ac", "utf-8"), "utf-8"), "\u20ac")
        self.assertEqual(velto.decode(velto.encode(J("\u30a8"))), "\u30a8")
        for character_set in (1, 2, 8, 9):
            self.assertEqual(velto.decode(velto.encode(Localized("\u30a8", character_set))), "\u30a8")
        with self.assertRaises(ItemError):
            velto.decode(velto.encode(B(1)) and bytes.fromhex("4101ff"), "utf-8")
        self.assertEqual(velto.encode(Boolean(True)), velto.encode(True))

    def test_malformed_bytes_are_an_error_and_deep_ones_are_read(self):
        for data, reason in MALFORMED:
            with self.subTest(data), self.assertRaisesRegex(ItemError, reason):
                velto.decode(bytes.fromhex(data))
        self.assertEqual(velto.decode(velto.encode(DEEP)), DEEP)
        self.assertIsNone(velto.decode(b""))

    def test_what_no_item_holds_is_an_error(self):
        for number, make in enumerate(NO_ITEM):
            with self.subTest(number), self.assertRaises(ItemError):
                make()

    def test_messages(self):
        message = Message(1, 3, [U4(101)], device_id=5, system_bytes=9)
        self.assertEqual(message.hex(), "0005810300000000000901" "01b10400000065")
        self.assertEqual(message, Message.from_hex(message.hex()))
        self.assertEqual(message.sml.split(), "S1F3W { <u4 101> * SVID }".split())
        self.assertEqual((message.stream, message.function, message.wbit), (1, 3, True))
        reply = message.reply([1.0])
        self.assertEqual((reply.function, reply.wbit, reply.device_id, reply.system_bytes), (4, False, 5, 9))
        self.assertTrue(message.verify(from_equipment=False))
        wrong = message.verify(from_equipment=True)
        self.assertEqual(wrong.code, 6)
        self.assertIn("S1F3", wrong.finding)
        with self.assertRaises(velto.Error) as raised:
            Message.from_sml("s1f1{")
        self.assertEqual(raised.exception.status, velto.Status.FAILED)
        self.assertIn("line 1", raised.exception.sentence)
        for wrong_call in (lambda: Message(128, 1), lambda: Message(1, 256), lambda: Message.from_bytes(b"x")):
            with self.assertRaises(ValueError):
                wrong_call()
