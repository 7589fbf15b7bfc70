#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Holds the subjects of commits to one shape: "area: what", at most 72 characters.

    tools/check_commits.py [--root TREE] [RANGE]

RANGE is what `git log` takes. Without one, all commits since this check was
added are looked at, as far as the clone holds them.

Prints each breach as COMMIT: message and fails when there is one.
"""

import argparse
import pathlib
import re
import subprocess
import sys

MAX_LENGTH = 72
SHAPE = re.compile(r"[a-z0-9][a-z0-9., _/-]*: \S")


def git(root, *arguments):
    run = subprocess.run(["git", "-C", str(root), *arguments], capture_output=True, text=True)
    return run.stdout if run.returncode == 0 else None


def default_range(root):
    added = git(root, "log", "--diff-filter=A", "--format=%H", "--", "tools/check_commits.py")
    first = (added or "").split()[-1:]
    # A shallow clone may start at or behind that commit.
    if first and git(root, "rev-parse", "--quiet", "--verify", f"{first[0]}^") is not None:
        return f"{first[0]}^..HEAD"
    return "HEAD"


def breaches(subject):
    if len(subject) > MAX_LENGTH:
        yield f"{len(subject)} characters, {MAX_LENGTH} are the most"
    if not SHAPE.match(subject):
        yield 'the subject is not "area: what"'


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--root", type=pathlib.Path,
                        default=pathlib.Path(__file__).resolve().parent.parent)
    parser.add_argument("range", nargs="?")
    arguments = parser.parse_args()
    if git(arguments.root, "rev-parse", "--git-dir") is None:
        return 0  # an unpacked archive has no history
    commits = arguments.range or default_range(arguments.root)
    log = git(arguments.root, "log", "--no-merges", "--format=%h %s", commits)
    if log is None:
        print(f"check_commits: no commits are called {commits}")
        return 1
    found = 0
    for line in log.splitlines():
        commit, _, subject = line.partition(" ")
        for message in breaches(subject):
            print(f"{commit}: {message}: {subject}")
            found += 1
    if found:
        print(f"check_commits: {found} breaches")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
