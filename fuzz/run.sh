#!/bin/sh
# Usage: fuzz/run.sh [SECONDS_EACH [TARGET...]] - builds the targets and runs each for 20 seconds. A line of figures
# for each; fails if one has found something, and keeps the input in build/fuzz/findings. See docs/fuzzing.md.
set -eu
cd "$(dirname "$(readlink -f "$0")")/.."
seconds="${1:-20}"
[ $# -eq 0 ] || shift
[ $# -gt 0 ] || set -- $(ls fuzz/seeds)

mkdir -p build/fuzz/findings build/fuzz/logs
{
    tools/install_packages.sh clang libclang-rt-14-dev cmake ninja-build rapidjson-dev &&
        cmake --preset fuzz && cmake --build --preset fuzz
} > build/fuzz/logs/build 2>&1 || { tail -n 40 build/fuzz/logs/build >&2; exit 1; }

found=0
for target in "$@"; do
    corpus="build/fuzz/corpus/$target"
    log="build/fuzz/logs/$target"
    mkdir -p "$corpus"
    findings=0
    "build/fuzz/bin/${target}_fuzz" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
        -dict="fuzz/dictionaries/$target.dict" -artifact_prefix="build/fuzz/findings/$target-" \
        "$corpus" "fuzz/seeds/$target" > /dev/null 2> "$log" || findings=1
    awk -v name="$target" -v findings="$findings" '
        / cov: / { for (i = 1; i < NF; ++i) if ($i == "cov:") edges = $(i + 1) }
        /^stat::number_of_executed_units:/ { runs = $2 }
        /^stat::average_exec_per_sec:/ { rate = $2 }
        /Test unit written to/ { input = "  " $NF }
        END { printf "%-14s %9d runs %7d/s %6d edges %2d findings%s\n", name, runs, rate, edges, findings, input }
    ' "$log"
    found=$((found + findings))
done
exit $((found > 0))
