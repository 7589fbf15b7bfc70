#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A long lecture through encode, info and export: memory, index, duration, sync.

    tools/long_run.py [--hours 10] [--programs build/release/bin] [--folder build/long-run]
                      [-- ENCODE_OPTION...]

Makes a lecture of 1080p at 30 frames a second: slides that stand 8 to 20 seconds,
in every fourth one something moves, and at each cut a click. Its few parts are coded
once and joined without coding again, so ten hours of source take minutes.

Then checks, and prints the figures:

- memory of every program over its whole run: behind the first minute, or tenth, it
  grows by no more than 16 MiB;
- frame count, duration and index of the file;
- every decoded frame: the slides change at the frames at which the source's do;
- the sound: the exact sample count, and at each cut the click.

Needs ffmpeg, and half a GB in the folder for each hour. Ends with 1 when a check fails.
"""

import argparse
import array
import fcntl
import itertools
import os
import pathlib
import random
import re
import struct
import subprocess
import sys
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import qolm_records  # noqa: E402

WIDTH, HEIGHT, FRAME_RATE, SOUND_RATE = 1920, 1080, 30, 32000
PARTS = 12
MEMORY_GROWTH_LIMIT = 16 << 20
PATCH = 64  # pixels, the square at the top left whose grey names the part
CLICK_HEIGHT = 8000
F_SETPIPE_SZ = 1031


class Part:
    """A slide with a grey of its own."""

    def __init__(self, number):
        self.number = number
        self.seconds = 8 + number * 5 % 13
        self.level = 24 + 17 * number
        self.moves = number % 4 == 3

    def path(self, folder):
        return folder / f"part{self.number:02d}.mov"

    def filters(self):
        """The picture as a filter graph: lines of words, and a box that wanders for a while."""
        chance = random.Random(self.number)
        words = []
        for line in range(16):
            x = 120
            while x < 1500:
                length = chance.randrange(30, 160)
                words.append(f"drawbox=x={x}:y={120 + 56 * line}:w={length}:h=22:c=black:t=fill")
                x += length + 24
        grey = f"0x{self.level:02x}{self.level:02x}{self.level:02x}"
        patch = f"drawbox=x=0:y=0:w={PATCH}:h={PATCH}:c={grey}:t=fill"
        slide = (f"color=c=0xd8dce0:s={WIDTH}x{HEIGHT}:r={FRAME_RATE},trim=end_frame=1,"
                 f"{','.join(words)},{patch},loop=-1:1,setpts=N/{FRAME_RATE}/TB[slide]")
        if not self.moves:
            return f"{slide};[slide]null[v]"
        return (f"{slide};testsrc2=s=240x240:r={FRAME_RATE}[box];"
                "[slide][box]overlay=x='if(between(t,2,6),200+250*(t-2),2000)':y=420:"
                "format=yuv420[v]")

    def make(self, folder):
        click = "0.8*sin(2*PI*1000*t)*lt(t,0.004)"
        hum = f"0.02*sin(2*PI*{180 + 20 * self.number}*t)"
        run_ffmpeg("-filter_complex", self.filters(),
                   "-f", "lavfi", "-i", f"aevalsrc='{click}+{hum}':s={SOUND_RATE}",
                   "-map", "[v]", "-map", "0:a", "-t", str(self.seconds), "-pix_fmt", "yuv420p",
                   "-c:v", "libx264", "-preset", "ultrafast", "-crf", "16", "-bf", "0",
                   "-g", "600", "-c:a", "pcm_s16le", self.path(folder))


def run_ffmpeg(*words):
    command = ["ffmpeg", "-hide_banner", "-nostdin", "-loglevel", "error", "-y", *map(str, words)]
    if subprocess.run(command).returncode != 0:
        sys.exit("long_run: ffmpeg could not make the source")


def order_of_parts(parts, seconds):
    """The parts one after another; neighbours differ clearly in their grey."""
    chance = random.Random(1)
    order = []
    while sum(part.seconds for part in order) < seconds:
        part = chance.choice(parts)
        if not order or abs(part.level - order[-1].level) >= 27:
            order.append(part)
    return order


def make_source(folder, seconds):
    """Writes the lecture; returns its path and its parts in order."""
    parts = [Part(number) for number in range(PARTS)]
    for part in parts:
        part.make(folder)
    order = order_of_parts(parts, seconds)
    names = folder / "parts.txt"
    names.write_text("".join(f"file '{part.path(folder).name}'\n" for part in order))
    source = folder / "lecture.mov"
    run_ffmpeg("-f", "concat", "-safe", "0", "-i", names, "-c", "copy", source)
    return source, order


class MeasuredRun:
    """A program under way, with its memory over time; wait() ends it."""

    def __init__(self, command, stdout):
        self.samples = []  # (seconds since the start, bytes resident)
        self.start = time.monotonic()
        self.process = subprocess.Popen([str(word) for word in command], stdin=subprocess.DEVNULL,
                                        stdout=stdout)
        self.sampler = threading.Thread(target=self._sample, daemon=True)
        self.ended = threading.Event()
        self.sampler.start()

    def _sample(self):
        while not self.ended.wait(1.0):
            try:
                fields = pathlib.Path(f"/proc/{self.process.pid}/statm").read_text().split()
            except OSError:
                return
            resident = int(fields[1]) * os.sysconf("SC_PAGE_SIZE")
            if resident:
                self.samples.append((time.monotonic() - self.start, resident))

    def wait(self):
        _, status, usage = os.wait4(self.process.pid, 0)
        self.process.returncode = os.waitstatus_to_exitcode(status)
        self.ended.set()
        self.sampler.join()
        self.seconds = time.monotonic() - self.start
        self.cpu_seconds = usage.ru_utime + usage.ru_stime
        self.peak = usage.ru_maxrss << 10
        return self.process.returncode

    def growth(self):
        """By how much the memory of the last tenth passes that of the tenth behind the start."""
        begin = max(60.0, self.seconds / 10)
        tenth = max((self.seconds - begin) / 10, 1.0)
        early = [size for at, size in self.samples if begin <= at < begin + tenth]
        late = [size for at, size in self.samples if at >= self.seconds - tenth]
        return None if not early or not late else max(late) - max(early)


class Report:
    def __init__(self):
        self.failures = 0

    def check(self, holds, text):
        print(f"  {'ok    ' if holds else 'FAILED'} {text}", flush=True)
        self.failures += 0 if holds else 1

    def memory(self, run, name, frames=None, sound_bytes=0):
        """Flat behind the start, or, where the whole sound is decoded, no more than it."""
        rate = f", {frames / run.seconds:.1f} frames a second" if frames else ""
        print(f"{name}: {run.seconds:.0f} s, {run.cpu_seconds:.0f} s of CPU{rate}", flush=True)
        growth = run.growth()
        steps = " ".join(f"{run.samples[len(run.samples) * i // 10][1] >> 20}"
                         for i in range(10) if len(run.samples) >= 10)
        print(f"  memory: peak {run.peak / 2**20:.0f} MiB; over the run, MiB: {steps}")
        if sound_bytes:
            limit = sound_bytes + (64 << 20)
            self.check(run.peak <= limit, f"memory: no more than {limit >> 20} MiB, the sound and 64")
        elif growth is None:
            print("  memory: the run was too short to compare")
        else:
            self.check(growth <= MEMORY_GROWTH_LIMIT,
                       f"memory grew by {growth / 2**20:.1f} MiB behind the start")


def check_file(report, path, frames):
    header, records = qolm_records.read_file(path)
    counted = sum(qolm_records.frames_of(record) for record in records)
    report.check(header.frame_count == frames, f"frames: header {header.frame_count} of {frames}")
    report.check(counted == frames, f"frames: records {counted} of {frames}")
    milliseconds = frames * 1000 * header.fps_den // header.fps_num
    report.check(header.duration_ms == milliseconds,
                 f"duration: {header.duration_ms} ms of {milliseconds}")
    media = [record.offset for record in records
             if record.type not in (qolm_records.AUDIO_BLOCK, qolm_records.INDEX)]
    report.check(read_index(path, header, records) == media,
                 f"index: {len(media)} records, {'front' if header.flags & 0x400 else 'trailing'}")
    print(f"  records by type: {qolm_records.count_by_type(records)}, "
          f"{path.stat().st_size / 2**20:.0f} MiB")


def read_index(path, header, records):
    with open(path, "rb") as stream:
        if header.flags & qolm_records.FAST_START_FLAG:
            index = next(record for record in records if record.type == qolm_records.INDEX)
            stream.seek(index.offset + qolm_records.RECORD_HEADER_BYTES)
            (entries,) = struct.unpack("<I", stream.read(4))
        else:
            stream.seek(-4, os.SEEK_END)
            (entries,) = struct.unpack("<I", stream.read(4))
            stream.seek(-4 - 8 * entries, os.SEEK_END)
        return list(struct.unpack(f"<{entries}Q", stream.read(8 * entries)))


def read_cuts(stream):
    """From Y4M on a pipe: (frames, the numbers of those whose patch is another one)."""
    header = stream.readline()
    if not header.startswith(f"YUV4MPEG2 W{WIDTH} H{HEIGHT} ".encode()):
        raise ValueError(f"no Y4M of this size: {header[:60]}")
    picture = bytearray(6 + WIDTH * HEIGHT * 3 // 2)
    frames, cuts, last = 0, [], None
    while stream.readinto(picture) == len(picture):
        rows = [6 + y * WIDTH for y in range(PATCH // 4, 3 * PATCH // 4, 8)]
        level = sum(sum(picture[row + PATCH // 4:row + 3 * PATCH // 4]) for row in rows)
        level /= len(rows) * PATCH // 2
        if last is not None and abs(level - last) > 6:
            cuts.append(frames)
        last = level
        frames += 1
    return frames, cuts


def check_pictures(report, programs, path, expected_cuts, frames):
    reading, writing = os.pipe()
    fcntl.fcntl(reading, F_SETPIPE_SZ, 1 << 20)
    run = MeasuredRun([programs / "qolm2_export", path, "-", "--y4m"], writing)
    os.close(writing)
    with os.fdopen(reading, "rb", buffering=1 << 20) as stream:
        shown, cuts = read_cuts(stream)
    code = run.wait()
    report.memory(run, "export of all frames", shown)
    report.check(code == 0, f"exit code {code}")
    report.check(shown == frames, f"frames: {shown} of {frames}")
    wrong = sorted(set(cuts) ^ set(expected_cuts))
    report.check(not wrong, f"cuts at the frames of the source: {len(cuts)} of {len(expected_cuts)}"
                 + (f", first wrong one {wrong[0]}" if wrong else ""))


def check_sound(report, programs, path, sound_path, starts, samples):
    sound_path.unlink(missing_ok=True)
    run = MeasuredRun([programs / "qolm2_export", path, sound_path], None)
    code = run.wait()
    report.memory(run, "export of the sound", sound_bytes=2 * samples)
    report.check(code == 0, f"exit code {code}")
    with open(sound_path, "rb") as stream:
        head = stream.read(44)
        if head[:4] != b"RIFF" or head[36:40] != b"data":
            report.check(False, "a plain WAV file")
            return
        (data_bytes,) = struct.unpack_from("<I", head, 40)
        report.check(data_bytes == 2 * samples, f"samples: {data_bytes // 2} of {samples}")
        offsets, silent = [], 0
        for start in starts:
            around = SOUND_RATE // 10
            first = max(start - around, 0)
            stream.seek(44 + 2 * first)
            window = array.array("h", stream.read(4 * around))
            loud = [i for i, value in enumerate(window) if abs(value) >= CLICK_HEIGHT]
            if loud:
                offsets.append(first + loud[0] - start)
            else:
                silent += 1
    report.check(silent == 0, f"clicks: {len(offsets)} of {len(starts)}")
    half_frame = SOUND_RATE // FRAME_RATE // 2
    report.check(bool(offsets) and max(map(abs, offsets)) <= half_frame,
                 f"clicks lie {min(offsets, default=0)} to {max(offsets, default=0)} samples from "
                 f"their cuts; half a frame is {half_frame}")
    sound_path.unlink()


def parse_arguments():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--hours", type=float, default=10.0)
    parser.add_argument("--programs", type=pathlib.Path, default=pathlib.Path("build/release/bin"))
    parser.add_argument("--folder", type=pathlib.Path, default=pathlib.Path("build/long-run"))
    parser.add_argument("options", nargs="*", help="further options of encode, behind --")
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    programs, folder = arguments.programs.resolve(), arguments.folder
    folder.mkdir(parents=True, exist_ok=True)
    report = Report()

    start = time.monotonic()
    source, order = make_source(folder, arguments.hours * 3600)
    seconds = sum(part.seconds for part in order)
    frames = seconds * FRAME_RATE
    starts = [0, *itertools.accumulate(part.seconds for part in order[:-1])]
    print(f"source: {seconds / 3600:.2f} hours, {frames} frames, {len(order)} slides, "
          f"{source.stat().st_size / 2**20:.0f} MiB, made in {time.monotonic() - start:.0f} s",
          flush=True)

    path = folder / "lecture.qolm"
    run = MeasuredRun([programs / "qolm2_converter", "encode", source, path, *arguments.options],
                      subprocess.DEVNULL)
    code = run.wait()
    report.memory(run, "encode", frames)
    report.check(code == 0, f"exit code {code}")
    if code != 0:
        return 1
    check_file(report, path, frames)

    text_path = folder / "info.txt"
    with open(text_path, "wb") as stream:
        run = MeasuredRun([programs / "qolm2_converter", "info", path], stream)
        code = run.wait()
    text = text_path.read_text()
    report.memory(run, "info", frames)
    report.check(code == 0, f"exit code {code}")
    decoded = re.search(r"Decoded Frames : (\d+)", text)
    report.check(decoded is not None and int(decoded.group(1)) == frames,
                 f"frames: {decoded.group(1) if decoded else 'none'} of {frames}")
    samples = seconds * SOUND_RATE
    sound = f"{SOUND_RATE} Hz, 1 ch, {samples} samples"
    report.check(sound in text, f"sound: {sound}")

    sample_starts = [start * SOUND_RATE for start in starts]
    check_sound(report, programs, path, folder / "lecture.wav", sample_starts, samples)
    cuts = [start * FRAME_RATE for start in starts[1:]]
    check_pictures(report, programs, path, cuts, frames)
    print(f"{report.failures} checks failed" if report.failures else "all checks passed")
    return 1 if report.failures else 0


if __name__ == "__main__":
    sys.exit(main())
