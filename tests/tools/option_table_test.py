# SPDX-License-Identifier: MIT
"""The option table's own arithmetic."""

import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bench"))
import option_table  # noqa: E402


def rows(points):
    return [{"psnr_y": psnr, "bytes": size, "records": {1: 1, 2: 3, 4: 2},
             "encode": {"cpu_seconds": 1.0}, "info": {"cpu_seconds": 0.5}}
            for psnr, size in points]


class BytesAtEqualPsnr(unittest.TestCase):
    def test_a_tenth_less_everywhere(self):
        base = rows([(30.0, 1000), (35.0, 2000), (40.0, 4000)])
        saved = rows([(30.0, 900), (35.0, 1800), (40.0, 3600)])
        self.assertAlmostEqual(option_table.bytes_at_equal_psnr(base, saved), -0.1)
        self.assertAlmostEqual(option_table.bytes_at_equal_psnr(saved, base), 1 / 0.9 - 1)

    def test_only_the_common_range_counts(self):
        base = rows([(30.0, 1000), (40.0, 1000)])
        other = rows([(35.0, 2000), (45.0, 2000)])
        self.assertAlmostEqual(option_table.bytes_at_equal_psnr(base, other), 1.0)

    def test_curves_that_do_not_meet_have_no_figure(self):
        self.assertIsNone(option_table.bytes_at_equal_psnr(rows([(30, 1), (31, 2)]),
                                                           rows([(32, 1), (33, 2)])))

    def test_more_quality_for_the_same_bytes_is_a_gain(self):
        base = rows([(30.0, 1000), (40.0, 2000)])
        better = rows([(31.0, 1000), (41.0, 2000)])
        self.assertLess(option_table.bytes_at_equal_psnr(base, better), 0)


class TableLine(unittest.TestCase):
    def test_has_a_cell_for_every_column(self):
        base = rows([(30.0, 1000), (35.0, 2000)])
        line = option_table.table_line("a/b.mp4", base, base)
        self.assertEqual(line.count("|") - 1, len(option_table.COLUMNS))
        self.assertIn("+0.0 %", line)
        self.assertIn("1/3/2/0", line)


class Arguments(unittest.TestCase):
    def test_one_quality_is_no_curve(self):
        with self.assertRaises(SystemExit):
            option_table.parse_arguments(["--options=-x", "--qualities", "45", "clip"])


if __name__ == "__main__":
    unittest.main()
