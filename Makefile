# SPDX-License-Identifier: MIT
#
# One door for every job. Each is a line or two; the work is in CMake, CTest
# and tools/.
#
#   make build                 build/release/bin/qolm2_converter and qolm2_export
#   make demo [INPUT=clip]     convert a clip and leave a picture of the result
#   make test                  build and run every test
.DEFAULT_GOAL := help
SHELL := /bin/bash

# Taken literally, so that a path may hold spaces and dollar signs.
override INPUT := $(value INPUT)
export INPUT

.PHONY: help setup build demo test clang-test asan-test tsan-test windows windows-test \
  package-windows coverage same-bits fuzz bench quality option-table sound-table long-run format format-check lint check ci clean

help:
	@echo "make build               release programs in build/release/bin/"
	@echo "make demo [INPUT=clip]   convert a clip (or a generated one) and show what came of it"
	@echo "make test                dev build, all tests"
	@echo "make asan-test           the tests under the address and undefined-behaviour sanitizers"
	@echo "make tsan-test           the tests under the thread sanitizer"
	@echo "make clang-test          the tests of a Clang build"
	@echo "make windows             Windows programs in build/windows/bin/"
	@echo "make windows-test        their tests, under Wine"
	@echo "make package-windows     both in an archive, which is tried under Wine"
	@echo "make coverage            line and branch coverage of the tests"
	@echo "make same-bits [BUILDS=...]  the golden tests of other compilers, levels and machines"
	@echo "make fuzz [SECONDS=20] [TARGETS=...]  the fuzzers in turn, so long each"
	@echo "make bench [CLIPS=...]   kernel benchmarks, then whole conversions beside ffmpeg's"
	@echo "make quality CLIPS=...   size, quality and speed table beside other codecs"
	@echo "make option-table OPTIONS=--bidirectional CLIPS=... what encode options bring"
	@echo "make sound-table CLIPS=... the same for the sound"
	@echo "make long-run [HOURS=10] a long lecture through encode, info and export: memory, sync"
	@echo "make format | lint       clang-format in place | clang-tidy over src/"
	@echo "make check               include, document, path and commit checks"
	@echo "make ci                  what the merge gate runs"
	@echo "make clean               remove build/ and demo/"

setup:
	@tools/setup.sh build

build: setup
	cmake --preset release
	cmake --build --preset release
	@echo "built: build/release/bin/qolm2_converter build/release/bin/qolm2_export"

demo:
	@tools/setup.sh demo
	@$(MAKE) --no-print-directory build
	@tools/demo.sh build/release/bin demo

test:
	@tools/setup.sh test
	cmake --preset dev
	cmake --build --preset dev
	ctest --preset dev -j $$(nproc) $(CTEST_FLAGS)

clang-test asan-test tsan-test: preset = $(if $(filter asan-test,$@),asan-ubsan,$(@:-test=))
clang-test asan-test tsan-test:
	@tools/setup.sh ci
	cmake --preset $(preset)
	cmake --build --preset $(preset)
	ctest --preset $(preset) -j $$(nproc) $(CTEST_FLAGS)

windows:
	@tools/setup.sh windows
	cmake --preset windows
	cmake --build --preset windows --target qolm2_converter qolm2_export
	@echo "built: build/windows/bin/qolm2_converter.exe build/windows/bin/qolm2_export.exe"

windows-test:
	@tools/setup.sh test windows
	cmake --preset windows
	cmake --build --preset windows
	ctest --preset windows -j $$(nproc) $(CTEST_FLAGS)

package-windows: version = $(shell awk '/^project/ {print $$3}' CMakeLists.txt)
package-windows: windows
	@tools/package_windows.sh build/windows/bin build/windows/qolm-$(version)-windows-x64.zip
	@tools/check_windows_package.sh build/windows/qolm-$(version)-windows-x64.zip

# Without the sweeps over faults, which take long, and the tests of what programs say
# when they can write nowhere, where the profiler has its say too.
coverage:
	@tools/setup.sh coverage
	cmake --preset coverage
	cmake --build --preset coverage
	ctest --preset coverage --exclude-regex '^(faults|converter_memory|export_memory|damage|bounds|cli\.Program)\.'
	gcovr --root . --filter src/ --exclude-throw-branches --exclude-unreachable-branches \
	  --html-details build/coverage/coverage.html --json-summary build/coverage/coverage.json \
	  build/coverage
	@echo "details: build/coverage/coverage.html"
	@tools/coverage_table.py build/coverage/coverage.json

same-bits:
	@tools/setup.sh ci foreign
	@tools/same_bits.sh $(BUILDS)

fuzz:
	@tools/setup.sh fuzz
	cmake --preset fuzz
	cmake --build --preset fuzz
	@FUZZ_SECONDS=$(or $(SECONDS),20) tools/fuzz.sh build/fuzz $(TARGETS)

bench:
	@tools/setup.sh bench
	cmake --preset bench
	cmake --build --preset bench --target kernel_bench qolm2_converter
	build/bench/bin/kernel_bench
	/usr/bin/python3 bench/speed_table.py --programs build/bench/bin --slides --plot build/bench/speed.png $(SPEED_FLAGS) $(CLIPS)

quality: build
	@tools/setup.sh bench
	python3 bench/quality_table.py --programs build/release/bin $(QUALITY_FLAGS) $(CLIPS)

option-table: build
	@tools/setup.sh bench
	python3 bench/option_table.py --programs build/release/bin --options "$(OPTIONS)" $(OPTION_TABLE_FLAGS) $(CLIPS)

sound-table:
	@tools/setup.sh bench
	cmake --preset bench
	cmake --build --preset bench --target sound_quality
	python3 bench/sound_table.py --programs build/bench/bin $(SOUND_TABLE_FLAGS) $(CLIPS)

long-run: build
	@tools/setup.sh demo
	python3 tools/long_run.py --hours $(or $(HOURS),10)

format:
	@tools/format.sh

format-check:
	@tools/format.sh --check

lint:
	@tools/setup.sh ci
	@tools/lint.sh

check:
	@python3 tools/check_includes.py
	@python3 tools/check_documents.py
	@python3 tools/check_commits.py

ci:
	@bash .ci/run

clean:
	rm -rf build demo
