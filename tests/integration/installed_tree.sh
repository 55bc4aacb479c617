#!/bin/sh
# Installs the build into an empty folder and uses it from there as a foreign project would: through
# the CMake package, through pkg-config, and each public header alone.
# Usage: installed_tree.sh BUILD-FOLDER SOURCE-FOLDER
set -eu
build=$1
source=$2
work=$build/installed_tree
prefix=$work/prefix
rm -rf "$work"
mkdir -p "$work"

cmake --install "$build" --prefix "$prefix" >"$work/install.log"

echo "What the headers declare is exported, and nothing of the library's inside"
nm -DC --defined-only "$(find "$prefix" -name libvimbrel.so)" | cut -d' ' -f3- >"$work/exports"
cat "$prefix"/include/vimbrel/*.h "$prefix"/include/vimbrel/platform/*.h | tr '\n' ' ' |
    grep -oE 'VIMBREL_API [A-Za-z0-9_:*<> ]*[ *][A-Za-z0-9_]+\(|class VIMBREL_API [A-Za-z0-9_]+' |
    grep -oE '[A-Za-z0-9_]+(\($|$)' | tr -d '(' | sort -u >"$work/declared"
[ "$(wc -l <"$work/declared")" -gt 30 ]
while read -r name; do
    if ! grep -qE "(^|::)$name(\(|::|\$)" "$work/exports"; then
        echo "$name is not exported" >&2
        exit 1
    fi
done <"$work/declared"
inside='\b(CRTMPCastImpl|live_encoder|MFMemorySource::|BitmapSource|Clock|CreateEventW)\b'
if grep -E "$inside" "$work/exports"; then
    echo "exported though it is the library's own" >&2
    exit 1
fi

echo "Each public header compiles alone"
for header in $(cd "$prefix/include" && find vimbrel -name '*.h'); do
    echo "#include <$header>" >"$work/alone.cpp"
    c++ -std=c++20 -Wall -Wextra -Werror -fsyntax-only \
        -I"$prefix/include" -I"$prefix/include/vimbrel/platform" "$work/alone.cpp"
done

echo "The manual page and the completion"
grep -q 'dry.-run' "$prefix/share/man/man1/vimbrel.1"
[ "$(bash -c '. "$1" && COMP_WORDS=(vimbrel run --dr) COMP_CWORD=2 && _vimbrel &&
    echo "$COMPREPLY"' sh "$prefix/share/bash-completion/completions/vimbrel")" = --dry-run ]

printf 'P6 4 2 255\n%s%s' 'abcdefghijkl' 'mnopqrstuvwx' >"$work/picture.ppm"
ffmpeg -v error -y -i "$work/picture.ppm" "$work/picture.png"

echo "The CMake package"
# The generator is named: a machine may have this one only.
cmake -G Ninja -S "$source/examples/record_picture" -B "$work/consumer" \
    -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release >"$work/consumer.log"
cmake --build "$work/consumer" >>"$work/consumer.log"
"$work/consumer/record_picture" "$work/picture.png" "$work/cmake.gif"
gifsicle --info "$work/cmake.gif" >"$work/info"
grep -q 'logical screen 4x2' "$work/info"

echo "The guide's programs"
cmake -G Ninja -S "$source/examples/guide" -B "$work/guide" \
    -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release >"$work/guide.log"
cmake --build "$work/guide" >>"$work/guide.log"
cd "$work"
guide/picture picture.png | grep -q 'a frame of 4 x 2'
guide/gif_recording guide.gif
gifsicle --info guide.gif >info
grep -q 'logical screen 160x120' info
guide/mp4_recording guide.mp4
[ "$(ffprobe -v error -count_frames -show_entries stream=nb_read_frames -of csv=p=0 guide.mp4 |
    head -1 | tr -d ,)" = 50 ]
guide/logging >/dev/null
grep -q 'took 12 frames of dusk.jpg' log/logging_*.log
guide/messages
# Neither has anybody to talk to here, and both must say so and end.
DISPLAY='' guide/screen >/dev/null
if guide/stream rtmp://127.0.0.1:1/live/key >said; then exit 1; fi
grep -q 'the cast did not start: 3' said

echo "The pkg-config file"
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name vimbrel.pc)")
export PKG_CONFIG_PATH
# shellcheck disable=SC2046
c++ -std=c++20 "$source/examples/record_picture/record_picture.cpp" -o "$work/pc_consumer" \
    $(pkg-config --cflags --libs vimbrel)
LD_LIBRARY_PATH=$(pkg-config --variable=libdir vimbrel)
export LD_LIBRARY_PATH
"$work/pc_consumer" "$work/picture.png" "$work/pc.gif"

echo "The installed command"
"$prefix/bin/vimbrel" --version
