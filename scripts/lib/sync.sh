# A film by which sound and picture can be compared, and the comparison, by ffmpeg alone. To be
# sourced by bash.

# beep FREQUENCY: a source for ffmpeg that sounds for the first tenth of each second.
beep() { echo "aevalsrc=0.3*sin(2*PI*$1*t)*lt(mod(t\\,1)\\,0.1):s=44100:d=10"; }

# make_clock FILE SECONDS FRAMES-PER-SECOND BACKGROUND DIAMETER: a dial in the middle of what
# ffmpeg's source BACKGROUND shows, with a dot that goes around in a second. For the first tenth of
# each second the dial is white and a tone of 1 kHz sounds.
make_clock() {
    local radius=$(($5 / 2)) white dot
    white="lt(mod(T+0.001\\,1)\\,0.1)"
    dot="lt(hypot(X-$radius*(1+0.72*sin(2*PI*T))\\,Y-$radius*(1-0.72*cos(2*PI*T)))\\,$radius/8)"
    # shade COMPONENT-OF-THE-DIAL COMPONENT-OF-THE-DOT
    shade() { echo "'if($white\\,255\\,if($dot\\,$2\\,$1))'"; }
    local dial="geq=r=$(shade 15 255):g=$(shade 113 210):b=$(shade 115 63)"
    dial+=":a='clip(255*($radius-hypot(X-$radius\\,Y-$radius))\\,0\\,255)'"
    ffmpeg -v error -y -f lavfi -i "$4" -f lavfi -i "$(beep 1000)" \
        -f lavfi -i "color=s=$5x$5:r=$3:d=1,format=gbrap,$dial" \
        -filter_complex "[2:v]loop=-1:$3:0,setpts=N/$3/TB[dial];
            [0:v][dial]overlay=(W-w)/2:(H-h)/2,format=yuv420p[picture];
            [1:a]aloop=-1:441000[sound]" \
        -map "[picture]" -map "[sound]" -t "$2" -r "$3" -c:v libx264 -preset veryfast \
        -c:a aac -b:a 128k "$1"
}

# onsets FILE LEFT:TOP:SIDE FROM:LENGTH FREQUENCY...: when in LENGTH seconds from FROM the square
# within the dial turns white, as lines "picture SECONDS", and when a beep of a frequency begins, as
# "FREQUENCY SECONDS". The last of each may be cut off, and is left out. ffmpeg tells six figures,
# so a LENGTH below 100 is told to the tenth of a millisecond.
onsets() {
    local file=$1 left top side from length frequency band
    IFS=: read -r left top side <<<"$2"
    IFS=: read -r from length <<<"$3"
    shift 3
    # at NAME: of the seconds that it reads, lines with NAME and the time in the file.
    at() { head -n -1 | awk -v n="$1" -v from="$from" '{printf "%s %.4f\n", n, from + $1}'; }
    # filtered ARGUMENT...
    filtered() {
        ffmpeg -hide_banner -nostats -ss "$from" -t "$length" -i "$file" "$@" -f null - 2>&1
    }
    filtered -map 0:v -vf "crop=$side:$side:$left:$top,blackdetect=d=0.3:pix_th=0.6" |
        sed -nE 's/.* black_end:([0-9.]+).*/\1/p' | at picture
    for frequency in "$@"; do
        # One filter alone would let enough of the other beeps through.
        band="bandpass=f=$frequency:width_type=h:w=300"
        filtered -map 0:a -af "$band,$band,silencedetect=noise=-34dB:d=0.3" |
            sed -nE "s/.*silence_end: ([0-9.]+).*/\1/p" | at "$frequency"
    done
}

# delays FREQUENCY: of the onsets that it reads, how many milliseconds the beep nearest to each
# flash comes after it, as lines "SECONDS-OF-THE-FLASH MILLISECONDS".
delays() {
    awk -v tone="$1" '
        $1 == "picture" {flash[++flashes] = $2}
        $1 == tone {beep[++beeps] = $2}
        END {
            for (i = 1; i <= flashes; ++i) {
                best = 1e9
                for (j = 1; j <= beeps; ++j) {
                    d = beep[j] - flash[i]
                    if (d * d < best * best) best = d
                }
                if (best * best < 0.25) printf "%.3f %.1f\n", flash[i], best * 1000
            }
        }'
}

# median COLUMN: of the lines that it reads, or "-" without any.
median() {
    sort -n -k"$1,$1" |
        awk -v c="$1" '{v[NR] = $c} END {print NR ? v[int((NR + 1) / 2)] : "-"}'
}
