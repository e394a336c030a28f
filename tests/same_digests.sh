#!/bin/sh
# Usage: same_digests.sh BUILD BUILD... - fails unless the test `Digests` wrote the same lines in all of these.
set -eu
[ $# -ge 2 ] || { echo "usage: $0 BUILD BUILD..." >&2; exit 2; }
first=$1/tests/digests.txt
shift
[ -s "$first" ] || { echo "$first is missing: run the tests first" >&2; exit 2; }
for build in "$@"; do
    diff "$first" "$build/tests/digests.txt" || { echo "$build differs from $first" >&2; exit 1; }
done
echo "$(wc -l < "$first") digests are the same in $(($# + 1)) builds"
