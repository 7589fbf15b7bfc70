#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Holds the folders of src/ to the picture in ARCHITECTURE.md: who may include
and link whom.

    tools/check_includes.py [--root TREE]

Prints each breach as FILE:LINE: message and fails when there is one.
"""

import argparse
import pathlib
import re
import sys

# Folder -> the folders whose headers it may include. A folder may always include
# its own and those below it that have no line of their own. A folder of src/ that
# is neither listed here nor the parent of listed ones is a breach too.
ALLOWED = {
    "base": set(),
    "platform": {"base"},
    "platform/posix": {"platform", "base"},
    "platform/windows": {"platform", "base"},
    "entropy": {"base"},
    "container": {"platform", "base"},
    "video/kernels": {"base"},
    "video/picture": {"video/kernels", "base"},
    "video/transform": {"video/kernels", "video/picture", "entropy", "base"},
    "video/payload": {"base"},
    "video/intra": {"video/kernels", "video/picture", "video/transform", "video/payload",
                    "entropy", "base"},
    "video/inter": {"video/kernels", "video/picture", "video/transform", "video/payload",
                    "entropy", "base"},
    "audio": {"entropy", "base"},
    "media": {"base"},
    "output": {"platform", "base"},
    "encoder": {"video/kernels", "video/picture", "video/intra", "video/inter", "audio",
                "container", "base"},
    "decoder": {"video/picture", "video/intra", "video/inter", "audio", "container", "base"},
    "cli": {"base", "platform", "container", "audio", "media", "output", "encoder", "decoder"},
    "export": {"decoder", "container", "video/picture", "audio", "output", "platform", "base"},
}

# Single headers that a folder may include beyond ALLOWED: plain records that
# need no library behind them.
ALLOWED_HEADERS = {
    "media": {"video/picture/video_frame.h", "audio/pcm_track.h", "platform/windows/text.h"},
}

INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]')
LINKED_FOLDER = re.compile(r"\bqolm_([a-z0-9_]+)\b")
LINKS_CLAUSE = re.compile(r"qolm_add_library\(\s*([\w/]+)([^)]*)\)", re.DOTALL)
SOURCE_SUFFIXES = (".h", ".cpp", ".cc", ".hpp", ".inc")
CMAKE_KEYWORDS = {"SOURCES", "LINKS", "PRIVATE_LINKS"}


def folder_of(name):
    """The listed folder that a path from src/ lies in; None outside of all."""
    parts = name.split("/")[:-1]
    for length in range(len(parts), 0, -1):
        folder = "/".join(parts[:length])
        if folder in ALLOWED:
            return folder
    return None


def breaches_of_source(root, path, folder):
    """Yields (line number, message) for every include that is not allowed."""
    source = root / "src"
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), start=1):
        match = INCLUDE.match(line)
        if not match:
            continue
        bracket, name = match.groups()
        if ".." in name.split("/"):
            yield number, f'"{name}" leaves its folder; write the path from src/'
        elif bracket == '"' and not (source / name).is_file():
            yield number, f'"{name}" is no file of src/; paths start at src/'
        elif (source / name).is_file():
            if bracket == "<":
                yield number, f'<{name}> is a header of this tree; write it in quotes'
            target = folder_of(name)
            if target != folder and target not in ALLOWED[folder] and (
                name not in ALLOWED_HEADERS.get(folder, set())
            ):
                yield number, f'{folder}/ may not include "{name}"'


def linked_folders(text):
    """Yields (line number, folder) for each folder library that a CMakeLists.txt links."""
    without_comments = re.sub(r"#[^\n]*", "", text)
    folders = {folder.replace("/", "_"): folder for folder in ALLOWED}
    for match in LINKED_FOLDER.finditer(without_comments):
        if match.group(1) in folders:
            line = without_comments.count("\n", 0, match.start()) + 1
            yield line, folders[match.group(1)]
    for match in LINKS_CLAUSE.finditer(without_comments):
        keyword = None
        for word in re.finditer(r"[^\s]+", match.group(2)):
            if word.group() in CMAKE_KEYWORDS:
                keyword = word.group()
            elif keyword == "LINKS":
                position = match.start(2) + word.start()
                yield without_comments.count("\n", 0, position) + 1, word.group()


def breaches(root):
    """Yields (path, line number, message)."""
    source = root / "src"
    if not source.is_dir():
        yield source, 0, "there is no such folder"
        return
    unlisted = set()
    for path in sorted(source.rglob("*")):
        is_list = path.name == "CMakeLists.txt"
        if not path.is_file() or path.parent == source:
            continue
        folder = folder_of(path.relative_to(source).as_posix())
        if folder is None:
            name = path.parent.relative_to(source).as_posix()
            is_parent = any(listed.startswith(name + "/") for listed in ALLOWED)
            if not (is_list and is_parent) and name not in unlisted:
                unlisted.add(name)
                yield path.parent, 0, "this folder has no line in tools/check_includes.py"
        elif path.suffix in SOURCE_SUFFIXES:
            for number, message in breaches_of_source(root, path, folder):
                yield path, number, message
        elif is_list:
            for number, linked in linked_folders(path.read_text(encoding="utf-8")):
                if linked != folder and linked not in ALLOWED[folder]:
                    yield path, number, f"{folder}/ may not link {linked}"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--root", type=pathlib.Path,
                        default=pathlib.Path(__file__).resolve().parent.parent)
    root = parser.parse_args().root
    found = list(breaches(root))
    for path, number, message in found:
        print(f"{path.relative_to(root)}:{number}: {message}")
    if found:
        print(f"check_includes: {len(found)} breaches")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
