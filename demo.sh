#!/bin/sh
# Sets up, builds, plays the built-in scene through the engine and writes a picture of what modules see.
# Arguments go to lumetra-play in place of the demonstration's own; ./demo.sh --help lists them.
set -eu
here=$(dirname "$(readlink -f "$0")")
"$here/tools/install_packages.sh" g++ cmake ninja-build rapidjson-dev nlohmann-json3-dev libcli11-dev \
    libmicrohttpd-dev libjpeg-dev libpng-dev >&2

build="$here/build/demo"
log="$build/build.log"
# The player with the modules that it uses. On a terminal Ninja rewrites one line; elsewhere every tenth step is a line.
run_build() {
    if [ -t 2 ]; then
        cmake --build "$build" --target lumetra-play >&2
        return
    fi
    rm -f "$build/failed"
    { cmake --build "$build" --target lumetra-play 2>&1 || touch "$build/failed"; } | tee "$log" | sed -un '/^\[[1-9][0-9]*0\//p' >&2
    [ ! -e "$build/failed" ] || { tail -n 40 "$log" >&2; return 1; }
}
mkdir -p "$build"
echo "Building $build, which takes a few minutes the first time" >&2
cmake -G Ninja -S "$here" -B "$build" > "$log" 2>&1 || { tail -n 40 "$log" >&2; exit 1; }
grep 'left out:' "$log" >&2 || true
run_build

[ $# -gt 0 ] || set -- --seconds 10 --sheet contact-sheet.png
exec "$build/bin/lumetra-play" "$@"
