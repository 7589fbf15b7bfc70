#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Packs the Windows programs into an archive that needs no installation.
#
#   tools/package_windows.sh PROGRAMS OUTPUT.zip
#
# PROGRAMS is the folder that the preset `windows` builds them in.
set -euo pipefail
tree=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
[ $# -eq 2 ] || { echo "usage: package_windows.sh PROGRAMS OUTPUT.zip" >&2; exit 2; }
programs=$1
mkdir -p "$(dirname "$2")"
output=$(cd "$(dirname "$2")" && pwd)/$(basename "$2")

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
folder=$work/$(basename "$output" .zip)
mkdir "$folder"
cp "$programs/qolm2_converter.exe" "$programs/qolm2_export.exe" "$tree/LICENSE" "$folder/"
cp "$tree/README.md" "$folder/README.md"
# The runtime libraries inside the programs ask for their notices.
for package in mingw-w64-common libz-mingw-w64; do
  for place in "/usr/share/doc/$package/copyright" "/usr/share/doc/$package-dev/copyright"; do
    if [ -e "$place" ]; then
      printf '=== %s\n\n' "$package"
      cat "$place"
      echo
      continue 2
    fi
  done
  echo "package: the notice of $package is missing" >&2
  exit 1
done >"$folder/THIRD-PARTY.txt"
sed -i 's/$/\r/' "$folder"/{LICENSE,README.md,THIRD-PARTY.txt}

rm -f "$output"
(cd "$work" && zip -q -r -X "$output" "$(basename "$folder")")
echo "packed: $output ($(stat -c %s "$output") bytes)"
