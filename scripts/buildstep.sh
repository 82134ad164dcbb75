#!/usr/bin/env bash
# The build step as a firmware project sees it: installs the build in
# folder $1 (default build/) into a temporary prefix, builds and runs
# examples/firmware against it with Ninja, checks that touching one
# picture (or a custom palette) converts that one again and that a broken
# picture fails the build with its name and message, logged in its own
# folder; then makes the Debian package and
# checks what it holds. With ZELMAR_CI=1 (a throwaway machine) the
# package is also installed and the example built against it.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$top/build}" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "buildstep: $*" >&2; exit 1; }

echo "== install into a temporary prefix"
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cp -r "$top/examples/firmware" "$work/src"

echo "== example: configure, build, run"
cmake -S "$work/src" -B "$work/build" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/build" -j2 >"$work/out" || { cat "$work/out"; fail "example does not build"; }
[ "$(grep -c Converting "$work/out")" -eq 4 ] || { cat "$work/out"; fail "expected 4 conversions"; }
"$work/build/firmware"

echo "== touching one picture converts that one"
sleep 1   # a new time stamp even on a coarse file system
touch "$work/src/icons/wifi.png"
cmake --build "$work/build" -j2 >"$work/out"
[ "$(grep -c Converting "$work/out")" -eq 1 ] && grep -q "Converting icons/wifi.png" "$work/out" ||
  { cat "$work/out"; fail "not exactly one conversion"; }
touch "$work/src/grey.OmrakPal"   # the custom palette of 2-bars.bmp
cmake --build "$work/build" -j2 >"$work/out"
[ "$(grep -c Converting "$work/out")" -eq 1 ] && grep -q "Converting 2-bars.bmp" "$work/out" ||
  { cat "$work/out"; fail "a new palette does not convert its picture alone"; }
cmake --build "$work/build" -j2 >"$work/out"
grep -q "no work to do" "$work/out" || { cat "$work/out"; fail "second build not a no-op"; }

echo "== a broken picture fails the build with its name and message"
printf 'not a picture' >"$work/src/icons/battery.png"
if cmake --build "$work/build" -j2 >"$work/out" 2>&1; then
  fail "a broken picture built"
fi
grep -E "battery\.png: .+" "$work/out" || { cat "$work/out"; fail "no name and message"; }
[ -f "$work/build/zelmar/firmware/battery/Zelmar.log" ] || fail "no log in the conversion's own folder"

echo "== Debian package"
(cd "$build" && cpack -G DEB >/dev/null)
deb=$(ls "$build"/zelmar_*.deb)
dpkg-deb -c "$deb" >"$work/list"
for f in usr/bin/zelmar usr/bin/zelmar-console usr/lib/cmake/Zelmar/ZelmarConfig.cmake \
         usr/lib/cmake/Zelmar/ZelmarConfigVersion.cmake usr/lib/cmake/Zelmar/ZelmarImages.cmake \
         usr/share/doc/zelmar/README.md usr/share/man/man1/zelmar-console.1; do
  grep -q " \./$f\$" "$work/list" || { cat "$work/list"; fail "$f is not in the package"; }
done
if [ "${ZELMAR_CI:-}" = 1 ]; then
  echo "== the package installed"
  apt-get install -y -qq "$deb" >/dev/null
  zelmar-console -? >/dev/null
  cp -r "$top/examples/firmware" "$work/src2"
  cmake -S "$work/src2" -B "$work/build2" -G Ninja >/dev/null
  cmake --build "$work/build2" -j2 >/dev/null
  "$work/build2/firmware"
fi
echo "== build step: all passed"
