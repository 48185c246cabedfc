#!/usr/bin/env bash
# Builds and runs the whole test suite in three presets (RelWithDebInfo,
# AddressSanitizer + UndefinedBehaviorSanitizer, and the memory manager's
# checking mode), then smoke-runs the benchmarks.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/deps.sh
jobs=$(nproc)
for preset in default sanitize checking; do
    echo "=== preset: $preset ==="
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" -j "$jobs"
    ctest --preset "$preset"
done
echo "=== installed package ==="
./scripts/install-check.sh
echo "=== benchmark smoke run ==="
cmake --preset bench >/dev/null
cmake --build --preset bench -j "$jobs"
./scripts/bench.sh --smoke
