#!/usr/bin/env python3
"""Holds the folders of src/ to the picture in ARCHITECTURE.md: who may include
and link whom.

    tools/check_includes.py [--root TREE]

Prints each breach as FILE:LINE: message and fails when there is one.
"""

import argparse
import pathlib
import re
import sys

# Folder -> the folders whose headers it may include. A folder may always
# include its own. A folder of src/ that is not listed here is a breach too.
ALLOWED = {
    "base": set(),
    "entry": {"base"},
    "entropy": {"base"},
    "container": {"base"},
    "video": {"entropy", "base"},
    "audio": {"entropy", "base"},
    "media": {"base"},
    "output": {"base"},
    "encoder": {"video", "audio", "container", "base"},
    "decoder": {"video", "audio", "container", "base"},
    "cli": {"base", "entropy", "container", "video", "audio", "media", "output", "encoder",
            "decoder", "entry"},
    "export": {"decoder", "container", "video", "audio", "output", "entry", "base"},
}

# Single headers that a folder may include beyond ALLOWED: plain records that
# need no library behind them.
ALLOWED_HEADERS = {
    "media": {"video/video_frame.h", "audio/pcm_track.h"},
}

INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]')
LINKED_FOLDER = re.compile(r"\bqolm_([a-z0-9_]+)\b")
LINKS_CLAUSE = re.compile(r"qolm_add_library\(\s*(\w+)([^)]*)\)", re.DOTALL)
CMAKE_KEYWORDS = {"SOURCES", "LINKS", "PRIVATE_LINKS"}


def breaches_of_source(root, path, folder):
    """Yields (line number, message) for every include that is not allowed."""
    source = root / "src"
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), start=1):
        match = INCLUDE.match(line)
        if not match:
            continue
        bracket, name = match.groups()
        first = name.split("/")[0]
        if ".." in name.split("/"):
            yield number, f'"{name}" leaves its folder; write the path from src/'
        elif bracket == '"' and not (source / name).is_file():
            yield number, f'"{name}" is no file of src/; paths start at src/'
        elif (source / name).is_file():
            if bracket == "<":
                yield number, f'<{name}> is a header of this tree; write it in quotes'
            if first != folder and first not in ALLOWED[folder] and (
                name not in ALLOWED_HEADERS.get(folder, set())
            ):
                yield number, f'{folder}/ may not include "{name}"'


def linked_folders(text):
    """Yields (line number, folder) for each folder library that a CMakeLists.txt links."""
    without_comments = re.sub(r"#[^\n]*", "", text)
    for match in LINKED_FOLDER.finditer(without_comments):
        if match.group(1) in ALLOWED:
            yield without_comments.count("\n", 0, match.start()) + 1, match.group(1)
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
    for folder_path in sorted(p for p in source.iterdir() if p.is_dir()):
        folder = folder_path.name
        if folder not in ALLOWED:
            yield folder_path, 0, "this folder has no line in tools/check_includes.py"
            continue
        for path in sorted(folder_path.rglob("*")):
            if path.suffix in (".h", ".cpp", ".cc", ".hpp", ".inc"):
                for number, message in breaches_of_source(root, path, folder):
                    yield path, number, message
        lists = folder_path / "CMakeLists.txt"
        if lists.is_file():
            for number, linked in linked_folders(lists.read_text(encoding="utf-8")):
                if linked != folder and linked not in ALLOWED[folder]:
                    yield lists, number, f"{folder}/ may not link {linked}"


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
