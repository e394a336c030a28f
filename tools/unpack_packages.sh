#!/bin/sh
# Usage: unpack_packages.sh ARCHITECTURE FOLDER PACKAGE... - unpacks those Debian packages of another architecture
# into FOLDER. Installing them instead would have to bring this machine's own -dev packages to the very same
# versions, and half of the system with them. Needs no root and changes nothing outside FOLDER.
set -eu
architecture=$1
folder=$2
shift 2
[ "$(cat "$folder/unpacked" 2>/dev/null)" != "$*" ] || exit 0

echo "Unpacking for $architecture: $*"
rm -rf "$folder"
mkdir -p "$folder/apt/lists/partial" "$folder/apt/cache/archives/partial"
cd "$folder"
apt_there() {
    apt-get -q -o "APT::Architecture=$architecture" -o "APT::Architectures::=$architecture" \
        -o "Dir::State::lists=$PWD/apt/lists" -o "Dir::Cache=$PWD/apt/cache" -o "APT::Sandbox::User=$(id -un)" "$@"
}
apt_there update
apt_there download "$@"
for file in *.deb; do
    dpkg-deb --extract "$file" .
done
rm -r apt ./*.deb
echo "$*" > unpacked
