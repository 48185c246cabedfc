#!/usr/bin/env bash
# Builds the libFuzzer targets of fuzz/ with clang and runs each one for the
# given number of seconds (default 30). Exits non-zero when a target reports
# a finding; the crashing input is kept as build/fuzz/<target>-crash-*.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}
build=build/fuzz
CXX=clang++ cmake -S fuzz -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j2 --target fuzz_xml_string fuzz_xml_stream fuzz_csv fuzz_utf8 fuzz_byte_buffer fuzz_frame_parser
status=0
for target in xml_string xml_stream csv utf8 byte_buffer frame_parser; do
    corpus="$build/corpus/$target"
    mkdir -p "$corpus"
    echo "--- fuzz_$target for ${seconds}s"
    if ! "$build/fuzz_$target" -max_total_time="$seconds" -max_len=8192 -timeout=10 -rss_limit_mb=2048 \
            -print_final_stats=1 -artifact_prefix="$build/$target-" "$corpus" "fuzz/corpus/$target"; then
        echo "FINDING: fuzz_$target (see $build/$target-*)"
        status=1
    fi
done
exit $status
