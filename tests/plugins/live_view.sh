#!/bin/sh
# Usage: live_view.sh BUILD - looks at the live view of a playing scene in a browser, as a person does: the page says
# that it is live, shows the picture, and another level when that is clicked. Leaves BUILD/live-view.png.
set -eu
build=$(readlink -f "$1")
"$(dirname "$0")/../../tools/install_packages.sh" chromium chromium-driver curl >&2
work=$(mktemp -d)
player= driver= session=
end() {
    # The browser goes with its session, not with its driver.
    [ -z "$session" ] || curl -sS --max-time 20 -X DELETE "http://127.0.0.1:$port/session/$session" > /dev/null || true
    kill $player $driver 2> /dev/null || true
    wait
    rm -rf "$work"
}
trap end EXIT

within_seconds() {
    seconds=$1
    shift
    for _ in $(seq $((10 * seconds))); do
        if "$@"; then return 0; fi
        sleep 0.1
    done
    echo "not within $seconds seconds: $*" >&2
    cat "$work"/*.log >&2
    exit 1
}

"$build/bin/lumetra-play" --view --frames 0 > "$work/player.log" 2>&1 &
player=$!
within_seconds 20 grep -q 'live view: http' "$work/player.log"
page=$(sed -n 's/^live view: //p' "$work/player.log")

chromedriver --port=0 > "$work/driver.log" 2>&1 &
driver=$!
within_seconds 20 grep -q 'on port [1-9]' "$work/driver.log"
port=$(sed -n 's/.*on port \([1-9][0-9]*\).*/\1/p' "$work/driver.log" | tail -n 1)

# The driver answers {"value":...}; what is asked for here has no quotes inside.
ask() {
    curl -sS --max-time 20 -H 'Content-Type: application/json' -d "$2" "http://127.0.0.1:$port/$1" > "$work/answer.log"
}
evaluate() { ask "session/$session/execute/sync" "{\"script\":\"$1\",\"args\":[]}"; }
says() {
    evaluate "return String($1)"
    grep -q "{\"value\":\"$2\"}" "$work/answer.log"
}

ask session '{"capabilities":{"alwaysMatch":{"goog:chromeOptions":{"args":["--headless","--no-sandbox","--disable-gpu","--window-size=1100,960"]}}}}'
session=$(sed -n 's/.*"sessionId":"\([0-9a-f]*\)".*/\1/p' "$work/answer.log")
[ -n "$session" ] || { cat "$work/answer.log" >&2; exit 1; }
ask "session/$session/url" "{\"url\":\"$page\"}"

within_seconds 20 says "document.getElementById('state').textContent" live
within_seconds 20 says "document.getElementById('large').naturalWidth" 640
within_seconds 10 says "Number(document.getElementById('fps').textContent) > 0" true
within_seconds 10 says "[...document.querySelectorAll('#levels img')].filter(i => i.naturalWidth > 0).length" 8
evaluate "document.getElementById('levels').children[2].click()"
within_seconds 10 says "document.getElementById('large').naturalWidth" 160
evaluate "document.getElementById('levels').children[0].click()"
within_seconds 10 says "document.getElementById('large').naturalWidth" 640
curl -sS --max-time 20 "http://127.0.0.1:$port/session/$session/screenshot" |
    sed 's/^{"value":"//; s/"}$//' | base64 -d > "$build/live-view.png"
kill "$player"
wait "$player" || [ $? -eq 130 ]  # interrupted, although somebody looks
player=
within_seconds 10 says "document.getElementById('state').textContent" 'the module does not answer'
echo "the live view is live: $build/live-view.png"
