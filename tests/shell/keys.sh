#!/usr/bin/env bash
# End to end, as a user at the keyboard: build/zelmar under a window
# manager on the display that xvfb-run gave us, driven by xdotool.
#  1. A picture opens at zoom 2.0; "-" three times makes it 1.7: the
#     frame around it narrows from 196 to 167 pixels (96 wide picture);
#     Up makes it 1.8, just below 1.8 in single precision: 176.
#  2. Exit from the File menu by its keys ends the program with code 0.
#  3. A new run without arguments lists the picture in the File menu,
#     and choosing it by the keys opens it again.
set -euo pipefail
zelmar=$1
picture=$2
work=$(mktemp -d)
trap 'kill $wm 2>/dev/null || true; rm -rf "$work"' EXIT
export XDG_CONFIG_HOME=$work/config
cp "$picture" "$work/pic.bmp"
cd "$work"
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
  convert "$work/shot.png" -depth 8 rgb:"$work/shot.rgb"
  local width
  width=$(identify -format %w "$work/shot.png")
  python3 - "$work/shot.rgb" "$width" <<'PY'
import sys
data = open(sys.argv[1], "rb").read()
w = int(sys.argv[2])
best = 0
for y in range(len(data) // (3 * w)):
    run = 0
    for x in range(w):
        i = 3 * (y * w + x)
        if data[i] < 64 and data[i + 1] < 64 and data[i + 2] < 64:
            run += 1
            best = max(best, run)
        else:
            run = 0
print(best)
PY
}

fail() { echo "FAIL: $*"; exit 1; }

# Waits up to five seconds for the frame to reach the width; a loaded
# machine may take its time to repaint.
expect_width() {
  local w
  for _ in $(seq 10); do
    w=$(frame_width "$1")
    [ "$w" = "$2" ] && return 0
    sleep 0.5
  done
  fail "frame is $w wide, not $2 ($3)"
}

# Waits up to ten seconds for the program to end; fails on a code not 0.
expect_exit() {
  for _ in $(seq 20); do
    kill -0 "$1" 2>/dev/null || break
    sleep 0.5
  done
  kill -0 "$1" 2>/dev/null && { kill "$1"; fail "still running ($2)"; }
  wait "$1" || fail "exit code $? ($2)"
}

# Waits up to five seconds for the window's title.
expect_title() {
  local t
  for _ in $(seq 10); do
    t=$(xdotool getwindowname "$1")
    [ "$t" = "$2" ] && return 0
    sleep 0.5
  done
  fail "title is \"$t\" ($3)"
}

"$zelmar" "$work/pic.bmp" &
pid=$!
id=$(window_of $pid)
expect_title "$id" "Omrak-Zelmar V3.96 - $work/pic.bmp" "picture named"
expect_width "$id" 196 "zoom 2.0"
for k in minus minus minus; do xdotool key --clearmodifiers $k; sleep 0.2; done
expect_width "$id" 167 "zoom 1.7"
xdotool key --clearmodifiers Up
expect_width "$id" 176 "zoom 1.8"   # 96 * 1.79999995 - 1 truncates to 171
xdotool key --clearmodifiers alt+f; sleep 0.5
xdotool key --clearmodifiers x
expect_exit $pid "File, Exit"

"$zelmar" &
pid=$!
id=$(window_of $pid)
expect_title "$id" "Omrak-Zelmar V3.96 - No file" "no arguments"
xdotool key --clearmodifiers alt+f; sleep 0.5
xdotool key --clearmodifiers 1
expect_title "$id" "Omrak-Zelmar V3.96 - $work/pic.bmp" "recent file chosen"
xdotool key --clearmodifiers alt+F4
expect_exit $pid "window closed"
echo "keys: all passed"
