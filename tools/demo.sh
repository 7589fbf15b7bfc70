#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Converts $INPUT, or a clip made on the spot, and shows what came of it.
#
#   INPUT=clip tools/demo.sh PROGRAM_FOLDER OUTPUT_FOLDER
set -euo pipefail
programs=$1
folder=$2
input=${INPUT-}
mkdir -p "$folder"

if [ -z "$input" ]; then
  input=$folder/demo.mp4
  echo "No INPUT given: making $input (moving test picture, still, slow zoom)"
  # Three seconds that move, four that stand still, three that zoom: the cuts
  # give key frames, the motion predicted frames, the still repeat runs.
  ffmpeg -hide_banner -loglevel error -y \
    -f lavfi -i testsrc2=size=640x360:rate=25:duration=3 \
    -f lavfi -i smptehdbars=size=640x360:rate=25:duration=4 \
    -f lavfi -i mandelbrot=size=640x360:rate=25 \
    -f lavfi -i sine=frequency=440:sample_rate=48000:duration=10 \
    -filter_complex '[2:v]trim=duration=3[zoom];[0:v][1:v][zoom]concat=n=3:v=1,format=yuv420p[v]' \
    -map '[v]' -map 3:a -c:v libx264 -preset veryfast -crf 18 -c:a aac -b:a 96k "$input"
elif [ ! -e "$input" ]; then
  echo "demo: INPUT '$input' does not exist" >&2
  exit 1
fi

output=$folder/demo.qolm
picture=$folder/demo.png
"$programs/qolm2_converter" encode "$input" "$output"
echo
"$programs/qolm2_converter" info "$output"
"$programs/qolm2_export" "$output" "$picture" --sheet 4x3

echo
echo "Look at:"
echo "  $output   the converted video"
echo "  $picture    twelve decoded frames of it"
echo "Play it:  $programs/qolm2_export $output - | ffplay -"
