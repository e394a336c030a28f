#!/bin/sh
# Sets up, builds and passes every test. Usage: ./test.sh [PRESET...], by default dev (CMakePresets.json).
set -eu
cd "$(dirname "$(readlink -f "$0")")"
tools/install_packages.sh g++ cmake ninja-build binutils clang rapidjson-dev libgtest-dev libgmock-dev \
    libcli11-dev libpng-dev libjpeg-dev gobjc++-12 libgnustep-base-dev gnustep-make >&2

[ $# -gt 0 ] || set -- dev
for preset in "$@"; do
    cmake --preset "$preset"
    cmake --build --preset "$preset"
    ctest --preset "$preset" --parallel 2
done
