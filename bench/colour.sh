#!/usr/bin/env bash
# Speed of the colour census, the best palette and fixed-palette
# conversions, next to plain versions of the same rules; checks that both
# give the same results.
#
#   bench/colour.sh [SIZE [PLAIN_ROWS]]   picture SIZE x SIZE (default 2000);
#                                         plain census on the top PLAIN_ROWS
#                                         rows (default 100)
#
# Builds the core library in Release in build-bench-colour (once; later
# runs rebuild only what changed) and compiles bench/bench_colour.cpp
# against it.
set -euo pipefail

cd "$(dirname "$0")/.."
BUILD=build-bench-colour
CXX=${CXX:-g++}

mkdir -p "$BUILD"
if [ ! -f "$BUILD/CMakeCache.txt" ]; then
  cmake -S . -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DZELMAR_TESTS=OFF > /dev/null
fi
if ! cmake --build "$BUILD" -j2 --target zelmar_core > "$BUILD/build.log" 2>&1; then
  echo "the core library did not build, see $BUILD/build.log" >&2
  exit 1
fi

BENCH=$BUILD/bench_colour
if [ ! -x "$BENCH" ] || [ bench/bench_colour.cpp -nt "$BENCH" ] || [ bench/benchutil.h -nt "$BENCH" ] || [ "$BUILD/libzelmar_core.a" -nt "$BENCH" ]; then
  "$CXX" -O2 -std=c++17 -Wall -Wextra -I. bench/bench_colour.cpp "$BUILD/libzelmar_core.a" -o "$BENCH"
fi
"$BENCH" "$@"
