#!/bin/sh
# Sets up, builds and passes every test. Usage: ./test.sh [PRESET...], by default dev (CMakePresets.json).
set -eu
cd "$(dirname "$(readlink -f "$0")")"
# Compilers; the library and its modules; the tools; packages and documents; Apple's and C#'s tests; all tests.
tools/install_packages.sh \
    g++ clang lld llvm binutils cmake ninja-build pkg-config python3 \
    rapidjson-dev nlohmann-json3-dev libmicrohttpd-dev libjpeg-dev libapriltag-dev \
    libcli11-dev libelf-dev libpng-dev libavformat-dev libavcodec-dev libavdevice-dev libswscale-dev libavutil-dev \
    dpkg-dev file doxygen help2man lintian bash-completion \
    gobjc++-12 libgnustep-base-dev gnustep-make libxml2-utils mono-mcs mono-runtime libmono-system-core4.0-cil \
    libgtest-dev libgmock-dev libcpp-httplib-dev python3-numpy python3-pytest ffmpeg >&2

[ $# -gt 0 ] || set -- dev
for preset in "$@"; do
    case $preset in
    libcxx) tools/install_packages.sh libc++-dev libc++abi-dev >&2 ;;
    arm64*)
        tools/install_packages.sh g++-aarch64-linux-gnu qemu-user >&2
        tools/unpack_packages.sh arm64 build/arm64-packages libjpeg62-turbo-dev libpng-dev zlib1g-dev rapidjson-dev \
            nlohmann-json3-dev libcli11-dev >&2
        ;;
    esac
    cmake --preset "$preset"
    cmake --build --preset "$preset"
    ctest --preset "$preset" --parallel 2
done
