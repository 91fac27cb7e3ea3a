#!/usr/bin/env bash
# Line coverage of the host camera metadata library by its fuzz target.
# Builds the target with clang's source-based coverage (no sanitizers) in
# build/coverage, fuzzes it for the given seconds from the seeds (none by
# default), replays the seeds and what was found, and prints llvm-cov's
# report for camera_metadata.c. Usage: scripts/fuzz-coverage.sh [seconds]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-0}
build=build/coverage
flags="-fsanitize=fuzzer-no-link -fprofile-instr-generate -fcoverage-mapping"

cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" \
  -DCMAKE_EXE_LINKER_FLAGS=-fprofile-instr-generate -DCMAKE_SHARED_LINKER_FLAGS=-fprofile-instr-generate \
  -DTAMO_BUILD_TESTS=OFF -DTAMO_BUILD_BENCHMARKS=OFF -DTAMO_BUILD_TOOLS=OFF -DTAMO_BUILD_FUZZERS=ON >/dev/null
cmake --build "$build" --target camera_metadata_fuzzer -j2 >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fuzzer=$build/fuzz/camera_metadata_fuzzer
mkdir "$work/found"
if [[ $seconds -gt 0 ]]; then
  LLVM_PROFILE_FILE=/dev/null "$fuzzer" -max_total_time="$seconds" "$work/found" \
    fuzz/corpus/camera_metadata_fuzzer >/dev/null 2>&1
fi
LLVM_PROFILE_FILE="$work/replay.profraw" "$fuzzer" -runs=0 fuzz/corpus/camera_metadata_fuzzer \
  "$work/found" >/dev/null 2>&1
llvm-profdata-14 merge -sparse "$work/replay.profraw" -o "$work/replay.profdata"
llvm-cov-14 report "$fuzzer" -object "$build/platform/host/camera_metadata/libcamera_metadata.so" \
  -instr-profile="$work/replay.profdata" platform/host/camera_metadata/camera_metadata.c
