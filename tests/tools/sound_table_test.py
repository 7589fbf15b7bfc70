# SPDX-License-Identifier: MIT
"""The sound table's own arithmetic: the synthesised clip, the bit rates, the rows."""

import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bench"))
import sound_table  # noqa: E402


class Synthetic(unittest.TestCase):
    def test_is_the_same_every_time_and_never_clips(self):
        samples = sound_table.synthetic_samples(8000)
        self.assertEqual(len(samples), 6 * 8000)
        self.assertEqual(samples, sound_table.synthetic_samples(8000))
        self.assertLess(max(map(abs, samples)), 0.71)
        self.assertGreater(max(map(abs, samples[:4 * 8000])), 0.69)


class CodeNear(unittest.TestCase):
    def setUp(self):
        self.asked = []

    def coder(self, size):
        def code(bits):
            self.asked.append(bits)
            return size(bits)
        return code

    def test_takes_a_size_within_the_tolerance_at_once(self):
        found = sound_table.code_near(self.coder(lambda bits: bits // 8 + 20), 1000, 1)
        self.assertEqual(found, (1020, 8000))
        self.assertEqual(self.asked, [8000])

    def test_corrects_a_coder_that_misses(self):
        size, bits = sound_table.code_near(self.coder(lambda bits: bits // 10), 1000, 1)
        self.assertAlmostEqual(size, 1000, delta=30)
        self.assertEqual(self.asked[-1], bits)

    def test_leaves_the_nearest_file_of_a_coder_that_stops_following(self):
        size, bits = sound_table.code_near(self.coder(lambda bits: max(bits // 8, 2000)), 1000, 1)
        self.assertEqual(size, 2000)
        self.assertEqual(self.asked[-1], bits)
        self.assertLessEqual(len(self.asked), 6)


class Rows(unittest.TestCase):
    def test_every_row_has_every_column(self):
        ours = {"clip": "a", "preset": "32k", "codec": "qolm adpcm", "rms_dbfs": -20.0,
                "bytes": 1234, "kbit_per_second": 99.96, "snr_db": 30.04,
                "segmental_snr_db": 25.0, "encode_cpu_seconds_per_minute": 0.071,
                "decode_cpu_seconds_per_minute": 0.035}
        self.assertEqual(sound_table.table_line(ours),
                         "| a | 32k | qolm adpcm | 1,234 | 100.0 | 30.0 | 25.0 | 0.07 | 0.04 |  |")
        silent = {"clip": "a", "preset": "32k", "codec": "aac", "rms_dbfs": None, "bytes": 31,
                  "kbit_per_second": 0.0, "snr_db": None, "segmental_snr_db": None, "lag": 0}
        line = sound_table.table_line(silent)
        self.assertIn("| a (silent) |", line)
        self.assertEqual(line.count("|") - 1, len(sound_table.COLUMNS))


if __name__ == "__main__":
    unittest.main()
