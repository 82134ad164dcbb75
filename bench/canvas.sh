#!/usr/bin/env bash
# Repaint time of the canvas for a SIZE x SIZE picture (default 2000) at
# every zoom, on a display of its own.
#
#   bench/canvas.sh [SIZE]
#
# Builds the shell library in Release in build-bench-canvas (once; later
# runs rebuild only what changed) and compiles bench/bench_canvas.cpp
# against it.
set -euo pipefail

cd "$(dirname "$0")/.."
BUILD=build-bench-canvas
CXX=${CXX:-g++}

mkdir -p "$BUILD"
if [ ! -f "$BUILD/CMakeCache.txt" ]; then
  cmake -S . -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DZELMAR_TESTS=OFF > /dev/null
fi
if ! cmake --build "$BUILD" -j2 --target zelmar_shell > "$BUILD/build.log" 2>&1; then
  echo "the shell library did not build, see $BUILD/build.log" >&2
  exit 1
fi

BENCH=$BUILD/bench_canvas
if [ ! -x "$BENCH" ] || [ bench/bench_canvas.cpp -nt "$BENCH" ] || [ "$BUILD/libzelmar_shell.a" -nt "$BENCH" ]; then
  # shellcheck disable=SC2046
  "$CXX" -O2 -std=c++17 -Wall -Wextra -I. $(wx-config --cxxflags) bench/bench_canvas.cpp \
    "$BUILD/libzelmar_shell.a" "$BUILD/libzelmar_core.a" $(wx-config --libs core,base) -o "$BENCH"
fi
xvfb-run -a -s "-screen 0 1920x1080x24" "$BENCH" "$@"
