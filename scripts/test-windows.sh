#!/usr/bin/env bash
# The Windows leg of the tests: builds the programs and the test suite for
# Windows (scripts/build-windows.sh), runs the suite under Wine, and checks
# that the Windows program writes the same bytes as the Linux one. Every
# Wine call has a time limit: a Wine program that wants a display it
# cannot reach waits for ever.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
start=$(date +%s)
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
missing=()
for p in wine wine64 imagemagick; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

bash "$top/scripts/build-windows.sh" --tests
built=$(date +%s)

# A Wine folder of its own; no installers of .NET or Gecko to ask for.
export WINEPREFIX=${WINEPREFIX:-$top/build-win64/wineprefix}
export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY WAYLAND_DISPLAY
timeout 300 wineboot -i >/dev/null 2>&1 || true
trap 'timeout 30 wineserver -k || true' EXIT

echo "== Windows tests under Wine"
(cd "$top/build-win64" && timeout 1800 ctest --output-on-failure)

echo "== same bytes as the Linux program"
if [ ! -x "$top/build/zelmar-console" ]; then
  cmake -S "$top" -B "$top/build" >/dev/null
  nice cmake --build "$top/build" -j"$(nproc)" --target zelmar-console
fi
bash "$top/tests/same_bytes.sh" "$top/build/zelmar-console" "$top/build-win64/zelmar-console.exe"

end=$(date +%s)
echo "Windows leg: $((end - start)) s (building $((built - start)) s, tests $((end - built)) s)"
