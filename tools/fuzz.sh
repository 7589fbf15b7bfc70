#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Runs fuzzers in turn and sums up what they did.
#
#   tools/fuzz.sh BUILD [TARGET...]         default: every target of the build folder
#
# Each starts from the seeds, from tests/corrupt/ and from what earlier runs found,
# which stays in BUILD/fuzz-corpus/. An input that breaks something is left in
# BUILD/fuzz-findings/<target>/, and the run fails once every target has had its
# turn. To keep one: shrink it (fuzz_<target> -minimize_crash=1 FILE), name it
# tests/corrupt/<fault>.<target>, and mend the fault.
#
#   FUZZ_SECONDS=20   seconds for each target
#   FUZZ_RUNS=N       as many runs for each target instead, a part of them for the slow
#                     ones: the same from one day to the next, and without what earlier
#                     runs found
set -euo pipefail
cd "$(dirname "$0")/.."
[ $# -ge 1 ] || { echo "usage: tools/fuzz.sh BUILD [TARGET...]" >&2; exit 2; }
build=$1
shift
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for fuzzer in "$build"/bin/fuzz_*; do
    name=$(basename "$fuzzer")
    case "$name" in
      fuzz_seeds | fuzz_replay | *.*) ;;
      *) targets+=("${name#fuzz_}") ;;
    esac
  done
fi
seconds=${FUZZ_SECONDS:-20}
[[ "$seconds" =~ ^[0-9]+$ ]] && [[ "${FUZZ_RUNS:-0}" =~ ^[0-9]+$ ]] ||
  { echo "fuzz: FUZZ_SECONDS and FUZZ_RUNS are whole numbers" >&2; exit 2; }

# The files under test live in memory where the system has room there for them.
memory=/dev/shm
[ -w "$memory" ] || memory=${TMPDIR:-/tmp}
scratch=$(mktemp -d "$memory/qolm-fuzz-XXXXXX")
trap 'rm -rf "$scratch"' EXIT
export TMPDIR=$scratch
export UBSAN_OPTIONS=print_stacktrace=1
# Freed memory that is soon used again stays in the processor's caches.
export ASAN_OPTIONS=quarantine_size_mb=8:malloc_context_size=6

seeds=$scratch/seeds
"$build/bin/fuzz_seeds" "$seeds"
for file in tests/corrupt/*.*; do
  [ -f "$file" ] || continue
  mkdir -p "$seeds/${file##*.}"
  cp "$file" "$seeds/${file##*.}/"
done

# Longest input, the seconds after which one input counts as a hang, and the part of
# FUZZ_RUNS that suits the target's pace.
limits() {
  case "$1" in
    *_options) echo "512 10 4" ;;
    rans | frequency_table | context_rans | coefficient_*) echo "2048 10 2" ;;
    large_file) echo "1600 60 8" ;;
    file) echo "1200 20 8" ;;
    round_trip) echo "300 20 80" ;;
    video_source | audio_source) echo "1600 20 4" ;;
    *) echo "1600 20 2" ;;
  esac
}

status=0
printf '%-22s %12s %9s %9s\n' target executions per_sec coverage
for target in "${targets[@]}"; do
  read -r max_length timeout pace <<<"$(limits "$target")"
  findings=$build/fuzz-findings/$target
  mkdir -p "$findings"
  if [ -n "${FUZZ_RUNS:-}" ]; then
    corpus=$scratch/corpus/$target
    amount=(-runs="$((FUZZ_RUNS / pace))" -seed=1)
  else
    corpus=$build/fuzz-corpus/$target
    amount=(-max_total_time="$seconds")
  fi
  mkdir -p "$corpus" "$seeds/$target"
  log=$scratch/$target.log
  result=0
  start=$(date +%s%N)
  "$build/bin/fuzz_$target" "${amount[@]}" -max_len="$max_length" -timeout="$timeout" \
    -rss_limit_mb=3072 -entropic_scale_per_exec_time=1 -print_funcs=0 -print_final_stats=1 \
    -artifact_prefix="$findings/" \
    "$corpus" "$seeds/$target" >"$log" 2>&1 || result=$?
  elapsed_us=$((($(date +%s%N) - start) / 1000))
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  rate=${runs:+$((runs * 1000000 / elapsed_us))}
  coverage=$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$log" | tail -1)
  printf '%-22s %12s %9s %9s\n' "$target" "${runs:--}" "${rate:--}" "${coverage:--}"
  if [ "$result" -ne 0 ]; then
    status=1
    cp "$log" "$findings/log.txt"
    echo "fuzz: $target failed; $findings/log.txt ends:" >&2
    tail -n 25 "$log" >&2
  fi
done
exit "$status"
