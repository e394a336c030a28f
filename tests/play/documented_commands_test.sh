#!/bin/sh
# Usage: documented_commands_test.sh PAGE PROGRAM MODULES - runs every command that the page shows in a block marked sh,
# in a folder that holds what they name, and fails with the first that does. Blocks marked "sh device" are left out.
set -eu
page=$(readlink -f "$1")
PATH=$(dirname "$(readlink -f "$2")"):$PATH
modules=$(readlink -f "$3")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

mkdir -p shots modules/Text.framework
cp "$modules/TextOne.framework/TextOne" modules/Text.framework/Text
make() { ffmpeg -nostdin -v error -f lavfi -i testsrc2=size=320x240:rate=25 "$@"; }
make -t 1 clip.mp4
make -t 1 clip.mkv
make -frames:v 3 shots/%04d.png

# The blocks do not depend on each other and mostly wait, so they run side by side.
awk '/^```/ { shown = ($0 == "```sh"); block += shown; next } shown { print > ("block" block) }' "$page"
for block in block*; do
    while IFS= read -r command; do
        sh -euc "$command" > "$block.out" 2>&1 < /dev/null ||
            { echo "failed: $command" && cat "$block.out" && touch failed && exit 1; }
    done < "$block" &
done
wait
[ ! -e failed ]
[ "$(cat block? block?? 2> /dev/null | wc -l)" -ge 20 ]
