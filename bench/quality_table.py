#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Size, quality and speed of the converter on given clips, beside other codecs.

    bench/quality_table.py [--programs build/release/bin] [--qualities 25,45,75,90]
                           [--frames N] [--peers mjpeg,mpeg2video,mpeg4] [--json FILE] CLIP...

Prints a Markdown table. For every clip and quality:

- bytes: the file less its reserved front index (whose size follows the expected
  frame count, not the pictures), pictures only (no sound);
- I, P, B, R: records by type (key, predicted, bidirectional, repeat run);
- PSNR-Y and SSIM-Y: ffmpeg's filters on the decoded planes against the source
  as ffmpeg decodes it to 4:2:0, BT.601, limited range: the planes' own form;
- encode and info: CPU seconds (user + system, all threads) and frames per
  second of wall time of the whole process; peak memory of encode.

Each peer is an ffmpeg encoder whose -q:v is chosen, by bisection, for the
nearest PSNR-Y. Its bytes are those of the bare video stream, its CPU that of
ffmpeg decoding the clip and encoding its pictures as they are; the converter's
goes through RGBA as well.
"""

import argparse
import json
import math
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tools"))
import qolm_records  # noqa: E402

PEER_FORMATS = {"mjpeg": "mjpeg", "mpeg2video": "mpeg2video", "mpeg4": "m4v"}
PEER_SCALE = range(1, 32)  # ffmpeg's -q:v: 1 is best
# The converter reads an untagged picture this long or this high as BT.709.
UNTAGGED_HD = (1280, 720)

FFMPEG = ["ffmpeg", "-hide_banner", "-nostdin", "-y"]
PSNR_LINE = re.compile(r"PSNR y:(\S+)")
SSIM_LINE = re.compile(r"SSIM Y:(\S+)")


class MeasuringFailed(Exception):
    """A program that the measurement needs did not do its work."""


def last_line(data):
    lines = data.decode(errors="replace").strip().splitlines()
    return lines[-1] if lines else "no message"


def run(command):
    """Runs `command`; returns its standard error, raises MeasuringFailed."""
    done = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True)
    if done.returncode != 0:
        raise MeasuringFailed(f"{command[0]}: {last_line(done.stderr)}")
    return done.stderr.decode(errors="replace")


def measure(command):
    """Runs `command`; returns cpu_seconds, wall_seconds, peak_kib and its output.

    GNU time stands between, because the kernel lets a child's peak start at
    its parent's, and Python's would hide a small program's.
    """
    with tempfile.NamedTemporaryFile("r") as peak, tempfile.TemporaryFile() as output:
        timed = ["time", "--quiet", "-f", "%M", "-o", peak.name, *command]
        start = time.monotonic()
        child = subprocess.Popen(timed, stdin=subprocess.DEVNULL, stdout=output, stderr=output)
        _, status, usage = os.wait4(child.pid, 0)
        child.returncode = os.waitstatus_to_exitcode(status)
        wall = time.monotonic() - start
        output.seek(0)
        text = output.read()
        if child.returncode != 0:
            raise MeasuringFailed(f"{' '.join(command)}: {last_line(text)}")
        return {"cpu_seconds": usage.ru_utime + usage.ru_stime, "wall_seconds": wall,
                "peak_kib": int(peak.read().split()[-1])}


def probe(clip):
    """Returns the clip's (long side, short side, colour space) as tagged."""
    done = subprocess.run(
        ["ffprobe", "-v", "error", "-select_streams", "V:0", "-show_entries",
         "stream=width,height,color_space", "-of", "json", clip], capture_output=True)
    streams = json.loads(done.stdout or b"{}").get("streams")
    if not streams:
        raise MeasuringFailed(f"{clip}: no video stream")
    sides = sorted((streams[0]["width"], streams[0]["height"]))
    return sides[1], sides[0], streams[0].get("color_space", "unknown")


def to_planes_filter(clip):
    """The filter that brings the clip's pictures to the form of our planes."""
    long_side, short_side, space = probe(clip)
    source = {"bt2020nc": "bt2020", "bt2020c": "bt2020"}.get(space, "auto")
    is_hd = long_side >= UNTAGGED_HD[0] or short_side >= UNTAGGED_HD[1]
    if space in ("unknown", "unspecified") and is_hd:
        source = "bt709"
    return (f"scale=in_color_matrix={source}:out_color_matrix=bt601:out_range=tv"
            ":flags=bicubic+accurate_rnd+full_chroma_int,format=yuv420p")


def limit(frames):
    return ["-frames:v", str(frames)] if frames else []


def write_reference(clip, frames, path):
    run([*FFMPEG, "-i", clip, "-map", "0:V:0", "-an", "-vsync", "passthrough", *limit(frames),
         "-vf", to_planes_filter(clip), "-f", "yuv4mpegpipe", path])


def count_frames(path, input_options=()):
    done = subprocess.run(
        ["ffprobe", "-v", "error", *input_options, "-count_packets", "-show_entries",
         "stream=nb_read_packets", "-of", "csv=p=0", path], capture_output=True)
    return int(done.stdout.split()[0].strip(b","))


def compare(distorted, reference, feeder=None):
    """Returns (PSNR-Y, SSIM-Y) of two files; `feeder` writes the first to a pipe."""
    # Numbering the pictures makes the two files' clocks the same.
    graph = ("[0:v]settb=1/25,setpts=N,format=yuv420p,split[a][b];"
             "[1:v]settb=1/25,setpts=N,split[c][d];"
             "[a][c]psnr=shortest=1[e];[b][d]ssim=shortest=1[f]")
    command = [*FFMPEG, "-i", "pipe:0" if feeder else distorted, "-i", reference,
               "-filter_complex", graph, "-map", "[e]", "-f", "null", "-",
               "-map", "[f]", "-f", "null", "-"]
    if feeder:
        command.remove("-nostdin")
        source = subprocess.Popen(feeder, stdout=subprocess.PIPE)
        done = subprocess.run(command, stdin=source.stdout, capture_output=True)
        source.stdout.close()
        if source.wait() != 0:
            raise MeasuringFailed(f"{feeder[0]} failed")
    else:
        done = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True)
    text = done.stderr.decode(errors="replace")
    psnr, ssim = PSNR_LINE.search(text), SSIM_LINE.search(text)
    if done.returncode != 0 or not psnr or not ssim:
        raise MeasuringFailed(f"ffmpeg could not compare: {last_line(done.stderr)}")
    return float(psnr.group(1)), float(ssim.group(1))


def measure_ours(programs, clip, quality, frames, reference, source_frames, folder, options=()):
    output = str(folder / "ours.qolm")
    encode = measure([str(programs / "qolm2_converter"), "encode", clip, output, "--quality",
                      str(quality), "--no-audio", *(["--frames", str(frames)] if frames else []),
                      *options])
    header, records = qolm_records.read_file(output)
    carried = sum(map(qolm_records.frames_of, records))
    if not carried == header.frame_count == source_frames:
        raise MeasuringFailed(f"{clip}: {source_frames} source frames, {header.frame_count} in "
                              f"the header, {carried} in the records")
    info = measure([str(programs / "qolm2_converter"), "info", output])
    psnr, ssim = compare(None, reference, [str(programs / "qolm2_export"), output, "-", "--y4m"])
    size = os.path.getsize(output) - qolm_records.index_bytes(records)
    return {"codec": "qolm", "setting": quality, "bytes": size, "frames": carried,
            "records": qolm_records.count_by_type(records), "psnr_y": psnr, "ssim_y": ssim,
            "encode": encode, "info": info}


def nearest(scale, target, value_at):
    """The point of the ascending `scale` whose falling value is nearest to `target`."""
    low, high = 0, len(scale) - 1
    while high - low > 1:
        middle = (low + high) // 2
        if value_at(scale[middle]) >= target:
            low = middle
        else:
            high = middle
    return min((scale[low], scale[high]), key=lambda point: abs(value_at(point) - target))


class Peer:
    """One ffmpeg encoder on one clip; remembers every setting that it measured."""

    def __init__(self, codec, clip, frames, reference, folder):
        self.codec, self.clip, self.frames = codec, clip, frames
        self.reference = reference
        self.stream = str(folder / f"{codec}.{PEER_FORMATS[codec]}")
        self.measured = {}
        self.speed = {}

    def encoder(self, q):
        return ["-c:v", self.codec, "-q:v", str(q), "-qmin", "1", "-g", "60", "-pix_fmt",
                "yuv420p", "-strict", "unofficial", "-vsync", "passthrough", "-f", PEER_FORMATS[self.codec], self.stream]

    def at(self, q):
        if q not in self.measured:
            run([*FFMPEG, "-r", "25", "-i", self.reference, *self.encoder(q)])
            psnr, ssim = compare(self.stream, self.reference)
            self.measured[q] = {"psnr_y": psnr, "ssim_y": ssim,
                                "bytes": os.path.getsize(self.stream)}
        return self.measured[q]

    def row(self, target_psnr, frame_count):
        q = nearest(PEER_SCALE, target_psnr, lambda point: self.at(point)["psnr_y"])
        if q not in self.speed:
            self.speed[q] = measure([*FFMPEG, "-r", "25", "-i", self.clip, "-map", "0:V:0", "-an",
                                     *limit(self.frames), *self.encoder(q)])
        return {"codec": self.codec, "setting": q, "frames": frame_count, **self.at(q),
                "encode": self.speed[q]}


def measure_clip(arguments, clip, folder, report):
    reference = str(folder / "reference.y4m")
    write_reference(clip, arguments.frames, reference)
    source_frames = count_frames(reference)
    peers = [Peer(codec, clip, arguments.frames, reference, folder) for codec in arguments.peers]
    for quality in arguments.qualities:
        ours = measure_ours(arguments.programs, clip, quality, arguments.frames, reference,
                            source_frames, folder)
        report(clip, ours, ours)
        for peer in peers:
            report(clip, peer.row(ours["psnr_y"], source_frames), ours)


COLUMNS = ["clip", "codec", "q", "bytes", "of ours", "I/P/B/R", "PSNR-Y", "SSIM-Y",
           "enc CPU s", "enc fps", "info CPU s", "info fps", "peak MiB"]


def table_line(clip, row, ours):
    records = row.get("records")
    info = row.get("info")
    frames = row["frames"]

    def fps(timing):
        return f"{frames / timing['wall_seconds']:.0f}"

    cells = [pathlib.Path(clip).stem, row["codec"], row["setting"], f"{row['bytes']:,}",
             f"{row['bytes'] / ours['bytes']:.2f}",
             "/".join(str(records.get(kind, 0)) for kind in (1, 2, 4, 5)) if records else "",
             f"{row['psnr_y']:.2f}", f"{row['ssim_y']:.4f}",
             f"{row['encode']['cpu_seconds']:.2f}", fps(row["encode"]),
             f"{info['cpu_seconds']:.2f}" if info else "", fps(info) if info else "",
             f"{row['encode']['peak_kib'] / 1024:.0f}"]
    return "| " + " | ".join(map(str, cells)) + " |"


def finite(value):
    """JSON has no infinity, which the PSNR of equal pictures is."""
    if isinstance(value, float) and not math.isfinite(value):
        return str(value)
    if isinstance(value, dict):
        return {key: finite(item) for key, item in value.items()}
    return [finite(item) for item in value] if isinstance(value, list) else value


def parse_arguments(words):
    def numbers(text):
        return [int(word) for word in text.split(",")]

    def codecs(text):
        names = [name for name in text.split(",") if name]
        unknown = [name for name in names if name not in PEER_FORMATS]
        if unknown:
            raise argparse.ArgumentTypeError(f"unknown peer {unknown[0]}")
        return names

    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("clips", nargs="+", metavar="CLIP")
    parser.add_argument("--programs", type=pathlib.Path, default="build/release/bin")
    parser.add_argument("--qualities", type=numbers, default=[25, 45, 75, 90])
    parser.add_argument("--frames", type=int, default=0, help="only the first N frames")
    parser.add_argument("--peers", type=codecs, default=list(PEER_FORMATS),
                        help="comma separated; empty for none")
    parser.add_argument("--json", type=pathlib.Path, help="also write every figure here")
    return parser.parse_args(words)


def main(words):
    arguments = parse_arguments(words)
    arguments.programs = arguments.programs.resolve()
    for program in ("ffmpeg", "ffprobe", "time"):
        if not shutil.which(program):
            print(f"quality_table: {program} is missing; run tools/setup.sh bench",
                  file=sys.stderr)
            return 1
    rows = []

    def report(clip, row, ours):
        rows.append({"clip": pathlib.Path(clip).name, **row})
        print(table_line(clip, row, ours), flush=True)

    print("| " + " | ".join(COLUMNS) + " |")
    print("|" + "---|" * len(COLUMNS), flush=True)
    failures = 0
    for clip in arguments.clips:
        with tempfile.TemporaryDirectory() as folder:
            try:
                measure_clip(arguments, clip, pathlib.Path(folder), report)
            except (MeasuringFailed, qolm_records.MalformedFile, OSError) as error:
                print(f"quality_table: {error}", file=sys.stderr)
                failures += 1
    if arguments.json:
        arguments.json.write_text(json.dumps(finite(rows), indent=1) + "\n", encoding="utf-8")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
