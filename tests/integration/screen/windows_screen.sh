#!/bin/bash
# Runs a Windows test program under Wine on an X server of its own. Usage: windows_screen.sh PROGRAM
# [arguments]
set -u
folder=$(cd "$(dirname "$0")/../../.." && pwd)
work=$(mktemp -d)
exec {display}>"$work/display"
Xvfb -screen 0 320x240x24 -nolisten tcp -noreset -displayfd $display >"$work/server" 2>&1 &
server=$!
exec {display}>&-
# A prefix apart from that of the other tests: the desktop of a prefix stays with the display of its
# first program.
export WINEPREFIX="$HOME/.cache/vimbrel-wine-screen"
trap 'kill $server; timeout 20 /usr/lib/wine/wineserver64 -w; rm -rf "$work"' EXIT
for _ in $(seq 100); do
    [ -s "$work/display" ] && break
    sleep 0.1
done
[ -s "$work/display" ] || { echo "Xvfb did not start: $(cat "$work/server")"; exit 1; }
# The version that has desktop duplication by its number, so that its absence is seen.
"$folder/scripts/wine" reg add 'HKCU\Software\Wine' /v Version /d win10 /f >/dev/null 2>&1
timeout 20 /usr/lib/wine/wineserver64 -w
VIMBREL_WINE_DISPLAY=":$(cat "$work/display")" timeout 150 "$folder/scripts/wine" "$@"
