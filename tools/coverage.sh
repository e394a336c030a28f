#!/bin/sh
# Runs every test and prints how many lines and branches of the library they reach, and which lines they do
# not. build/coverage/report/index.html shows them in place.
set -eu
cd "$(dirname "$(readlink -f "$0")")/.."
tools/install_packages.sh lcov >&2
./test.sh coverage >&2

# Branches of exceptions alone are left out: every call that may throw has one.
lcov="lcov --quiet --rc lcov_branch_coverage=1 --rc geninfo_no_exception_branch=1"
$lcov --capture --directory build/coverage/CMakeFiles/lumetra_engine.dir --base-directory "$PWD" \
    --no-external --output-file build/coverage/all.info
$lcov --extract build/coverage/all.info "$PWD/base/*" "$PWD/core/*" "$PWD/image/*" "$PWD/modules/*" \
    "$PWD/platform/*" --output-file build/coverage/library.info
genhtml --quiet --branch-coverage --output-directory build/coverage/report build/coverage/library.info
lcov --rc lcov_branch_coverage=1 --summary build/coverage/library.info 2>&1 | grep -E 'lines|branches'
awk -F: -v root="$PWD/" '
    /^SF:/ { file = substr($0, 4); sub(root, "", file) }
    /^DA:/ { split($2, line, ","); if (line[2] == 0) print file ":" line[1] }' build/coverage/library.info
