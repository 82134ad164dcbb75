/*
 * Optimal palette: reduces any image to at most NumColors colours chosen
 * to keep the squared error over red, green and blue small.
 */
#ifndef ZELMAR_COLOR_QUANTIZE_H
#define ZELMAR_COLOR_QUANTIZE_H

#include "../core/image.h"

#define CONVERT_OPTIMAL_MIN 2
#define CONVERT_OPTIMAL_MAX 256

/* Frees pBitmapOrg and gives a new palette image of at most NumColors
 * (2 to 256) entries. A picture of NumColors colours or fewer keeps every
 * colour exactly. An image with transparency keeps entry 0 and its
 * pixels as they are and shares the other entries among the rest. The
 * result is dithered when dithering is on. Null, with the reason
 * reported, when NumColors is out of range or memory runs out; the
 * source is then kept. */
IMAGE* CONVERT_IntoOptimalPalette(IMAGE* pBitmapOrg, int NumColors);

#endif
