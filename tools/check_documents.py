#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Holds the documents to the tree, and the tree to being movable.

    tools/check_documents.py [--root TREE] [--usage COMMAND=PROGRAM]...

- Every path in backticks in ARCHITECTURE.md and docs/*.md exists, and so does
  every relative link of every document.
- No file holds an absolute path that exists on one machine only: where the tree
  lies, the user's own folder, or a folder below one of those.
- Every source, header, CMake file, script and test names its licence in one of
  its first three lines.
- With --usage: the options that README.md lists under "Option of `COMMAND`"
  are those that the program's usage text lists.

Prints each breach as FILE:LINE: message and fails when there is one.
"""

import argparse
import pathlib
import re
import subprocess
import sys

# Folders that a build or a run makes; documents may name what lies in them.
GENERATED = ("build/", "demo/")
TEXT_SUFFIXES = {".cpp", ".h", ".md", ".txt", ".cmake", ".json", ".sh", ".py", ".yml", ""}
SOURCE_SUFFIXES = {".cpp", ".h", ".cmake", ".sh", ".py", ".def"}
SOURCE_NAMES = ("CMakeLists.txt", "Makefile")
LICENCE = "SPDX-License-Identifier: MIT"

CODE_SPAN = re.compile(r"`([^`\n]+)`")
PATH_LIKE = re.compile(r"^[A-Za-z0-9_.][A-Za-z0-9_./-]*$")
FILE_ENDINGS = (".cpp", ".h", ".md", ".txt", ".cmake", ".json", ".sh", ".py")
LINK = re.compile(r"\]\(([^)\s]+)\)")
OPTION = re.compile(r"(?<![\w-])--[a-z][a-z-]+")
SWITCH = re.compile(r"(?<![\w-])--\[no-\]([a-z][a-z-]+)")


def lines_of(path):
    return enumerate(path.read_text(encoding="utf-8").splitlines(), start=1)


def names_a_path(text):
    if not PATH_LIKE.match(text) or text.startswith(GENERATED):
        return False
    return "/" in text or text.endswith(FILE_ENDINGS)


def breaches_of_paths(root):
    documents = [root / "ARCHITECTURE.md", *sorted((root / "docs").glob("*.md"))]
    for document in documents:
        if not document.is_file():
            yield document, 0, "there is no such document"
            continue
        for number, line in lines_of(document):
            for span in CODE_SPAN.findall(line):
                if names_a_path(span) and not (root / span).exists() and (
                    not (root / "src" / span).exists()
                ):
                    yield document, number, f"`{span}` does not exist"


def breaches_of_links(root):
    for document in sorted([*root.glob("*.md"), *(root / "docs").glob("*.md")]):
        for number, line in lines_of(document):
            for target in LINK.findall(line):
                if "://" in target or target.startswith("#"):
                    continue
                if not (document.parent / target.split("#")[0]).exists():
                    yield document, number, f"the link {target} leads nowhere"


def tree_files(root):
    listing = subprocess.run(["git", "-C", str(root), "ls-files", "-z"], capture_output=True)
    if listing.returncode == 0:
        names = [name for name in listing.stdout.decode().split("\0") if name]
        paths = [root / name for name in names]
    else:  # an unpacked archive has no history
        paths = [p for p in root.rglob("*")
                 if not p.relative_to(root).as_posix().startswith((*GENERATED, ".git/"))]
    return [p for p in sorted(paths) if p.is_file()]


def text_files(root):
    return [p for p in tree_files(root) if p.suffix in TEXT_SUFFIXES]


def is_source(path):
    if path.suffix in SOURCE_SUFFIXES or path.name in SOURCE_NAMES or path.name.endswith(".rc.in"):
        return True
    with path.open("rb") as file:
        return file.read(2) == b"#!"  # a script without a suffix


def breaches_of_licence(root):
    for path in tree_files(root):
        if not is_source(path):
            continue
        head = path.read_text(encoding="utf-8").splitlines()[:3]
        if not any(line.endswith(LICENCE) for line in head):
            yield path, 1, f"has no line {LICENCE}"


def breaches_of_machine_paths(root):
    # Where a run has no folder of its own, as in a container, home is one of everybody's.
    everybodys = {"/", "/tmp", "/nonexistent"}
    places = {str(root.resolve()), str(pathlib.Path.home())} - everybodys
    machine_path = re.compile(
        r"(?<![\w.~}>)-])(?:" + "|".join(map(re.escape, sorted(places))) + r")(?![\w-])")
    for path in text_files(root):
        for number, line in lines_of(path):
            if machine_path.search(line):
                yield path, number, "holds an absolute path of a machine"


def option_words(text):
    """Every option word in `text`; "--[no-]word" stands for two."""
    both = SWITCH.findall(text)
    return {*OPTION.findall(text), *(f"--{word}" for word in both),
            *(f"--no-{word}" for word in both)}


def documented_options(readme, command):
    """The option words of the table whose heading names the command."""
    rows = []
    inside = False
    for _, line in lines_of(readme):
        if line.startswith(f"| Option of `{command}` |"):
            inside = True
        elif not line.startswith("|"):
            inside = False
        elif inside:
            rows.append(line.split("|")[1])
    return option_words("\n".join(rows))


def breaches_of_options(root, command, program):
    run = subprocess.run([program, "--help"], capture_output=True, check=True)
    offered = option_words(run.stdout.decode()) - {"--help", "--version"}
    readme = root / "README.md"
    documented = documented_options(readme, command)
    for word in sorted(offered - documented):
        yield readme, 0, f"{command} offers {word}, its option table does not"
    for word in sorted(documented - offered):
        yield readme, 0, f"the option table of {command} lists {word}, the program does not"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--root", type=pathlib.Path,
                        default=pathlib.Path(__file__).resolve().parent.parent)
    parser.add_argument("--usage", action="append", default=[], metavar="COMMAND=PROGRAM",
                        help="also compare a table of README.md with this program's usage")
    arguments = parser.parse_args()
    root = arguments.root
    found = [*breaches_of_paths(root), *breaches_of_links(root), *breaches_of_machine_paths(root),
             *breaches_of_licence(root)]
    for usage in arguments.usage:
        found += breaches_of_options(root, *usage.split("=", 1))
    for path, number, message in found:
        print(f"{path.relative_to(root)}:{number}: {message}")
    if found:
        print(f"check_documents: {len(found)} breaches")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
