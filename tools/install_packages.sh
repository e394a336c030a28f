#!/bin/sh
# Usage: install_packages.sh PACKAGE... - installs those Debian packages that are not there yet.
set -eu
missing=""
for package in "$@"; do
    dpkg-query --show --showformat='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
        missing="$missing $package"
done
[ -n "$missing" ] || exit 0

as_root=""
[ "$(id -u)" -eq 0 ] || as_root="sudo"
echo "Installing$missing"
$as_root apt-get update -q
# shellcheck disable=SC2086 # one word a package
$as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends $missing
