#!/bin/sh
# Usage: locked_access_test.sh COMPILER SOURCE_FOLDER - a guarded value is reached through its lock, or the program
# does not compile.
set -eu
compile() {
    "$1" -std=c++20 -fsyntax-only -I "$2" ${3:+-D"$3"} "$2/tests/locks/locked_access.cpp"
}
compile "$1" "$2" ""
for access in WITHOUT_LOCK REFERENCE_LEAVES CHANGED_WHILE_CONST COPIED_WITH_ITS_LOCK; do
    ! compile "$1" "$2" $access 2>/dev/null || { echo "$access compiles" >&2; exit 1; }
done
