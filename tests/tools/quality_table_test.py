# SPDX-License-Identifier: MIT
"""The quality table's own arithmetic: the search, the rows, the JSON form."""

import json
import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bench"))
import quality_table  # noqa: E402


class Nearest(unittest.TestCase):
    def test_finds_the_nearest_point_of_a_falling_curve(self):
        def curve(q):
            return 60 - 1.5 * q

        for target in (58.4, 45.0, 44.3, 31.2, 13.5):
            best = min(range(1, 32), key=lambda q: abs(curve(q) - target))
            self.assertEqual(quality_table.nearest(range(1, 32), target, curve), best)

    def test_stays_on_the_scale(self):
        self.assertEqual(quality_table.nearest(range(1, 32), 99, lambda q: 60 - q), 1)
        self.assertEqual(quality_table.nearest(range(1, 32), 0, lambda q: 60 - q), 31)

    def test_measures_few_points(self):
        asked = set()

        def curve(q):
            asked.add(q)
            return 60 - q

        quality_table.nearest(range(1, 32), 47.2, curve)
        self.assertLessEqual(len(asked), 7)


class Rows(unittest.TestCase):
    def test_line_has_every_column_and_the_ratio(self):
        timing = {"cpu_seconds": 2.0, "wall_seconds": 4.0, "peak_kib": 2048}
        ours = {"codec": "qolm", "setting": 45, "bytes": 1000, "frames": 100,
                "records": {1: 2, 2: 90, 5: 3, 7: 1}, "psnr_y": 38.123, "ssim_y": 0.98765,
                "encode": timing, "info": timing}
        line = quality_table.table_line("a/b clip.mp4", ours, ours)
        self.assertEqual(line, "| b clip | qolm | 45 | 1,000 | 1.00 | 2/90/0/3 | 38.12 | 0.9877 "
                               "| 2.00 | 25 | 2.00 | 25 | 2 |")
        self.assertEqual(line.count("|") - 1, len(quality_table.COLUMNS))
        peer = {"codec": "mjpeg", "setting": 4, "bytes": 2500, "frames": 100,
                "psnr_y": float("inf"), "ssim_y": 1.0, "encode": timing}
        line = quality_table.table_line("a/b.mp4", peer, ours)
        self.assertEqual(line.count("|") - 1, len(quality_table.COLUMNS))
        self.assertIn("| 2.50 |", line)

    def test_json_form_has_no_infinity(self):
        text = json.dumps(quality_table.finite([{"psnr_y": float("inf"), "bytes": 3}]),
                          allow_nan=False)
        self.assertEqual(json.loads(text), [{"psnr_y": "inf", "bytes": 3}])


if __name__ == "__main__":
    unittest.main()
