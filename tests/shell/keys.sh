#!/usr/bin/env bash
# End to end, as a user at the keyboard: build/zelmar under a window
# manager on the display that xvfb-run gave us, driven by xdotool, on a
# copy of the picture brought down to 16 colours.
#  1. The picture opens at zoom 2.0; "-" three times makes it 1.7: the
#     frame around it narrows from 196 to 167 pixels (96 wide picture);
#     Up makes it 1.8, just below 1.8 in single precision: 176.
#  2. Save As offers pic.c; OK, and OK in the Format dialog (4 bits per
#     pixel preselected), write the file the batch's Save As writes.
#  3. Save As with the type switched to Windows Bitmap by the keys
#     turns the name into pic.bmp at once, and writes it.
#  4. Ctrl+C offers the picture as image/bmp and image/png; a PNG that
#     another program offers pastes with Ctrl+V, and Save As keeps it.
#  5. Exit from the File menu by its keys ends the program with code 0.
#  6. A new run without arguments lists the picture in the File menu,
#     and choosing it by the keys opens it again.
set -euo pipefail
zelmar=$1
# The Save dialog cuts the start name at the first dot of the whole
# path: the folder's path has none.
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d -t keysXXXXXX)
trap 'kill $wm ${pid-} ${server-} 2>/dev/null || true; rm -rf "$work"' EXIT
# Settings, caches and the toolkit's list of recent files stay in it.
export HOME=$work XDG_CONFIG_HOME=$work/config GSETTINGS_BACKEND=memory
unset XDG_DATA_HOME XDG_CACHE_HOME
cd "$work"
mkdir batch
/usr/bin/python3 -c 'import sys; from PIL import Image
Image.open(sys.argv[1]).quantize(16).save("pic.png")' "$2"
convert pic.png BMP3:batch/pic.bmp   # 4 bits per pixel
convert "$2" -crop 64x48+0+0 +repage other.png
cp batch/pic.bmp pic.bmp
(cd batch && env -u DISPLAY "$zelmar" pic.bmp -saveaspic.c,1,4 -exit)
openbox >/dev/null 2>&1 &
wm=$!
sleep 1

window_of() {
  local id
  id=$(xdotool search --sync --onlyvisible --pid "$1" --name "Omrak-Zelmar" | head -1)
  xdotool windowactivate --sync "$id" >/dev/null 2>&1 || true
  sleep 0.5
  echo "$id"
}

# Length of the longest horizontal run of dark pixels: the frame's top.
frame_width() {
  import -window "$1" "$work/shot.png"
  /usr/bin/python3 - "$work/shot.png" <<'PY'
import sys
from PIL import Image
im = Image.open(sys.argv[1]).convert("RGB")
w, h = im.size
dark = "".join("1" if max(p) < 64 else "0" for p in im.getdata())
print(max(len(run) for y in range(h) for run in dark[y * w:(y + 1) * w].split("0")))
PY
}

fail() { echo "FAIL: $*"; exit 1; }

. "$here/keys_lib.sh"
width() { is "$(frame_width "$1")" "$2"; }
clip_text() { is "$(timeout 5 xclip -selection clipboard -o)" "$1"; }
clip_image() { timeout 5 xclip -selection clipboard -o -t "$1" >clip.out && same_pixels clip.out "$2"; }
same_pixels() {
  /usr/bin/python3 - "$1" "$2" <<'PY'
import sys
from PIL import Image
a, b = (Image.open(f).convert("RGB") for f in sys.argv[1:])
if a.size != b.size or a.tobytes() != b.tobytes():
    sys.exit("pixels differ")
d = open(sys.argv[1], "rb").read()   # a Windows Bitmap gives its whole size
def u(i, n): return int.from_bytes(d[i:i + n], "little")
if d[:2] == b"BM" and u(2, 4) != len(d):
    sys.exit("size field %d, file %d" % (u(2, 4), len(d)))
if d[:2] == b"BM" and u(10, 4) != 14 + u(14, 4) + 4 * (u(46, 4) or (1 << u(28, 2) if u(28, 2) <= 8 else 0)):
    sys.exit("pixels at %d" % u(10, 4))
PY
}
expect_exit() {
  retry "still running ($2)" eval "! kill -0 $1 2>/dev/null"
  wait "$1" || fail "exit code $? ($2)"
}
keys() { xdotool key --clearmodifiers --delay 100 "$@"; }
# Keys for the main window, once a dialog gave the focus back to it.
main_keys() { retry "main window inactive" active "$title"; keys "$@"; }
save_as() {
  main_keys alt+f; sleep 0.5
  keys a
  retry "no Save dialog" active "Save bitmap file"
}

title="Omrak-Zelmar V3.96 - $work/pic.bmp"
"$zelmar" "$work/pic.bmp" &
pid=$!
id=$(window_of $pid)
retry "picture named" title "$id" "$title"
retry "zoom 2.0" width "$id" 196
keys minus minus minus
retry "zoom 1.7" width "$id" 167
keys Up
retry "zoom 1.8" width "$id" 176   # 96 * 1.79999995 - 1 truncates to 171

save_as
keys ctrl+a ctrl+c   # the name field's text goes to the clipboard
retry "name offered" clip_text pic.c
keys Return
retry "no Format dialog" active "Format specification"
keys Return
retry "pic.c is not what the batch wrote" cmp pic.c batch/pic.c

rm pic.bmp
save_as
# Shift+Tab from the name passes Save and Cancel to the list of types.
keys shift+Tab shift+Tab shift+Tab Down Tab Tab Tab ctrl+a ctrl+c
retry "name after the change of type" clip_text pic.bmp
keys Return
retry "pic.bmp as Windows Bitmap" same_pixels pic.bmp batch/pic.bmp

main_keys ctrl+c
retry "copy as BMP" clip_image image/bmp batch/pic.bmp
retry "copy as PNG" clip_image image/png batch/pic.bmp
xclip -quiet -selection clipboard -t image/png -i other.png >/dev/null 2>&1 &
server=$!
retry "xclip offers the PNG" clip_image image/png other.png
main_keys ctrl+v
retry "pasted, 64 wide" width "$id" 132
save_as   # true colour now: Windows Bitmap stays selected
xdotool type --clearmodifiers pasted   # in place of the selected "pic"
keys Return
retry "pasted.bmp" same_pixels pasted.bmp other.png

main_keys alt+f; sleep 0.5
keys x
expect_exit $pid "File, Exit"

"$zelmar" &
pid=$!
id=$(window_of $pid)
retry "no arguments" title "$id" "Omrak-Zelmar V3.96 - No file"
keys alt+f; sleep 0.5
keys 1
retry "recent file chosen" title "$id" "$title"
keys alt+F4
expect_exit $pid "window closed"

# With an exit on the command line the run ends by itself: the box of a
# picture not found goes away unanswered.
"$zelmar" nothere.bmp -exit &
pid=$!
retry "box answered by itself" eval "! kill -0 $pid 2>/dev/null"
code=0; wait $pid || code=$?
[ $code = 1 ] || fail "exit code $code of a run with a picture not found"
echo "keys: all passed"
