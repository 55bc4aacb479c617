#!/bin/bash
# Builds the programs of examples/ against an installed package, each alone, and runs them on
# servers of their own.
# Usage: example_programs.sh PREFIX SOURCE-FOLDER WORK-FOLDER CAMERA-LIBRARY
set -eu
prefix=$1
source=$2
work=$3
camera=$4
. "$source/scripts/lib/nginx.sh"
processes=()
trap 'kill "${processes[@]}" 2>/dev/null || true' EXIT
rm -rf "$work"
mkdir -p "$work"/{run,recorded,devices}
cd "$work"
unset DISPLAY WAYLAND_DISPLAY
# SDL looks for a bus: without an address libdbus forks to start one, and a process with the
# sanitizers and threads may not live through that.
export DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent/bus
echo "no film" >no-film
# No sound server but the own one.
export PULSE_SERVER=unix:$work/run/none

step() { echo "$SECONDS s: $*"; }
for name in record_screen stream_camera play_file glib_recorder; do
    (cmake -G Ninja -S "$source/examples/$name" -B $name -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_CXX_FLAGS="-O0 -Wall -Wextra -Werror" && cmake --build $name) >$name.log 2>&1 &
done
wait
for name in record_screen stream_camera play_file glib_recorder; do
    [ -x $name/$name ] || { cat $name.log; exit 1; }
done

# refuses TEXT PROGRAM ARGUMENTS...: it fails with that line.
refuses() {
    local text=$1
    shift
    if timeout 60 "$@" >said 2>&1 || ! grep -qF "$text" said; then
        echo "$* does not say '$text' but: $(cat said)" >&2
        exit 1
    fi
}
# await COMMAND...: until it succeeds, for 30 seconds at most.
await() {
    for _ in $(seq 300); do
        if "$@" >/dev/null 2>&1; then return; fi
        sleep 0.1
    done
    echo "in vain: $*; $(cat said)" >&2
    exit 1
}
# begin PROGRAM...: the one that interrupt ends.
begin() {
    "$@" >said 2>&1 &
    program=$!
    processes+=($program)
}
interrupt() {
    kill -INT $program
    wait $program || { echo "an interrupted program gives $?: $(cat said)"; exit 1; }
}
# start COMMAND...: in the background, until the script ends.
start() {
    "$@" >>servers.log 2>&1 &
    processes+=($!)
}
# holds FILE v|a COUNT: a reader finds more pictures or pieces of sound than that.
holds() {
    [ "$(ffprobe -v error -select_streams "$2" -count_packets -show_entries \
        stream=nb_read_packets -of csv=p=0 "$1" | tr -d ,)" -gt "$3" ]
}
# loud FILE: its sound is no silence.
loud() { ffmpeg -i "$1" -af volumedetect -f null - 2>&1 | grep -q 'max_volume: -[0-2]\?[0-9]\.'; }

step "What is missing is told"
refuses "there is no screen" record_screen/record_screen out.mp4
refuses "there is no camera" stream_camera/stream_camera rtmp://127.0.0.1:1/live/key none
SDL_VIDEODRIVER=dummy refuses "this is no film" play_file/play_file no-film
refuses "this is no film" glib_recorder/glib_recorder no-film out.gif

Xvfb -screen 0 321x241x24 -nolisten tcp -noreset -displayfd 3 3>display.number 2>xvfb.log &
processes+=($!)
pulse=$work/run/socket
start env HOME="$work/run" XDG_RUNTIME_DIR="$work/run" pulseaudio -n --daemonize=no \
    --exit-idle-time=-1 --use-pid-file=no -L "module-null-sink sink_name=speakers" \
    -L "module-null-sink sink_name=micin" \
    -L "module-remap-source master=micin.monitor source_name=microphone" \
    -L "module-native-protocol-unix auth-anonymous=1 socket=$pulse"
export PULSE_SERVER=unix:$pulse
await pactl info
await test -s display.number
DISPLAY=:$(cat display.number)
export DISPLAY
ffmpeg -v error -f lavfi -i testsrc=size=320x240:rate=25 -f lavfi -i sine=440 -t 20 \
    -c:v libx264 -preset ultrafast -c:a aac film.mp4
ffmpeg -v error -i film.mp4 -t 1 -c copy short.mp4

step "The screen with its sound"
start ffmpeg -v error -re -stream_loop -1 -i film.mp4 -vn -f pulse -device speakers test
begin record_screen/record_screen screen.mp4
await holds screen.mp4 v 10
await loud screen.mp4
interrupt
holds screen.mp4 v 10
[ "$(ffprobe -v error -select_streams v -show_entries stream=width,height -of csv=p=0 screen.mp4)" \
    = 320,240 ]

step "A camera with a microphone"
port=$((20000 + $$ % 20000))
nginx_configuration "$port" "$work" "$work/recorded" >nginx.conf
start /usr/sbin/nginx -p "$work" -c "$work/nginx.conf" -e "$work/nginx.log"
await bash -c "exec 3<>/dev/tcp/127.0.0.1/$port"
start ffmpeg -v error -re -stream_loop -1 -i film.mp4 -vn -f pulse -device micin test
touch devices/video0
begin env LD_PRELOAD="$camera" VIMBREL_TEST_DEVICES=devices \
    stream_camera/stream_camera "rtmp://127.0.0.1:$port/live/key"
await holds recorded/key.flv v 20
await loud recorded/key.flv
interrupt
ffmpeg -v error -xerror -i recorded/key.flv -frames:v 1 -f rawvideo -pix_fmt rgb24 pixel.raw
# Green, as the camera sees.
[ "$(od -An -tu1 -N3 pixel.raw | awk '{ print ($1 < 40 && $2 > 200 && $3 < 40) }')" = 1 ]

step "A film in a window"
timeout 60 play_file/play_file short.mp4 >said 2>&1
grep -q 'up to second [1-9]' said
begin play_file/play_file film.mp4
await xdotool search --name Vimbrel
xdotool key --window "$(xdotool search --name Vimbrel)" Right Right q 2>xdotool.log ||
    true  # the window is gone before the key is up
wait $program
grep -q 'up to second 1[0-9]' said

step "A film on a GLib loop"
timeout 60 glib_recorder/glib_recorder short.mp4 film.gif >said 2>&1
holds film.gif v 2
begin glib_recorder/glib_recorder film.mp4 cut.gif
await test -s cut.gif
interrupt
gifsicle --info cut.gif | grep -q 320x240
