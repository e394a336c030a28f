#!/bin/sh
# Usage: live_view.sh BUILD - looks at the live view in a browser, as people do, while the player plays, stops, goes on,
# ends and comes back, while others look too, and while somebody sends requests that no browser sends. The page must
# never call a picture live that is not. Leaves BUILD/live-view.png, live-view-stale.png and live-view-phone.png.
set -eu
build=$(readlink -f "$1")
here=$(dirname "$(readlink -f "$0")")
"$here/../../tools/install_packages.sh" chromium chromium-driver curl python3 libapriltag3 >&2
work=$(mktemp -d)
: > "$work/driver.log"
player= driver= session= others=
end() {
    # The browser goes with its session, not with its driver.
    [ -z "$session" ] || curl -sS --max-time 20 -X DELETE "http://127.0.0.1:$driver_port/session/$session" \
        > /dev/null || true
    [ -z "$player" ] || kill -CONT "$player" 2> /dev/null || true
    kill $player $driver $others 2> /dev/null || true
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
    tail -n 5 "$work"/*.log | cut -c 1-200 >&2
    exit 1
}

# play PORT OPTION... - the page is at PORT, or at any if that is 0.
play() {
    view=$1
    shift
    [ "$view" = 0 ] && view=--view || view=--view=$view
    # With stacks of one MiB, as hosts on small machines have them.
    (ulimit -s 1024 && exec "$build/bin/lumetra-play" $view --frames 0 "$@") > "$work/player.log" 2>&1 &
    player=$!
    within_seconds 20 grep -q 'live view: http' "$work/player.log"
    page=$(sed -n 's/^live view: //p' "$work/player.log")
}
stop() {
    kill -INT "$player"
    wait "$player" || [ $? -eq 130 ]
    player=
}

# The driver answers {"value":...}; what is asked for here has no quotes inside.
ask() {
    curl -sS --max-time 20 -H 'Content-Type: application/json' -d "$2" "http://127.0.0.1:$driver_port/$1" \
        > "$work/answer.log"
}
evaluate() { ask "session/$session/execute/sync" "{\"script\":\"$1\",\"args\":[]}"; }
says() {
    evaluate "return String($1)"
    grep -q "{\"value\":\"$2\"}" "$work/answer.log"
}
state() { says "document.getElementById('state').textContent" "$1"; }
is_true() { says "$1" true; }
press() { evaluate "document.dispatchEvent(new KeyboardEvent('keydown',{key:'$1',bubbles:true}))"; }
devtools() { ask "session/$session/goog/cdp/execute" "{\"cmd\":\"$1\",\"params\":$2}"; }
photograph() {
    curl -sS --max-time 20 "http://127.0.0.1:$driver_port/session/$session/screenshot" |
        sed 's/^{"value":"//; s/"}$//' | base64 -d > "$build/$1.png"
}
is_stale="document.getElementById('stage').classList.contains('stale') && !document.getElementById('badge').hidden"
canvas_width="document.getElementById('large').width"
frame_shown="Number(document.getElementById('frame').textContent)"

chromedriver --port=0 > "$work/driver.log" 2>&1 &
driver=$!
within_seconds 20 grep -q 'on port [1-9]' "$work/driver.log"
driver_port=$(sed -n 's/.*on port \([1-9][0-9]*\).*/\1/p' "$work/driver.log" | tail -n 1)
arguments='["--headless","--no-sandbox","--disable-gpu","--window-size=1100,960"]'
ask session "{\"capabilities\":{\"alwaysMatch\":{\"goog:chromeOptions\":{\"args\":$arguments}}}}"
session=$(sed -n 's/.*"sessionId":"\([0-9a-f]*\)".*/\1/p' "$work/answer.log")
[ -n "$session" ] || { cat "$work/answer.log" >&2; exit 1; }

echo "live, with results of another module, by mouse and keys"
python3 "$here/tag_clip.py" "$work/tags.y4m" 60
play 0 --loop --format gray8 --module 'TagTracker={"rate":30}' \
    --command 'LiveView:1002=a line of the log' \
    --command 'LiveView:1001=Odd {"outlines":[null,{"points":[3]},{"points":[["a",1]]}]}' "$work/tags.y4m"
port=${page##*:} port=${port%/}
ask "session/$session/url" "{\"url\":\"$page\"}"
within_seconds 20 state live
within_seconds 20 says "$canvas_width" 640
within_seconds 10 is_true "Number(document.getElementById('fps').textContent) > 0"
within_seconds 10 is_true "document.getElementById('tallest').textContent.startsWith('tallest: ')"
within_seconds 10 says "[...document.querySelectorAll('#levels img')].filter(i => i.naturalWidth > 0).length" 8
within_seconds 10 says "document.querySelectorAll('#outlines polygon').length" 3
within_seconds 10 is_true "document.getElementById('log').textContent.endsWith('a line of the log')"
within_seconds 10 is_true "document.getElementById('results').textContent.includes('TagTracker: frame')"
within_seconds 10 is_true "document.getElementById('results').textContent.includes('Odd: frame')"
evaluate "document.getElementById('levels').children[2].click()"
within_seconds 10 says "$canvas_width" 160
within_seconds 10 is_true "document.getElementById('large').classList.contains('exact')"
press 0
within_seconds 10 says "$canvas_width" 640
press ' '
within_seconds 5 is_true "document.getElementById('state').textContent.startsWith('paused at frame')"
evaluate "window.pausedAt = $frame_shown"
sleep 1
within_seconds 1 is_true "$frame_shown === window.pausedAt"
press ArrowRight
within_seconds 5 is_true "$frame_shown > window.pausedAt || $frame_shown < window.pausedAt"
press ' '
within_seconds 5 state live
evaluate "window.saved = 0; HTMLAnchorElement.prototype.click = function() { window.saved = this.download; }"
press s
within_seconds 1 is_true "/^frame-[0-9]+-level-0.jpg\$/.test(window.saved)"
within_seconds 10 says "document.querySelectorAll('#outlines polygon').length" 3
photograph live-view
devtools Emulation.setDeviceMetricsOverride '{"width":390,"height":844,"deviceScaleFactor":2,"mobile":true}'
within_seconds 5 is_true "document.documentElement.scrollWidth <= 390"
photograph live-view-phone
devtools Emulation.clearDeviceMetricsOverride '{}'

echo "over a link that takes seconds for a picture"
devtools Network.enable '{}'
evaluate "window.slowFrom = $frame_shown"
slow='{"offline":false,"latency":0,"uploadThroughput":-1,"downloadThroughput":'
devtools Network.emulateNetworkConditions "${slow}6000}"
sleep 4
evaluate "window.slowFrom = $frame_shown"
within_seconds 20 is_true "$frame_shown !== window.slowFrom"
devtools Network.emulateNetworkConditions "${slow}-1}"
within_seconds 20 state live

echo "stopped and going on"
kill -STOP "$player"
within_seconds 10 is_true "document.getElementById('state').textContent.startsWith('no answer for') && $is_stale"
photograph live-view-stale
kill -CONT "$player"
within_seconds 10 state live

echo "a viewer that sleeps"
devtools Page.setWebLifecycleState '{"state":"frozen"}'
sleep 4
devtools Page.setWebLifecycleState '{"state":"active"}'
within_seconds 10 state live

echo "ended, and there again on the same port with other frames, or none for long"
stop
within_seconds 10 is_true "document.getElementById('state').textContent.startsWith('no answer for') && $is_stale"
play "$port" --size 320x240
within_seconds 10 state live
within_seconds 10 says "$canvas_width" 320
within_seconds 10 is_true "$frame_shown > 0"
within_seconds 5 is_true "!document.getElementById('results').textContent.includes('TagTracker')"
stop
play "$port" --flags 0 --format rgb --size 320x240
within_seconds 10 is_true "document.getElementById('state').textContent === 'the frames are not grey now' && $is_stale"
stop
play "$port" --fps 0.05
within_seconds 10 is_true "document.getElementById('state').textContent.startsWith('no new frame for') && $is_stale"
stop
play "$port"
within_seconds 10 state live

echo "eight others"
for viewer in 1 2 3 4 5 6 7 8; do
    (while :; do curl -s "${page}frame.jpg?level=$viewer&viewer=$viewer" || true; done) > /dev/null 2>&1 &
    others="$others $!"
done
evaluate "location.reload()"
within_seconds 20 is_true "document.getElementById('state').textContent.startsWith('eight viewers look already')"
kill $others
others=
within_seconds 10 state live

echo "requests that no browser sends"
curl -s -o /dev/null -H "Range: bytes=$(printf '%02000d' 1)-" "$page"
curl -s -o /dev/null -H "X-Large: $(printf '%0100000d' 1)" "$page" || true
(
    # Connections that say a little and then nothing, held open until this is over.
    python3 -c 'import socket, sys, time
held = []
for k in range(300):
    held.append(socket.create_connection(("127.0.0.1", int(sys.argv[1]))))
    held[-1].sendall(b"GET / HTTP/1.1\r\nX: ")
print("held", flush=True)
time.sleep(60)' "$port" > "$work/held.log"
) &
others=$!
within_seconds 20 grep -q held "$work/held.log"
within_seconds 10 state live
curl -sf --max-time 5 -o /dev/null "$page"
kill -INT "$player"
within_seconds 5 sh -c "! kill -0 $player 2> /dev/null"
player=
within_seconds 10 is_true "document.getElementById('state').textContent.startsWith('no answer for')"
echo "the live view is live: $build/live-view.png"
