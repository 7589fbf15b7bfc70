#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints the coverage of each folder of src/ from a summary that gcovr wrote.

    tools/coverage_table.py SUMMARY.json

Fails when a folder that reads bytes from outside lies below its floors.
"""

import collections
import json
import sys

# Folder -> least percentage of lines and of branches.
FLOORS = {"container": (95.0, 85.0), "decoder": (95.0, 85.0), "entropy": (95.0, 85.0)}


def percentage(covered, total):
    return 100.0 * covered / total if total else 100.0


def folder_of(filename):
    parts = filename.split("/")
    return parts[1] if parts[0] == "src" and len(parts) > 2 else None


def sums_by_folder(summary):
    """Folder -> [lines covered, lines, branches covered, branches]."""
    sums = collections.defaultdict(lambda: [0, 0, 0, 0])
    for file in summary["files"]:
        folder = folder_of(file["filename"])
        if folder is None:
            continue
        keys = ("line_covered", "line_total", "branch_covered", "branch_total")
        sums[folder] = [have + file[key] for have, key in zip(sums[folder], keys)]
    return sums


def main(arguments):
    if len(arguments) != 1:
        print(__doc__.strip().splitlines()[2].strip(), file=sys.stderr)
        return 2
    with open(arguments[0], encoding="utf-8") as file:
        sums = sums_by_folder(json.load(file))
    breaches = [f"no file of src/{folder}/ was measured" for folder in FLOORS if folder not in sums]
    print(f"{'folder':<12} {'lines':>7} {'of':>6} {'branches':>9} {'of':>6}")
    for folder, (lines, all_lines, branches, all_branches) in sorted(sums.items()):
        reached = (percentage(lines, all_lines), percentage(branches, all_branches))
        print(f"{folder:<12} {reached[0]:>6.1f}% {all_lines:>6} {reached[1]:>8.1f}% {all_branches:>6}")
        for name, share, floor in zip(("lines", "branches"), reached, FLOORS.get(folder, (0, 0))):
            if share < floor:
                breaches.append(f"src/{folder}/: {share:.1f}% of the {name}, below {floor:.0f}%")
    for breach in breaches:
        print(f"coverage: {breach}", file=sys.stderr)
    return 1 if breaches else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
