#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""How much CPU time conversion and decoding take beside ffmpeg's decoder and encoders.

    bench/speed_table.py [--programs build/release/bin] [--rounds 5] [--frames N]
                         [--quality 40] [--slides] [--json FILE] [--plot FILE.png] CLIP...

Every round runs, for each clip, one after another

- decode: ffmpeg decodes the clip to RGBA pictures and drops them,
- encode and info: the converter on the clip without its sound, and on what came of it,
- x264, mpeg2video, mjpeg: ffmpeg decodes the clip and encodes its pictures, x264 with its
  fastest preset; each with the setting whose SSIM-Y is nearest to the converter's,
- h264: ffmpeg decodes what x264 made, to RGBA pictures.

Figures are CPU milliseconds (user + system, all threads) a frame, without start-up: the
same work on the first frame alone is taken off. A ratio is formed within a round; the table
has the least and the median of all rounds, and "wall" the encode's wall time over its CPU
time. Numbers of one machine compare with nothing but each other. --slides adds a lecture
of text slides that is made on the spot.
"""

import argparse
import json
import math
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile

import quality_table
import slides_clip

FFMPEG = quality_table.FFMPEG
# Codec -> file suffix, encoder options with a place for the setting, settings from best.
ENCODERS = {
    "x264": ("mp4", ["-c:v", "libx264", "-preset", "ultrafast", "-crf"], range(8, 45)),
    "mpeg2video": ("m2v", ["-c:v", "mpeg2video", "-qmin", "1", "-g", "60", "-q:v"], range(1, 32)),
    "mjpeg": ("avi", ["-c:v", "mjpeg", "-qmin", "1", "-q:v"], range(1, 32)),
}
# Name of a row -> the job whose time is divided by the other's.
RATIOS = {
    "encode / decode": ("encode", "decode"),
    "encode / x264": ("encode", "x264"),
    "encode / mpeg2video": ("encode", "mpeg2video"),
    "encode / mjpeg": ("encode", "mjpeg"),
    "info / h264": ("info", "h264"),
}


def to_rgba(path, frames):
    return [*FFMPEG, "-i", path, "-map", "0:V:0", "-an", *quality_table.limit(frames),
            "-vsync", "passthrough", "-pix_fmt", "rgba", "-f", "rawvideo", "/dev/null"]


class Encoder:
    """One of ffmpeg's encoders, at the setting nearest to a given SSIM-Y."""

    def __init__(self, codec, clip, folder, reference, target_ssim):
        suffix, self.options, settings = ENCODERS[codec]
        self.clip, self.path = clip, str(folder / f"{codec}.{suffix}")
        measured = {}

        def ssim_at(setting):
            if setting not in measured:
                quality_table.run(self.command(setting, 0, ["-i", reference]))
                _, measured[setting] = quality_table.compare(self.path, reference)
            return measured[setting]

        self.setting = quality_table.nearest(settings, target_ssim, ssim_at)
        self.ssim = ssim_at(self.setting)

    def command(self, setting, frames, source=None):
        # A rate that every format knows; the pictures are the same.
        source = ["-r", "25", *(source or ["-i", self.clip, "-map", "0:V:0", "-an"])]
        return [*FFMPEG, *source, *quality_table.limit(frames), *self.options, str(setting),
                "-pix_fmt", "yuv420p", "-strict", "unofficial", "-vsync", "passthrough", self.path]


class Clip:
    """The jobs on one clip."""

    def __init__(self, arguments, path, folder):
        self.name = pathlib.Path(path).stem
        self.folder = folder
        reference = str(folder / "reference.y4m")
        quality_table.write_reference(path, arguments.frames, reference)
        self.frames = quality_table.count_frames(reference)
        programs = arguments.programs
        ours = quality_table.measure_ours(programs, path, arguments.quality, arguments.frames,
                                          reference, self.frames, folder)
        self.bytes = {"encode": ours["bytes"]}
        self.ssim = {"encode": ours["ssim_y"]}
        converter = str(programs / "qolm2_converter")
        coded, first = str(folder / "ours.qolm"), str(folder / "first.qolm")

        def encode(frames, output):
            return [converter, "encode", path, output, "--quality", str(arguments.quality),
                    "--no-audio", *(["--frames", str(frames)] if frames else [])]

        limit = arguments.frames
        # Job -> the command on all frames and on one.
        self.jobs = {"decode": (to_rgba(path, limit), to_rgba(path, 1)),
                     "encode": (encode(limit, coded), encode(1, first)),
                     "info": ([converter, "info", coded], [converter, "info", first])}
        for codec in ENCODERS:
            encoder = Encoder(codec, path, folder, reference, ours["ssim_y"])
            self.ssim[codec] = encoder.ssim
            self.jobs[codec] = (encoder.command(encoder.setting, limit),
                                encoder.command(encoder.setting, 1))
            # Last, so that the whole stream is there to decode.
            quality_table.run(encoder.command(encoder.setting, limit))
            self.bytes[codec] = pathlib.Path(encoder.path).stat().st_size
            if codec == "x264":
                whole = str(folder / "whole.mp4")
                shutil.copy(encoder.path, whole)
                self.jobs["h264"] = (to_rgba(whole, 0), to_rgba(whole, 1))
        quality_table.run(encode(1, first))
        self.rounds = []

    def run_round(self):
        """CPU and wall milliseconds a frame of every job."""
        figures = {}
        for job, (whole, first) in self.jobs.items():
            start = quality_table.measure(first)
            done = quality_table.measure(whole)
            figures[job] = {
                kind: 1000 * (done[f"{kind}_seconds"] - start[f"{kind}_seconds"])
                / max(self.frames - 1, 1) for kind in ("cpu", "wall")}
        self.rounds.append(figures)

    def cpu(self, job):
        return statistics.median(figures[job]["cpu"] for figures in self.rounds)

    def ratio(self, pair):
        """(least, median) over the rounds; not a number where a job took no measurable time.

        What start-up is taken for is measured by itself, so a few frames of a fast codec
        can come out at nothing or less.
        """
        values = [figures[pair[0]]["cpu"] / figures[pair[1]]["cpu"] for figures in self.rounds
                  if min(figures[job]["cpu"] for job in pair) > 0]
        return (min(values), statistics.median(values)) if values else (math.nan, math.nan)

    def wall(self):
        values = [figures["encode"]["wall"] / figures["encode"]["cpu"]
                  for figures in self.rounds if figures["encode"]["cpu"] > 0]
        return statistics.median(values) if values else math.nan


def geometric_mean(values):
    values = [value for value in values if not math.isnan(value)]
    return math.exp(sum(map(math.log, values)) / len(values)) if values else math.nan


def cell(value):
    return "-" if math.isnan(value) else f"{value:.2f}"


def print_table(clips):
    jobs = ["decode", "encode", "info", *ENCODERS, "h264"]
    print("| clip | " + " | ".join(f"{job} ms" for job in jobs) + " | wall |")
    print("|" + "---|" * (len(jobs) + 2))
    for clip in clips:
        print(f"| {clip.name} | " + " | ".join(f"{clip.cpu(job):.2f}" for job in jobs)
              + f" | {cell(clip.wall())} |")
    print()
    print("| clip | " + " | ".join(RATIOS) + " |")
    print("|" + "---|" * (len(RATIOS) + 1))
    for clip in clips:
        cells = (", ".join(map(cell, clip.ratio(pair))) for pair in RATIOS.values())
        print(f"| {clip.name} | " + " | ".join(cells) + " |")
    means = (geometric_mean(clip.ratio(pair)[1] for clip in clips) for pair in RATIOS.values())
    print("| geometric mean | " + " | ".join(map(cell, means)) + " |")


def plot(clips, path):
    import matplotlib
    matplotlib.use("Agg")
    from matplotlib import pyplot, ticker

    jobs = ["decode", "encode", *ENCODERS]
    labels = {"decode": "decoding alone", "encode": "qolm"}
    figure, (speed, size) = pyplot.subplots(1, 2, figsize=(13, 5), constrained_layout=True)
    for place, job in enumerate(jobs):
        at = [number + 0.16 * (place - len(jobs) / 2) for number in range(len(clips))]
        color = f"C{place}"
        speed.bar(at, [clip.cpu(job) for clip in clips], 0.15, label=labels.get(job, job),
                  color=color)
        if job != "decode":
            size.bar(at, [clip.bytes[job] / clip.bytes["encode"] for clip in clips], 0.15,
                     label=labels.get(job, job), color=color)
    size.axhline(1.0, color="grey", linewidth=0.8)
    for axes, title in ((speed, "CPU milliseconds a frame"),
                        (size, "bytes at equal SSIM, qolm = 1")):
        axes.set_title(title)
        axes.set_yscale("log")
        axes.yaxis.set_major_locator(ticker.LogLocator(subs=(1, 2, 5)))
        axes.yaxis.set_minor_locator(ticker.NullLocator())
        axes.yaxis.set_major_formatter(ticker.StrMethodFormatter("{x:g}"))
        axes.set_xticks(range(len(clips)), [clip.name for clip in clips])
        axes.legend()
    figure.savefig(path, dpi=110)


def parse_arguments(words):
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("clips", nargs="*", metavar="CLIP")
    parser.add_argument("--programs", type=pathlib.Path, default="build/release/bin")
    parser.add_argument("--quality", type=int, default=40)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--frames", type=int, default=0, help="only the first N frames")
    parser.add_argument("--slides", action="store_true", help="also a lecture made on the spot")
    parser.add_argument("--json", type=pathlib.Path, help="also write every figure here")
    parser.add_argument("--plot", type=pathlib.Path, help="also draw the figures")
    arguments = parser.parse_args(words)
    if not arguments.clips and not arguments.slides:
        parser.error("name a clip, or --slides")
    return arguments


def main(words):
    arguments = parse_arguments(words)
    arguments.programs = arguments.programs.resolve()
    with tempfile.TemporaryDirectory() as scratch:
        folder = pathlib.Path(scratch)
        paths = list(arguments.clips)
        try:
            if arguments.slides:
                paths.append(str(folder / "slides.mp4"))
                slides_clip.make(paths[-1], folder)
            clips = []
            for number, path in enumerate(paths):
                part = folder / str(number)
                part.mkdir()
                clips.append(Clip(arguments, path, part))
            for _ in range(arguments.rounds):
                for clip in clips:
                    clip.run_round()
        except (quality_table.MeasuringFailed, subprocess.CalledProcessError, OSError) as error:
            print(f"speed_table: {error}", file=sys.stderr)
            return 1
    print_table(clips)
    if arguments.json:
        figures = [{"clip": clip.name, "frames": clip.frames, "bytes": clip.bytes,
                    "ssim_y": clip.ssim, "rounds": clip.rounds} for clip in clips]
        arguments.json.write_text(json.dumps(figures, indent=1) + "\n", encoding="utf-8")
    if arguments.plot:
        plot(clips, arguments.plot)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
