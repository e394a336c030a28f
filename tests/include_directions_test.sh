#!/bin/sh
# Usage: include_directions_test.sh SOURCE_FOLDER - fails on an include against the table of layers in
# docs/architecture.md, on a folder that the table leaves out, and if it lets wrong includes pass.
set -eu
cd "$1"

# The layers that a layer may include, as a regular expression over layer names; read from the table.
allowed() {
    sed -n '/^## Layers/,/^## Four walks/p' docs/architecture.md | awk -F'|' -v layer="$1" '
        NF > 3 && index($2, layer) { gsub(/[`,]/, "", $3); gsub(/the engine/, "engine", $3); print " " $3 " " }'
}

layer_of() {
    case $1 in
    base/* | platform/* | image/grey/* | image/jpeg/*) echo "${1%/*}/" ;;
    core/LumetraCoreExecutor.h) echo engine ;;
    core/LumetraCoreExecutor.cpp) echo operations ;;
    core/*.h | image/*.h | modules/*.h) echo parts ;;
    core/*.cpp | image/*.cpp | modules/*.cpp) if [ -e "${1%.cpp}.h" ]; then echo parts; else echo operations; fi ;;
    plugins/support/*) echo plugins/support/ ;;
    plugins/* | examples/* | tools/*) echo "${1%%/*}/" ;;
    LumetraCore/* | include/LumetraCore/*) echo public ;;
    *) echo "${1%/*}/" ;;
    esac
}

# Prints "FILE INCLUDED" for each include of one of this repository's files.
includes() {
    sed -nE 's/^[[:blank:]]*#[[:blank:]]*(include|import)[[:blank:]]*["<]([^">]*)[">].*/\2/p' "$1" | while read -r included; do
        # What is not found stands beside the file, or is another project's.
        if [ -e "$included" ] || [ -e "include/$included" ]; then echo "$included"; fi
    done
}

# Whether FILE, of a LAYER, may include what it includes; says what it may not.
judge() { # FILE, its contents in FILE2
    layer=$(layer_of "$1")
    case $layer in
    plugins/support/) may=' plugins/support/ ' ;;
    engine) may="$(allowed LumetraCoreExecutor.h)" ;;
    public) may=' ' ;;
    *) may="$(allowed "$layer")" ;;
    esac
    [ -n "$may" ] || { echo "$1: docs/architecture.md has no layer $layer" >&2; return 1; }
    right=0
    for included in $(includes "$2"); do
        other=$(layer_of "$included")
        case $other in public | "$layer") continue ;; esac
        case $may in
        *" $other "*) ;;
        *) echo "$1 includes $included, which its layer may not" >&2; right=1 ;;
        esac
    done
    return $right
}

files=0 wrong=0
for file in $(find include base platform core image modules plugins examples tools -name '*.h' -o -name '*.cpp' -o -name '*.mm'); do
    files=$((files + 1))
    judge "$file" "$file" || wrong=1
done
[ $files -gt 100 ] || { echo "only $files files found" >&2; exit 1; }

planted=$(mktemp)
trap 'rm -f "$planted"' EXIT
while read -r file include; do
    echo "$include" > "$planted"
    if judge "$file" "$planted" 2>/dev/null; then echo "$file may include: $include" >&2; wrong=1; fi
done <<'EOF'
core/message_queue.cpp #include "core/LumetraCoreExecutor.h"
image/chunk_store.h #include <core/LumetraCoreExecutor.h>
include/LumetraCore/IChnk.h #  include "base/clock.h"
platform/capture_source_apple.mm #import "core/LumetraCoreExecutor.h"
base/clock.h #include "platform/sleep_precision.h"
plugins/FrameMonitor/FrameMonitor.cpp #include "base/clock.h"
tools/lumetra-play/main.cpp #include "base/clock.h"
EOF
exit $wrong
