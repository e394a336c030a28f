#!/bin/sh
# Usage: include_directions_test.sh SOURCE_FOLDER - fails on an include against the table of layers in
# docs/architecture.md, and on a folder that the table leaves out.
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
    core/*.h | image/*.h | modules/*.h) echo parts ;;
    core/*.cpp | image/*.cpp | modules/*.cpp) echo operations ;;
    plugins/support/*) echo plugins/support/ ;;
    plugins/* | examples/* | tools/*) echo "${1%%/*}/" ;;
    LumetraCore/*) echo public ;;
    *) echo "${1%/*}/" ;;
    esac
}

folders='base platform core image modules plugins examples tools'
files=0 wrong=0
for file in $(find $folders -name '*.h' -o -name '*.cpp'); do
    files=$((files + 1))
    layer=$(layer_of "$file")
    case $layer in
    plugins/support/) may=' plugins/support/ ' ;;
    engine) may="$(allowed LumetraCoreExecutor.h)" ;;
    *) may="$(allowed "$layer")" ;;
    esac
    [ -n "$may" ] || { echo "$file: docs/architecture.md has no layer $layer" >&2; exit 1; }
    for included in $(sed -n 's/^#include "\([^"]*\)".*/\1/p' "$file"); do
        [ -e "$included" ] || [ -e "include/$included" ] || continue  # beside the file, or another project's
        other=$(layer_of "$included")
        case $layer-$other in
        *-public | "$other-$other") continue ;;
        esac
        [ "${file%/*}" != "${included%/*}" ] || [ "$other" != engine ] || [ "$layer" = operations ] ||
            { echo "$file includes $included" >&2; wrong=1; continue; }
        case "$may" in
        *" $other "*) ;;
        *) echo "$file includes $included, which its layer may not" >&2; wrong=1 ;;
        esac
    done
done
[ $files -gt 100 ] || { echo "only $files files found" >&2; exit 1; }
exit $wrong
