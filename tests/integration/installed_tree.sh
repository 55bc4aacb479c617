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
    grep -qE "(^|::)$name(\(|::|\$)" "$work/exports" || { echo "$name is not exported" >&2; exit 1; }
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
