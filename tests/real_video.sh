#!/bin/sh
# Usage: real_video.sh BUILD [CLIP [SECONDS]] - video from ffmpeg through lumetra-play in every format, two sizes and
# two rates. Fails if a frame is lost or a pixel that modules see differs from the rule.
set -eu
play="$1/bin/lumetra-play"
clip="${2:-}"
seconds="${3:-2}"

video() { # format size rate
    if [ -n "$clip" ]; then
        ffmpeg -v error -stream_loop -1 -i "$clip" -vf "scale=$2,fps=$3" -t "$seconds" -f rawvideo -pix_fmt "$1" -
    else
        ffmpeg -v error -f lavfi -i "testsrc2=size=$2:rate=$3" -t "$seconds" -f rawvideo -pix_fmt "$1" -
    fi
}

for size in 640x480 1280x720; do
    for rate in 30 60; do
        for formats in "rgb rgb24" "bgr bgr24" "bgra bgra" "yuyv yuyv422" "gray gray"; do
            format=${formats% *}
            echo "== $format $size at $rate"
            video "${formats#* }" "$size" "$rate" |
                "$play" --size "$size" --format "$format" --fps "$rate" --check - > real_video.out 2> real_video.err ||
                { cat real_video.out real_video.err; exit 1; }
            cat real_video.out
            grep -q ', 0 lost,' real_video.out || { echo "a frame was lost"; exit 1; }
        done
    done
done
rm -f real_video.out real_video.err
