#!/bin/sh
# Usage: locked_access_test.sh COMPILER SOURCE_FOLDER - a guarded value is reached through its lock, or the program
# does not compile.
set -eu
compile() {
    "$1" -std=c++20 -fsyntax-only -I "$2" ${3:+-D"$3"} "$2/tests/locks/locked_access.cpp"
}
compile "$1" "$2" ""
# What each compiler calls the fault that is meant, so that another one does not pass for it.
while read -r access fault; do
    said=$(compile "$1" "$2" "$access" 2>&1) && { echo "$access compiles" >&2; exit 1; }
    echo "$said" | grep -qE "$fault" || { echo "$access: $said" >&2; exit 1; }
done <<EOF
WITHOUT_LOCK is.* private
REFERENCE_LEAVES outlive the lock
POINTER_LEAVES outlive the lock
POINTER_LEAVES_A_WAIT outlive the lock
UNLOCKED_BY_HAND is.* private
CHANGED_WHILE_CONST no type named .type.|invoke_result
COPIED_WITH_ITS_LOCK use of deleted function|call to deleted constructor
EOF
