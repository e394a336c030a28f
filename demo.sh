#!/bin/sh
# Sets up, builds, plays the built-in scene through the engine and writes a picture of what modules see.
# Arguments go to lumetra-play in place of the demonstration's own; ./demo.sh --help lists them.
set -eu
here=$(dirname "$(readlink -f "$0")")
"$here/tools/install_packages.sh" g++ cmake ninja-build rapidjson-dev nlohmann-json3-dev libcli11-dev \
    libcpp-httplib-dev pkg-config libjpeg-dev libpng-dev >&2

build="$here/build/demo"
mkdir -p "$build"
(cd "$here" && cmake --preset release -B "$build" -DLUMETRA_BUILD_TESTS=OFF -DLUMETRA_BUILD_BENCH=OFF \
    -DLUMETRA_BUILD_STRESS=OFF &&
    cmake --build "$build") > "$build/build.log" 2>&1 || { tail -n 40 "$build/build.log" >&2; exit 1; }

[ $# -gt 0 ] || set -- --seconds 10 --sheet contact-sheet.png
exec "$build/bin/lumetra-play" "$@"
