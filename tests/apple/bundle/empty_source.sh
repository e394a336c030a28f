#!/bin/sh
# Usage: empty_source.sh COMPILER OPTION... - compiles nothing in place of the source file, whose headers only
# Apple has. What is built has its form and its names, but no code.
set -eu
empty=$(dirname "$0")/empty.cpp
previous=""
for argument; do
    shift
    if [ "$previous" = -c ]; then set -- "$@" "$empty"; else set -- "$@" "$argument"; fi
    previous=$argument
done
exec "$@"
