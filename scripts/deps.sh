#!/usr/bin/env bash
# Installs the Debian packages the build, tests and benchmarks need; runs
# apt-get only when something is missing.
set -euo pipefail
# valgrind ships <valgrind/valgrind.h> and <valgrind/memcheck.h>, with which
# the memory manager announces its pool blocks; mimalloc and jemalloc are
# peers in the memory benchmark. g++-multilib builds the 32-bit helper with
# which the tests share named objects between 32- and 64-bit processes.
# GLM is the math tests' reference; libX11 serves the clipboard and the host
# window, with Xvfb, xclip and xdotool to test them; GStreamer plays audio
# (plugins-good decodes and encodes MP3); tshark runs the protocol dissector.
packages=(cmake ninja-build g++ clang pkg-config libgtest-dev libgmock-dev
          libbenchmark-dev libicu-dev valgrind libmimalloc-dev libjemalloc-dev
          libpugixml-dev libtinyxml2-dev libclang-rt-14-dev ccache clang-format
          libglm-dev libx11-dev xvfb xclip xdotool
          libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev
          gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-tools
          tshark)
# The 32-bit build (preset linux32) links the i386 libX11; GStreamer's i386
# packages do not always co-install with the amd64 ones (their versions must
# match exactly), so that build plays no audio and needs none.
if [ "$(dpkg --print-architecture)" = amd64 ]; then
    packages+=(g++-multilib googletest libx11-dev:i386)
fi
# The Windows builds: mingw-w64 with POSIX threads (std::thread, std::mutex)
# for x86-64 and i686, and wine64 to run the x86-64 tests.
packages+=(mingw-w64 g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix wine wine64)
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
    echo "installing: ${missing[*]}"
    SUDO=""
    [ "$(id -u)" -ne 0 ] && SUDO=sudo
    if [[ " ${missing[*]} " == *:i386* ]] && ! dpkg --print-foreign-architectures | grep -qx i386; then
        $SUDO dpkg --add-architecture i386
    fi
    $SUDO apt-get update -qq
    # tshark asks whether non-root users may capture; answer before it asks.
    echo "wireshark-common wireshark-common/install-setuid boolean false" | $SUDO debconf-set-selections
    DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${missing[@]}"
fi
