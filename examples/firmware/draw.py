#!/usr/bin/env python3
"""Draws the example's pictures and its custom palette. The files are
committed; run this again after changing a picture here and in main.c."""
import os
import struct

from PIL import Image

HERE = os.path.dirname(os.path.abspath(__file__))


def out(name):
    return os.path.join(HERE, name)


# wifi.png, 16 x 12 true colour: left half sky blue, right half white,
# the last four rows red.
wifi = Image.new("RGB", (16, 12))
for y in range(12):
    for x in range(16):
        wifi.putpixel((x, y), (255, 0, 0) if y >= 8 else (0, 128, 255) if x < 8 else (255, 255, 255))
wifi.save(out("icons/wifi.png"))

# battery.png, 20 x 10 with a palette of three colours: a green frame, a
# yellow charge in the left half, black in the right.
battery = Image.new("P", (20, 10))
battery.putpalette([0, 0, 0, 0, 200, 0, 255, 255, 0])
for y in range(10):
    for x in range(20):
        frame = x in (0, 19) or y in (0, 9)
        battery.putpixel((x, y), 1 if frame else 2 if x < 10 else 0)
battery.save(out("icons/battery.png"))

# 2-bars.bmp, 8 x 8 at 8 bits: vertical bars two pixels wide in four
# greys, mapped onto grey.OmrakPal. Its bitmap is bm_2_bars.
greys = [0x00, 0x55, 0xAA, 0xFF]
bars = Image.new("P", (8, 8))
bars.putpalette([v for g in greys for v in (g, g, g)])
for y in range(8):
    for x in range(8):
        bars.putpixel((x, y), x // 2)
bars.save(out("2-bars.bmp"))
with open(out("grey.OmrakPal"), "wb") as f:
    f.write(b"OmrakPal" + struct.pack("<II", len(greys), 0))
    for g in greys:
        f.write(bytes((g, g, g, 0)))

# splash.jpg, 32 x 16: four blocks of 16 x 8, red, green, blue and white.
splash = Image.new("RGB", (32, 16))
blocks = [(255, 0, 0), (0, 255, 0), (0, 0, 255), (255, 255, 255)]
for y in range(16):
    for x in range(32):
        splash.putpixel((x, y), blocks[(y // 8) * 2 + x // 16])
splash.save(out("splash.jpg"), quality=95)
