#!/bin/bash
# Runs scenes with a preview, on a display that shows it, on none, and on displays that break.
# Usage: preview.sh PATH-OF-VIMBREL
set -eu
vimbrel=$1
unset DISPLAY WAYLAND_DISPLAY SDL_VIDEODRIVER
# SDL looks for a bus: without an address libdbus forks to start one, and a process with the
# sanitizers and threads may not live through that.
export DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent/bus
work=$(mktemp -d)
server=
trap '[ -z "$server" ] || kill -9 $server 2>/dev/null || true; rm -rf "$work"' EXIT
cd "$work"

fail() {
    echo "FAILED: $*: $(cat output)" >&2
    exit 1
}
# await COMMAND...: until it succeeds, for a minute at most.
await() {
    for _ in $(seq 600); do
        if "$@" >/dev/null 2>&1; then return; fi
        sleep 0.1
    done
    fail "in vain: $*"
}
# begin FILE ARGUMENTS...: a run.
begin() {
    file=$1
    timeout --foreground 120 "$vimbrel" run scene.json --preview --out "$@" >output 2>&1 &
    run=$!
}
# ended TEXT: the run ends well, and says that.
ended() {
    wait $run || fail "$file: exit code $?"
    grep -q "wrote .*/$file" output && grep -q "$1" output || fail "$file: no '$1'"
    ffmpeg -v error -xerror -i "$file" -f null - || fail "$file is not whole"
}
# shows COLOUR X,Y: the pixel of the screen has about that colour.
shows() {
    import -window root shot.png
    [ "$(convert shot.png -format "%[fx:p{$2}.r>0.6],%[fx:p{$2}.g>0.6],%[fx:p{$2}.b>0.6]" info:)" \
        = "$1" ]
}
serve() {
    Xvfb -screen 0 400x400x24 -nolisten tcp -noreset -displayfd 3 3>display 2>server.log &
    server=$!
    await test -s display
    DISPLAY=:$(cat display)
    export DISPLAY
}

ffmpeg -v error -f lavfi -i sine=440:sample_rate=48000 -t 60 -af volume=6 tone.wav
cat >scene.json <<END
{"canvas": {"width": 400, "height": 200, "fps": 10, "background": "#0000ff"},
 "layers": [{"type": "color", "color": "#ff0000", "rect": [0, 0, 200, 200]}],
 "sound": [{"type": "file", "file": "tone.wav"}]}
END

begin none.mp4 --seconds 1
ended "no preview: there is no display"

# Three quarters of the display, so 300 x 150 and the meter's 20 rows, in the middle.
serve
begin shown.mp4
await shows 1,0,0 60,120
await shows 0,0,1 340,120
await shows 0,0,0 200,100
# The meter is green up to its yellow end, behind the name.
await eval 'convert shot.png -format "%[fx:p{180,275}.g>p{180,275}.r*2]" info: | grep -q 1'
xdotool key --window "$(xdotool search --name vimbrel)" m q 2>/dev/null || true
ended frames

begin frozen.mp4
await xdotool search --name vimbrel
kill -STOP $server
kill $run
ended interrupted
kill -CONT $server

begin crashed.mp4
await xdotool search --name vimbrel
kill -9 $server
await grep "the display is gone" output
kill $run
ended interrupted
echo "All well"
