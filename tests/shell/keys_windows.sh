#!/usr/bin/env bash
# The Windows desktop program at the keyboard, under Wine on a display of
# its own (Xvfb, openbox), driven by xdotool:
#  1. File, Open by the file dialog; Image, Convert Into, Gray16.
#  2. Save As offers pic.c; OK, and OK in the Format dialog, write the
#     file that the build-step program writes for the same steps.
#  3. Ctrl+C puts the picture on the clipboard (CF_DIB, image/bmp to X).
#  4. File, Exit; the recent list in the registry names the picture.
# With a third argument, screenshots of the main window and the Format
# dialog go to that folder.
#   bash tests/shell/keys_windows.sh build-win64/zelmar.exe build-win64/zelmar-console.exe [shots]
set -euo pipefail
zelmar=$(realpath "$1")
console=$(realpath "$2")
shots=${3:+$(realpath "$3")}
top=$(cd "$(dirname "$0")/../.." && pwd)
# No dot in the folder: a saved name is cut at the first dot of its path.
work=$(mktemp -d /tmp/zelmar-keys-XXXXXX)
export WINEPREFIX=$work/wine WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
display=:$((90 + RANDOM % 100))
Xvfb $display -screen 0 1024x768x24 >/dev/null 2>&1 &
xvfb=$!
trap 'timeout 20 wineserver -k || true; kill $wm $xvfb ${pid-} 2>/dev/null || true; rm -rf "$work"' EXIT
export DISPLAY=$display
sleep 1
openbox >/dev/null 2>&1 &
wm=$!
timeout 300 wineboot -i >/dev/null 2>&1 || true

cd "$work"
mkdir batch
cp "$top/samples/zelmar-logo.bmp" pic.bmp
cp pic.bmp batch/
(cd batch && timeout 60 wine "$console" pic.bmp -convertintogray16 -saveaspic.c,1,4 -saveasgray.bmp,2 -exit)

fail() { echo "FAIL: $*"; [ -z "$shots" ] || import -window root "$shots/failed.png"; exit 1; }
# Wine on a loaded machine takes its time: up to 30 seconds a check.
RETRIES=60
. "$top/tests/shell/keys_lib.sh"
keys() { xdotool key --clearmodifiers --delay 150 "$@"; }
shot() { [ -z "$shots" ] || import -window root "$shots/$1.png"; }

timeout 600 wine "$zelmar" &
pid=$!
retry "main window" xdotool search --onlyvisible --name "Omrak-Zelmar"
main=$(xdotool search --onlyvisible --name "Omrak-Zelmar" | head -1)
xdotool windowactivate --sync "$main" >/dev/null 2>&1 || true
keys ctrl+o
retry "no Open dialog" active "Open bitmap file"
xdotool type --delay 50 pic.bmp
keys Return
retry "picture open" eval 'xdotool getwindowname '"$main"' | grep -q "pic.bmp"'
keys alt+i c Down Down Return
sleep 1
shot main-window
keys alt+f a
retry "no Save dialog" active "Save bitmap file"
sleep 1
keys Return
retry "no Format dialog" active "Format specification"
sleep 1
shot format-dialog
keys Return
retry "pic.c is not what the build step wrote" cmp pic.c batch/pic.c

keys ctrl+c
retry "clipboard" eval 'timeout 5 xclip -selection clipboard -o -t image/bmp >clip.bmp && [ -s clip.bmp ]'
/usr/bin/python3 - clip.bmp batch/gray.bmp <<'PY' || fail "clipboard pixels"
import sys
from PIL import Image
a, b = (Image.open(f).convert("RGB") for f in sys.argv[1:])
sys.exit(0 if a.size == b.size and a.tobytes() == b.tobytes() else "pixels differ")
PY

keys alt+f x
retry "still running" eval "! kill -0 $pid 2>/dev/null"
wait $pid || fail "exit code $?"
timeout 60 wine reg query 'HKCU\Software\Venmark\Zelmar\Recent File List' | tr -d '\r' >recent.txt
grep -q 'File1 *REG_SZ .*pic\.bmp' recent.txt || fail "recent list: $(cat recent.txt)"
echo "windows keys: all passed"
