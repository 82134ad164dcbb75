#!/usr/bin/env bash
# Takes the screenshot of the main window that README.md shows
# (docs/main-window.png): the bundled sample converted to 8666 colours,
# on a display of its own (xvfb-run, openbox), with a fresh recent list.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
out=${1:-$top/docs/main-window.png}
if [ -z "${ZELMAR_SCREENSHOT_INNER:-}" ]; then
  exec env ZELMAR_SCREENSHOT_INNER=1 xvfb-run -a -s "-screen 0 1024x768x24" bash "$0" "$out"
fi
work=$(mktemp -d)
trap 'kill $pid $wm 2>/dev/null || true; rm -rf "$work"' EXIT
export XDG_CONFIG_HOME=$work
openbox >/dev/null 2>&1 &
wm=$!
sleep 1
cd "$work"
"$top/build/zelmar" "$top/samples/zelmar-logo.bmp" -convertinto8666 &
pid=$!
id=$(xdotool search --sync --onlyvisible --pid $pid --name "Omrak-Zelmar" | head -1)
xdotool windowsize --sync "$id" 640 420
xdotool windowactivate --sync "$id" >/dev/null 2>&1 || true
sleep 1
xdotool key --clearmodifiers plus plus plus plus plus
sleep 1
import -window "$id" "$out"
echo "Wrote $out"
