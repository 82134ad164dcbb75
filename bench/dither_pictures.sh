#!/bin/bash
# Draws a smooth gradient, converts it to the 332 palette without and with
# dithering, and stores both results as PNG in docs/ for README.md; the
# same for a dark gradient at the high colour level 565 (through
# bench_highcolor, which bench/dither.sh builds) and for a photo (a crop
# of OpenCV's fruits, package opencv-doc) on an optimal palette of 16
# colours.
#
#   bash bench/dither_pictures.sh [build-dir]        (default: build)
set -eu
cd "$(dirname "$0")/.."
ZELMAR=$(realpath "${1:-build}")/zelmar
HIGHCOLOR=$(realpath "${1:-build}")/bench_highcolor
[ -x "$HIGHCOLOR" ] || { echo "no $HIGHCOLOR: run bash bench/dither.sh first" >&2; exit 1; }
DOCS=$(pwd)/docs
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT
/usr/bin/python3 - "$WORK/gradient.bmp" <<'PY'
import sys
from PIL import Image
W, H = 480, 120
img = Image.new("RGB", (W, H))
px = img.load()
for y in range(H):
    for x in range(W):
        t, u = x / (W - 1), y / (H - 1)
        # dusk: deep blue on the left to warm orange on the right, lighter at the bottom
        px[x, y] = (int(20 + 215 * t + 20 * u), int(30 + 110 * t + 40 * u), int(90 + 30 * (1 - t) + 20 * u))
img.save(sys.argv[1])
for y in range(H):
    for x in range(W):
        t, u = x / (W - 1), y / (H - 1)
        # the same at dusk's end, dark: where 565 bands show most
        px[x, y] = (int(16 + 42 * t + 8 * u), int(28 + 40 * t + 12 * u), int(122 - 32 * t + 4 * u))
img.save(sys.argv[1].replace("gradient.bmp", "dark.ppm"))
PY
cd "$WORK"
"$ZELMAR" gradient.bmp -convertinto332 -saveasoff.bmp,2 -exit
"$ZELMAR" gradient.bmp -dither1 -convertinto332 -saveason.bmp,2 -exit
convert off.bmp "$DOCS/dither_332_off.png"
convert on.bmp "$DOCS/dither_332_on.png"
"$HIGHCOLOR" dark.ppm 565 0 dark_off.ppm && convert dark_off.ppm "$DOCS/dither_565_off.png"
"$HIGHCOLOR" dark.ppm 565 1 dark_on.ppm && convert dark_on.ppm "$DOCS/dither_565_on.png"
convert /usr/share/doc/opencv-doc/examples/data/fruits.jpg -crop 240x180+150+150 +repage PNG24:photo.png
"$ZELMAR" photo.png -convertintooptimalpalette16 -saveasphoto_off.bmp,2 -exit
"$ZELMAR" photo.png -dither1 -convertintooptimalpalette16 -saveasphoto_on.bmp,2 -exit
convert photo.png "$DOCS/dither_photo.png"
convert photo_off.bmp "$DOCS/dither_photo16_off.png"
convert photo_on.bmp "$DOCS/dither_photo16_on.png"
ls -l "$DOCS"
