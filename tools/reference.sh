#!/bin/sh
# Builds the reference pages of the public headers: build/reference/index.html. Fails on an undocumented name.
set -eu
cd "$(dirname "$(readlink -f "$0")")/.."
tools/install_packages.sh doxygen >&2
mkdir -p build/reference
doxygen docs/Doxyfile
echo "build/reference/index.html"
