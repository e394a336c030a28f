#!/bin/sh
# Usage: plain_configuration_test.sh SOURCE - configures without a preset where nothing but RapidJSON is installed:
# that has to succeed, as an optimised build whose warnings are no errors, and name each part that it leaves out. Then
# holds the table of options against the build's files.
set -eu
source=$1
build=$(mktemp -d)
trap 'rm -rf "$build"' EXIT
fail() {
    echo "$*"
    exit 1
}

none=""
for package in PNG JPEG PkgConfig nlohmann_json; do
    none="$none -DCMAKE_DISABLE_FIND_PACKAGE_$package=ON"
done
for variable in CLI11_INCLUDE_DIR LIBELF_LIBRARY LUMETRA_DOXYGEN LUMETRA_HELP2MAN LUMETRA_MCS; do
    none="$none -D$variable="  # set, so that it is not looked for
done
# shellcheck disable=SC2086 # a word an option
cmake -G Ninja -S "$source" -B "$build" $none > "$build/log" 2>&1 || fail "$(cat "$build/log")"
grep -q ', Release: builds library$' "$build/log" || fail "$(grep 'builds' "$build/log")"
for part in 'shipped modules' lumetra-play lumetra-inspect 'C# example' 'manual pages' 'reference pages'; do
    grep -q "left out: $part: needs " "$build/log" || fail "$part is missing in the summary"
done
if grep -q -e -Werror "$build/build.ninja"; then fail "warnings are errors"; fi

cd "$source"
options=$(git ls-files -- '*CMakeLists.txt' '*.cmake' | xargs sed -nE \
    -e 's/^ *option\(([A-Za-z_0-9]+) .*/\1/p' -e 's/^ *set\((LUMETRA_[A-Z_0-9]+) .* CACHE .*/\1/p')
for option in $options; do
    grep -qF "| \`$option\` |" docs/building.md || fail "docs/building.md says nothing of $option"
done
[ -n "$options" ]
