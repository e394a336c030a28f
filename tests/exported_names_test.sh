#!/bin/sh
# Usage: exported_names_test.sh LIBRARY LIST - fails unless the library exports the listed names, no others.
# The list has the GNU library's names for its types; libc++ keeps its own in a namespace of another name.
set -eu
exported=$(nm --dynamic --defined-only --demangle "$1" | cut -d ' ' -f 3- |
    sed 's/std::__1::basic_string/std::__cxx11::basic_string/g; s/std::__1::/std::/g' | sort -u)
if [ "$exported" != "$(sort -u "$2")" ]; then
    echo "exported (<) and listed (>) names differ:"
    printf '%s\n' "$exported" > exported_names.seen
    sort -u "$2" | diff exported_names.seen - || exit 1
fi
