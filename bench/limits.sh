#!/usr/bin/env bash
# Time of every command, reader and writer on the largest picture the
# program takes, and of two hostile files (a GIF whose frame is far larger
# than its screen, an .sbmp that declares a huge picture).
#
#   bench/limits.sh [SIZE [FILTER]]   SIZE x SIZE pictures, default 8192;
#                                     only steps whose name holds FILTER
#
# Builds the core library in Release in build-bench-limits (once; later
# runs rebuild only what changed), compiles bench/bench_limits.cpp against
# it and prints "<step> <seconds> <status texts shown>".
set -euo pipefail

cd "$(dirname "$0")/.."
BUILD=build-bench-limits
CXX=${CXX:-g++}

mkdir -p "$BUILD"
if [ ! -f "$BUILD/CMakeCache.txt" ]; then
  cmake -S . -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DZELMAR_TESTS=OFF > /dev/null
fi
if ! cmake --build "$BUILD" -j2 --target zelmar_core > "$BUILD/build.log" 2>&1; then
  echo "the core library did not build, see $BUILD/build.log" >&2
  exit 1
fi

BENCH=$BUILD/bench_limits
if [ ! -x "$BENCH" ] || [ bench/bench_limits.cpp -nt "$BENCH" ] || [ "$BUILD/libzelmar_core.a" -nt "$BENCH" ]; then
  "$CXX" -O2 -std=c++17 -Wall -Wextra -I. bench/bench_limits.cpp "$BUILD/libzelmar_core.a" -o "$BENCH"
fi
printf '%-34s %8s %8s\n' "step" "seconds" "status"
"$BENCH" "${1:-8192}" "${2:-}"
