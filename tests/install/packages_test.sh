#!/bin/sh
# Usage: packages_test.sh SOURCE BUILD TEXT-MODULE - makes the packages by the commands that the documents show, holds
# them against lintian, and runs installed_test.sh with them in a clean root. Where this machine's files cannot be
# overlaid, for want of root or of the kernel's leave, the documents' commands run in the unpacked archive instead.
set -eu
source=$1
build=$2
text_module=$3
here=$(dirname "$(readlink -f "$0")")
temporary=$(mktemp -d)
trap 'rm -rf "$temporary"' EXIT
export HOME="$temporary/home"

mkdir "$HOME" "$temporary/sources" "$temporary/layers"
cp -r "$here" "$source/tests/documents" "$temporary"  # the sources are hidden later
ln -s "$source"/* "$temporary/sources"
rm -f "$temporary/sources/build"
ln -s "$build" "$temporary/sources/build"
cd "$temporary"
documents/documented_commands.py --after-a-build made sources "$source/README.md" "$source"/docs/*.md

mv made/docs/packaging/out/*.deb .
if command -v lintian > /dev/null; then
    lintian --allow-root --fail-on none --tag-display-limit 0 ./*.deb > tags
    if grep -v ': no-copyright-file$' tags; then exit 1; fi
else
    echo "lintian is not installed"
fi

mkdir -p fixtures/shots fixtures/modules/Text.framework
cp "$text_module" fixtures/modules/Text.framework/Text
film() { ffmpeg -nostdin -v error -f lavfi -i testsrc2=size=320x240:rate=25 "$@"; }
film -t 1 fixtures/clip.mp4
film -t 1 fixtures/clip.mkv
film -frames:v 3 fixtures/shots/%04d.png

# A new user's, without what leads to this build.
set -- env -i HOME="$HOME" PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 \
    install/installed_test.sh
if unshare --mount install/clean_root.sh layers "$source" "$build" -- true 2> refused; then
    echo "in a clean root: this machine's files, overlaid"
    unshare --mount install/clean_root.sh layers "$source" "$build" -- "$@"
else
    echo "in the unpacked archive, for there is no clean root: $(cat refused)"
    "$@" "$HOME/lumetra"
fi
