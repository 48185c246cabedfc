#!/usr/bin/env bash
# Installs the library into a scratch prefix and builds a consumer that only
# includes <EngineCoreSystem.h>, once through find_package and once through pkg-config.
set -euo pipefail
cd "$(dirname "$0")/.."
# An existing build tree may be given; otherwise a Release one is made.
build="${1:-}"
prefix="$PWD/build/check-install"
rm -rf "$prefix" build/check-consumer
if [ -z "$build" ]; then
    build=build/check
    cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DECS_BUILD_TESTS=OFF \
          -DECS_BUILD_EXAMPLES=OFF >/dev/null
fi
cmake --build "$build" -j "$(nproc)"
cmake --install "$build" --prefix "$prefix" >/dev/null
cmake -S examples -B build/check-consumer -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build build/check-consumer
LD_LIBRARY_PATH="$prefix/lib" ./build/check-consumer/hello >/dev/null
PKG_CONFIG_PATH="$prefix/lib/pkgconfig" \
    c++ examples/hello.cpp $(PKG_CONFIG_PATH="$prefix/lib/pkgconfig" pkg-config --cflags --libs EngineCoreSystem) \
    -o build/check-consumer/hello-pc
LD_LIBRARY_PATH="$prefix/lib" ./build/check-consumer/hello-pc >/dev/null
echo "installed package: find_package and pkg-config consumers build and run"
