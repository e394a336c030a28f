#!/bin/sh
# Usage: run.sh [--long] [BUILD] - every subject of lumetra-stress, one line each; BUILD defaults to build/dev.
# The short form takes about a minute; the long one plays ten minutes at each steady rate, half an hour in all.
# Fails if a promise was broken. STRESS_SEED chooses what is left to chance.
set -eu
here=$(dirname "$(readlink -f "$0")")
# A machine that stands still for 100 ms drops frames with any engine: the short form, which runs wherever
# changes are checked, tries a subject again before it calls a promise broken.
steady=4 overload=3 attempts=3
if [ "${1:-}" = --long ]; then
    steady=600 overload=60 attempts=1
    shift
fi
stress="${1:-$here/../build/dev}/stress/lumetra-stress"
[ -x "$stress" ] || { echo "$stress is missing: build it first" >&2; exit 2; }

ulimit -v 8388608  # KiB: a queue without bound must not take the machine with it

# run SUBJECT SECONDS
run() {
    attempt=1
    until timeout $((5 * $2 + 120)) "$stress" "$1" --seconds "$2" --seed "${STRESS_SEED:-1}" > /dev/null; do
        echo "$1: attempt $attempt of $attempts failed" >&2
        [ $attempt -lt $attempts ] || return 1
        attempt=$((attempt + 1))
    done
}

broken=0
for subject in steady overload stuck lifecycle modules sink; do
    seconds=$overload
    [ $subject != steady ] || seconds=$steady
    run $subject $seconds || broken=1
done
exit $broken
