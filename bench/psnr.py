#!/usr/bin/python3
"""PSNR over red, green and blue of two pictures of the same size."""
import sys

import numpy as np
from PIL import Image


def load(path):
    return np.asarray(Image.open(path).convert("RGB"), dtype=np.float64)


a, b = load(sys.argv[1]), load(sys.argv[2])
if a.shape != b.shape:
    sys.exit("size differs: %s %s" % (a.shape, b.shape))
mse = np.mean((a - b) ** 2)
print("inf" if mse == 0 else "%.2f" % (10 * np.log10(255.0 * 255.0 / mse)))
