#!/usr/bin/env python3
"""Writes two test pictures for the benchmark: a 24-bit and an 8-bit
(256-colour palette) Windows Bitmap of SIZE x SIZE pixels with noisy
content.

    gen_bmp.py OUT24.bmp OUT8.bmp SIZE
"""
import random
import struct
import sys


def write_bmp(path, size, bits, palette, rows):
    stride = (size * bits + 31) // 32 * 4
    palette_bytes = b"".join(struct.pack("<BBBB", b, g, r, 0) for (r, g, b) in palette)
    offset = 14 + 40 + len(palette_bytes)
    image_size = stride * size
    with open(path, "wb") as f:
        f.write(b"BM" + struct.pack("<IHHI", offset + image_size, 0, 0, offset))
        f.write(struct.pack("<IiiHHIIiiII", 40, size, size, 1, bits, 0, image_size, 0, 0,
                            len(palette), 0))
        f.write(palette_bytes)
        pad = b"\0" * (stride - size * bits // 8)
        for row in rows:
            f.write(row + pad)


def noisy_rows(size, bytes_per_pixel, rng):
    """Rows cut at shifting places out of one long random block: cheap, and
    neighbouring rows differ."""
    width = size * bytes_per_pixel
    block = rng.randbytes(2 * width + 4096)
    for y in range(size):
        start = (y * 7919) % (width + 4096)
        yield block[start:start + width]


def main():
    if len(sys.argv) != 4:
        sys.exit("usage: gen_bmp.py OUT24.bmp OUT8.bmp SIZE")
    path24, path8, size = sys.argv[1], sys.argv[2], int(sys.argv[3])
    rng = random.Random(4711)
    write_bmp(path24, size, 24, [], noisy_rows(size, 3, rng))
    palette = [(rng.randrange(256), rng.randrange(256), rng.randrange(256)) for _ in range(256)]
    write_bmp(path8, size, 8, palette, noisy_rows(size, 1, rng))


if __name__ == "__main__":
    main()
