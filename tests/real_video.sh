#!/bin/sh
# Usage: real_video.sh BUILD [CLIP [SECONDS]] - video through lumetra-play in every format, two sizes and two rates.
# Fails if a frame is dropped or a pixel that modules see differs from the rule.
set -eu
play="$1/bin/lumetra-play"
clip="${2:-}"
seconds="${3:-2}"

for size in 640x480 1280x720; do
    for rate in 30 60; do
        for format in rgb bgr bgra yuyv gray8; do
            echo "== $format $size at $rate"
            if [ -n "$clip" ]; then
                set -- --loop "$clip"
            else
                set -- -f lavfi "testsrc2=size=$size:rate=$rate"
            fi
            "$play" --size "$size" --format "$format" --fps "$rate" --frames $((rate * seconds)) --check --strict \
                "$@" 2> real_video.err || { cat real_video.err; exit 1; }
        done
    done
done
rm -f real_video.err
