#!/bin/sh
# Usage: copied_out_test.sh SOURCE BUILD MODULE... - installs what BUILD has made, builds each module against that from a
# copy of its folder and of the support library, and has lumetra-inspect load and remove it.
set -eu
source=$1
build=$2
shift 2
temporary=$(mktemp -d)
trap 'rm -rf "$temporary"' EXIT

quietly() { # command...
    "$@" > "$temporary/output" 2>&1 || { cat "$temporary/output"; echo "failed: $*"; exit 1; }
}

quietly cmake --install "$build" --prefix "$temporary/installed"
for module in "$@"; do
    copy=$temporary/$module
    mkdir "$copy"
    cp -r "$source/plugins/$module" "$source/plugins/support" "$copy"
    quietly cmake -S "$copy/$module" -B "$copy/build" -DCMAKE_PREFIX_PATH="$temporary/installed" \
        -DCMAKE_BUILD_TYPE=Debug
    quietly cmake --build "$copy/build"
    quietly "$build/bin/lumetra-inspect" "$copy/build/modules/$module.framework/$module"
    quietly "$build/bin/lumetra-inspect" --try --strict --only stamped "$copy/build/modules/$module.framework"
done
