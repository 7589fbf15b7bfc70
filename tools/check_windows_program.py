#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Holds Windows programs to what makes them run anywhere and always.

    tools/check_windows_program.py PROGRAM.exe...

- They import nothing but libraries of Windows itself.
- They carry the manifest and the version resource.
- No move between memory and a 256-bit register asks for an alignment: the
  compiler cannot align the stack for it.

Prints each breach and fails when there is one. Needs MinGW-w64's objdump.
"""

import re
import subprocess
import sys

OBJDUMP = "x86_64-w64-mingw32-objdump"

SYSTEM_LIBRARIES = {
    "advapi32.dll", "kernel32.dll", "mfplat.dll", "mfreadwrite.dll", "msvcrt.dll", "ole32.dll",
    "oleaut32.dll", "propsys.dll", "shell32.dll", "user32.dll",
}

IMPORT = re.compile(r"^\s*DLL Name: (\S+)", re.MULTILINE)
# vmovaps %ymm0,0x20(%rsp), but not vmovups and not between registers
ALIGNED_MOVE = re.compile(r"^.*\tv(?:movap[sd]|movdqa|movntdqa?|movntp[sd])\s+.*%ymm.*$", re.MULTILINE)
RESOURCES = {b"longPathAware": "its manifest", "VS_VERSION_INFO".encode("utf-16-le"): "a version resource"}


def objdump(option, program):
    return subprocess.run([OBJDUMP, option, program], check=True, capture_output=True,
                          encoding="utf-8").stdout


def breaches(program):
    imports = IMPORT.findall(objdump("-p", program))
    if not imports:
        yield "imports nothing at all, so it is no Windows program"
    for name in imports:
        if name.lower() not in SYSTEM_LIBRARIES:
            yield f"imports {name}, which not every Windows has"
    with open(program, "rb") as file:
        content = file.read()
    for mark, what in RESOURCES.items():
        if mark not in content:
            yield f"lacks {what}"
    code = objdump("-d", program)
    if "%ymm" not in code:
        yield "holds no code for wide registers"
    for line in ALIGNED_MOVE.findall(code):
        if "(" in line:
            yield f"asks for an alignment: {line.strip()}"


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    found = [(program, breach) for program in sys.argv[1:] for breach in breaches(program)]
    for program, breach in found:
        print(f"{program}: {breach}")
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
