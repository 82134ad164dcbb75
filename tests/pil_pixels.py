#!/usr/bin/python3
"""Writes what Pillow sees in each picture named on the command line to
OUT_DIR/NAME.px: a line "W H" and then 4 bytes a pixel, top row first:
red, green, blue and 1 where the pixel counts as transparent (alpha below
128; for palette files the first palette entry with alpha below 128).
16-bit samples keep their high byte. Unreadable files get no output."""
import os
import sys
import warnings
from PIL import Image

warnings.simplefilter("ignore")

out_dir = sys.argv[1]
for path in sys.argv[2:]:
    try:
        im = Image.open(path)
        im.load()
    except Exception:
        continue
    trns = im.info.get("transparency")
    with open(path, "rb") as f:
        depth = f.read(25)[24]
    if im.mode in ("1", "L") and depth < 8 and trns is not None:
        key = trns * 255 // ((1 << depth) - 1)  # Pillow keeps the key unscaled
        grey = list(im.convert("L").getdata())
        rgb = bytes(v for v in grey for _ in range(3))
        trans = [int(v == key) for v in grey]
    elif im.mode == "P":
        if isinstance(trns, int):
            trns = bytes([255] * trns + [0])
        first = next((i for i, a in enumerate(trns or b"") if a < 128), -1)
        rgb = im.convert("RGB").tobytes()
        trans = [int(i == first) for i in im.getdata()]
    elif im.mode.startswith("I"):
        grey = list(im.getdata())
        rgb = bytes(v >> 8 for v in grey for _ in range(3))
        trans = [int(v == trns) for v in grey]
    else:
        rgba = im.convert("RGBA").tobytes()
        rgb = bytes(b for i, b in enumerate(rgba) if i % 4 != 3)
        trans = [int(a < 128) for a in rgba[3::4]]
    data = b"".join(rgb[3 * i:3 * i + 3] + bytes([t]) for i, t in enumerate(trans))
    name = os.path.basename(path)
    with open(os.path.join(out_dir, name + ".px"), "wb") as f:
        f.write(b"%d %d\n" % im.size + bytes(data))
