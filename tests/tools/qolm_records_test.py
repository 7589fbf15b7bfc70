# SPDX-License-Identifier: MIT
"""The record lister reads what the layout says and refuses what it does not."""

import pathlib
import struct
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools"))
import qolm_records  # noqa: E402


def header(flags=0x003E, frames=0):
    return struct.pack("<4sI3H3I5HBBI6x", b"QLM2", 2, flags, 64, 48, 30000, 1001, frames,
                       60, 20, 12, 16, 0, 0, 0, 10010)


def record(kind, count=0, number=0, payload=b""):
    return struct.pack("<BBHI", kind, count, number, len(payload)) + payload


class ReadFile(unittest.TestCase):
    def read(self, data):
        with tempfile.NamedTemporaryFile(suffix=".qolm") as file:
            file.write(data)
            file.flush()
            return qolm_records.read_file(file.name)

    def test_front_index(self):
        data = (header(0x043E, 7) + record(7, payload=bytes(20)) + record(1, payload=b"abc")
                + record(2, number=1, payload=b"de") + record(5, 5, 2))
        head, records = self.read(data)
        self.assertEqual((head.width, head.height, head.frame_count), (64, 48, 7))
        self.assertEqual((head.fps_num, head.fps_den, head.duration_ms), (30000, 1001, 10010))
        self.assertEqual(qolm_records.count_by_type(records), {1: 1, 2: 1, 5: 1, 7: 1})
        self.assertEqual(sum(map(qolm_records.frames_of, records)), 7)
        self.assertEqual(qolm_records.index_bytes(records), 28)

    def test_trailing_index(self):
        data = header(frames=1) + record(1, payload=b"abc") + struct.pack("<QI", 48, 1)
        _, records = self.read(data)
        self.assertEqual([(r.offset, r.type, r.size) for r in records], [(48, 1, 3)])

    def test_overflowed_front_index_is_followed_by_a_trailing_one(self):
        data = (header(frames=1) + record(7, payload=bytes(12)) + record(1, payload=b"abc")
                + struct.pack("<QI", 68, 1))
        _, records = self.read(data)
        self.assertEqual([r.type for r in records], [7, 1])

    def test_cut_and_foreign_files_are_refused(self):
        whole = header(0x043E, 1) + record(7, payload=bytes(12)) + record(1, payload=b"abc")
        for data in (b"", b"text", whole[:-1], whole + b"\0", b"QLM3" + whole[4:], header()):
            with self.subTest(length=len(data)), self.assertRaises(qolm_records.MalformedFile):
                self.read(data)


if __name__ == "__main__":
    unittest.main()
