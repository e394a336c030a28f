#!/bin/sh
# Usage: installed_test.sh [PREFIX] - for packages_test.sh, in its folder: installs its packages over older ones, runs
# the documented commands and the hosts to copy, looks at the shells' completion, and removes the packages. With
# PREFIX, where the same is unpacked, no packages.
set -eu
prefix=${1:-}
fail() {
    echo "$*"
    exit 1
}

if [ -z "$prefix" ]; then
    names=$(for package in ./*.deb; do dpkg-deb -f "$package" Package; done)
    # shellcheck disable=SC2086 # a word a package
    dpkg --purge $names > log 2>&1
    mkdir older
    for package in ./*.deb; do  # nothing has been released before: the same under a lower number
        dpkg-deb -R "$package" unpacked
        sed -i -e 's/^Version: .*/Version: 0.0.1/' -e '/^Depends/s/(= [0-9.]*)/(= 0.0.1)/g' unpacked/DEBIAN/control
        dpkg-deb -b unpacked older > log
        rm -r unpacked
    done
    for folder in older .; do
        dpkg --install "$folder"/*.deb > log 2>&1 || fail "$(cat log)"
    done
    # shellcheck disable=SC2086
    installed=$(dpkg-query -W -f '${Status} ${Version}\n' $names | sort -u)
    version=$(for package in ./*.deb; do dpkg-deb -f "$package" Version; done | sort -u)
    [ "$installed" = "install ok installed $version" ] || fail "not all were upgraded to $version: $installed"
    # shellcheck disable=SC2086
    files=$(dpkg -L $names)
    ldconfig -p | grep -q 'libLumetraCore\.so\.0 ' || fail "the loader does not know the library"
else
    export PATH="$prefix/bin:$PATH" LD_LIBRARY_PATH="$prefix/lib" CMAKE_PREFIX_PATH="$prefix" \
        PKG_CONFIG_PATH="$prefix/lib/pkgconfig" PYTHONPATH="$prefix/lib/python3/dist-packages"
fi

documents=${prefix:-/usr}/share/doc/lumetracore
documents/documented_commands.py --prefix "$prefix" shown fixtures \
    "$documents/README.md" "$documents"/docs/*.md "$documents"/examples/*/README.md
hosts=$(grep -c '^python3\|^mono\|^[a-z./]*hello_host \$' "$documents/examples/hello-host/README.md")
reports=$(grep -c '^{"frameMonitor":"report","frames":[1-9]' shown/hello-host/README/output)
[ "$reports" -eq "$hosts" ] || fail "$reports of $hosts hosts printed what their module saw"

# completed PROGRAM WORD... - what bash offers for the last word.
completed() {
    bash -c '. /usr/share/bash-completion/bash_completion
        . "'"${prefix:-/usr}"'/share/bash-completion/completions/$1"
        COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMP_LINE="$*" COMP_POINT=${#COMP_LINE}
        "_${1//-/_}" "$1" && printf "%s\n" "${COMPREPLY[@]}"' bash "$@"
}
completed lumetra-play --module-p | grep -qx -e --module-path || fail "no completion of options"
completed lumetra-play --module Frame | grep -qx FrameMonitor || fail "no completion of modules"
completed lumetra-inspect Frame | grep -qx FrameMonitor || fail "no completion of modules to inspect"

if [ -z "$prefix" ]; then
    # shellcheck disable=SC2086
    dpkg --purge $names > log 2>&1 || fail "$(cat log)"
    for file in $files; do
        case $file in
        *umetra*) [ ! -e "$file" ] || fail "$file is left" ;;
        esac
    done
fi
