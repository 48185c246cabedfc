#!/usr/bin/env bash
# The library's main job: set up, build and install the library with its
# reference host program, then run ecs-host on the sample engine
# configuration and drive it the way a remote controller does: a finger
# pressed, dragged and lifted, a page and a popup command, logic data, and a
# quit. Without the remote tool the host runs for a few seconds instead.
# Extra arguments go to ecs-host (e.g. --window to watch the tracks).
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/deps.sh
prefix="$PWD/build/run-install"
cmake -S . -B build/run -G Ninja -DCMAKE_BUILD_TYPE=Release -DECS_BUILD_TESTS=OFF \
      -DECS_BUILD_EXAMPLES=OFF -DCMAKE_INSTALL_PREFIX="$prefix" >/dev/null
cmake --build build/run -j "$(nproc)"
cmake --install build/run >/dev/null

project="$prefix/share/EngineCoreSystem/host"
port="${ECS_HOST_PORT:-4000}"
if [ -x "$prefix/bin/ecs-remote" ]; then
    "$prefix/bin/ecs-host" --port "$port" --for 30 "$@" "$project" &
    host=$!
    trap 'kill "$host" 2>/dev/null || true' EXIT
    sleep 1
    # The second terminal's part (see the README).
    "$prefix/bin/ecs-remote" --port "$port" --for 0 \
        touch 1 1 100 200 wait 700 touch 1 2 160 240 wait 50 touch 1 3 220 280 \
        page 5 Main popup 2 Dialog xml "$project/engine-config.xml" raw 01ff \
        wait 200 xml "$project/quit.xml" >/dev/null
    wait "$host"
    trap - EXIT
else
    "$prefix/bin/ecs-host" --port "$port" --for 2 "$@" "$project"
fi
