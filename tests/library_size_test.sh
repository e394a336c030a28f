#!/bin/sh
# Usage: library_size_test.sh LIBRARY STRIP LIMIT - fails if the library, stripped, takes more than LIMIT bytes.
set -eu
stripped=$(mktemp)
trap 'rm -f "$stripped"' EXIT
"$2" -o "$stripped" "$1"
size=$(wc -c < "$stripped")
echo "$size bytes, at most $3"
[ "$size" -le "$3" ]
