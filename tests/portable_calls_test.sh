#!/bin/sh
# Usage: portable_calls_test.sh LIST OBJECT... - fails if a unit that every platform shares calls a C function that is
# not listed: one that only Linux has would first be missed where the library is built for Apple.
# Left out is what the compiler itself calls: C++ names, exceptions, statics, thread-local storage,
# processor features.
set -eu
# And pthread_cond_clockwait, which the C++ library's headers call where the system has it.
compiler='^(_Z|__cxa_|__gxx_|_Unwind_|_GLOBAL_|__dso_handle$|__tls_get_addr$|__cpu_|pthread_cond_clockwait$)'
list=$1
shift
for object in "$@"; do
    case $object in *_linux.cpp.o) continue ;; esac
    nm --undefined-only "$object" | awk '{ print $2 }'
done | grep -vE "$compiler" | sort -u > portable_calls.seen
[ -s portable_calls.seen ] || { echo "nothing seen in $# objects"; exit 1; }
unlisted=$(sort -u "$list" | comm -13 - portable_calls.seen)
[ -z "$unlisted" ] || { echo "not listed in $list: $unlisted"; exit 1; }
