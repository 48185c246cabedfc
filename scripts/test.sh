#!/usr/bin/env bash
# Builds and runs the test suite in every preset: RelWithDebInfo, AddressSanitizer +
# UndefinedBehaviorSanitizer, the memory manager's checking mode, and
# ThreadSanitizer (threaded families only); then checks the installed package,
# builds the Windows targets (x86-64 run under wine, i686 built and linked),
# smoke-runs the benchmarks and runs each fuzz target for 30 seconds.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/deps.sh
jobs=$(nproc)
for preset in default sanitize checking tsan; do
    echo "=== preset: $preset ==="
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" -j "$jobs"
    ctest --preset "$preset"
done
# Windows: the x86-64 build runs the suite under wine64 (the prefix is made
# once, in build/, by the first test program); the i686 build shows that the
# 32-bit Windows target compiles and links.
echo "=== preset: win64 (under wine) ==="
SECONDS=0
cmake --preset win64 >/dev/null
cmake --build --preset win64 -j "$jobs"
ctest --preset win64
echo "win64 stage: ${SECONDS} s"
echo "=== preset: win32 (build and link) ==="
SECONDS=0
cmake --preset win32 >/dev/null
cmake --build --preset win32 -j "$jobs"
echo "win32 stage: ${SECONDS} s"
echo "=== installed package ==="
./scripts/install-check.sh build/default
echo "=== benchmark smoke run ==="
BENCH_DIR=build/default ./scripts/bench.sh --smoke
echo "=== fuzzing, 30 s per target ==="
./scripts/fuzz.sh 30
