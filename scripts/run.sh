#!/usr/bin/env bash
# The library's main job until the reference host program exists: build and
# install the library, then build and run the example against the installed package.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/deps.sh
prefix="$PWD/build/run-install"
cmake -S . -B build/run -G Ninja -DCMAKE_BUILD_TYPE=Release -DECS_BUILD_TESTS=OFF \
      -DECS_BUILD_EXAMPLES=OFF -DCMAKE_INSTALL_PREFIX="$prefix" >/dev/null
cmake --build build/run -j "$(nproc)"
cmake --install build/run >/dev/null
cmake -S examples -B build/run-example -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build build/run-example
LD_LIBRARY_PATH="$prefix/lib" ./build/run-example/hello "$@"
