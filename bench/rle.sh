#!/usr/bin/env bash
# Speed of the run-length coded C source (formats 6, 7, 10, 11), next to a
# plain encoder that follows the coding rules literally (rescans from
# every position, divides for every pixel, printf for every piece).
#
#   bench/rle.sh [SIZE] [PLAIN_SIZE]
#
# SIZE: pictures of SIZE x SIZE pixels, default 4000. PLAIN_SIZE: the plain
# encoder runs on the top left PLAIN_SIZE x PLAIN_SIZE pixels, default
# SIZE (the whole picture); when it is smaller, the writer is timed on
# that part as well and the table says so. Both texts are compared; a
# difference makes the script fail.
#
# Builds a Release tree in build-bench like bench/run.sh (once; later runs
# only rebuild what changed) and compiles bench/bench_rle.cpp against its
# core library.
set -euo pipefail

cd "$(dirname "$0")/.."
SIZE=${1:-4000}
PLAIN_SIZE=${2:-$SIZE}
BUILD=build-bench
WORK=$BUILD/bench-work
CXX=${CXX:-g++}

mkdir -p "$BUILD"
if [ ! -f "$BUILD/CMakeCache.txt" ]; then
  cmake -S . -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DZELMAR_TESTS=OFF > /dev/null
fi
cmake --build "$BUILD" -j2 --target zelmar_core > "$BUILD/build_rle.log" 2>&1 || {
  echo "the core library did not build, see $BUILD/build_rle.log" >&2
  exit 1
}

BENCH=$BUILD/bench_rle
if [ ! -x "$BENCH" ] || [ bench/bench_rle.cpp -nt "$BENCH" ] || [ bench/benchutil.h -nt "$BENCH" ] || [ "$BUILD/libzelmar_core.a" -nt "$BENCH" ]; then
  "$CXX" -O2 -std=c++17 -I. bench/bench_rle.cpp "$BUILD/libzelmar_core.a" -o "$BENCH"
fi

mkdir -p "$WORK"
printf '\nPictures %d x %d pixels' "$SIZE" "$SIZE"
if [ "$PLAIN_SIZE" -lt "$SIZE" ]; then
  printf '; the plain encoder and the second writer time on the top left %d x %d pixels' "$PLAIN_SIZE" "$PLAIN_SIZE"
fi
printf '\n\n%-22s %12s %9s %9s   %-11s %9s %9s %8s %5s\n' \
  "format, picture" "bytes" "seconds" "MB/s" "plain part" "writer s" "plain s" "speed-up" "same"
Status=0
while read -r Format Picture Size Bytes Seconds PlainSize PartSeconds PlainSeconds Same; do
  awk -v f="$Format" -v p="$Picture" -v b="$Bytes" -v s="$Seconds" -v ps="$PlainSize" \
      -v w="$PartSeconds" -v q="$PlainSeconds" -v same="$Same" 'BEGIN {
    printf "%-22s %12d %9.3f %9.1f   %-11s %9.3f %9.3f %7.1fx %5s\n",
           "format " f ", " p, b, s, b / s / 1e6, ps " x " ps, w, q, q / w, same
  }'
  [ "$Same" = yes ] || Status=1
done < <("$BENCH" "$WORK" "$SIZE" "$PLAIN_SIZE")
exit $Status
