#!/bin/sh
# Usage: exported_names_test.sh LIBRARY LIST - fails unless the library exports the listed names, no others.
set -eu
exported=$(nm --dynamic --defined-only --demangle "$1" | cut -d ' ' -f 3- | sort -u)
if [ "$exported" != "$(sort -u "$2")" ]; then
    echo "exported (<) and listed (>) names differ:"
    printf '%s\n' "$exported" > exported_names.seen
    sort -u "$2" | diff exported_names.seen - || exit 1
fi
