#!/usr/bin/env python3
"""Draws the bundled sample picture: a 96 x 48 true-colour badge with a
diagonal stripe and a ring, written as a 24-bit Windows Bitmap."""
import struct
import sys

W, H = 96, 48


def pixel(x, y):
    # background: soft vertical gradient
    r, g, b = 30 + y * 2, 60 + y * 3, 120 + y
    # ring around the badge's left centre
    dx, dy = x - 24, y - 24
    d2 = dx * dx + dy * dy
    if 14 * 14 <= d2 <= 19 * 19:
        r, g, b = 250, 200, 40
    # diagonal stripe
    if 0 <= (x - y) - 40 < 8:
        r, g, b = 230, 60, 60
    # white core
    if d2 < 6 * 6:
        r, g, b = 255, 255, 255
    return min(r, 255), min(g, 255), min(b, 255)


def main(path):
    stride = (W * 3 + 3) // 4 * 4
    rows = []
    for y in range(H - 1, -1, -1):
        row = bytearray()
        for x in range(W):
            r, g, b = pixel(x, y)
            row += bytes((b, g, r))
        row += b"\0" * (stride - len(row))
        rows.append(bytes(row))
    data = b"".join(rows)
    info = struct.pack("<IiiHHIIiiII", 40, W, H, 1, 24, 0, len(data), 2835, 2835, 0, 0)
    head = struct.pack("<2sIHHI", b"BM", 14 + len(info) + len(data), 0, 0, 14 + len(info))
    with open(path, "wb") as f:
        f.write(head + info + data)


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else "zelmar-logo.bmp")
