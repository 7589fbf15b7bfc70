#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Formats every C++ file of the tree in place; with --check only tells which
# files differ, and fails when one does.
set -euo pipefail
cd "$(dirname "$0")/.."
formatter=$(command -v clang-format-14 || true)
[ -n "$formatter" ] || { echo "format: clang-format-14 is missing; run tools/setup.sh ci" >&2; exit 1; }
mode=(-i)
[ "${1-}" != --check ] || mode=(--dry-run --Werror)
find src tests bench -type f \( -name '*.cpp' -o -name '*.h' \) -print0 |
  xargs -0 -r "$formatter" --style=file "${mode[@]}"
