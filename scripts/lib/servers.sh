# Servers that scripts and tests start for themselves, to be sourced by bash. They are reached from
# this machine only. "work" has to name a folder for their files, and stop_children has to run at
# the end.

. "$(dirname "${BASH_SOURCE[0]}")/nginx.sh"

children=()

# start COMMAND...: runs it in the background until stop_children.
start() {
    "$@" <&0 &
    children+=($!)
}

# The last one first, as later ones use earlier ones.
stop_children() {
    local i
    for ((i = ${#children[@]} - 1; i >= 0; --i)); do
        kill "${children[i]}" 2>/dev/null || true
        wait "${children[i]}" 2>/dev/null || true
    done
    children=()
}

# until_true COMMAND...: for ten seconds at most.
until_true() {
    local tries
    for tries in $(seq 100); do
        "$@" >/dev/null 2>&1 && return
        sleep 0.1
    done
    return 1
}

# start_screen WIDTHxHEIGHT: a virtual screen, which DISPLAY names from then on.
start_screen() {
    rm -f "$work/display"
    start Xvfb -screen 0 "$1x24" -nolisten tcp -noreset -displayfd 3 3>"$work/display" \
        >"$work/xvfb.log" 2>&1
    until_true test -s "$work/display" || { cat "$work/xvfb.log" >&2; return 1; }
    DISPLAY=":$(cat "$work/display")"
    export DISPLAY
}

port_listens() { (exec 3<>"/dev/tcp/127.0.0.1/$port"); }

# run_nginx: as nginx.conf says. False if it ends at once, because something else has the port.
run_nginx() {
    start /usr/sbin/nginx -p "$work" -c "$work/nginx.conf" -e "$work/nginx.log"
    nginx=${children[-1]}
    until_true port_listens && kill -0 "$nginx" 2>/dev/null
}

# start_nginx: takes casts at rtmp://127.0.0.1:$port/live/KEY and records them into $work/KEY.flv.
# Its process is $nginx; once that was stopped, run_nginx starts it anew at the same port.
start_nginx() {
    for port in $(shuf -i 20000-29999 -n 5); do
        nginx_configuration "$port" "$work" "$work" >"$work/nginx.conf"
        run_nginx && return
    done
    cat "$work/nginx.log" >&2
    return 1
}

# The sound servers have the sinks "Speakers", "Headphones" and "micin" and the microphone
# "Microphone", which hears what is played into micin. PULSE_SERVER names them from then on.
sound_modules() {
    local name
    for name in Speakers Headphones; do
        echo "module-null-sink sink_name=$name sink_properties=device.description=$name"
    done
    echo "module-null-sink sink_name=micin sink_properties=device.description=Room"
    echo "module-remap-source master=micin.monitor source_name=microphone" \
        "source_properties=device.description=Microphone"
}

# start_sound_part COMMAND...: with a place of its own for what it keeps.
start_sound_part() {
    local place=$work/sound
    mkdir -p "$place/pulse"
    start env HOME="$place" XDG_RUNTIME_DIR="$place" PULSE_RUNTIME_PATH="$place/pulse" \
        PULSE_STATE_PATH="$place/state" DBUS_SESSION_BUS_ADDRESS="unix:path=$place/bus" "$@" \
        >>"$work/sound.log" 2>&1
}

has_sound_devices() {
    pactl list short sources | grep -q microphone && pactl set-default-sink Speakers &&
        pactl set-default-source microphone
}

start_pulseaudio() {
    {
        sound_modules | sed 's/^/load-module /; /null-sink/s/$/ norewinds=1/'
        echo "load-module module-native-protocol-unix auth-anonymous=1 socket=$work/sound.socket"
    } >"$work/devices.pa"
    start_sound_part pulseaudio -n -F "$work/devices.pa" --daemonize=no --exit-idle-time=-1 \
        --use-pid-file=no
    export PULSE_SERVER="unix:$work/sound.socket"
    until_true has_sound_devices || { cat "$work/sound.log" >&2; return 1; }
}

# The session manager of PipeWire ends without a bus.
start_pipewire() {
    start_sound_part dbus-daemon --session --nofork --nopidfile \
        --address="unix:path=$work/sound/bus"
    until_true test -e "$work/sound/bus"
    start_sound_part pipewire
    until_true test -e "$work/sound/pipewire-0"
    start_sound_part wireplumber
    start_sound_part pipewire-pulse
    export PULSE_SERVER="unix:$work/sound/pulse/native"
    until_true pactl info || { cat "$work/sound.log" >&2; return 1; }
    local module
    while read -r module; do
        # shellcheck disable=SC2086
        pactl load-module $module >/dev/null
    done < <(sound_modules)
    until_true has_sound_devices || { cat "$work/sound.log" >&2; return 1; }
}

# play_endlessly SINK FILTER: what ffmpeg's source of sound makes of FILTER, again and again.
play_endlessly() {
    ffmpeg -v error -y -f lavfi -i "$2" -ac 2 -ar 44100 "$work/$1.wav"
    start pacat --playback --device="$1" --format=s16le --rate=44100 --channels=2 \
        --latency-msec=100 --raw \
        < <(exec ffmpeg -v quiet -stream_loop -1 -i "$work/$1.wav" -f s16le -)
}
