#!/usr/bin/python3
"""SSIM, PSNR and blurred PSNR of pairs of pictures of the same size.

Reads lines "REFERENCE TEST" from standard input and prints for each
"SSIM PSNR BLURRED-PSNR": SSIM over red, green and blue as scikit-image
computes it (7 x 7 windows, data range 255), PSNR over the three channels,
and PSNR after both pictures went through a Gaussian of sigma 1 (about
what an eye sees of a small display at arm's length). An exact match
gives "inf" for the two PSNRs.
"""
import sys

import numpy as np
from PIL import Image
from scipy.ndimage import gaussian_filter
from skimage.metrics import structural_similarity


def load(path):
    return np.asarray(Image.open(path).convert("RGB"), dtype=np.float64)


def psnr(a, b):
    mse = np.mean((a - b) ** 2)
    return "inf" if mse == 0 else "%.2f" % (10 * np.log10(255.0 * 255.0 / mse))


for line in sys.stdin:
    if not line.strip():
        continue
    ref, test = line.split()
    a, b = load(ref), load(test)
    if a.shape != b.shape:
        sys.exit("size differs: %s %s" % (a.shape, b.shape))
    ssim = structural_similarity(a, b, channel_axis=2, data_range=255)
    blur = psnr(gaussian_filter(a, (1, 1, 0)), gaussian_filter(b, (1, 1, 0)))
    print("%.4f %s %s" % (ssim, psnr(a, b), blur), flush=True)
