#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks what `make demo` left for its generated clip.

    tools/check_demo.py PROGRAM_FOLDER DEMO_FOLDER

The file must hold key frames, predicted frames and repeat runs that together
give every source frame; info must decode all of them; the decoded pictures
must be near the source's; the contact sheet must be a real picture.
"""

import pathlib
import re
import subprocess
import sys

import qolm_records

REPOSITORY = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(REPOSITORY / "bench"))
import quality_table  # noqa: E402

# What quality 45 gives on the generated clip, with room to spare; colours or
# pictures that are wrong fall far below.
LOWEST_PSNR_Y = 28.0
LOWEST_SSIM_Y = 0.85


def failures(programs, folder):
    source, output, picture = (folder / f"demo.{end}" for end in ("mp4", "qolm", "png"))
    reference = folder / "reference.y4m"
    quality_table.write_reference(str(source), 0, str(reference))
    expected = quality_table.count_frames(str(reference))

    header, records = qolm_records.read_file(output)
    counts = qolm_records.count_by_type(records)
    print(f"records by type: {counts}")
    for kind in (qolm_records.KEY_FRAME, qolm_records.PREDICTED, qolm_records.REPEAT_RUN):
        if not counts.get(kind):
            yield f"no record of type {kind}"
    if header.frame_count != expected:
        yield f"the header says {header.frame_count} frames, the source has {expected}"
    carried = sum(map(qolm_records.frames_of, records))
    if carried != expected:
        yield f"the records carry {carried} frames, the source has {expected}"
    if counts.get(qolm_records.REPEAT_RUN, 0) and sum(
            r.count for r in records if r.type == qolm_records.REPEAT_RUN) < 90:
        yield "the still part was not counted into repeat runs"

    info = subprocess.run([programs / "qolm2_converter", "info", output], capture_output=True)
    text = info.stdout.decode()
    if info.returncode != 0 or info.stderr:
        yield f"info failed: {info.stderr.decode()}"
    after_header = text.partition("Flags")[2]
    if not re.search(rf"\b{expected}\b", after_header):
        yield f"info does not report {expected} decoded frames: {text}"

    psnr, ssim = quality_table.compare(
        None, str(reference), [str(programs / "qolm2_export"), str(output), "-", "--y4m"])
    reference.unlink()
    print(f"PSNR-Y {psnr:.2f} dB, SSIM-Y {ssim:.4f}")
    if psnr < LOWEST_PSNR_Y or ssim < LOWEST_SSIM_Y:
        yield f"the decoded pictures are far from the source: PSNR-Y {psnr}, SSIM-Y {ssim}"

    # signalstats sees every pixel: a blank or broken sheet has no spread.
    stats = subprocess.run(
        ["ffmpeg", "-v", "error", "-i", picture, "-vf",
         "format=yuv444p,signalstats,metadata=print:file=-", "-f", "null", "-"],
        capture_output=True).stdout.decode()
    values = {key: float(value) for key, value in
              re.findall(r"lavfi\.signalstats\.(\w+)=([\d.]+)", stats)}
    if not values or values["YHIGH"] - values["YLOW"] < 60 or values["SATMAX"] < 40:
        yield f"the contact sheet {picture} shows no real pictures"


def main(arguments):
    if len(arguments) != 2:
        print(__doc__.strip(), file=sys.stderr)
        return 2
    try:
        found = list(failures(*map(pathlib.Path, arguments)))
    except (OSError, ValueError, quality_table.MeasuringFailed,
            qolm_records.MalformedFile) as error:
        found = [str(error)]
    for message in found:
        print(f"check_demo: {message}", file=sys.stderr)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
