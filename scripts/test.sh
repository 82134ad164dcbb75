#!/usr/bin/env bash
# Builds Zelmar and runs every test twice: in a normal build and in a build
# with AddressSanitizer and UndefinedBehaviorSanitizer. The normal build is
# also installed and used as a firmware project uses it (buildstep.sh).
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
bash "$top/scripts/deps.sh"
jobs=$(nproc)
# With a display the program opens its window; the tests of the command
# line want the console, and the window's tests bring their own display.
unset DISPLAY WAYLAND_DISPLAY
for variant in normal asan; do
  dir="$top/build"
  flags=()
  # The normal build compiles Debian's libspng source in and links the
  # build-step program statically, as the packages ship it.
  if [ "$variant" = normal ]; then
    if spng=$(bash "$top/scripts/debian-source.sh" libspng); then
      flags=(-DZELMAR_SPNG_SOURCE="$spng")
    else
      echo "no libspng source: zelmar-console is linked dynamically"
    fi
  fi
  if [ "$variant" = asan ]; then
    dir="$top/build-asan"
    flags=(-DZELMAR_SANITIZE=ON)
  fi
  echo "== $variant build"
  cmake -S "$top" -B "$dir" "${flags[@]}" >/dev/null
  cmake --build "$dir" -j"$jobs"
  echo "== $variant tests"
  (cd "$dir" && ctest --output-on-failure -j"$jobs")
  if [ "$variant" = normal ]; then
    echo "== build step: CMake package, example firmware, Debian package"
    bash "$top/scripts/buildstep.sh" "$dir"
  fi
done
