#!/usr/bin/env bash
# Builds Zelmar and converts the bundled sample picture into C source:
# samples/zelmar-logo.bmp -> zelmar-logo.c in the current folder.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
bash "$top/scripts/deps.sh"
cmake -S "$top" -B "$top/build" >/dev/null
cmake --build "$top/build" -j"$(nproc)" --target zelmar >/dev/null
"$top/build/zelmar" "$top/samples/zelmar-logo.bmp" -saveaszelmar-logo.c,1 -exit
echo "Wrote $(pwd)/zelmar-logo.c"
