#!/usr/bin/env bash
# Builds and runs the test suite in every preset: RelWithDebInfo, AddressSanitizer +
# UndefinedBehaviorSanitizer, the memory manager's checking mode, and
# ThreadSanitizer (threaded families only); then checks the installed package,
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
echo "=== installed package ==="
./scripts/install-check.sh build/default
echo "=== benchmark smoke run ==="
BENCH_DIR=build/default ./scripts/bench.sh --smoke
echo "=== fuzzing, 30 s per target ==="
./scripts/fuzz.sh 30
