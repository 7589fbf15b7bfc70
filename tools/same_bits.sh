#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Builds the coders with other compilers, optimisations and machines: every build
# must give the bytes, pictures and sound that tests/golden/ lists, at every vector
# level and with every number of threads.
#
#   tools/same_bits.sh [BUILD...]       default: all of them
#
# A BUILD is a compiler and a level, as in g++-O0, clang++-14-O3, or a foreign
# machine under qemu: mips, s390x, arm, i686. SAME_BITS_JOBS=N limits the jobs
# of a build. Build folders stay in build/same-bits/.
set -euo pipefail
cd "$(dirname "$0")/.."

native=(g++-O0 g++-O2 g++-O3 clang++-14-O0 clang++-14-O2 clang++-14-O3)
foreign=(mips s390x arm i686)
builds=("$@")
[ ${#builds[@]} -gt 0 ] || builds=("${native[@]}" "${foreign[@]}")
for build in "${builds[@]}"; do
  [[ " ${native[*]} ${foreign[*]} " == *" $build "* ]] ||
    { echo "same_bits: no build is called $build; there are: ${native[*]} ${foreign[*]}" >&2; exit 2; }
done
jobs=${SAME_BITS_JOBS:-$(nproc)}

options() {
  case "$1" in
    *-O?)
      printf '%s\n' "-DCMAKE_CXX_COMPILER=${1%-O?}" -DCMAKE_BUILD_TYPE= \
        "-DCMAKE_CXX_FLAGS=-O${1##*-O}"
      ;;
    *)
      printf '%s\n' -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/foreign-linux.cmake \
        "-DQOLM_FOREIGN_MACHINE=$1" -DCMAKE_BUILD_TYPE=Release \
        -DQOLM_GOOGLETEST_SOURCE=/usr/src/googletest
      ;;
  esac
}

# What runs the programs of a build; nothing for this machine's.
emulator() {
  case "$1" in
    *-O?) ;;
    i686) echo qemu-i386-static ;;
    *) echo "qemu-$1-static" ;;
  esac
}

# Builds and runs one; all output goes to the log.
check() {
  local build=$1 folder=$2 arguments runner
  mapfile -t arguments < <(options "$build")
  mapfile -t runner < <(emulator "$build")
  cmake -S . -B "$folder" -G Ninja -DQOLM_CODERS_ONLY=ON "${arguments[@]}" &&
    cmake --build "$folder" -j "$jobs" --target golden_hashes &&
    "${runner[@]}" "$folder/bin/golden_hashes" --check tests/golden
}

failed=0
for build in "${builds[@]}"; do
  folder=build/same-bits/$build
  mkdir -p "$folder"
  start=$SECONDS
  if check "$build" "$folder" >"$folder/log.txt" 2>&1; then
    result=same
  else
    result=FAILED
    failed=1
  fi
  printf '%-16s %s  %4d s\n' "$build" "$result" $((SECONDS - start))
  [ "$result" = same ] || tail -n 40 "$folder/log.txt" >&2
done
exit "$failed"
