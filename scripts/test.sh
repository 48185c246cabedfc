#!/usr/bin/env bash
# Builds and runs the test suite in every preset: RelWithDebInfo, AddressSanitizer +
# UndefinedBehaviorSanitizer, the memory manager's checking mode,
# ThreadSanitizer (threaded families only) and 32-bit Linux; then builds the
# Windows targets (x86-64 run under wine, i686 built and linked), checks the
# installed package, smoke-runs the benchmarks and runs each fuzz target for 15 seconds.
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
# The same suite built for 32-bit Linux (-m32): the word size of the first
# target, where the memory manager has its 32-bit block layout.
echo "=== preset: linux32 ==="
start=$SECONDS
cmake --preset linux32 >/dev/null
cmake --build --preset linux32 -j "$jobs"
ctest --preset linux32
echo "linux32 stage: $((SECONDS - start)) s"
# Windows: the x86-64 build runs the suite under wine64 (the prefix is made
# once, in build/, by the first test program); the i686 build shows that the
# 32-bit Windows target compiles and links (the library alone: the tests run
# at 32 bits in the linux32 stage and on Windows in the win64 one).
echo "=== preset: win64 (under wine) ==="
start=$SECONDS
cmake --preset win64 >/dev/null
cmake --build --preset win64 -j "$jobs"
# The prefix is booted before the suite, and one wine server serves the
# whole suite: a boot still running beside the first test programs, or a
# server shutting down between two of them, can kill a program starting
# at that moment. The server's first program starts wine's background
# services, which keep its output open: that one writes to /dev/null.
export WINEPREFIX="$PWD/build/wineprefix"
./scripts/wine-run.sh cmd /c exit >/dev/null 2>&1 || true
wineserver -w # the boot's own server goes first: a second one refuses to start
wineserver -p
./scripts/wine-run.sh cmd /c exit >/dev/null 2>&1 || true
trap 'wineserver -k 2>/dev/null || true' EXIT
ctest --preset win64
wineserver -k 2>/dev/null || true
trap - EXIT
unset WINEPREFIX
echo "win64 stage: $((SECONDS - start)) s"
echo "=== preset: win32 (build and link) ==="
start=$SECONDS
cmake --preset win32 >/dev/null
cmake --build --preset win32 -j "$jobs" --target EngineCoreSystem
echo "win32 stage: $((SECONDS - start)) s"
echo "=== installed package ==="
./scripts/install-check.sh build/default
echo "=== benchmark smoke run ==="
BENCH_DIR=build/default ./scripts/bench.sh --smoke
echo "=== fuzzing, 15 s per target ==="
./scripts/fuzz.sh 15
