#!/bin/sh
# Usage: host_test.sh MONO HOST MODULES - the example has to end well, after a frame reached the module and the devices
# were listed.
set -eu
output=$("$1" --debug "$2" "$3") || { echo "$output"; exit 1; }
echo "$output"
echo "$output" | grep -q '"distinct":[1-9]'
echo "$output" | grep -q videoInputDevices
