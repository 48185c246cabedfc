#!/usr/bin/env bash
# Runs every benchmark program of the bench preset (or of $BENCH_DIR).
# --smoke runs each one briefly, only to prove it builds and starts.
set -euo pipefail
cd "$(dirname "$0")/.."
args=()
if [ "${1:-}" = "--smoke" ]; then
    args=(--benchmark_min_time=0.001 --benchmark_filter=. )
    shift
fi
status=0
for b in "${BENCH_DIR:-build/bench}"/bench/bench_*; do
    [ -x "$b" ] || continue
    echo "--- $b"
    "$b" "${args[@]}" "$@" >/dev/null || { echo "FAILED: $b"; status=1; }
done
exit $status
