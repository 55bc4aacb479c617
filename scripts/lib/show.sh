# The parts of ./run, to be sourced by it: the scene of what this machine has, and the table.

# Sets "sound" and "media_output". What plays on the machine's own default output is recorded with
# the system's sound; a private server has an output of its own for the media.
choose_sound() {
    local devices
    devices=$("$vimbrel" devices)
    if ! grep -q '^Sound outputs: none' <<<"$devices"; then
        sound='{"type": "system"}'
        grep -q '^Microphones: none' <<<"$devices" || sound+=', {"type": "microphone"}'
        media_output=$("$vimbrel" devices | sed -n '/^Sound outputs/,$s/^ *\(.*\) (default)$/\1/p')
        echo "Sound is this machine's own: $media_output."
        return
    fi
    start_pulseaudio
    play_endlessly Speakers "aevalsrc=0.05*sin(2*PI*330*t)+0.05*sin(2*PI*415*t):s=44100:d=10"
    play_endlessly micin "anoisesrc=a=0.02:c=pink:d=10:r=44100"
    sound='{"type": "media"}, {"type": "system", "device": "Speakers"}, {"type": "microphone"}'
    media_output=Headphones
    echo "There is no sound here: a private server plays a chord, and noise to its microphone."
}

# Sets "camera" to the layer of one that delivers pictures, or to a text in its place.
choose_camera() {
    local place='"rect": [24, 178, 160, 90]'
    camera="{\"type\": \"camera\", \"fit\": \"cover\", $place}"
    echo "{\"canvas\": {\"width\": 160, \"height\": 90, \"fps\": 5}, \"layers\": [$camera]}" \
        >"$work/camera.json"
    if "$vimbrel" devices | grep -q '^Cameras: none' || ! timeout 15 "$vimbrel" run \
        "$work/camera.json" --seconds 1 --out "$work/camera.gif" >/dev/null 2>&1; then
        camera='{"type": "text", "text": "no camera here", "font": "Sans 12",
         "color": "#ffffffa0", "rect": [40, 212, 140, 24]}'
        echo "No camera answers: the scene says so in its place."
    fi
}

write_scene() {
    local scenes=$PWD/examples/scenes
    cat <<END
{
    "canvas": {"width": 640, "height": 360, "fps": 25, "background": "#102030"},
    "layers": [
        {"type": "picture", "file": "$scenes/dusk.jpg", "rect": [0, 0, 640, 360], "fit": "cover"},
        {"type": "color", "color": "#ffffff", "rect": [22, 22, 244, 139]},
        {"type": "screen", "rect": [24, 24, 240, 135], "fit": "cover"},
        {"type": "color", "color": "#00000060", "rect": [22, 176, 164, 94]},
        $camera,
        {"type": "color", "color": "#ffffff", "rect": [294, 22, 164, 94]},
        {"type": "media", "file": "$out/clock.mp4", "rect": [296, 24, 160, 90],
         "output": "$media_output"},
        {"type": "gif", "file": "$scenes/orbit.gif", "rect": [478, 20, 140, 140], "opacity": 0.9},
        {"type": "color", "color": "#102030b0", "rect": [0, 280, 640, 80]},
        {"type": "picture", "file": "$scenes/badge.png", "rect": [16, 286, 68, 68]},
        {"type": "text", "text": "Vimbrel", "font": "Sans Bold 28", "color": "#ffffff",
         "rect": [100, 284, 500, 44]},
        {"type": "text", "text": "screen, camera, film, pictures, text and sound, live",
         "font": "Sans 13", "color": "#ffd9a0", "rect": [100, 328, 520, 26]}
    ],
    "sound": [$sound],
    "outputs": [
        {"type": "mp4", "file": "$out/welcome.mp4", "quality": 1},
        {"type": "gif", "file": "$out/welcome.gif", "quality": 1}
    ]
}
END
}

row() { printf '%-6s  %9s  %8s  %-10s  %6s  %7s  %9s  %13s\n' "$1" "${@:3}"; }

# show_output NAME FILE WORDS-OF-THE-SUMMARY: a row of the table, by foreign programs.
show_output() {
    local streams frames last dropped level=- delay=-
    streams=$(ffprobe -v error -show_entries stream=codec_name -of csv=p=0 "$2" | paste -sd+)
    frames=$(ffprobe -v error -select_streams v -count_frames \
        -show_entries stream=nb_read_frames -of csv=p=0 "$2" | tr -d ,)
    last=$(ffprobe -v error -select_streams v -show_entries packet=pts_time -of csv=p=0 "$2" |
        awk -F, '$1 > last {last = $1} END {printf "%.2f", last}')
    dropped=$(grep -F "$3" "$work/said" | sed -n 's/.* frames, \([0-9]*\) dropped.*/\1/p')
    if [[ $streams = *aac* ]]; then
        level=$(ffmpeg -hide_banner -i "$2" -map 0:a -af volumedetect -f null - 2>&1 |
            sed -n 's/.*mean_volume: //p')
        # A square within the dial of the clock, inside the way of its dot.
        delay="$(onsets "$2" 362:55:28 0:60 1000 | delays 1000 | median 2) ms"
    fi
    row "$1" "$2" "$(stat -c %s "$2")" "$last s" "$streams" "$frames" "$dropped" "$level" "$delay"
}

# Three moments of each output, one below the other.
contact_sheet() {
    local name part inputs=() filters=""
    for name in mp4 gif flv; do
        inputs+=(-i "$out/welcome.$name")
        part=$((${#inputs[@]} / 2 - 1))
        filters+="[$part:v]fps=25,select='eq(n,60)+eq(n,135)+eq(n,215)',setpts=N/TB,scale=480:270,"
        filters+="tile=1x3:padding=6:color=#102030[$name];"
    done
    ffmpeg -v error -y "${inputs[@]}" -filter_complex \
        "$filters[mp4][gif][flv]hstack=3,pad=iw+12:ih+12:6:6:#102030" -frames:v 1 "$out/contact.png"
}
