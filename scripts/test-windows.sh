#!/usr/bin/env bash
# The Windows leg of the tests: builds the programs and the test suite for
# Windows (scripts/build-windows.sh), runs the suite under Wine (the
# desktop's tests and the keyboard test of zelmar.exe on displays of their
# own), and checks that the Windows program writes the same bytes as the
# Linux one. Every Wine call has a time limit: a Wine program that wants a
# display it cannot reach may wait for ever.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
start=$(date +%s)
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
missing=()
for p in wine wine64 imagemagick unzip xvfb xauth openbox xdotool xclip; do
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
# The Wine session wineboot left running has no display: the desktop's
# tests, which bring one, must start a session of their own.
timeout 60 wineserver -k || true
trap 'timeout 30 wineserver -k || true' EXIT

echo "== Windows tests under Wine"
(cd "$top/build-win64" && timeout 1800 ctest --output-on-failure)

echo "== same bytes as the Linux program"
if [ ! -x "$top/build/zelmar-console" ]; then
  cmake -S "$top" -B "$top/build" >/dev/null
  nice cmake --build "$top/build" -j"$(nproc)" --target zelmar-console
fi
bash "$top/tests/same_bytes.sh" "$top/build/zelmar-console" "$top/build-win64/zelmar-console.exe"

echo "== the zip's CMake package"
zipdir=$(mktemp -d)
trap 'timeout 30 wineserver -k || true; rm -rf "$zipdir"' EXIT
zip=$(ls "$top"/dist/zelmar-*-win64.zip | head -1)
(cd "$zipdir" && unzip -q "$zip")
mkdir -p "$zipdir/project"
cat >"$zipdir/project/CMakeLists.txt" <<'EOT'
cmake_minimum_required(VERSION 3.16)
project(FindZelmar NONE)
find_package(Zelmar REQUIRED)
if(NOT COMMAND zelmar_add_images)
  message(FATAL_ERROR "no zelmar_add_images")
endif()
get_target_property(program Zelmar::zelmar-console IMPORTED_LOCATION)
file(WRITE "${CMAKE_BINARY_DIR}/program.txt" "${program}")
EOT
cmake -S "$zipdir/project" -B "$zipdir/project/build" -DCMAKE_PREFIX_PATH="$(ls -d "$zipdir"/zelmar-*-win64)" >/dev/null
program=$(cat "$zipdir/project/build/program.txt")
case "$program" in *zelmar-console.exe) ;; *) echo "the package names $program" >&2; exit 1 ;; esac
mkdir -p "$zipdir/run"
cp "$top/samples/zelmar-logo.bmp" "$zipdir/run/"
(cd "$zipdir/run" && timeout 120 wine "$program" zelmar-logo.bmp -convertintooptimalpalette16 -savetologo.c,1,4 -exit)
mkdir -p "$zipdir/linux"
cp "$top/samples/zelmar-logo.bmp" "$zipdir/linux/"
(cd "$zipdir/linux" && "$top/build/zelmar-console" zelmar-logo.bmp -convertintooptimalpalette16 -savetologo.c,1,4 -exit)
cmp "$zipdir/run/logo.c" "$zipdir/linux/logo.c"
echo "the zip's package finds its zelmar-console.exe, which writes what Linux writes"

echo "== exit codes through cmd.exe"
(cd "$zipdir/run" && timeout 120 wine cmd /c "$(winepath -w "$program") zelmar-logo.bmp -exit") ||
  { echo "cmd.exe: a good run did not give 0" >&2; exit 1; }
if (cd "$zipdir/run" && timeout 120 wine cmd /c "$(winepath -w "$program") missing.bmp -exit" >/dev/null 2>&1); then
  echo "cmd.exe: a failed run gave 0" >&2
  exit 1
fi
echo "cmd.exe passes 0 and 1 on"

echo "== zelmar.exe where no window can be opened"
# Without a display the desktop program runs on the console, as on Linux.
desktop=$(dirname "$program")/zelmar.exe
mkdir -p "$zipdir/desktop"
cp "$top/samples/zelmar-logo.bmp" "$zipdir/desktop/"
(cd "$zipdir/desktop" && timeout 120 wine "$desktop" zelmar-logo.bmp -convertintooptimalpalette16 -savetologo.c,1,4 -exit >/dev/null)
cmp "$zipdir/desktop/logo.c" "$zipdir/linux/logo.c"
echo "zelmar.exe converts on the console"

end=$(date +%s)
echo "Windows leg: $((end - start)) s (building $((built - start)) s, tests $((end - built)) s)"
