#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Size, fidelity and speed of both sound coders on given clips, beside others.

    bench/sound_table.py [--programs build/bench/bin] [--presets 32k,24k,cd,48k]
                         [--peers libopus,aac,adpcm_ima_wav] [--no-synthetic]
                         [--json FILE] [CLIP...]

Prints a Markdown table. Each clip's sound is read, mixed and resampled once by
the converter's own source; those 16-bit samples are what every coder codes and
what every decoded result is compared with. One clip more is synthesised here:
voiced and unvoiced syllables with pauses, then a sweep from 100 Hz to 16 kHz,
peaking at -3 dB of full scale.

- bytes and kbit/s: the coded sound alone, without its container;
- SNR: over all samples; segSNR: mean over segments of 20 ms, each held to
  -10..35 dB, those of digital silence left out;
- encode, decode: CPU seconds for one minute of sound, ours only (of short clips,
  a peer's would be mostly the start of ffmpeg);
- lag: samples by which a peer's decoded sound lay beside the original once its
  container's delay was taken off, found by the best cross-correlation within
  2048 samples and taken off too.

libopus and aac are asked for the transform coder's bit rate (the setting is
corrected until the bytes are within 3 % or they move no more), adpcm_ima_wav
takes its fixed four bits a sample and stands beside our ADPCM. Opus knows
neither 32000 nor 44100 Hz: its sound passes through 48000 Hz and back.

SNR tells how near the waveform is and nothing of how it sounds: opus and aac
aim at the ear, drop or replace what it misses, and lose by this measure for it.
"""

import argparse
import json
import math
import pathlib
import random
import shutil
import struct
import subprocess
import sys
import tempfile
import wave

PRESETS = {"32k": (32000, 1), "24k": (24000, 1), "cd": (44100, 2), "48k": (48000, 2)}
# Codec -> (our mode that it stands beside, file ending)
PEERS = {"libopus": ("transform", "opus"), "aac": ("transform", "m4a"),
         "adpcm_ima_wav": ("adpcm", "wav")}
OPUS_RATES = (8000, 12000, 16000, 24000, 48000)
RATE_TOLERANCE = 0.03
SYNTHETIC_RATE = 48000
SYNTHETIC_NAME = "synthetic"
FFMPEG = ["ffmpeg", "-hide_banner", "-nostdin", "-y"]


class MeasuringFailed(Exception):
    """A program that the measurement needs did not do its work."""


def last_line(data):
    lines = data.decode(errors="replace").strip().splitlines()
    return lines[-1] if lines else "no message"


def run(command):
    done = subprocess.run(list(map(str, command)), stdin=subprocess.DEVNULL, capture_output=True)
    if done.returncode != 0:
        raise MeasuringFailed(f"{command[0]}: {last_line(done.stderr)}")
    return done.stdout


def synthetic_samples(rate=SYNTHETIC_RATE):
    """Four seconds of something like speech, then two of a sweep; -1 to 1."""
    chance = random.Random(1)
    samples = []
    syllables = [(730, 1090, 2440), (270, 2290, 3010), None, (570, 840, 2410), (530, 1840, 2480)]
    for number in range(16):
        vowel = syllables[number % len(syllables)]
        pitch = 100 + 12 * (number % 4)
        sounding = int(rate * 0.19)
        state = [[0.0, 0.0] for _ in range(3)]
        phase = 0.0
        for i in range(rate // 4):
            if i >= sounding:
                samples.append(0.0)
                continue
            swell = math.sin(math.pi * i / sounding)
            if vowel is None:  # unvoiced: bright noise
                noise = chance.uniform(-1, 1)
                samples.append(0.3 * swell * (noise - state[0][0]))
                state[0][0] = noise
                continue
            phase += pitch * (1 + 0.02 * math.sin(2 * math.pi * 5 * i / rate)) / rate
            pulse = 1.0 if phase >= 1 else 0.0
            phase -= pulse
            source = pulse + chance.uniform(-0.01, 0.01)
            total = 0.0
            for memory, frequency, gain in zip(state, vowel, (1.0, 0.5, 0.25)):
                radius = math.exp(-math.pi * 90 / rate)
                turn = 2 * radius * math.cos(2 * math.pi * frequency / rate)
                value = source + turn * memory[0] - radius * radius * memory[1]
                memory[0], memory[1] = value, memory[0]
                total += gain * value * frequency / 4000
            samples.append(swell * total)
    loudest = max(map(abs, samples))
    samples = [0.7 * value / loudest for value in samples]
    seconds, low, high = 2.0, 100.0, 16000.0
    growth = math.log(high / low)
    for i in range(int(seconds * rate)):
        t = i / rate
        samples.append(0.7 * math.sin(2 * math.pi * low * seconds / growth
                                      * (math.exp(growth * t / seconds) - 1)))
    return samples


def write_synthetic(path):
    with wave.open(str(path), "wb") as file:
        file.setnchannels(2)
        file.setsampwidth(2)
        file.setframerate(SYNTHETIC_RATE)
        left = synthetic_samples()
        # The right side hears it a third of a millisecond later and softer.
        right = [0.0] * 16 + [0.8 * value for value in left[:-16]]
        values = [round(32767 * value) for pair in zip(left, right) for value in pair]
        file.writeframes(struct.pack(f"<{len(values)}h", *values))


def packet_bytes(path):
    sizes = run(["ffprobe", "-v", "error", "-select_streams", "a:0", "-show_entries",
                 "packet=size", "-of", "csv=p=0", path])
    return sum(int(word.strip(b",")) for word in sizes.split())


def resampled(rate):
    # Wider than ffmpeg's own choice, so that the way there and back costs little.
    return ["-af", f"aresample={rate}:filter_size=256:cutoff=0.99"]


def code_with_peer(codec, bits_per_second, pcm, rate, path):
    options = ["-b:a", str(bits_per_second)] if bits_per_second else []
    if codec == "libopus" and rate not in OPUS_RATES:
        options += resampled(48000)
    run([*FFMPEG, "-i", pcm, "-c:a", codec, *options, path])
    return packet_bytes(path)


def code_near(code, target_bytes, seconds):
    """Calls code(bit rate) until its bytes are near the target; returns the nearest
    (bytes, bit rate), whose file is the last one that was written."""
    asked = max(1, round(target_bytes * 8 / seconds))
    tried = {}
    for _ in range(5):
        tried[asked] = code(asked)
        if abs(tried[asked] / target_bytes - 1) <= RATE_TOLERANCE:
            return tried[asked], asked
        following = max(500, round(asked * target_bytes / tried[asked]))
        if following in tried or list(tried.values()).count(tried[asked]) > 1:
            break
        asked = following
    best = min(tried, key=lambda bits: abs(tried[bits] - target_bytes))
    return code(best), best


def measure_peer(program, codec, ours, pcm, rate, channels, folder):
    coded = folder / f"{codec}.{PEERS[codec][1]}"
    decoded = folder / f"{codec}-decoded.wav"
    if codec == "adpcm_ima_wav":
        size = code_with_peer(codec, None, pcm, rate, coded)
    else:
        size, _ = code_near(lambda bits: code_with_peer(codec, bits, pcm, rate, coded),
                            ours["transform"]["bytes"], ours["seconds"])
    back = resampled(rate) if codec == "libopus" else []
    run([*FFMPEG, "-i", coded, *back, "-ar", str(rate), "-c:a", "pcm_s16le", decoded])
    figures = json.loads(run([program, "compare", pcm, decoded, rate, channels]))
    return {"bytes": size, "kbit_per_second": size * 0.008 / ours["seconds"], **figures}


def measure_clip(program, clip, presets, peers, report):
    name = pathlib.Path(clip).stem
    for preset in presets:
        rate, channels = PRESETS[preset]
        with tempfile.TemporaryDirectory() as folder:
            folder = pathlib.Path(folder)
            pcm = folder / "samples.wav"
            ours = json.loads(run([program, "code", clip, rate, channels, pcm]))
            shared = {"clip": name, "preset": preset, "rms_dbfs": ours["rms_dbfs"],
                      "peak_dbfs": ours["peak_dbfs"], "seconds": ours["seconds"]}
            for mode in ("transform", "adpcm"):
                report({**shared, "codec": f"qolm {mode}", **ours[mode]})
                # Silence has no quality to compare and no bit rate to ask for.
                for peer in [] if ours["rms_dbfs"] is None else peers:
                    if PEERS[peer][0] == mode:
                        report({**shared, "codec": peer, **measure_peer(
                            program, peer, ours, pcm, rate, channels, folder)})


COLUMNS = ["clip", "preset", "codec", "bytes", "kbit/s", "SNR dB", "segSNR dB",
           "encode s/min", "decode s/min", "lag"]


def table_line(row):
    def figure(key, places):
        value = row.get(key)
        return f"{value:.{places}f}" if value is not None else ""

    silent = row["rms_dbfs"] is None
    cells = [row["clip"] + (" (silent)" if silent else ""), row["preset"], row["codec"],
             f"{row['bytes']:,}", figure("kbit_per_second", 1), figure("snr_db", 1),
             figure("segmental_snr_db", 1), figure("encode_cpu_seconds_per_minute", 2),
             figure("decode_cpu_seconds_per_minute", 2), row.get("lag", "")]
    return "| " + " | ".join(map(str, cells)) + " |"


def parse_arguments(words):
    def some_of(known, what):
        def parse(text):
            names = [name for name in text.split(",") if name]
            for name in names:
                if name not in known:
                    raise argparse.ArgumentTypeError(f"unknown {what} {name}")
            return names
        return parse

    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("clips", nargs="*", metavar="CLIP")
    parser.add_argument("--programs", type=pathlib.Path, default=pathlib.Path("build/bench/bin"))
    parser.add_argument("--presets", type=some_of(PRESETS, "preset"), default=list(PRESETS))
    parser.add_argument("--peers", type=some_of(PEERS, "peer"), default=list(PEERS),
                        help="comma separated; empty for none")
    parser.add_argument("--no-synthetic", action="store_true",
                        help="leave the synthesised clip out")
    parser.add_argument("--json", type=pathlib.Path, help="also write every figure here")
    return parser.parse_args(words)


def main(words):
    arguments = parse_arguments(words)
    for program in ("ffmpeg", "ffprobe") if arguments.peers else ():
        if not shutil.which(program):
            print(f"sound_table: {program} is missing; run tools/setup.sh bench", file=sys.stderr)
            return 1
    rows = []

    def report(row):
        rows.append(row)
        print(table_line(row), flush=True)

    print("| " + " | ".join(COLUMNS) + " |")
    print("|" + "---|" * len(COLUMNS), flush=True)
    failures = 0
    with tempfile.TemporaryDirectory() as folder:
        clips = list(arguments.clips)
        if not arguments.no_synthetic:
            clips.append(pathlib.Path(folder) / f"{SYNTHETIC_NAME}.wav")
            write_synthetic(clips[-1])
        for clip in clips:
            try:
                measure_clip(arguments.programs.resolve() / "sound_quality", clip,
                             arguments.presets, arguments.peers, report)
            except (MeasuringFailed, OSError) as error:
                print(f"sound_table: {clip}: {error}", file=sys.stderr)
                failures += 1
    if arguments.json:
        arguments.json.write_text(json.dumps(rows, indent=1) + "\n", encoding="utf-8")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
