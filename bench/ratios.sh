#!/bin/sh
# Builds and runs every benchmark, and prints the medians and their ratios to the peers as a table.
#   bench/ratios.sh [REGULAR_EXPRESSION]    only benchmarks whose names match
set -eu
cd "$(dirname "$(readlink -f "$0")")/.."
tools/install_packages.sh g++ cmake ninja-build rapidjson-dev libbenchmark-dev libyuv-dev libjpeg-dev libssl-dev >&2
cmake --preset release -DLUMETRA_BUILD_BENCH=ON -DLUMETRA_BUILD_TESTS=OFF -DLUMETRA_BUILD_TOOLS=OFF >/dev/null
cmake --build --preset release >/dev/null

echo "| benchmark | engine, us | peer, us | ratio | |"
echo "|---|---|---|---|---|"
for program in grey_kernels_bench conversion_bench TooJpeg_bench engine_bench; do
    build/release/bench/$program --benchmark_filter="${1:-.}" --benchmark_format=json 2>/dev/null
done | awk -F'[":, ]+' '
    function number(key, format) { return key in value ? sprintf(format, value[key]) : "" }
    $2 == "name" { name = $0; sub(/^[^:]*: "/, "", name); sub(/(\/(iterations|min_time):[0-9.]*)?",?$/, "", name) }
    $2 == "time_unit" { counting = 1; next }
    /}/ && counting {
        printf "| %s | %s | %s | %s |%s |\n", name, number("engine", "%.1f"), number("peer", "%.1f"),
               number("ratio", "%.2f"), others
        counting = 0; others = ""; delete value; next
    }
    counting && $2 ~ /^(engine|peer|ratio)$/ { value[$2] = $3; next }
    counting { others = others sprintf(" %s %.3g", $2, $3) }'
