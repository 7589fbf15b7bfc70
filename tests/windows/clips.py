# SPDX-License-Identifier: MIT
"""Makes the clips that the tests convert, with ffmpeg.

    clips.py FOLDER
"""

import array
import pathlib
import subprocess
import sys

SIZE = (160, 120)
ODD_SIZE = (161, 121)

# Half a clip of motion, half of standing still.
PICTURE = "testsrc2=s={}x{}:r={}:d=1.2,tpad=stop_mode=clone:stop=20,format=gbrp,format=bgra"
# Colours without edges, which converters carry over from fewer samples each in
# their own way.
SMOOTH = ["-vf", "gblur=sigma=6"]
SOUND = "aevalsrc='0.4*sin(2*PI*440*t)|0.4*sin(2*PI*550*t)':s=48000:d=2"

_DEFAULT_DURATION = bytes.fromhex("23e38384")  # of a track's frames, four bytes of value
_VOID = 0xEC


def _ffmpeg(folder, *arguments):
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", *arguments], cwd=folder, check=True)


def _source(size=SIZE, rate="25"):
    return ["-f", "lavfi", "-i", PICTURE.format(*size, rate)]


def _without_element(data, header, value_bytes):
    """Matroska bytes whose first element of that header is turned into padding."""
    start = data.index(header)
    whole = len(header) + value_bytes
    padding = bytes([_VOID, 0x80 | (whole - 2)]) + bytes(whole - 2)
    return data[:start] + padding + data[start + whole:]


def stereo_samples(folder):
    """The sound of `stereo.avi`, left and right in turn."""
    samples = array.array("h")
    samples.frombytes(subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "error", "-i", "stereo.avi", "-f", "s16le", "-"],
        cwd=folder, check=True, stdout=subprocess.PIPE).stdout)
    return samples


def add_sound(folder, name, samples, rate, channels):
    """`name`, with the picture of `silent.avi` and the given samples."""
    raw = pathlib.Path(folder, name + ".pcm")
    raw.write_bytes(samples.tobytes())
    _ffmpeg(folder, "-i", "silent.avi", "-f", "s16le", "-ar", str(rate), "-ac", str(channels),
            "-i", raw.name, "-map", "0:v", "-map", "1:a", "-c", "copy", name)
    raw.unlink()


def make(folder):
    """Fills `folder` with every clip."""
    pcm = ["-c:a", "pcm_s16le"]
    mono = ["-f", "lavfi", "-i", "sine=440:r=32000:d=2", *pcm, "-ac", "1"]
    odd_mono = ["-f", "lavfi", "-i", "sine=440:r=32000:d=1.87", *pcm, "-ac", "1"]
    stereo = ["-f", "lavfi", "-i", SOUND, *pcm]
    raw = ["-c:v", "rawvideo", "-pix_fmt", "bgra"]

    _ffmpeg(folder, *_source(), *mono, *raw, "raw.avi")
    _ffmpeg(folder, *_source(ODD_SIZE, "30000/1001"), *odd_mono, *raw, "odd.avi")
    _ffmpeg(folder, *_source(), *stereo, *raw, "stereo.avi")
    _ffmpeg(folder, "-i", "raw.avi", "-c", "copy", "-an", "silent.avi")
    _ffmpeg(folder, "-i", "raw.avi", "-c", "copy", "-vn", "sound.wav")
    _ffmpeg(folder, "-i", "raw.avi", "-c:v", "ffv1", "-pix_fmt", "bgr0", "-c:a", "copy",
            "lossless.mkv")
    _ffmpeg(folder, "-i", "odd.avi", "-c:v", "ffv1", "-pix_fmt", "bgra", "-c:a", "copy",
            "alpha.mkv")
    # Without frames that refer to later ones; those make Wine begin late.
    _ffmpeg(folder, *_source(), *stereo, *SMOOTH, "-c:v", "libx264", "-pix_fmt", "yuv420p",
            "-bf", "0", "-c:a", "aac", "film.mp4")
    _ffmpeg(folder, *_source(ODD_SIZE), *SMOOTH, "-c:v", "mpeg4", "-q:v", "2",
            "-pix_fmt", "yuv420p", "odd_film.mp4")
    _ffmpeg(folder, "-i", "film.mp4", "-c", "copy", "-movflags", "+faststart", "front.mp4")
    _ffmpeg(folder, "-i", "lossless.mkv", "-an", "-c:v", "mjpeg", "frames.mjpeg")
    # Long enough to be interrupted.
    _ffmpeg(folder, "-f", "lavfi", "-i", "testsrc2=s=640x480:r=25:d=20", "-c:v", "libx264",
            "-preset", "ultrafast", "-pix_fmt", "yuv420p", "-bf", "0", "long.mp4")

    lossless = pathlib.Path(folder, "lossless.mkv").read_bytes()
    pathlib.Path(folder, "unrated.mkv").write_bytes(
        _without_element(lossless, _DEFAULT_DURATION, 4))
    whole = pathlib.Path(folder, "raw.avi").read_bytes()
    pathlib.Path(folder, "cut.avi").write_bytes(whole[: len(whole) // 2])
    film = pathlib.Path(folder, "front.mp4").read_bytes()
    pathlib.Path(folder, "cut.mp4").write_bytes(film[: len(film) * 2 // 3])
    pathlib.Path(folder, "text.mp4").write_text("This is no video.\n" * 100, encoding="ascii")


if __name__ == "__main__":
    pathlib.Path(sys.argv[1]).mkdir(parents=True, exist_ok=True)
    make(sys.argv[1])
