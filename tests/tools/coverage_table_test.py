# SPDX-License-Identifier: MIT
"""The coverage table: sums by folder, and the floors."""

import contextlib
import io
import json
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools"))
import coverage_table  # noqa: E402


def file_of(name, lines, branches, total=100):
    return {"filename": name, "line_covered": lines, "line_total": total,
            "branch_covered": branches, "branch_total": total}


def run(files):
    """The exit code, the table and the complaints over such files."""
    out, err = io.StringIO(), io.StringIO()
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder) / "summary.json"
        path.write_text(json.dumps({"files": files}), encoding="utf-8")
        with contextlib.redirect_stdout(out), contextlib.redirect_stderr(err):
            code = coverage_table.main([str(path)])
    return code, out.getvalue(), err.getvalue()


ENOUGH = [file_of(f"src/{folder}/a.cpp", 95, 85) for folder in coverage_table.FLOORS]


class Table(unittest.TestCase):
    def test_sums_the_files_of_a_folder(self):
        _, table, _ = run(ENOUGH + [file_of("src/video/x86/a.cpp", 10, 20, 40),
                                    file_of("src/video/b.cpp", 30, 0, 40)])
        row = next(line for line in table.splitlines() if line.startswith("video"))
        self.assertEqual(row.split(), ["video", "50.0%", "80", "25.0%", "80"])

    def test_passes_on_the_floors(self):
        code, _, complaints = run(ENOUGH)
        self.assertEqual((code, complaints), (0, ""))

    def test_fails_below_a_floor(self):
        code, _, complaints = run(ENOUGH + [file_of("src/decoder/b.cpp", 94, 85)])
        self.assertEqual(code, 1)
        self.assertEqual(complaints, "coverage: src/decoder/: 94.5% of the lines, below 95%\n")
        code, _, complaints = run(ENOUGH + [file_of("src/entropy/b.cpp", 95, 80)])
        self.assertEqual(complaints, "coverage: src/entropy/: 82.5% of the branches, below 85%\n")

    def test_fails_where_a_folder_was_not_measured(self):
        code, _, complaints = run(ENOUGH[1:])
        self.assertEqual(code, 1)
        self.assertIn("no file of src/container/ was measured", complaints)


if __name__ == "__main__":
    unittest.main()
