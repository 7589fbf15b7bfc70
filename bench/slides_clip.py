# SPDX-License-Identifier: MIT
"""A lecture of text slides with a voice, for benchmarks: made with ffmpeg alone."""

import pathlib
import subprocess

SLIDES = [  # seconds, title, lines
    (8, "Entropy coding", ["A symbol of probability p takes -log2 p bits",
                           "Arithmetic coders come close to it",
                           "Asymmetric numeral systems are as close and faster"]),
    (14, "Transforms", ["Neighbouring samples are alike",
                        "The cosine transform gathers what they share",
                        "Few coefficients remain, most of them small"]),
    (9, "Motion", ["Pictures resemble the ones before them",
                   "A vector says where a block came from",
                   "Only the difference is left to code"]),
    (12, "Still pictures", ["A slide that stands costs nothing",
                            "Until the lecturer moves on"]),
]
SPEECH = ("Today we look at how a picture becomes small. First we ask what each symbol costs. "
          "Then we look at what neighbouring samples share, and at how things move. "
          "At the end we see that a picture which stands still costs almost nothing at all. ")


def slide_filter(title, lines):
    texts = [f"drawtext=font=DejaVu Sans:text='{title}':x=100:y=90:fontsize=64:fontcolor=black"]
    for number, line in enumerate(lines):
        texts.append(f"drawtext=font=DejaVu Sans:text='{line}':x=120:y={240 + 90 * number}"
                     ":fontsize=36:fontcolor=0x202040")
    return ",".join(texts)


def make(path, folder):
    """Writes the clip to `path`; parts go to `folder`. Raises CalledProcessError."""
    folder = pathlib.Path(folder)
    inputs = []
    graph = []
    for number, (seconds, title, lines) in enumerate(SLIDES):
        inputs += ["-f", "lavfi", "-i", f"color=c=0xf4f1e8:s=1280x720:r=25:d={seconds}"]
        graph.append(f"[{number}:v]{slide_filter(title, lines)}[s{number}]")
    names = "".join(f"[s{number}]" for number in range(len(SLIDES)))
    graph.append(f"{names}concat=n={len(SLIDES)}:v=1,format=yuv420p[v]")
    speech = folder / "speech.txt"
    speech.write_text(3 * SPEECH, encoding="utf-8")
    total = sum(seconds for seconds, _, _ in SLIDES)
    subprocess.run(
        ["ffmpeg", "-hide_banner", "-nostdin", "-loglevel", "error", "-y", *inputs,
         "-f", "lavfi", "-i", f"flite=textfile={speech}:voice=slt", "-filter_complex",
         ";".join(graph), "-map", "[v]", "-map", f"{len(SLIDES)}:a", "-af",
         f"aresample=48000,apad=whole_dur={total}", "-t", str(total), "-c:v", "libx264",
         "-preset", "veryfast", "-crf", "20", "-c:a", "aac", "-b:a", "96k", str(path)],
        check=True)
