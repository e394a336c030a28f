#!/bin/sh
# Usage: bundle_test.sh SOURCE COMPILER VERSION RAPIDJSON - what the build for Apple's systems makes, but for
# the code: clang and lld build every preset over an SDK of stubs, with empty sources, and the frameworks that
# result are looked at as an application would. COMPILER is clang++, with clang beside it, RAPIDJSON the folder
# of RapidJSON's headers.
set -eu
source=$1
compiler=$2
version=$3
rapidjson=$4
here=$source/tests/apple/bundle
temporary=$(mktemp -d)
trap 'rm -rf "$temporary"' EXIT

fail() {
    echo "$*"
    exit 1
}
quietly() { # COMMAND...
    "$@" > "$temporary/output" 2>&1 || { cat "$temporary/output"; fail "failed: $*"; }
}
mkdir "$temporary/bin"
printf '%s\n' '#!/bin/sh' 'echo 13.0' > "$temporary/bin/sw_vers"  # a system that knows @rpath
chmod +x "$temporary/bin/sw_vers"
PATH=$temporary/bin:$PATH

make_stub() { # INSTALL_NAME FILE
    targets="[ arm64-macos, arm64-ios, arm64-ios-simulator ]"
    printf '%s\n' '--- !tapi-tbd' 'tbd-version: 4' "targets: $targets" "install-name: $1" \
        'exports:' "  - targets: $targets" '    symbols: [ dyld_stub_binder ]' '...' > "$2"
}
# The least that CMake, clang and lld look for.
make_sdk() { # FOLDER
    mkdir -p "$1/usr/include/c++/v1" "$1/usr/lib"
    touch "$1/usr/include/pthread.h"
    for library in System.B c++.1; do
        make_stub "/usr/lib/lib$library.dylib" "$1/usr/lib/lib${library%.*}.tbd"
    done
    for name in AVFoundation CoreMedia Foundation; do
        framework=/System/Library/Frameworks/$name.framework
        mkdir -p "$1$framework"
        make_stub "$framework/$name" "$1$framework/$name.tbd"
    done
}
build_for() { # SYSTEM SDK TARGET BUILD OPTION...
    name=$1 root=$2 target=$3 folder=$4
    shift 4
    quietly cmake -G Ninja -B "$folder" -DCMAKE_SYSTEM_NAME="$name" -DCMAKE_OSX_SYSROOT="$root" \
        -DCMAKE_OSX_ARCHITECTURES=arm64 -DCMAKE_C_COMPILER="${compiler%++}" \
        -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_OBJCXX_COMPILER="$compiler" \
        -DCMAKE_C_COMPILER_TARGET="$target" -DCMAKE_CXX_COMPILER_TARGET="$target" \
        -DCMAKE_OBJCXX_COMPILER_TARGET="$target" -DCMAKE_HAVE_LIBC_PTHREAD=1 \
        -DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY \
        -DCMAKE_CXX_FLAGS=-stdlib=libc++ -DCMAKE_OBJCXX_FLAGS=-stdlib=libc++ \
        -DCMAKE_CXX_COMPILER_LAUNCHER="$here/empty_source.sh" \
        -DCMAKE_OBJCXX_COMPILER_LAUNCHER="$here/empty_source.sh" \
        -DCMAKE_SHARED_LINKER_FLAGS=-fuse-ld=lld \
        -DCMAKE_INSTALL_NAME_TOOL="$(command -v llvm-install-name-tool-14)" --no-warn-unused-cli "$@"
    quietly cmake --build "$folder"
}
value_of() { # PROPERTY_LIST KEY
    xmllint --nonet --xpath "string(/plist/dict/key[.='$2']/following-sibling::*[1]/descendant-or-self::string)" \
        "$1"
}
is_bundle() { # FRAMEWORK PROPERTY_LIST IDENTIFIER VERSION PLATFORM MINIMUM_KEY MINIMUM
    name=$(basename "$1" .framework)
    for entry in CFBundleExecutable="$name" CFBundleIdentifier="$3" CFBundleVersion="$4" \
        CFBundleShortVersionString="$4" CFBundlePackageType=FMWK CFBundleSupportedPlatforms="$5" "$6=$7"; do
        found=$(value_of "$2" "${entry%%=*}")
        [ "$found" = "${entry#*=}" ] || fail "$2: ${entry%%=*} is '$found', not '${entry#*=}'"
    done
    # What the loader opens by name is there and is a library that can be embedded.
    llvm-otool-14 -D "$1/$name" | grep -qx "@rpath/$name.framework/.*$name" || fail "$1: wrong install name"
    llvm-otool-14 -hv "$1/$name" | grep -q DYLIB || fail "$1: no dynamic library"
}
# check_preset PRESET SYSTEM PLATFORM TARGET PROPERTY_LIST MINIMUM_KEY MINIMUM
check_preset() {
    preset=$1 system=$2 sdk=$temporary/$3.sdk target=$4 plist=$5 platform=$3 key=$6 minimum=$7
    build=$temporary/$preset
    make_sdk "$sdk"
    build_for "$system" "$sdk" "$target" "$build" -S "$source" --preset "$preset" \
        -DRapidJSON_INCLUDE_DIR="$rapidjson"
    quietly cmake --install "$build" --prefix "$build/prefix"
    library=$build/prefix/lib/LumetraCore.framework
    is_bundle "$library" "$library/$plist" org.lumetracore.LumetraCore "$version" "$platform" "$key" "$minimum"

    for name in AVFoundation CoreMedia Foundation; do
        llvm-otool-14 -L "$library/LumetraCore" | grep -q "/$name.framework/" || fail "$library is without $name"
    done

    build_for "$system" "$sdk" "$target" "$build/module" -S "$source/examples/module-template" \
        -DCMAKE_FIND_ROOT_PATH="$build/prefix" -DCMAKE_OSX_DEPLOYMENT_TARGET="$minimum"
    module=$build/module/modules/MyModule.framework
    is_bundle "$module" "$module/$plist" org.lumetracore.module.MyModule 1.0 "$platform" "$key" "$minimum"
}
imports() { # LANGUAGE SOURCE_LINE...
    language=$1
    shift
    printf '%s\n' "$@" | quietly "$compiler" -x "${language%=*}" -std="${language#*=}" -fsyntax-only -fmodules \
        -fmodules-cache-path="$temporary/cache" -F "$temporary/$preset/prefix/lib" -Wall -Wextra -Wpedantic \
        -Wquoted-include-in-framework-header -Wincomplete-umbrella -Wno-system-headers -Werror -
}

for system in "macos Darwin MacOSX arm64-apple-macos13.0 Resources/Info.plist LSMinimumSystemVersion 13.0" \
    "ios iOS iPhoneOS arm64-apple-ios13.0 Info.plist MinimumOSVersion 13.0" \
    "ios-simulator iOS iPhoneSimulator arm64-apple-ios13.0-simulator Info.plist MinimumOSVersion 13.0"; do
    # shellcheck disable=SC2086 # one word a parameter
    check_preset $system
    # Over the headers of this machine, for want of Apple's.
    imports objective-c=gnu11 '@import LumetraCore;' 'int32_t f(void) { return LumetraCore_getStatus(0); }'
    imports objective-c++=gnu++17 '@import LumetraCore;' '@import LumetraCore.Cxx;' \
        'int f(const IChnk& frame) { return frame.width + LumetraCore_getStatus(0); }'
    imports c=c11 '#include <LumetraCore/LumetraCore.h>' 'const char16_t* text = u"";'
done
