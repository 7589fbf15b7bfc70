#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Installs the Debian packages that a job needs and that are missing.
#
#   tools/setup.sh [build|demo|test|bench|coverage|fuzz|windows|foreign|ci] ...      (default: build)
#
# Does nothing, and asks no network, when everything is there. Needs root only
# when something is missing; without it, says what to install and fails.
set -euo pipefail

build_packages=(g++ make cmake ninja-build pkg-config
  libavformat-dev libavcodec-dev libavutil-dev libswscale-dev libswresample-dev
  libavfilter-dev libstb-dev zlib1g-dev)
demo_packages=("${build_packages[@]}" ffmpeg python3)
test_packages=("${build_packages[@]}" ffmpeg python3 libgtest-dev libgmock-dev libpng-dev)
bench_packages=("${demo_packages[@]}" libbenchmark-dev time
  python3-matplotlib fonts-dejavu-core)
coverage_packages=("${test_packages[@]}" gcovr)
fuzz_packages=("${build_packages[@]}" clang-14 libclang-rt-14-dev)
# The programs for Windows, Wine to run them, and what its media need.
windows_packages=(cmake ninja-build make ccache g++-mingw-w64-x86-64-posix libz-mingw-w64-dev
  libstb-dev googletest python3 zip unzip ffmpeg wine64
  gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-plugins-bad gstreamer1.0-libav)
# Compilers for other machines, qemu to run what they make.
foreign_packages=(cmake ninja-build ccache googletest python3 qemu-user-static
  g++-mips-linux-gnu g++-s390x-linux-gnu g++-arm-linux-gnueabihf g++-i686-linux-gnu)
ci_packages=("${test_packages[@]}" "${windows_packages[@]}" git ccache libbenchmark-dev
  clang-14 clang-format-14 clang-tidy-14 libclang-rt-14-dev)

[ $# -gt 0 ] || set -- build
wanted=()
for job in "$@"; do
  case "$job" in
    build) wanted+=("${build_packages[@]}") ;;
    demo) wanted+=("${demo_packages[@]}") ;;
    test) wanted+=("${test_packages[@]}") ;;
    bench) wanted+=("${bench_packages[@]}") ;;
    coverage) wanted+=("${coverage_packages[@]}") ;;
    fuzz) wanted+=("${fuzz_packages[@]}") ;;
    windows) wanted+=("${windows_packages[@]}") ;;
    foreign) wanted+=("${foreign_packages[@]}") ;;
    ci) wanted+=("${ci_packages[@]}") ;;
    *)
      echo "setup: unknown job '$job'; the jobs are build, demo, test, bench, coverage, fuzz, windows, foreign and ci" >&2
      exit 2
      ;;
  esac
done

if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
  {
    echo "setup: this system has no apt; it was written for Debian 12."
    echo "setup: install what these Debian packages hold by your system's own means, then run"
    echo "setup: cmake --preset release && cmake --build --preset release"
    printf 'setup:   %s\n' "${wanted[*]}"
  } >&2
  exit 1
fi

installed=$(dpkg-query -W -f '${db:Status-Abbrev}${Package}\n' "${wanted[@]}" 2>/dev/null |
  sed -n 's/^ii //p' || true)
missing=()
for package in "${wanted[@]}"; do
  if ! grep -qxF -- "$package" <<<"$installed" && [[ " ${missing[*]-} " != *" $package "* ]]; then
    missing+=("$package")
  fi
done
[ ${#missing[@]} -gt 0 ] || exit 0

if [ "$(id -u)" -ne 0 ]; then
  {
    echo "setup: these packages are missing: ${missing[*]}"
    echo "setup: install them with: sudo apt-get install --no-install-recommends ${missing[*]}"
  } >&2
  exit 1
fi

echo "setup: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -q
if ! apt-get install -q -y --no-install-recommends "${missing[@]}"; then
  echo "setup: apt could not install all of: ${missing[*]} (the names are those of Debian 12)" >&2
  exit 1
fi
