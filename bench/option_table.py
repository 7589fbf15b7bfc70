#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What encode options bring: bytes at equal PSNR-Y with them and without them.

    bench/option_table.py [--programs build/release/bin] [--qualities 25,40,55,75]
                          [--frames N] --options "--bidirectional" CLIP...

Prints a Markdown table. Each clip is converted at every quality with and without
the options. "bytes" is the mean difference between the two curves of log(bytes)
over PSNR-Y, with straight lines between their points, where both have values;
PSNR and CPU are those at the second quality. Figures count as in quality_table.py.
"""

import argparse
import math
import pathlib
import sys
import tempfile

import quality_table


def log_bytes_at(curve, psnr):
    """The curve's value at `psnr`; `curve` holds (psnr, log bytes), ascending."""
    for (left, left_value), (right, right_value) in zip(curve, curve[1:]):
        if left <= psnr <= right:
            share = (psnr - left) / (right - left) if right > left else 0.0
            return left_value + share * (right_value - left_value)
    raise ValueError(f"{psnr} lies outside the curve")


def bytes_at_equal_psnr(without, with_options, steps=200):
    """The mean ratio of bytes, as a fraction of change: -0.1 is 10 % fewer."""
    curves = [sorted((row["psnr_y"], math.log(row["bytes"])) for row in rows)
              for rows in (without, with_options)]
    low = max(curve[0][0] for curve in curves)
    high = min(curve[-1][0] for curve in curves)
    if high <= low:
        return None
    points = [low + (high - low) * (step + 0.5) / steps for step in range(steps)]
    differences = [log_bytes_at(curves[1], point) - log_bytes_at(curves[0], point)
                   for point in points]
    return math.exp(sum(differences) / steps) - 1.0


COLUMNS = ["clip", "bytes", "PSNR-Y", "with", "I/P/B/R", "enc CPU s", "with", "info CPU s", "with"]


def table_line(clip, without, with_options):
    change = bytes_at_equal_psnr(without, with_options)
    before, after = without[1], with_options[1]
    cells = [pathlib.Path(clip).stem, "" if change is None else f"{100 * change:+.1f} %",
             f"{before['psnr_y']:.2f}", f"{after['psnr_y']:.2f}",
             "/".join(str(after["records"].get(kind, 0)) for kind in (1, 2, 4, 5)),
             f"{before['encode']['cpu_seconds']:.2f}", f"{after['encode']['cpu_seconds']:.2f}",
             f"{before['info']['cpu_seconds']:.2f}", f"{after['info']['cpu_seconds']:.2f}"]
    return "| " + " | ".join(cells) + " |"


def measure_clip(arguments, clip, folder):
    reference = str(folder / "reference.y4m")
    quality_table.write_reference(clip, arguments.frames, reference)
    source_frames = quality_table.count_frames(reference)

    def rows(options):
        return [quality_table.measure_ours(arguments.programs, clip, quality, arguments.frames,
                                           reference, source_frames, folder, options)
                for quality in arguments.qualities]

    return rows([]), rows(arguments.options)


def parse_arguments(words):
    def qualities(text):
        numbers = [int(word) for word in text.split(",")]
        if len(numbers) < 2:
            raise argparse.ArgumentTypeError("a curve needs two qualities or more")
        return numbers

    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("clips", nargs="+", metavar="CLIP")
    parser.add_argument("--programs", type=pathlib.Path, default="build/release/bin")
    parser.add_argument("--qualities", type=qualities, default=[25, 40, 55, 75])
    parser.add_argument("--frames", type=int, default=0, help="only the first N frames")
    parser.add_argument("--options", type=str.split, required=True,
                        help="encode options to compare with the defaults")
    return parser.parse_args(words)


def main(words):
    # argparse takes a word that begins with dashes for an option of its own.
    joined = []
    for word in words:
        if joined and joined[-1] == "--options":
            joined[-1] += "=" + word
        else:
            joined.append(word)
    arguments = parse_arguments(joined)
    arguments.programs = arguments.programs.resolve()
    print("| " + " | ".join(COLUMNS) + " |")
    print("|" + "---|" * len(COLUMNS), flush=True)
    for clip in arguments.clips:
        with tempfile.TemporaryDirectory() as folder:
            try:
                print(table_line(clip, *measure_clip(arguments, clip, pathlib.Path(folder))),
                      flush=True)
            except (quality_table.MeasuringFailed, OSError) as error:
                print(f"option_table: {error}", file=sys.stderr)
                return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
