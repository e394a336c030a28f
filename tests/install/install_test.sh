#!/bin/sh
# Usage: install_test.sh SOURCE BUILD VERSION - installs what BUILD has made, moves it, and builds and runs
# two hosts and the module template against it. Fails if they miss something or something of SOURCE is left
# in. Then makes the packages and holds their contents against what was installed.
set -eu
source=$1
build=$2
version=$3
soname=libLumetraCore.so.${version%%.*}
runtime_package=liblumetracore${version%%.*}
temporary=$(mktemp -d)
trap 'rm -rf "$temporary"' EXIT
prefix=$temporary/moved

fail() {
    echo "$*"
    exit 1
}
quietly() { # command...
    "$@" > "$temporary/output" 2>&1 || { cat "$temporary/output"; fail "failed: $*"; }
}
# needs_only FILE LIBRARY... - besides what every C++ program needs.
needs_only() {
    file=$1
    shift
    for needed in $(readelf --dynamic "$file" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'); do
        case " libstdc++.so.6 libm.so.6 libgcc_s.so.1 libc.so.6 $* " in
            *" $needed "*) ;;
            *) case $needed in ld-linux*) ;; *) fail "$file needs $needed" ;; esac ;;
        esac
    done
}
knows_nothing_of_the_build() { # FOLDER
    status=0
    grep -rlF -e "$build" -e "$source" -e "$temporary/installed" "$1" || status=$?
    [ "$status" -eq 1 ] || fail "these would not survive elsewhere"
}
is_the_library_as_shipped() { # FILE
    readelf --dynamic "$1" | grep -q "SONAME.*\[$soname\]" || fail "$1: wrong SONAME"
    ! readelf --sections "$1" | grep -qE '\.(symtab|debug_info)' || fail "$1: not stripped"
    needs_only "$1"
    quietly "$source/tests/exported_names_test.sh" "$1" "$source/tests/exported_names.txt"
}
# A host's module gets its frame, and the library is the moved one.
runs() { # HOST MODULES
    (cd "$2" && timeout 20 "$1") > "$temporary/output" 2>&1 || { cat "$temporary/output"; fail "$1 failed"; }
    grep -q "^ONLOAD: module $prefix/" "$temporary/output" || fail "$1 ran with another library"
}
files_in() { # FOLDER
    (cd "$1" && find . ! -type d | sort)
}

quietly cmake --install "$build" --strip --prefix "$temporary/installed"
mv "$temporary/installed" "$prefix"
knows_nothing_of_the_build "$prefix"
pc=$(find "$prefix" -name LumetraCore.pc)
export PKG_CONFIG_PATH="${pc%/*}"
libraries=$(pkg-config --variable=libdir LumetraCore)
is_the_library_as_shipped "$libraries/libLumetraCore.so"
[ "$(pkg-config --modversion LumetraCore)" = "$version" ] || fail "wrong version in $pc"

cp -r "$source/examples/module-template" "$temporary/module"
cp -r "$source/tests/install/consumer" "$temporary/consumer"
for project in module consumer; do
    quietly cmake -S "$temporary/$project" -B "$temporary/$project/build" -DCMAKE_PREFIX_PATH="$prefix" \
        -DWANTED_VERSION="$version" --no-warn-unused-cli
    quietly cmake --build "$temporary/$project/build"
done
modules=$temporary/module/build/modules
needs_only "$modules/MyModule.framework/MyModule"
for host in host_c11 host_cxx17; do
    needs_only "$temporary/consumer/build/$host" "$soname"
    runs "$temporary/consumer/build/$host" "$modules"
done

# Installed, too, the tools find it by its bare name.
echo 'lumetra_install_module(MyModule)' >> "$temporary/module/CMakeLists.txt"
quietly cmake --build "$temporary/module/build"
quietly cmake --install "$temporary/module/build" --prefix "$prefix"
module=$libraries/LumetraCore/modules/MyModule.framework/MyModule
if [ -x "$prefix/bin/lumetra-play" ]; then
    quietly "$prefix/bin/lumetra-play" --quiet --frames 5 --module MyModule
fi
rm "$module"

# The same three without CMake.
bin=$temporary/pkg-config
mkdir -p "$bin/MyModule.framework"
options="-Wall -Wextra -Wpedantic -Werror $(pkg-config --cflags LumetraCore)"
# shellcheck disable=SC2046,SC2086 # one word an option
{
    quietly "${CXX:-c++}" -std=c++17 -shared -fPIC -fvisibility=hidden -fno-gnu-unique $options \
        "$temporary/module/my_module.cpp" -o "$bin/MyModule.framework/MyModule"
    quietly "${CC:-cc}" -std=c11 $options "$temporary/consumer/host.c" -o "$bin/host_c11" \
        $(pkg-config --libs LumetraCore)
    quietly "${CXX:-c++}" -std=c++17 $options "$temporary/consumer/host.cpp" -o "$bin/host_cxx17" \
        $(pkg-config --libs LumetraCore)
}
export LD_LIBRARY_PATH="$libraries"
runs "$bin/host_c11" "$bin"
runs "$bin/host_cxx17" "$bin"
unset LD_LIBRARY_PATH

quietly cpack --config "$build/CPackConfig.cmake" -B "$temporary/packages"
mkdir "$temporary/archive"
tar -xzf "$temporary/packages/"LumetraCore-*.tar.gz -C "$temporary/archive" --strip-components=1
[ "$(files_in "$temporary/archive")" = "$(files_in "$prefix")" ] ||
    fail "the archive differs from the installation"
dpkg-deb -x "$temporary/packages/$runtime_package"_*.deb "$temporary/runtime"
(cd "$temporary/runtime/usr" && find . -name "$soname*" -o -name changelog.gz | sort) > "$temporary/library_files"
[ "$(files_in "$temporary/runtime/usr")" = "$(cat "$temporary/library_files")" ] ||
    fail "more than the library is in its package"
for package in "$temporary/packages/"*.deb; do
    dpkg-deb -x "$package" "$temporary/all"
done
for folder in archive all; do
    knows_nothing_of_the_build "$temporary/$folder"
    is_the_library_as_shipped "$(find "$temporary/$folder" -name "$soname")"
done
# What Debian alone has otherwise.
find "$temporary/all" -name changelog.gz -delete
find "$temporary/all" -name '*.1.gz' -exec gunzip {} +
mkdir -p "$temporary/all/usr/lib/pkgconfig"
find "$temporary/all" -name '*.pc' -exec mv -n {} "$temporary/all/usr/lib/pkgconfig" \;
[ "$(files_in "$temporary/all/usr")" = "$(files_in "$prefix")" ] ||
    fail "the packages differ from the installation"
field() { # PACKAGE FIELD
    dpkg-deb -f "$temporary/packages/$1"_*.deb "$2"
}
field liblumetracore-dev Depends | grep -qF "$runtime_package (= $version)" || fail "headers without their library"
field "$runtime_package" Depends | grep -q "libc6 .*libstdc++6 " || fail "a library without its own"
