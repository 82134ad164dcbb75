#!/usr/bin/env bash
# Speed of the GIF reader and writer next to giflib doing the same work in
# the same process.
#
#   bench/gif.sh [SIZE] [ROUNDS]     a SIZE x SIZE picture, default 2000, 3 rounds
#
# Builds the core library in a Release tree of its own (build-bench-gif;
# later runs only rebuild what changed), compiles bench/bench_gif.cpp
# against it and giflib (Debian package libgif-dev), and prints a table of
# the best times and the ratios ours / giflib.
set -euo pipefail

cd "$(dirname "$0")/.."
SIZE=${1:-2000}
ROUNDS=${2:-3}
BUILD=build-bench-gif
WORK=$BUILD/bench-work
CXX=${CXX:-g++}

if [ ! -f /usr/include/gif_lib.h ]; then
  echo "giflib is missing: apt-get install libgif-dev" >&2
  exit 1
fi
mkdir -p "$BUILD" "$WORK"
if [ ! -f "$BUILD/CMakeCache.txt" ]; then
  cmake -S . -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DZELMAR_TESTS=OFF > /dev/null
fi
cmake --build "$BUILD" -j2 --target zelmar_core > "$BUILD/build.log" 2>&1 || {
  echo "the core library did not build; see $BUILD/build.log" >&2
  exit 1
}
BENCH=$BUILD/bench_gif
if [ ! -x "$BENCH" ] || [ bench/bench_gif.cpp -nt "$BENCH" ] || [ bench/benchutil.h -nt "$BENCH" ] || [ "$BUILD/libzelmar_core.a" -nt "$BENCH" ]; then
  "$CXX" -O2 -std=c++17 -I. bench/bench_gif.cpp "$BUILD/libzelmar_core.a" -lgif -o "$BENCH"
fi
"$BENCH" "$WORK" "$SIZE" "$ROUNDS"
