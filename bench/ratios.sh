#!/bin/sh
# Builds and runs every benchmark, and prints the medians and their ratios to the peers as a table.
#   bench/ratios.sh [REGULAR_EXPRESSION]    only benchmarks whose names match
set -eu
cd "$(dirname "$(readlink -f "$0")")/.."
tools/install_packages.sh libbenchmark-dev libyuv-dev libjpeg-dev libssl-dev >&2
cmake --preset release >/dev/null
cmake --build --preset release >/dev/null

echo "| benchmark | engine, us | peer, us | ratio | |"
echo "|---|---|---|---|---|"
for program in grey_kernels_bench conversion_bench TooJpeg_bench engine_bench; do
    build/release/bench/$program --benchmark_filter="${1:-.}" --benchmark_format=csv 2>/dev/null
done | awk -F, '
    { gsub(/"/, "") }
    $1 == "name" { split($0, column); next }
    NF > 9 {
        delete value
        extra = ""
        for (i = 10; i <= NF; ++i) {
            if ($i == "") continue
            value[column[i]] = $i
            if (column[i] !~ /^(engine|peer|ratio)$/) extra = extra sprintf("%s %.3g ", column[i], $i)
        }
        name = $1
        sub(/\/(iterations|min_time):[0-9.]*/, "", name)
        printf "| %s | %s | %s | %s | %s|\n", name, number("engine", "%.1f"), number("peer", "%.1f"),
               number("ratio", "%.2f"), extra
    }
    function number(key, format) { return key in value ? sprintf(format, value[key]) : "" }'
