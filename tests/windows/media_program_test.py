# SPDX-License-Identifier: MIT
"""The Windows programs from end to end, beside those of this system.

    media_program_test.py --runner tools/wine/run --prefix DIR --windows DIR --native DIR
        --clips DIR [unittest arguments]
"""

import argparse
import array
import concurrent.futures
import functools
import itertools
import pathlib
import shutil
import sys
import tempfile
import time
import unittest

import clips
import program_runs

ROWS = ["top-down", "bottom-up", "unstated", "padded", "padded-bottom-up", "blocks",
        "blocks-bottom-up", "wrong-stride", "pitched", "pitched-bottom-up"]

RAW_AVI_TEXT = """QOLM Converter 0.1.0
Converts video files to the QOLM v2 format and reads them back.

[+] Input Video: raw.avi
    Resolution : 160x120
    Framerate  : 25 fps
    Duration   : 2 s (50 frames)
[+] Audio Stream       : 32000 Hz, Mono (1 ch) (~108 kbps ADPCM+rANS, 64000 samples)
[+] Encoding video (Quality: 45, GOP: 60, VFR: ON, Gabor: ON, CCLC: ON, Stream: FAST-START)...
\r    Processed frames: 10/50 (20% | ETA) \u2022 FPS (VFR Skip: 0)\
\r    Processed frames: 20/50 (40% | ETA) \u2022 FPS (VFR Skip: 0)\
\r    Processed frames: 30/50 (60% | ETA) \u2022 FPS (VFR Skip: 0)\
\r    Processed frames: 40/50 (80% | ETA) \u2022 FPS (VFR Skip: 10)\
\r    Processed frames: 50/50 (100% | ETA) \u2022 FPS (VFR Skip: 20)
"""

NO_SOUND = "[+] Note: no sound could be read; converting without it.\n"


class ProgramCase(unittest.TestCase):
    """A folder of clips for all cases; every output has a name of its own."""

    windows = None
    native = None
    folder = None
    outputs = itertools.count(1)

    def output(self, suffix=".qolm"):
        return f"out{next(self.outputs)}{suffix}"

    def bytes_of(self, name):
        return pathlib.Path(self.folder, name).read_bytes()

    def encode(self, clip, *options, **environment):
        """The result of the Windows program and the name of its output."""
        name = self.output()
        result = self.windows.run("qolm2_converter", "encode", clip, name, *options,
                                  folder=self.folder, **environment)
        return result, name

    def encoded(self, clip, *options, **environment):
        """The output of a conversion that succeeds."""
        result, name = self.encode(clip, *options, **environment)
        self.assertEqual((result.code, result.err), (0, ""), result.out)
        return self.bytes_of(name)

    def encoded_with_rows_in_every_order(self, clip, *options):
        """(rows, output) for each way in which the rows may lie."""
        with concurrent.futures.ThreadPoolExecutor(max_workers=2) as pool:
            return list(zip(ROWS, pool.map(
                lambda rows: self.encoded(clip, *options, QOLM_TEST_ROWS=rows), ROWS)))

    @functools.cache
    def native_output(self, clip, *options):
        """The name of what this system's program makes of a clip."""
        name = self.output()
        result = self.native.run("qolm2_converter", "encode", clip, name, *options,
                                 folder=self.folder)
        self.assertEqual((result.code, result.err), (0, ""))
        return name

    def native_encoded(self, clip, *options):
        return self.bytes_of(self.native_output(clip, *options))

    def assert_fails(self, clip, reason, **environment):
        result, name = self.encode(clip, **environment)
        self.assertEqual(result.code, 1)
        self.assertEqual(result.err, f"[-] Error: Cannot open input video ({reason}): {clip}\n")
        self.assertFalse(pathlib.Path(self.folder, name).exists())
        self.assertFalse(pathlib.Path(self.folder, name + ".part").exists())


class SameBytes(ProgramCase):
    """Where the decoded frames are the same, so is the file."""

    def test_native_rows(self):
        for clip in ("raw.avi", "odd.avi", "lossless.mkv", "silent.avi"):
            with self.subTest(clip=clip):
                self.assertEqual(self.encoded(clip), self.native_encoded(clip))

    def test_rows_in_every_order_and_padding(self):
        expected = self.native_encoded("alpha.mkv")
        for rows, made in self.encoded_with_rows_in_every_order("alpha.mkv"):
            with self.subTest(rows=rows):
                self.assertEqual(made, expected)

    def test_options(self):
        for options in (["--quality", "80", "--gop", "7", "--no-vfr", "--monolithic"],
                        ["--interleave", "--audio-mode", "adpcm", "--no-cclc"],
                        ["--frames", "13", "--no-audio"]):
            with self.subTest(options=options):
                self.assertEqual(self.encoded("raw.avi", *options),
                                 self.native_encoded("raw.avi", *options))

    def test_sound_as_it_is_in_the_file(self):
        self.assertEqual(self.encoded("stereo.avi", "--audio", "48k"),
                         self.native_encoded("stereo.avi", "--audio", "48k"))


class Films(ProgramCase):
    """Lossy sources, whose colours are the converter's."""

    def planes(self, file):
        name = self.output(".y4m")
        result = self.native.run("qolm2_export", file, name, folder=self.folder)
        self.assertEqual(result.code, 0, result.err)
        return self.bytes_of(name)

    def test_every_row_order_gives_one_file_near_to_the_native_one(self):
        for clip in ("film.mp4", "odd_film.mp4"):
            _, expected = self.encode(clip, "--no-audio")
            for rows, made in self.encoded_with_rows_in_every_order(clip, "--no-audio"):
                with self.subTest(clip=clip, rows=rows):
                    self.assertEqual(made, self.bytes_of(expected))
            ours = self.planes(expected)
            theirs = self.planes(self.native_output(clip, "--no-audio"))
            self.assertEqual(len(ours), len(theirs))
            difference = sum(abs(a - b) for a, b in zip(ours, theirs)) / len(ours)
            self.assertLess(difference, 4.0)  # upside down: 29

    def test_compressed_sound_keeps_its_length(self):
        result, name = self.encode("film.mp4", "--audio", "48k", QOLM_TEST_SOUND="48000x2")
        self.assertEqual(result.code, 0)
        self.assertIn("[+] Audio Stream       : 48000 Hz, Stereo (2 ch) ", result.out)
        samples = int(result.out.split(" kbps ADPCM+rANS, ")[1].split(" ")[0])
        self.assertAlmostEqual(samples, 96000, delta=2048)  # a block of the coder at either end


class Sound(ProgramCase):
    """Formats other than those that were asked for."""

    def converted(self, samples, to_channels, from_channels, from_rate, to_rate):
        """Channels first, then the rate, between the two nearest samples."""
        if from_channels == 2 and to_channels == 1:
            samples = [int((samples[i] + samples[i + 1]) / 2) for i in range(0, len(samples), 2)]
        elif from_channels == 1 and to_channels == 2:
            samples = [sample for sample in samples for _ in range(2)]
        frames = len(samples) // to_channels
        ratio = from_rate / to_rate
        result = array.array("h")
        for i in range(int(frames / ratio + 0.5)):
            position = i * ratio
            before = int(position)
            after = min(before + 1, frames - 1)
            for channel in range(to_channels):
                first = samples[before * to_channels + channel]
                second = samples[after * to_channels + channel]
                value = (second - first) * (position - before) + first
                result.append(int(abs(value) + 0.5) * (1 if value >= 0 else -1))
        return result

    def test_another_rate_and_layout_than_asked(self):
        stereo = clips.stereo_samples(self.folder)
        # Without a converter the track comes as it is in the file.
        for delivered, channels in (("48000x2", 2), ("48000x1", 1), ("refuse", 2)):
            with self.subTest(delivered=delivered):
                given = stereo if channels == 2 else stereo[::2]
                expected = self.converted(given, 1, channels, 48000, 32000)
                clips.add_sound(self.folder, "expected.avi", expected, 32000, 1)
                self.assertEqual(self.encoded("stereo.avi", QOLM_TEST_SOUND=delivered),
                                 self.encoded("expected.avi"))

    def test_mono_where_stereo_was_asked(self):
        expected = self.converted(clips.stereo_samples(self.folder)[::2], 2, 1, 48000, 44100)
        clips.add_sound(self.folder, "expected.avi", expected, 44100, 2)
        self.assertEqual(
            self.encoded("stereo.avi", "--audio", "cd", QOLM_TEST_SOUND="48000x1"),
            self.encoded("expected.avi", "--audio", "cd"))

    def test_none_in_the_file(self):
        result, _ = self.encode("silent.avi")
        self.assertEqual((result.code, result.err), (0, ""))
        self.assertIn(NO_SOUND, result.out)


class Texts(ProgramCase):
    def test_a_conversion_to_the_byte(self):
        result, name = self.encode("raw.avi")
        self.assertEqual((result.code, result.err), (0, ""))
        shown = program_runs.without_figures(result.out)
        head, statistics = shown.split("[+] Encoding statistics:\n")
        self.assertEqual(head, RAW_AVI_TEXT)
        size = len(self.bytes_of(name))
        source_size = len(self.bytes_of("raw.avi"))
        compression = 100 - size * 100 / (50 * 160 * 120 * 4)
        self.assertEqual(statistics, f"""  Total Frames Processed : 50
  VFR Static Slides Skip : 20 frames (40.0% savings)
  Encoding Time          :
  Original File Size     : {source_size / 1024:.1f} KB
  QOLM File Size         : {size / 1024:.1f} KB
  Compression vs Raw     : {compression:.1f}%
[+] Done.
""")

    def test_are_those_of_the_native_program(self):
        for arguments in (["encode", "lossless.mkv", "same.qolm"], ["info", "same.qolm"],
                          ["encode", "raw.avi", "same.qolm", "--frames", "20"],
                          ["encode", "raw.avi", "same.qolm", "--quality", "fifty"],
                          ["encode", "raw.avi", "same.qolm", "--quality", "99999999999"],
                          ["encode", "raw.avi", "raw.avi"], ["info", "raw.avi"], ["encode"]):
            with self.subTest(arguments=arguments):
                ours = self.windows.run("qolm2_converter", *arguments, folder=self.folder)
                theirs = self.native.run("qolm2_converter", *arguments, folder=self.folder)
                self.assertEqual(ours.code, theirs.code)
                # The usage shows the program's own name, and reasons are the system's.
                if arguments != ["encode"]:
                    self.assertEqual(program_runs.without_figures(ours.out),
                                     program_runs.without_figures(theirs.out))
                self.assertEqual(ours.err, theirs.err)


class Names(ProgramCase):
    def test_of_every_script(self):
        expected = self.native_encoded("raw.avi")
        for stem in ("vidéo ✓ 日本", "סרטון לדוגמה", "🎬 clip", "a%20b #1 & c'd"):
            with self.subTest(stem=stem):
                clip = pathlib.Path(self.folder, stem + ".avi")
                clip.write_bytes(self.bytes_of("raw.avi"))
                name = stem + ".qolm"
                result = self.windows.run("qolm2_converter", "encode", clip.name, name,
                                          folder=self.folder)
                self.assertEqual((result.code, result.err), (0, ""))
                self.assertIn(f"[+] Input Video: {clip.name}\n", result.out)
                self.assertEqual(self.bytes_of(name), expected)
                shown = self.windows.run("qolm2_converter", "info", name, folder=self.folder)
                self.assertEqual(shown.code, 0)
                self.assertIn(f"[+] Opening QOLM v2 file: {name}\n", shown.out)

    def test_another_name_of_the_input_is_still_the_input(self):
        drive = self.windows.prefix / "dosdevices" / "q:"
        drive.symlink_to(self.folder)
        self.addCleanup(drive.unlink)
        clip = self.bytes_of("raw.avi")
        longest_form = "\\\\?\\Z:" + str(pathlib.Path(self.folder, "raw.avi")).replace("/", "\\")
        for name in ("q:\\raw.avi", longest_form, "RAW.AVI"):
            with self.subTest(name=name):
                result = self.windows.run("qolm2_converter", "encode", "raw.avi", name,
                                          folder=self.folder)
                self.assertEqual(result.code, 1)
                self.assertEqual(result.err, "[-] Error: Cannot open output file "
                                             f"(it is the input file): {name}\n")
                self.assertEqual(self.bytes_of("raw.avi"), clip)

    def test_of_what_is_missing(self):
        self.assert_fails("סרטון 🎬.avi", "File not found")


class Sources(ProgramCase):
    """Files that lack something."""

    def test_missing(self):
        self.assert_fails("missing.avi", "File not found")

    def test_no_video(self):
        self.assert_fails("sound.wav", "no video stream")

    def test_no_media(self):
        self.assert_fails("text.mp4", "Call failed")

    def test_video_refused(self):
        self.assert_fails("film.mp4", "Codec was not found", QOLM_TEST_ROWS="refuse")

    def test_frames_that_cannot_be_read_are_black(self):
        result, name = self.encode("alpha.mkv", "--no-audio", QOLM_TEST_ROWS="short")
        self.assertEqual((result.code, result.err), (0, ""))
        self.assertIn("  Total Frames Processed : 56\n", result.out)

    def test_no_frame_rate(self):
        result, _ = self.encode("unrated.mkv")
        self.assertEqual((result.code, result.err), (0, ""))
        self.assertIn("    Framerate  : 30 fps\n    Duration   : 2 s (60 frames)\n", result.out)
        self.assertIn("  Total Frames Processed : 50\n", result.out)

    def test_no_duration_and_no_frames(self):
        result, _ = self.encode("frames.mjpeg")
        self.assertEqual((result.code, result.err), (0, ""))
        self.assertNotIn("Duration", result.out)
        self.assertNotIn("Processed frames:", result.out)
        self.assertIn("  Total Frames Processed : 0\n", result.out)
        self.assertIn(
            "[+] Note: the source delivered no frame; the file holds no picture.\n"
            "\n[+] Encoding statistics:\n", result.out)

    def test_cut_short(self):
        result, name = self.encode("cut.mp4")
        self.assertEqual((result.code, result.err), (0, ""))
        frames = int(result.out.split("Total Frames Processed : ")[1].split("\n")[0])
        self.assertTrue(0 < frames < 50)
        self.assertIn(
            f"[+] Note: the source ended early, after {frames} of 50 expected frames.\n"
            "\n[+] Encoding statistics:\n", result.out)
        self.assertEqual(
            self.windows.run("qolm2_converter", "info", name, folder=self.folder).code, 0)


class Reading(ProgramCase):
    """What one system wrote is read by the other to the same bytes."""

    FORMS = ((".y4m", []), (".wav", []), (".png", ["--frame", "37"]),
             (".png", ["--sheet", "3x2"]))

    def exported(self, programs, file, suffix, options):
        name = self.output(suffix)
        result = programs.run("qolm2_export", file, name, *options, folder=self.folder)
        self.assertEqual(result.code, 0, result.err)
        return self.bytes_of(name)

    def test_exports(self):
        by_windows, ours = self.encode("odd.avi")
        self.assertEqual(by_windows.code, 0)
        theirs = self.native_output("odd.avi")
        for suffix, options in self.FORMS:
            with self.subTest(suffix=suffix, options=options):
                expected = self.exported(self.native, theirs, suffix, options)
                self.assertGreater(len(expected), 1000)
                self.assertEqual(self.exported(self.windows, theirs, suffix, options), expected)
                self.assertEqual(self.exported(self.native, ours, suffix, options), expected)

    def test_info(self):
        name = self.native_output("odd.avi")
        shown = [programs.run("qolm2_converter", "info", name, folder=self.folder)
                 for programs in (self.windows, self.native)]
        self.assertEqual(shown[0].code, 0)
        self.assertEqual(program_runs.without_figures(shown[0].out),
                         program_runs.without_figures(shown[1].out))


class Interruption(ProgramCase):
    AWAITED = "Processed frames: 20/"

    def interrupted(self, *arguments):
        return self.windows.run("interrupter", self.AWAITED, "qolm2_converter.exe",
                                *arguments, folder=self.folder)

    def test_leaves_a_finished_part_file_and_the_older_output(self):
        name = self.output()
        pathlib.Path(self.folder, name).write_bytes(b"QLM2 older")
        result = self.interrupted("encode", "long.mp4", name)
        self.assertEqual(result.code, 1, result.err)
        self.assertNotIn("Encoding statistics", result.out)
        frames = int(result.err.split("Interrupted after ")[1].split(" ")[0])
        self.assertTrue(20 <= frames < 500)
        self.assertEqual(result.err,
                         f"[-] Error: Interrupted after {frames} frames; these are kept in a "
                         f"playable file: {name}.part\n")
        self.assertEqual(self.bytes_of(name), b"QLM2 older")
        shown = self.native.run("qolm2_converter", "info", name + ".part", folder=self.folder)
        self.assertEqual(shown.code, 0, shown.err)
        self.assertIn(f"    Frames    : {frames}\n", shown.out)
        self.assertIn(f"[+] Decoded Frames : {frames}\n", shown.out)


class Outputs(ProgramCase):
    def test_a_second_run_leaves_the_first_alone(self):
        name = self.output()
        part = pathlib.Path(self.folder, name + ".part")
        with concurrent.futures.ThreadPoolExecutor(max_workers=1) as pool:
            first = pool.submit(self.windows.run, "qolm2_converter", "encode", "long.mp4", name,
                                "--frames", "150", folder=self.folder)
            while not part.exists() and not first.done():
                time.sleep(0.01)
            second = self.windows.run("qolm2_converter", "encode", "raw.avi", name,
                                      folder=self.folder)
            self.assertEqual((first.result().code, first.result().err), (0, ""))
        self.assertEqual(second.code, 1)
        self.assertEqual(second.err, "[-] Error: Cannot open output file "
                                     f"(another run is writing its part file): {name}\n")
        self.assertFalse(part.exists())
        shown = self.native.run("qolm2_converter", "info", name, folder=self.folder)
        self.assertIn("[+] Decoded Frames : 150\n", shown.out)


class Handles(ProgramCase):
    """Missing standard handles, and pipes."""

    def started(self, *before, source):
        name = self.output()
        result = self.windows.run("starter", *before, "qolm2_converter.exe", "encode", source,
                                  name, folder=self.folder)
        self.assertEqual((result.code, result.err), (0, ""), result.out)
        self.assertEqual(self.bytes_of(name), self.encoded("raw.avi"))
        self.assertEqual(list(pathlib.Path(self.folder).glob("qolm-source-*")), [])
        return result

    def test_no_standard_handles(self):
        self.assertEqual(self.started("null", source="raw.avi").out, "")

    def test_standard_input_is_an_anonymous_pipe(self):
        self.assertIn("64000 samples", self.started("anonymous", "raw.avi", source="-").out)

    def test_a_named_pipe(self):
        pipe = r"\\.\pipe\qolm-test-source"
        self.assertIn("64000 samples", self.started(pipe, "raw.avi", source=pipe).out)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    for option in ("--runner", "--prefix", "--windows", "--native", "--clips"):
        parser.add_argument(option, required=True,
                            type=lambda name: pathlib.Path(name).resolve())
    options, rest = parser.parse_known_args()
    ProgramCase.windows = program_runs.Windows(options.runner, options.prefix, options.windows)
    ProgramCase.native = program_runs.Native(options.native)
    with tempfile.TemporaryDirectory() as folder:
        ProgramCase.folder = folder
        shutil.copytree(options.clips, folder, dirs_exist_ok=True)
        unittest.main(argv=[sys.argv[0], *rest])


if __name__ == "__main__":
    main()
