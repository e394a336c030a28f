#!/bin/sh
# Usage: run.sh [--long] [BUILD] - every subject of lumetra-stress, one line each; BUILD defaults to build/dev.
# The short form takes about a minute; the long one plays ten minutes at each steady rate, half an hour in all.
# Fails if a promise was broken. STRESS_SEED chooses what is left to chance.
set -eu
here=$(dirname "$(readlink -f "$0")")
steady=4 overload=3
if [ "${1:-}" = --long ]; then
    steady=600 overload=60
    shift
fi
stress="${1:-$here/../build/dev}/stress/lumetra-stress"
[ -x "$stress" ] || { echo "$stress is missing: build it first" >&2; exit 2; }

ulimit -v 8388608  # KiB: a queue without bound must not take the machine with it
broken=0
for subject in steady overload lifecycle modules sink; do
    seconds=$overload
    [ $subject != steady ] || seconds=$steady
    timeout $((5 * seconds + 120)) "$stress" $subject --seconds $seconds --seed "${STRESS_SEED:-1}" > /dev/null || {
        status=$?
        [ $status -eq 1 ] || echo "$subject: ended with status $status" >&2
        broken=1
    }
done
exit $broken
