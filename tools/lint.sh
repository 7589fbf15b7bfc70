#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Runs clang-tidy over the sources.
#
#   tools/lint.sh [FILE...]     default: every .cpp file of src/ but those for Windows,
#                               whose headers are not here
#
# Uses the compile commands of the clang preset, which it configures when they
# are not there. LINT_TIMEOUT_SECONDS bounds the whole run (default 900).
set -euo pipefail
cd "$(dirname "$0")/.."
[ -f build/clang/compile_commands.json ] || cmake --preset clang >/dev/null
if [ $# -eq 0 ]; then
  mapfile -d '' -t files < <(find src -name '*.cpp' -not -path '*/mediafoundation/*' \
    -not -path '*windows*' -print0 | sort -z)
else
  files=("$@")
fi
echo "lint: ${#files[@]} files"
status=0
printf '%s\0' "${files[@]}" |
  timeout "${LINT_TIMEOUT_SECONDS:-900}" xargs -0 -r -n 1 -P "$(nproc)" \
    clang-tidy-14 -p build/clang --quiet --warnings-as-errors='*' 2>/dev/null || status=$?
[ "$status" -ne 124 ] || echo "lint: stopped after ${LINT_TIMEOUT_SECONDS:-900} s" >&2
exit "$status"
