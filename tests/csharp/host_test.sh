#!/bin/sh
# Usage: host_test.sh MONO HOST MODULES - the example has to end well, after a frame reached the module.
set -eu
output=$("$1" --debug "$2" "$3") || { echo "$output"; exit 1; }
echo "$output"
echo "$output" | grep -q '"distinct":[1-9]'
