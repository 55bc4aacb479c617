#!/bin/bash
# Runs the command as a user does, on good scenes and on broken ones, and checks its files with
# foreign programs.
# Usage: studio.sh PATH-OF-VIMBREL
set -u
vimbrel=$1
unset DISPLAY
work=$(mktemp -d)
server=
trap '[ -z "$server" ] || kill $server 2>/dev/null; rm -rf "$work"' EXIT
. "$(dirname "$0")/../../scripts/lib/nginx.sh"
examples=$(cd "$(dirname "$0")/../../examples" && pwd)
cd "$work" || exit 1
failures=0

complain() {
    echo "FAILED: $*"
    failures=$((failures + 1))
}

# expect EXIT-CODE TEXT ARGUMENTS...: the command gives that code and says that text, and without
# success leaves no file.
expect() {
    local code=$1 text=$2
    shift 2
    rm -f out.gif out.gif.part out.mp4
    timeout 60 "$vimbrel" "$@" >output 2>&1
    local got=$?
    [ "$got" = "$code" ] || complain "exit code $got instead of $code: vimbrel $*: $(cat output)"
    grep -qF -- "$text" output ||
        complain "'$text' is not in the output of vimbrel $*: $(cat output)"
    if [ "$code" != 0 ]; then
        [ ! -e out.gif ] && [ ! -e out.gif.part ] && [ ! -e out.mp4 ] ||
            complain "a file was left by vimbrel $*"
    fi
}

# Waits until the run has composed a frame.
await_run() {
    for _ in $(seq 200); do
        grep -q frames output && break
        sleep 0.1
    done
}

# once_running COMMAND...: runs it beside the next run, when that has begun.
once_running() {
    : >output
    (await_run; "$@") &
}

# scene LAYERS [CANVAS]: writes scene.json.
scene() {
    local canvas=${2:-'"width": 160, "height": 120, "fps": 10, "background": "#203040"'}
    local outputs='"outputs": [{"type": "gif", "file": "out.gif"}]'
    echo "{\"canvas\": {$canvas}, \"layers\": [$1], $outputs}" >scene.json
}

# placed TYPE FIELDS RECT: a layer of that type.
placed() { echo "{\"type\": \"$1\", $2, \"rect\": [$3]}"; }
picture() { echo "{\"type\": \"picture\", \"file\": \"$1\", \"rect\": [0, 0, 80, 60]}"; }

convert -size 300x200 gradient:red-blue photo.jpg
convert -size 64x64 xc:none -fill lime -draw 'circle 32,32 32,4' hole.png
convert -size 60x40 xc:red frame1.gif
convert -size 60x40 xc:none -fill yellow -draw 'rectangle 5,5 20,20' frame2.gif
convert -size 60x40 xc:none -fill blue -draw 'rectangle 30,10 50,30' frame3.gif
# As found on the net: interlaced, sub-rectangles, disposal 2 and 3, delay 0.
gifsicle -w --interlace -O2 --loop --delay 0 --disposal asis frame1.gif \
    --delay 5 --disposal background frame2.gif --delay 20 --disposal previous frame3.gif \
    -o found.gif
gifsicle --info found.gif | grep -q interlaced || complain "the test's own GIF is not interlaced"

echo "A good scene"
scene "$(picture photo.jpg), $(picture hole.png),
    $(placed gif '"file": "found.gif"' '80, 60, 80, 60'),
    $(placed text '"text": "Grüße"' '0, 90, 160, 30'),
    $(placed color '"color": "#ffffff40"' '150, 0, 50, 50')"
expect 0 "wrote $work/out.gif: 15 frames, 0 dropped" run scene.json --seconds 1.5
gifsicle --info out.gif >info 2>&1
for text in "15 images" "logical screen 160x120" "loop forever" "Produced by Halvorix Ombrix" \
    "delay 0.10s"; do
    grep -qF "$text" info || complain "gifsicle does not see '$text'"
done
grep -q warning info && complain "gifsicle warns: $(grep warning info)"
ffmpeg -v warning -i out.gif -f null - 2>warnings || complain "ffmpeg cannot decode it"
[ -s warnings ] && complain "ffmpeg warns: $(cat warnings)"
[ -e out.gif.part ] && complain "the part file is still there"
# The photo's corner, what the circle covers, the GIF's yellow and the canvas, in the frame that
# shows the second GIF frame.
ffmpeg -v error -y -i out.gif -frames:v 2 -f image2 shot%d.png
pixel() {
    local red="%[fx:int(255*p{$2}.r+0.5)]" green="%[fx:int(255*p{$2}.g+0.5)]"
    convert "$1" -format "$red $green %[fx:int(255*p{$2}.b+0.5)]" info:
}
close() {
    local at=$1 shot=$2
    shift 2
    local got want=("$@")
    read -r -a got < <(pixel "$shot" "$at")
    for i in 0 1 2; do
        local difference=$((want[i] - got[i]))
        [ "${difference#-}" -le 40 ] ||
            complain "pixel $at of $shot is ${got[*]} instead of ${want[*]}"
    done
}
close 3,8 shot1.png 233 0 22
close 40,30 shot1.png 0 255 0
close 90,70 shot1.png 255 0 0
close 95,76 shot2.png 255 255 0
close 110,30 shot1.png 32 48 64

echo "Outputs named on the command line"
echo "{\"canvas\": {\"width\": 32, \"height\": 32, \"fps\": 20}}" >bare.json
expect 0 "wrote $work/out.gif: 10 frames" run bare.json --seconds 0.5 --out out.gif
expect 2 "there is no output" run bare.json --seconds 1
expect 2 "is none of .gif and .mp4" run bare.json --seconds 1 --out out.avi
expect 2 "FILE out.avi: the ending" record out.avi
expect 2 "already written by" run bare.json --seconds 1 --out out.gif --out ./out.gif
expect 2 "cannot be written: No such file or directory" \
    run bare.json --seconds 1 --out nowhere/out.gif
mkdir -p folder.gif
expect 2 "is a folder" run bare.json --seconds 1 --out folder.gif

echo "MP4 with sound, beside a GIF"
ffmpeg -v error -y -f lavfi -i "sine=frequency=1000:duration=1.5:sample_rate=22050" beep.flac
ffmpeg -v error -y -f lavfi -i "sine=frequency=400:duration=0.5:sample_rate=44100" -ac 2 hum.wav
sounds='{"type": "file", "file": "beep.flac", "volume": 50}, {"type": "file", "file": "hum.wav"}'
movie() {
    echo "{\"canvas\": {\"width\": $1, \"height\": 120, \"fps\": 25},
        \"layers\": [$(picture photo.jpg)], \"sound\": [$sounds],
        \"outputs\": [{\"type\": \"mp4\", \"file\": \"out.mp4\"},
                      {\"type\": \"gif\", \"file\": \"out.gif\"}]}" >movie.json
}
movie 160
expect 0 "wrote $work/out.mp4: 50 frames, 0 dropped" run movie.json --seconds 2
grep -q "wrote $work/out.gif: 50 frames" output ||
    complain "the GIF beside the MP4 is not told: $(cat output)"
probed=$(ffprobe -v warning -of csv=p=0 -show_entries stream=codec_name,duration,nb_frames out.mp4 \
    2>&1 | tr '\n' ' ')
case "$probed" in
    "h264,2.000000,50 aac,2.0"*) ;;
    *) complain "ffprobe sees in the MP4: $probed" ;;
esac
ffmpeg -v warning -xerror -i out.mp4 -f null - 2>warnings || complain "ffmpeg cannot decode the MP4"
[ -s warnings ] && complain "ffmpeg warns of the MP4: $(cat warnings)"
# Both files sound at first, then one at half its volume, then none.
loudness() {
    ffmpeg -v info -ss "$1" -t 0.3 -i out.mp4 -af volumedetect -f null - 2>&1 |
        sed -n 's/.*mean_volume: -\([0-9]*\).*/\1/p'
}
[ "$(loudness 0.1)" -lt "$(loudness 1)" ] && [ "$(loudness 1)" -lt 40 ] &&
    [ "$(loudness 1.65)" -gt 60 ] ||
    complain "loudness is -$(loudness 0.1), -$(loudness 1) and -$(loudness 1.65) dB"
movie 161
expect 2 "not 161x120, but 162x120 would do" run movie.json --seconds 1
movie 160
sed 's|beep.flac|photo.jpg|' movie.json >mute.json
expect 2 "sound[0].file: $work/photo.jpg: is not a sound file" run mute.json --seconds 1
expect 2 "nowhere/out.mp4: cannot be written" run bare.json --seconds 1 --out nowhere/out.mp4

echo "A killed run leaves an MP4 that plays"
"$vimbrel" run movie.json >output 2>&1 &
pid=$!
for _ in $(seq 300); do
    grep -q '^00:05' output && break
    sleep 0.1
done
kill -9 $pid
{ wait $pid; } 2>/dev/null
length=$(ffprobe -v error -show_entries format=duration -of csv=p=0 out.mp4)
[ "${length%.*}" -ge 3 ] || complain "of about 5 s recorded $length are left"
ffmpeg -v warning -xerror -i out.mp4 -f null - 2>warnings ||
    complain "ffmpeg cannot decode what is left"
[ -s warnings ] && complain "ffmpeg warns of what is left: $(cat warnings)"
rm -f out.mp4 out.gif.part

echo "A file that cannot grow"
convert -size 640x480 xc:gray +noise Random noise1.gif
convert -size 640x480 xc:gray -seed 7 +noise Random noise2.gif
gifsicle --loop --delay 20 noise1.gif noise2.gif -o noise.gif
(
    trap '' XFSZ
    ulimit -f 400
    timeout 60 "$vimbrel" run bare.json --seconds 1 --out small.mp4 >output 2>&1
    echo "code $?" >>output
    echo "{\"canvas\": {\"width\": 640, \"height\": 480, \"fps\": 25},
        \"layers\": [$(placed gif '"file": "noise.gif"' '0, 0, 640, 480')]}" >big.json
    timeout 60 "$vimbrel" run big.json --seconds 3 --out big.mp4 >output2 2>&1
    echo "code $?" >>output2
)
grep -q "code 0" output || complain "a small file is not written: $(cat output)"
grep -q "code 1" output2 &&
    grep -q "could not be written to its end; is the disk full" output2 ||
        complain "a full disk is not told: $(cat output2)"

echo "An interrupt ends it well"
scene ""
rm -f out.gif
: >output
"$vimbrel" run scene.json >output 2>&1 &
pid=$!
await_run
kill -INT $pid
wait $pid || complain "an interrupted run gives $?"
gifsicle --info out.gif 2>&1 | grep -q "logical screen 160x120" ||
    complain "an interrupted run leaves no good file"

echo "A file from before stays when a new one fails"
cp out.gif before.gif
scene "$(picture missing.png)"
timeout 20 "$vimbrel" run scene.json --seconds 1 >output 2>&1
cmp -s out.gif before.gif || complain "the file from before was touched"

echo "Broken pictures"
broken() {
    scene "$(picture "$1")"
    expect 2 "scene.json: layers[0].file: $work/$1: $2" run scene.json --seconds 1
}
echo "This is no picture" >text.png
: >empty.png
printf 'GIF89a\0\0\0\0\0\0\0;' >zero.gif
# One image of a claimed size; its data is a single pixel.
claim() {
    printf 'GIF89a\xff\xff\xff\xff\x80\0\0\0\0\0\xff\xff\xff,\0\0\0\0%b\0\x02\x02\x44\x01\0;' "$1"
}
claim '\xff\xff\xff\xff' >huge.gif
claim '\x01\0\x01\0' >hugescreen.gif
broken missing.png "there is no such file"
mkdir -p folder.png
broken folder.png "is a folder"
broken text.png "is not a picture that can be read"
broken empty.png "is not a picture that can be read"
broken zero.gif "is not a picture that can be read"
broken huge.gif "is not a picture that can be read"
broken hugescreen.gif "is not a picture that can be read"
for file in photo.jpg hole.png found.gif; do
    size=$(stat -c %s $file)
    for part in 5 20 50 90 99; do
        head -c $((size * part / 100)) $file >"cut$part-$file"
        broken "cut$part-$file" "is "
    done
done
scene "{\"type\": \"gif\", \"file\": \"hole.png\", \"rect\": [0, 0, 80, 60]}"
expect 2 "is not a GIF" run scene.json --seconds 1

echo "Broken scenes and arguments"
scene "{\"type\": \"cube\", \"rect\": [0, 0, 1, 1]}"
expect 2 'scene.json: layers[0].type: unknown layer type "cube"' run scene.json --seconds 1
echo '{"canvas": {"width": 160,' >scene.json
expect 2 "scene.json: parse error at line" run scene.json --seconds 1
expect 2 "nothere.json: cannot be read" run nothere.json
expect 2 "SCENE is required" run
for seconds in -3 nan 1e400; do
    expect 2 "--seconds: must be a number above 0" run scene.json --seconds $seconds
done
expect 0 "Exit codes" --help
expect 0 "SCENE" run --help
expect 0 "vimbrel 0." --version

echo "The log"
printf '[Main]\nlevel=trace\npath=%s/logs\nfileline=true\n' "$work" >log.conf
scene "$(picture text.png)"
expect 2 "is not a picture that can be read" run scene.json --seconds 1 --log-config log.conf
line='\[ERROR\] Photo - CreateDecoderFromFilename failed - 0x88982F50 MediaSourcePicture.cpp:'
grep -q "$line" logs/vimbrel_*.log ||
    complain "the library's line is not in the log: $(cat logs/*)"
rm -rf logs
expect 2 "is not a picture that can be read" \
    run scene.json --seconds 1 --log-config log.conf --log-level fatal
[ ! -e logs ] || complain "--log-level fatal does not keep an error out"
expect 2 "--log-level loud: there are trace" --log-level loud run scene.json
expect 2 "--log-config nothere: cannot be read" run scene.json --log-config nothere
[ ! -e log ] || complain "a log folder came of itself"

echo "The examples"
mkdir -p build/out
cp -r "$examples" examples
for name in titles:mp4 animation:gif film:mp4; do
    file=build/out/${name/:/.}
    expect 0 "wrote $work/$file" run "examples/scenes/${name%:*}.json" --seconds 1
    ffprobe -v error "$file" || complain "$file is not whole"
done
for name in tutorial welcome; do
    expect 2 "layers[" run examples/scenes/$name.json --dry-run
done
# Whether there is a camera is the machine's own matter.
timeout 60 "$vimbrel" run examples/scenes/camera.json --dry-run >output 2>&1
grep -q "stream to rtmp://127.0.0.1/live/\.\.\." output || complain "no dry run: $(cat output)"

echo "Casts"
port=$((20000 + $$ % 20000))
mkdir -p recorded
nginx_configuration "$port" "$work" "$work/recorded" >nginx.conf
start_server() {
    /usr/sbin/nginx -p "$work" -c "$work/nginx.conf" -e "$work/nginx.log" &
    server=$!
    local tries=0
    until (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null || [ $tries = 100 ]; do
        sleep 0.1
        tries=$((tries + 1))
    done
}
start_server
ffmpeg -v quiet -y -f lavfi -i sine=440:duration=5 tone.wav
echo '{"canvas": {"width": 160, "height": 120, "fps": 10}, "layers": ['"$(picture photo.jpg)"'],
       "sound": [{"type": "file", "file": "tone.wav"}],
       "outputs": [{"type": "gif", "file": "out.gif"},
                   {"type": "mp4", "file": "out.mp4"}]}' >scene.json
printf 'word\n' >password
live=rtmp://127.0.0.1:$port/live
expect 0 "cast to $live/...: 30 frames" run scene.json --seconds 3 --url "$live/key" --user me \
    --password-file password
grep -q " 0 kbit/s$" output && complain "the summary has no bit rate: $(cat output)"
grep -q "key\|word" output && complain "the key or the password is shown: $(cat output)"
sleep 0.5
counted=$(ffprobe -v quiet -select_streams v -count_frames -show_entries stream=nb_read_frames \
    -of csv=p=0 recorded/key.flv)
[ "$counted" = 30 ] || complain "$counted frames of 30 arrived"
warnings=$(ffmpeg -v warning -i recorded/key.flv -f null - 2>&1)
[ -z "$warnings" ] || complain "the recording is not clean: $warnings"
[ -s out.gif ] && [ -s out.mp4 ] || complain "the other outputs are missing"
expect 4 "does not take the stream" \
    run scene.json --seconds 1 --url "rtmp://127.0.0.1:$port/nowhere/key"
expect 2 "is no URL of a stream" run scene.json --seconds 1 --url nonsense
expect 2 "is no URL of a stream" run scene.json --seconds 1 --url ""
expect 2 "options, behind its blank, are not known" run scene.json --seconds 1 --url "$live/key a=b"
once_running kill $server
timeout 60 "$vimbrel" run scene.json --seconds 4 --url "$live/other" >output 2>&1
[ $? = 3 ] || complain "a lost link gives another exit code than 3: $(cat output)"
grep -q "the link was lost" output && grep -q "wrote .*out.mp4: 40 frames" output ||
    complain "a lost link is not reported, or holds up the rest: $(cat output)"
wait $server 2>/dev/null
expect 3 "no connection to the server" run scene.json --seconds 1 --url "$live/key"
start_server
restart_server() {
    kill -9 $server
    sleep 0.3
    start_server
    echo $server >again
}
once_running restart_server
timeout 60 "$vimbrel" run scene.json --seconds 6 --url "$live/other" --reconnect 9 >output 2>&1
[ $? = 0 ] && grep -q "connected again once" output ||
    complain "a stream does not come back to its server: $(cat output)"
wait
kill "$(cat again)"

echo "A disk that is full"
if unshare -m true 2>/dev/null; then
    mkdir -p small
    echo '{"canvas": {"width": 640, "height": 480, "fps": 10},
        "layers": ['"$(picture photo.jpg)"']}' >scene.json
    # on_disk OPTIONS: records onto a file system with those mount options.
    on_disk() {
        unshare -m sh -c "mount -t tmpfs -o $1 none small &&
            timeout 60 '$vimbrel' run scene.json --seconds 1 --out small/out.gif
            echo code \$?
            ls -A small" >output 2>&1
    }
    on_disk size=12k
    grep -q "code 1" output || complain "a full disk gives no exit code 1: $(cat output)"
    grep -qE "is the disk full|could be written" output ||
        complain "a full disk is not told: $(cat output)"
    tail -1 output | grep -q "code 1" ||
        complain "something is left on the full disk: $(cat output)"
    on_disk size=64k,ro
    grep -q "small/out.gif: cannot be written: Read-only file system" output ||
        complain "a read-only folder is not told: $(cat output)"
    grep -q "code 2" output || complain "a read-only folder gives no exit code 2: $(cat output)"
else
    echo "(not tried: no mount namespaces here)"
fi

echo "The screen and windows"
expect 2 "there is no screen" screens
expect 2 "there is no screen" windows
scene '{"type": "screen", "rect": [0, 0, 80, 60]}'
expect 2 "scene.json: layers[0]: there is no screen to show" run scene.json --seconds 1
scene '{"type": "window", "title": "any", "rect": [0, 0, 80, 60]}'
expect 2 "scene.json: layers[0]: there is no screen to show" run scene.json --seconds 1
Xvfb -screen 0 320x240x24 -nolisten tcp -noreset -displayfd 3 3>display 2>server.log &
server=$!
for _ in $(seq 100); do
    [ -s display ] && break
    sleep 0.1
done
export DISPLAY=":$(cat display)"
xsetroot -solid '#ff0000'
# A window of known colour, without a window manager: the clock's background.
xclock -digital -bg '#0000ff' -fg '#0000ff' -geometry 120x60+200+100 -title 'Blue clock' \
    2>/dev/null &
clock=$!
for _ in $(seq 100); do
    "$vimbrel" windows | grep -q 'Blue clock' && break
    sleep 0.1
done
expect 0 "320x240 at 0,0 (primary)" screens
expect 0 "120x60" windows
number=$("$vimbrel" windows | awk '/Blue clock/ { print $1 }')
scene "$(placed screen '"region": [120, 60, 160, 120]' '0, 0, 80, 60'),
    $(placed screen '"cursor": false' '0, 60, 80, 60'),
    $(placed window '"title": "lue cl"' '80, 0, 80, 40'),
    $(placed window "\"id\": \"$number\"" '80, 40, 80, 40'),
    $(placed window '"class": "XClock"' '80, 80, 80, 40')"
# The screen keeps still, which the source waits for; the picture goes on at its own pace and the
# terminal stays readable.
expect 0 "15 frames, 0 dropped" run scene.json --seconds 1.5
[ "$(grep -c ERROR output)" = 0 ] || complain "waiting fills the terminal: $(cat output)"
ffmpeg -v error -y -i out.gif -vf 'select=eq(n\,10)' -frames:v 1 shot3.png
close 5,5 shot3.png 255 0 0
close 70,40 shot3.png 0 0 255
close 5,70 shot3.png 255 0 0
for at in 120,20 120,60 120,100; do close $at shot3.png 0 0 255; done
scene '{"type": "screen", "region": [300, 0, 40, 40], "rect": [0, 0, 80, 60]}'
expect 2 "layers[0].region: is not within the screen, which is 320x240 at 0,0" \
    run scene.json --seconds 1
scene '{"type": "window", "title": "no such", "rect": [0, 0, 80, 60]}'
expect 2 "layers[0]: there is no such window" run scene.json --seconds 1
expect 2 "layers[0]: there is no such window" run scene.json --dry-run
expect 2 "there is no window" record out.mp4 --window "no such"
expect 2 "is not X,Y,WIDTH,HEIGHT" record out.mp4 --region 1,2
expect 0 "wrote" record out.mp4 --region 270,0,41,31 --seconds 1 --progress json
grep -q '"event":"finished","frames":30,"name":"out.mp4"' output ||
    complain "not the documents of a run: $(cat output)"
[ "$(ffprobe -v error -show_entries stream=width,height,nb_frames -of csv=p=0 out.mp4)" \
    = "40,30,30" ] || complain "another recording of a part of the screen"
# A closed terminal and a reader that goes away cost no file.
: >output
"$vimbrel" record out.mp4 --no-sound >output 2>&1 &
run=$!
await_run
kill -HUP $run
wait $run || complain "a closed terminal fails the run: $(cat output)"
"$vimbrel" record piped.mp4 --no-sound --seconds 2 | head -1 >/dev/null
for file in out.mp4 piped.mp4; do
    ffprobe -v error $file || complain "$file is not whole"
done
scene '{"type": "window", "title": "Blue clock", "rect": [0, 0, 80, 60]}'
once_running kill $clock
expect 0 "layers[0]: the window was closed" run scene.json --seconds 1.5
# A screen that is turned during the run goes on; one that goes away is told.
Xephyr -screen 160x120 -noreset -displayfd 3 3>turned 2>xephyr.log &
xephyr=$!
for _ in $(seq 100); do
    [ -s turned ] && break
    sleep 0.1
done
scene '{"type": "screen", "cursor": false, "fit": "stretch", "rect": [0, 0, 80, 60]}'
outer=$DISPLAY
export DISPLAY=":$(cat turned)"
turn() {
    xrandr -o left
    xsetroot -solid '#00ff00'
}
once_running turn
expect 0 "35 frames" run scene.json --seconds 3.5
ffmpeg -v error -y -i out.gif -vf 'select=eq(n\,32)' -frames:v 1 shot4.png
for at in 5,5 70,50; do close $at shot4.png 0 255 0; done
# One that ends while it is turned crashes.
xrandr -o normal
export DISPLAY=$outer
kill $xephyr
wait $xephyr
once_running kill $server
gone="there is no screen to show: DISPLAY names no X server that answers; the last picture stays"
expect 0 "layers[0]: $gone" run scene.json --seconds 3
wait $server 2>/dev/null
unset DISPLAY

[ $failures = 0 ] || { echo "$failures failed"; exit 1; }
echo "All well"
