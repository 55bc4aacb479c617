#!/bin/sh
# Installs the build into an empty folder and uses it from there as a foreign project would: through the CMake package, through
# pkg-config, and each public header alone. Usage: installed_tree.sh BUILD-FOLDER SOURCE-FOLDER
set -eu
build=$1
source=$2
work=$build/installed_tree
prefix=$work/prefix
rm -rf "$work"
mkdir -p "$work"

cmake --install "$build" --prefix "$prefix" >"$work/install.log"

echo "Only the public names are exported"
# C functions of the system's names, and the classes of the two namespaces; nothing else, and not the host's symbol. (Weak
# symbols of the standard library's templates are visible in every program that uses them, and the linker marks the ends of the data.)
nm -D --defined-only "$(find "$prefix" -name libvimbrel.so)" | grep -vE ' [WVu] ' | awk '{print $3}' | c++filt >"$work/exports"
if grep -vE '^(Co(InitializeEx|Uninitialize|CreateInstance|TaskMemAlloc|TaskMemFree)|PropVariantClear|MultiByteToWideChar|WideCharToMultiByte|(Peek|Get|Dispatch)Message[AW]|TranslateMessage|PostThreadMessageW|PostQuitMessage|MsgWaitForMultipleObjectsEx|IsWindowUnicode|VimbrelMessageDescriptor|Enum(Windows|DisplayMonitors)|Get(WindowTextW|ClassNameW|ClientRect|MonitorInfoW)|IsIconic)$|^(__bss_start|_edata|_end)$|(Vimbrel|HalvorixAppLog)::' "$work/exports"; then
    echo "unexpected exports" >&2
    exit 1
fi
for name in 'Vimbrel::MediaSourcePicture::RequestSample()' 'Vimbrel::CreateRTMPCast()' 'Vimbrel::CMediaRTMPCast::CMediaRTMPCast()'; do
    grep -qF "$name" "$work/exports"
done
[ -f "$prefix/include/vimbrel/MediaRTMPCast.h" ]
! grep -qE 'Vimbrel::(CRTMPCastImpl|RtmpSession|live_encoder|MediaTranscodeGIF|ComPtr|BitmapSource|Clock)\b' "$work/exports"

echo "Each public header compiles alone"
for header in $(cd "$prefix/include" && find vimbrel -name '*.h'); do
    echo "#include <$header>" >"$work/alone.cpp"
    c++ -std=c++20 -Wall -Wextra -Werror -fsyntax-only -I"$prefix/include" -I"$prefix/include/vimbrel/platform" "$work/alone.cpp"
done

printf 'P6 4 2 255\n%s%s' 'abcdefghijkl' 'mnopqrstuvwx' >"$work/picture.ppm"
ffmpeg -v error -y -i "$work/picture.ppm" "$work/picture.png"

echo "The CMake package"
cmake -S "$source/examples/record_picture" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release >"$work/consumer.log"
cmake --build "$work/consumer" >>"$work/consumer.log"
"$work/consumer/record_picture" "$work/picture.png" "$work/cmake.gif"
gifsicle --info "$work/cmake.gif" >"$work/info"
grep -q 'logical screen 4x2' "$work/info"

echo "The pkg-config file"
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name vimbrel.pc)")
export PKG_CONFIG_PATH
# shellcheck disable=SC2046
c++ -std=c++20 "$source/examples/record_picture/record_picture.cpp" -o "$work/pc_consumer" $(pkg-config --cflags --libs vimbrel)
LD_LIBRARY_PATH=$(pkg-config --variable=libdir vimbrel) "$work/pc_consumer" "$work/picture.png" "$work/pc.gif"

echo "The installed command"
LD_LIBRARY_PATH=$(pkg-config --variable=libdir vimbrel) "$prefix/bin/vimbrel" --version
