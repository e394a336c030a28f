#!/bin/sh
# Usage: unshare --mount clean_root.sh LAYERS HIDDEN... -- COMMAND... - runs the command where what it changes in
# /etc, /usr and /var is gone afterwards, the folders HIDDEN are empty, and packages install whole. LAYERS is an empty
# folder.
set -eu
layers=$1
shift
mount --make-rprivate /
mount -t tmpfs layers "$layers"
for folder in etc usr var; do
    mkdir "$layers/$folder" "$layers/$folder.work"
    mount -t overlay overlay -o "lowerdir=/$folder,upperdir=$layers/$folder,workdir=$layers/$folder.work" "/$folder"
done
rm -f /etc/dpkg/dpkg.cfg.d/*  # small images leave documents out
while [ "$1" != -- ]; do
    [ ! -d "$1" ] || mount -t tmpfs hidden "$1"  # may be hidden with one before
    shift
done
shift
exec "$@"
