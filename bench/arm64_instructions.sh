#!/bin/sh
# Counts the arm64 instructions that each vectorised unit takes for a pixel, beside its plain form and libyuv's rows:
# without the hardware its time cannot be measured, but the emulator can tell every instruction that it executes.
# The same program run once more often differs by just that work.
set -eu
cd "$(dirname "$(readlink -f "$0")")/.."
tools/install_packages.sh g++-aarch64-linux-gnu qemu-user cmake ninja-build rapidjson-dev libgtest-dev >&2
packages="$PWD/build/arm64-packages"
tools/unpack_packages.sh arm64 "$packages" libjpeg62-turbo-dev libpng-dev zlib1g-dev rapidjson-dev libcli11-dev >&2
peers="$PWD/build/arm64-peers"
tools/unpack_packages.sh arm64 "$peers" libyuv-dev libjpeg62-turbo-dev >&2
cmake --preset arm64 > /dev/null
cmake --build --preset arm64 --target lumetra_engine > /dev/null

program=build/arm64/counted_work
aarch64-linux-gnu-g++ -std=c++20 -O2 -I. -Iinclude -I"$peers/usr/include" bench/counted_work.cpp \
    $(find build/arm64/CMakeFiles/lumetra_engine.dir -name '*.o') \
    "$peers/usr/lib/aarch64-linux-gnu/libyuv.a" "$peers/usr/lib/aarch64-linux-gnu/libjpeg.a" -o "$program"

executed() {
    qemu-aarch64 -L /usr/aarch64-linux-gnu -singlestep -d exec,nochain -D /dev/stdout "$program" "$1" "$2" | grep -c '^Trace'
}
echo "| work | instructions a pixel |"
echo "|---|---|"
for work in $(qemu-aarch64 -L /usr/aarch64-linux-gnu "$program" | grep /[a-z]*$ | grep -v ' '); do
    once=$(executed "$work" 1)
    twice=$(executed "$work" 2)
    awk -v work="$work" -v count="$((twice - once))" 'BEGIN { printf "| %s | %.2f |\n", work, count / (320 * 240) }'
done
