#!/bin/sh
# Reads the library's sources, or the FILES named, with clang-tidy; .clang-tidy has its checks.
# Usage: tools/tidy.sh [FILE...]
set -eu
cd "$(dirname "$(readlink -f "$0")")/.."
tools/install_packages.sh clang clang-tidy cmake ninja-build rapidjson-dev libc++-dev libc++abi-dev >&2
# How each source is compiled; nothing is built.
cmake --preset libcxx -B build/tidy -DLUMETRA_BUILD_TESTS=OFF -DLUMETRA_BUILD_TOOLS=OFF >&2
[ $# -gt 0 ] || set -- $(git ls-files 'base/*.cpp' 'core/*.cpp' 'image/*.cpp' 'modules/*.cpp' 'platform/*.cpp' |
    grep -v _apple)
printf '%s\n' "$@" | xargs -P "$(nproc)" -n 4 clang-tidy -p build/tidy --quiet
