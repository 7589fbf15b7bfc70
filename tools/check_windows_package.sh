#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Proves that the archive for Windows runs as it comes: unpacked into a folder
# with a space and letters of several scripts, in a Wine system of its own.
#
#   tools/check_windows_package.sh PACKAGE.zip
set -euo pipefail
tree=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
[ $# -eq 1 ] || { echo "usage: check_windows_package.sh PACKAGE.zip" >&2; exit 2; }
package=$(realpath "$1")

work=$(mktemp -d)
prefix=$work/prefix
trap '"$tree/tools/wine/stop" "$prefix" >/dev/null 2>&1 || true; rm -rf "$work"' EXIT
place="$work/unpacked é 日本"
mkdir "$place"
unzip -q "$package" -d "$place"
cd "$place"/*/

fail() { echo "check_windows_package: $*" >&2; exit 1; }
run() { "$tree/tools/wine/run" --prefix "$prefix" "$@"; }

[ "$(ls | tr '\n' ' ')" = "LICENSE README.md THIRD-PARTY.txt qolm2_converter.exe qolm2_export.exe " ] ||
  fail "holds $(ls | tr '\n' ' ')"
"$tree/tools/wine/make_prefix" "$prefix"

run qolm2_converter.exe >usage.txt || fail "the converter's usage ends with $?"
grep -q '^Usage:$' usage.txt || fail "the converter prints no usage"
grep -q $'\r' usage.txt && fail "the usage has carriage returns"

# Windows and Wine both take this clip without any further decoder.
ffmpeg -nostdin -v error -y -f lavfi -i testsrc2=s=64x48:r=25:d=1 \
  -f lavfi -i sine=440:r=32000:d=1 -c:v rawvideo -pix_fmt bgra -c:a pcm_s16le -ac 1 'clip ü.avi'
run qolm2_converter.exe encode 'clip ü.avi' 'clip ü.qolm' >encode.txt || fail "encode ends with $?"
run qolm2_converter.exe info 'clip ü.qolm' >info.txt || fail "info ends with $?"
grep -q '^\[+\] Decoded Frames : 25$' info.txt || fail "info decodes other than 25 frames"
grep -q '^    Audio     : 32000 Hz, 1 ch, ' info.txt || fail "info finds no sound"
for output in frames.y4m first.png sound.wav; do
  run qolm2_export.exe 'clip ü.qolm' "$output" 2>export.txt || fail "$output: export ends with $?"
  [ -s "$output" ] || fail "$output is empty"
done
[ "$(stat -c %s frames.y4m)" -gt $((25 * 64 * 48 * 3 / 2)) ] || fail "frames.y4m is too short"
ffmpeg -nostdin -v error -i first.png -f null - || fail "first.png does not decode"
ls | grep -q '\.part$' && fail "a part file is left"
echo "check_windows_package: the programs run as packed"
