#!/usr/bin/env bash
# Runs a Windows program of the win64 build under wine64: the test programs'
# emulator (CMAKE_CROSSCOMPILING_EMULATOR) and a way to run one by hand.
# The wine prefix lives in the build folder and is created once, by the first
# program that needs it (the others wait for it).
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
export WINEPREFIX="${WINEPREFIX:-$root/build/wineprefix}"
export WINEDEBUG="${WINEDEBUG:--all}"
# No desktop integration, no Gecko or Mono installer prompts.
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml,winemenubuilder.exe=}"
export ECS_UNDER_WINE=1
wine=/usr/lib/wine/wine64
[ -x "$wine" ] || wine="$(command -v wine64 || command -v wine)"
if [ ! -f "$WINEPREFIX/system.reg" ]; then
    mkdir -p "$(dirname "$WINEPREFIX")"
    (
        flock 9
        if [ ! -f "$WINEPREFIX/system.reg" ]; then
            "$wine" wineboot -i >/dev/null 2>&1 || true
            "$(dirname "$wine")/wineserver" -w 2>/dev/null || true
        fi
    ) 9>"$WINEPREFIX.lock"
fi
exec "$wine" "$@"
