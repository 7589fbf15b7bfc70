# SPDX-License-Identifier: MIT
"""Runs the programs: the Windows ones under Wine, and this system's own."""

import dataclasses
import os
import pathlib
import re
import subprocess

TIME_LIMIT_S = 120


@dataclasses.dataclass
class Result:
    code: int
    out: str
    err: str


def without_figures(text):
    """The text without what differs from run to run: times and speeds."""
    text = re.sub(r"ETA \d+m\d+s", "ETA", text)
    text = re.sub(r"\u2022 \S+ FPS", "\u2022 FPS", text)
    return re.sub(r"(?m)^( *(?:Encoding Time|Decode Time|Decode Speed) +:).*", r"\1", text)


def _run(command, folder, environment):
    done = subprocess.run([str(part) for part in command], cwd=folder, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=TIME_LIMIT_S,
                          env=os.environ | environment, check=False)
    return Result(done.returncode, done.stdout.decode("utf-8"), done.stderr.decode("utf-8"))


class Windows:
    """The programs for Windows; names of files and folders are those of the host."""

    def __init__(self, runner, prefix, programs):
        self.prefix = pathlib.Path(prefix)
        self._start = [runner, "--prefix", prefix]
        self._programs = pathlib.Path(programs)

    def run(self, program, *arguments, folder, **environment):
        return _run([*self._start, self._programs / (program + ".exe"), *arguments], folder,
                    environment)


class Native:
    """The same programs built for this system."""

    def __init__(self, programs):
        self._programs = pathlib.Path(programs)

    def run(self, program, *arguments, folder):
        return _run([self._programs / program, *arguments], folder, {})
