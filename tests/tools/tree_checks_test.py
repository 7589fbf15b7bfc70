# SPDX-License-Identifier: MIT
"""The tree checks find what they are there to find, and nothing else."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

TOOLS = pathlib.Path(__file__).resolve().parents[2] / "tools"


class TreeCase(unittest.TestCase):
    """A small tree in a temporary folder, and one check run over it."""

    check = ""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)

    def write(self, name, text=""):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def run_check(self, *arguments):
        run = subprocess.run(
            [sys.executable, str(TOOLS / self.check), "--root", str(self.root), *arguments],
            capture_output=True, text=True)
        self.assertEqual(run.stderr, "")
        return run.returncode, run.stdout

    def assert_clean(self, *arguments):
        self.assertEqual(self.run_check(*arguments), (0, ""))

    def assert_breach(self, message, *arguments):
        code, output = self.run_check(*arguments)
        self.assertEqual(code, 1, output)
        self.assertIn(message, output)


class CheckIncludes(TreeCase):
    check = "check_includes.py"

    def setUp(self):
        super().setUp()
        for name in ("base/byte_order.h", "video/picture/video_frame.h", "video/intra/key_frame.h",
                     "audio/pcm_track.h", "audio/adpcm.h", "encoder/session.h",
                     "decoder/frame_decoder.h", "media/source.h", "container/layout.h"):
            self.write(f"src/{name}")

    def test_allowed_includes_pass(self):
        self.write("src/encoder/session.cpp",
                   '#include "encoder/session.h"\n#include <vector>\n#include <png.h>\n'
                   '#include "video/intra/key_frame.h"\n  #  include "base/byte_order.h"\n')
        self.write("src/media/source.cpp",
                   '#include "video/picture/video_frame.h"\n#include "audio/pcm_track.h"\n')
        self.assert_clean()

    def test_forbidden_include_fails_with_its_place(self):
        self.write("src/encoder/session.cpp",
                   '#include <vector>\n#include "decoder/frame_decoder.h"\n')
        self.assert_breach('src/encoder/session.cpp:2: encoder/ may not include '
                           '"decoder/frame_decoder.h"')

    def test_every_forbidden_direction(self):
        for folder, header in (("decoder", "encoder/session.h"), ("video/intra", "audio/adpcm.h"),
                               ("audio", "video/intra/key_frame.h"), ("container", "video/intra/key_frame.h"),
                               ("base", "container/layout.h"), ("media", "video/intra/key_frame.h"),
                               ("media", "audio/adpcm.h"), ("export", "encoder/session.h"),
                               ("video/picture", "media/source.h"), ("entropy", "video/picture/video_frame.h"),
                               ("video/picture", "video/intra/key_frame.h"),
                               ("video/inter", "video/intra/key_frame.h")):
            with self.subTest(folder=folder, header=header):
                self.write(f"src/{folder}/probe.cpp", f'#include "{header}"\n')
                self.assert_breach(f'{folder}/ may not include "{header}"')
                (self.root / f"src/{folder}/probe.cpp").unlink()

    def test_sub_folders_are_held_to_the_same_rule(self):
        self.write("src/video/kernels/x86/wide.cpp", '#include "audio/adpcm.h"\n')
        self.assert_breach("video/kernels/ may not include")

    def test_angle_brackets_are_no_way_round(self):
        self.write("src/video/kernels/wide.cpp", "#include <audio/adpcm.h>\n")
        self.assert_breach('video/kernels/ may not include "audio/adpcm.h"')

    def test_relative_paths_are_no_way_round(self):
        self.write("src/video/kernels/wide.cpp", '#include "../audio/adpcm.h"\n')
        self.assert_breach("leaves its folder")
        self.write("src/video/kernels/wide.cpp", '#include "key_frame.h"\n')
        self.assert_breach("is no file of src/")

    def test_unlisted_folder_fails(self):
        self.write("src/misc/things.h")
        self.assert_breach("src/misc:0: this folder has no line")

    def test_sources_beside_the_listed_folders_fail(self):
        self.write("src/video/things.h")
        self.assert_breach("src/video:0: this folder has no line")

    def test_forbidden_link_fails(self):
        self.write("src/video/CMakeLists.txt", "add_subdirectory(intra)\n")
        self.write("src/video/intra/CMakeLists.txt",
                   "# links qolm_audio never\nqolm_add_library(video/intra SOURCES a.cpp\n"
                   "  LINKS video/transform entropy base)\n")
        self.assert_clean()
        self.write("src/video/intra/CMakeLists.txt",
                   "qolm_add_library(video/intra SOURCES a.cpp\n  LINKS entropy audio)\n")
        self.assert_breach("src/video/intra/CMakeLists.txt:2: video/intra/ may not link audio")
        self.write("src/video/intra/CMakeLists.txt",
                   "qolm_add_library(video/intra SOURCES a.cpp PRIVATE_LINKS qolm_audio)\n")
        self.assert_breach("video/intra/ may not link audio")

    def test_no_sources_at_all_fails(self):
        with tempfile.TemporaryDirectory() as empty:
            self.root = pathlib.Path(empty)
            self.assert_breach("there is no such folder")


class CheckDocuments(TreeCase):
    check = "check_documents.py"
    licence = "// SPDX-License-Identifier: MIT\n"

    def setUp(self):
        super().setUp()
        self.write("src/container/layout.h", self.licence)
        self.write("docs/picture.png")
        self.write("ARCHITECTURE.md",
                   "Open `container/layout.h`, `src/container/`, run `build/dev/bin/x`, "
                   "`a + b / 2`, `EncodeKeyFrame`.\n")
        self.write("README.md", "![picture](docs/picture.png) [site](https://example.org/x)\n"
                                "\n| Option of `encode` | Default |\n|---|---|\n"
                                "| `--quality N` | 45 |\n| `--vfr`, `--no-vfr` | on |\n\n"
                                "| Option of `export` | Meaning |\n|---|---|\n"
                                "| `--sheet` | a sheet, see `--quality` |\n")

    def test_sound_tree_passes(self):
        self.assert_clean()

    def test_missing_file_fails_with_its_place(self):
        self.write("ARCHITECTURE.md", "x\nOpen `container/lay_out.h`.\n")
        self.assert_breach("ARCHITECTURE.md:2: `container/lay_out.h` does not exist")

    def test_missing_document_fails(self):
        (self.root / "ARCHITECTURE.md").unlink()
        self.assert_breach("ARCHITECTURE.md:0: there is no such document")

    def test_dead_link_fails(self):
        self.write("README.md", "[there](docs/gone.md)\n")
        self.assert_breach("README.md:1: the link docs/gone.md leads nowhere")

    def test_machine_path_fails(self):
        for folder in (self.root.resolve(), pathlib.Path.home()):
            with self.subTest(folder=folder):
                self.write("src/container/layout.h", f'const char* p = "{folder}/x";\n')
                self.assert_breach("src/container/layout.h:1: holds an absolute path")

    def test_other_paths_are_no_machine_paths(self):
        self.write("src/container/layout.h",
                   self.licence + '// "/tmp/x", src/home/x, ../build/x, "/usr/bin/x"\n')
        self.assert_clean()

    def test_paths_that_only_begin_alike_are_no_machine_paths(self):
        self.write("src/container/layout.h",
                   self.licence + f"// {pathlib.Path.home()}-less, x{pathlib.Path.home()}\n")
        self.assert_clean()

    def test_file_without_licence_fails(self):
        for name, text in (("src/container/layout.h", "#pragma once\n"),
                           ("src/late.cpp", "\n\n\n" + self.licence),
                           ("src/other.cpp", "// SPDX-License-Identifier: MIT-0\n"),
                           ("src/CMakeLists.txt", ""), ("Makefile", "all:\n"),
                           ("cmake/x.cmake", "\n"), ("tools/run", "#!/bin/sh\n"),
                           ("tools/x.py", '"""Docs."""\n'), ("src/x.rc.in", "1 ICON\n"),
                           ("tests/x.def", "EXPORTS\n")):
            with self.subTest(name=name):
                self.write(name, text)
                self.assert_breach(f"{name}:1: has no line SPDX-License-Identifier: MIT")
                (self.root / name).unlink()
                self.write("src/container/layout.h", self.licence)

    def test_licence_after_the_interpreter_line_passes(self):
        self.write("tools/run", "#!/bin/sh\n# SPDX-License-Identifier: MIT\n")
        self.write("docs/notes.txt", "no licence\n")
        self.write("tests/picture.bin", "no source\n")
        self.assert_clean()

    def test_option_table_is_compared_with_the_usage_text(self):
        program = self.root / "converter"

        def offer(words):
            program.write_text(f"#!/bin/sh\n# SPDX-License-Identifier: MIT\necho '{words}'\n",
                               encoding="utf-8")
            program.chmod(0o755)

        usage = ("--usage", f"encode={program}")
        offer("--quality N (45)  --vfr --no-vfr")
        self.assert_clean(*usage)
        offer("--quality N (45)  --vfr --no-vfr --gop N")
        self.assert_breach("encode offers --gop", *usage)
        offer("--quality N (45)  --vfr")
        self.assert_breach("the option table of encode lists --no-vfr", *usage)
        offer("--quality N (45)  --[no-]vfr")
        self.assert_clean(*usage)
        offer("--sheet")
        self.assert_clean("--usage", f"export={program}")


class CheckCommits(TreeCase):
    check = "check_commits.py"

    def git(self, *arguments):
        subprocess.run(["git", "-C", str(self.root), "-c", "user.name=a", "-c", "user.email=a@b",
                        *arguments], check=True, capture_output=True)

    def commit(self, subject):
        self.git("commit", "--allow-empty", "-m", subject)

    def setUp(self):
        super().setUp()
        self.git("init", "--quiet")
        self.commit("before the check anything went")
        self.write("tools/check_commits.py", "")
        self.git("add", ".")
        self.commit("tools: a check")

    def test_subjects_of_area_and_what_pass(self):
        self.commit("audio, tests: " + "x" * 58)
        self.assert_clean()

    def test_one_character_too_many_fails(self):
        self.commit("audio, tests: " + "x" * 59)
        self.assert_breach("73 characters, 72 are the most: audio")

    def test_a_subject_without_its_area_fails(self):
        self.commit("Fix things")
        self.assert_breach('the subject is not "area: what": Fix things')

    def test_commits_before_the_check_are_left_alone_unless_named(self):
        self.assert_clean()
        self.assert_breach("before the check", "HEAD")

    def test_a_range_that_is_none_fails(self):
        self.assert_breach("no commits are called", "nowhere..HEAD")

    def test_a_tree_without_history_passes(self):
        with tempfile.TemporaryDirectory() as archive:
            self.root = pathlib.Path(archive)
            self.assert_clean()


if __name__ == "__main__":
    unittest.main()
