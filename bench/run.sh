#!/usr/bin/env bash
# Speed of the C source writer, in MB/s of text written, next to xxd -i
# writing about as many bytes.
#
#   bench/run.sh [SIZE]        pictures of SIZE x SIZE pixels, default 4000
#
# Builds a Release tree in build-bench (once; later runs only rebuild what
# changed), compiles bench/bench_save.cpp against its core library, writes
# the test pictures with bench/gen_bmp.py and prints a table. The writer is
# timed twice: directly (bench_save, format 5, 8 and 12, from memory to the
# closed file) and through the command line (formats 5 and 8; that time
# includes start-up and reading the picture).
set -euo pipefail

cd "$(dirname "$0")/.."
SIZE=${1:-4000}
BUILD=build-bench
WORK=$BUILD/bench-work
CXX=${CXX:-g++}

mkdir -p "$BUILD"
if [ ! -f "$BUILD/CMakeCache.txt" ]; then
  cmake -S . -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DZELMAR_TESTS=OFF > /dev/null
fi
HAVE_CLI=1
if ! cmake --build "$BUILD" -j2 > "$BUILD/build.log" 2>&1; then
  echo "note: the program did not build (see $BUILD/build.log); trying the core library alone" >&2
  HAVE_CLI=0
  cmake --build "$BUILD" -j2 --target zelmar_core >> "$BUILD/build.log" 2>&1
fi

BENCH=$BUILD/bench_save
if [ ! -x "$BENCH" ] || [ bench/bench_save.cpp -nt "$BENCH" ] || [ bench/benchutil.h -nt "$BENCH" ] || [ "$BUILD/libzelmar_core.a" -nt "$BENCH" ]; then
  "$CXX" -O2 -std=c++17 -I. bench/bench_save.cpp "$BUILD/libzelmar_core.a" -o "$BENCH"
fi

mkdir -p "$WORK"
PIC24=$WORK/pic24_$SIZE.bmp
PIC8=$WORK/pic8_$SIZE.bmp
if [ ! -f "$PIC24" ] || [ ! -f "$PIC8" ]; then
  python3 bench/gen_bmp.py "$PIC24" "$PIC8" "$SIZE"
fi

# Rows of the table: label, bytes, seconds
ROWS=()
add_row() { ROWS+=("$1|$2|$3"); }

elapsed() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.6f", b - a }'; }

# Times xxd -i on random input chosen so that its output is about $1 bytes
# (xxd writes a little over 6 bytes per input byte).
time_xxd() {
  local Target=$1 In=$WORK/xxd_in.bin Out=$WORK/xxd_out.txt
  head -c $((Target / 6)) /dev/urandom > "$In"
  local t0=$EPOCHREALTIME
  xxd -i "$In" > "$Out"
  local t1=$EPOCHREALTIME
  add_row "  xxd -i, similar size" "$(stat -c %s "$Out")" "$(elapsed "$t0" "$t1")"
  rm -f "$In" "$Out"
}

# Direct calls of the writer
declare -A LABEL=( [5]="format 5, 8 bpp indices" [8]="format 8, 565 values" [12]="format 12, 888 values" )
while read -r Format Bytes Seconds; do
  add_row "writer ${LABEL[$Format]}" "$Bytes" "$Seconds"
  time_xxd "$Bytes"
done < <("$BENCH" "$WORK" "$SIZE")

# The command line, picture file to C file
if [ "$HAVE_CLI" = 1 ]; then
  for Case in "5|$PIC8" "8|$PIC24"; do
    Format=${Case%%|*}
    Pic=$(realpath "${Case#*|}")
    Out=cli_f$Format.c
    t0=$EPOCHREALTIME
    if (cd "$WORK" && ../zelmar "$Pic" "-saveas$Out,1,$Format" -exit > /dev/null 2>&1) && [ -f "$WORK/$Out" ]; then
      t1=$EPOCHREALTIME
      add_row "zelmar CLI format $Format (with load)" "$(stat -c %s "$WORK/$Out")" "$(elapsed "$t0" "$t1")"
    else
      add_row "zelmar CLI format $Format: failed" 0 0
    fi
    rm -f "$WORK/$Out"
  done
else
  add_row "zelmar CLI: not built" 0 0
fi

printf '\nPictures %d x %d pixels\n\n' "$SIZE" "$SIZE"
printf '%-40s %12s %9s %9s\n' "what" "bytes" "seconds" "MB/s"
for Row in "${ROWS[@]}"; do
  IFS='|' read -r Label Bytes Seconds <<< "$Row"
  awk -v l="$Label" -v b="$Bytes" -v s="$Seconds" 'BEGIN {
    if (s > 0) printf "%-40s %12d %9.3f %9.1f\n", l, b, s, b / s / 1e6;
    else       printf "%-40s %12s %9s %9s\n", l, "-", "-", "-";
  }'
done
